// The controller with an encoder that a test steers: choice of encoder, order of frames, ends of a run.
#include "zenquor/encoders/ZQREncoderController.h"

#include <chrono>
#include <thread>

#include "encoders/EncoderTestSupport.h"
#include "zenquor/encoders/ZQRDNxHDEncoder.h"
#include "zenquor/encoders/ZQRMCMPEG2Encoder.h"
#include "zenquor/encoders/ZQRPassthroughEncoder.h"
#include "zenquor/encoders/ZQRVideoToolboxEncoder.h"
#include "zenquor/media/ZQRFrameMarker.h"

namespace zenquor::test {
namespace {

/// Hands frames back at once, as its fields say. The test sets them before the thread starts.
class SteeredEncoder final : public ZQRVideoEncoder {
public:
    SteeredEncoder() : ZQRVideoEncoder(nullptr, nullptr, {}) {}

    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) override {
        const int n = encoded.fetch_add(1);
        entered.signal();
        if (n == failsAt) return fail(error, ZQError::errorWithDomain("test", -1, "broken"));
        if (n == warnsAt) fail(error, ZQError::errorWithDomain("test", -2, "slow"));
        if (n == turnsTo.first) changeState(turnsTo.second);
        if (blocksAt == n) unblock.wait();
        seen.with([&](auto& all) { all.push_back(frame->relativeFrameTime()); });
        return true;
    }
    void finishEncoding() override {
        ++finished;
        changeState(ZQRVideoEncoderStateFinished);
    }

    int failsAt = -1, warnsAt = -1, blocksAt = -1;
    std::pair<int, std::int32_t> turnsTo{-1, 0};
    ZQCKSemaphore entered, unblock;
    std::atomic<int> encoded{0}, finished{0};
    Guarded<std::vector<std::int64_t>> seen;
};

struct Rig {
    explicit Rig(const ZQRVideoPropertiesPtr& properties = recording(platform::pixelFormat2vuy),
                 std::int64_t capacity = 50)
        : controller(ZQREncoderController::initWithVideoProperties(properties, capacity)) {
        controller->setControllerID("A");
        controller->setDelegate(listener);
    }
    std::shared_ptr<SteeredEncoder> steer() {
        auto encoder = std::make_shared<SteeredEncoder>();
        controller->setEncoder(encoder);
        return encoder;
    }
    void push(int n, std::uint32_t status = 0) {
        auto pushed = frame(n);
        pushed->status = status;
        ASSERT_TRUE(controller->encodeFrame(pushed));
    }

    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    ZQREncoderControllerPtr controller;
};

TEST(EncoderController, ChoosesTheEncoderByTheCodec) {
    enum class Kind { Session, Passthrough, MPEG2, DNxHD, None };
    struct Case {
        FourCC codec;
        Kind kind;
        const char* logged;
    };
    for (const Case& c :
         {Case{fourCC("avc1"), Kind::Session, "will passthrough frames to the writers"},
          Case{0, Kind::Session, "will passthrough frames to the writers"},
          Case{fourCC("2vuy"), Kind::Passthrough, "will use pass-through encoder"},
          Case{fourCC("v210"), Kind::Passthrough, "will use pass-through encoder"},
          Case{fourCC("apch"), Kind::Session, "will use VideoToolbox encoder"},
          Case{fourCC("hvc1"), Kind::Session, "will use VideoToolbox encoder"},
          Case{fourCC("xd5b"), Kind::MPEG2, "ZQREncoderController will use MPEG2 encoder"},
          Case{fourCC("rhqx"), Kind::DNxHD, "ZQREncoderController Will use Avid DNxHR/HD encoder"},
          // The engine refuses: 1280x720 only, and 4:4:4 not at all.
          Case{fourCC("d7x1"), Kind::None, ""}, Case{fourCC("drx1"), Kind::None, ""},
          Case{fourCC("none"), Kind::None, ""}}) {
        SCOPED_TRACE(fourCCString(c.codec));
        LogEar ear;
        Rig run(recording(c.codec));
        ZQErrorPtr error;
        EXPECT_EQ(run.controller->encodeFrame(frame(0), &error), c.kind != Kind::None);
        const auto encoder = run.controller->encoder();
        EXPECT_EQ(std::dynamic_pointer_cast<ZQRVideoToolboxEncoder>(encoder) != nullptr,
                  c.kind == Kind::Session);
        EXPECT_EQ(std::dynamic_pointer_cast<ZQRPassthroughEncoder>(encoder) != nullptr,
                  c.kind == Kind::Passthrough);
        EXPECT_EQ(std::dynamic_pointer_cast<ZQRMCMPEG2Encoder>(encoder) != nullptr, c.kind == Kind::MPEG2);
        EXPECT_EQ(std::dynamic_pointer_cast<ZQRDNxHDEncoder>(encoder) != nullptr, c.kind == Kind::DNxHD);
        if (encoder) {
            EXPECT_EQ(encoder->name(), "A");
            EXPECT_EQ(encoder->delegate(), run.controller);
            EXPECT_EQ(ear.count(c.logged), 1);
        } else {
            ASSERT_TRUE(error);
            EXPECT_EQ(error->domain(), "ZQREncoderControllerErrorDomain");
            EXPECT_EQ(error->code(), -70001);
            EXPECT_EQ(error->localizedDescription(),
                      "The encoder for one of the selected capture presets is not installed on this system.");
            EXPECT_EQ(error->userInterfaceDescription(), ZQError::missingEncoder());
        }
    }
}

TEST(EncoderController, HandsTheFramesDepthAndTheXDCAMPreferencesToTheEncoders) {
    for (const auto& [format, depth, rowBytes] :
         {std::tuple{platform::pixelFormatV210, 1024U, 896U}, {platform::pixelFormat2vuy, 1U, 640U}}) {
        Rig run(recording(fourCC("hrsq")));
        ASSERT_TRUE(run.controller->encodeFrame(frame(0, format)));
        const auto encoder = std::dynamic_pointer_cast<ZQRDNxHDEncoder>(run.controller->encoder());
        ASSERT_TRUE(encoder);
        EXPECT_EQ(encoder->encodeParameters().inputDepth, depth);
        EXPECT_EQ(encoder->encodeParameters().sourceRowBytes, rowBytes);
    }
    Rig run(recording(fourCC("xd5c"), 1920, 1080));
    const auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setXDCAMPreferences(ZHLXDCAMPreferences::preferences());
    run.controller->setCapturePreset(preset);
    ASSERT_TRUE(run.controller->encodeFrame(frame(0)));
    const auto encoder = std::dynamic_pointer_cast<ZQRMCMPEG2Encoder>(run.controller->encoder());
    ASSERT_TRUE(encoder);
    EXPECT_EQ(encoder->xdcamPreferences(), preset->xdcamPreferences());
}

TEST(EncoderController, DeliversEveryFrameInOrderAndEndsWithTheLast) {
    Rig run;
    run.controller->start();
    for (int n = 0; n < 20; ++n) run.push(n, n == 19 ? 2 : 0);
    const auto heard = run.listener->waitForEnd();
    ASSERT_EQ(heard.frames.size(), 20U);
    for (int n = 0; n < 20; ++n) {
        EXPECT_EQ(heard.frames[static_cast<std::size_t>(n)]->relativeFrameTime(), 1000 * n);
        EXPECT_TRUE(storeOf(*heard.frames[static_cast<std::size_t>(n)], "A"));
    }
    EXPECT_EQ(heard.ends, std::vector<bool>{true});
    EXPECT_EQ(run.controller->framesEncoded(), 20);
    EXPECT_EQ(run.controller->submittedRawFrames(), 20U);
    EXPECT_EQ(run.controller->encoder()->state(), ZQRVideoEncoderStateFinished);
}

TEST(EncoderController, DuplicateFramesPassTheEncoderByAndCount) {
    LogEar ear;
    Rig run;
    const auto encoder = run.steer();
    run.controller->start();
    run.push(0, ZQRFrameStatusDuplicate);
    run.push(0, ZQRFrameStatusDuplicate | ZQRFrameStatusLast);
    const auto heard = run.listener->waitForEnd();
    EXPECT_EQ(heard.frames.size(), 2U);
    EXPECT_EQ(encoder->encoded, 0);
    EXPECT_EQ(encoder->finished, 1);
    EXPECT_EQ(ear.count("unbalanced"), 0);
    EXPECT_EQ(ear.count(": received duplicate frame, likely shutting down"), 2);
}

TEST(EncoderController, AFailedFrameEndsTheRunAtOnceAndRefusesAllOthers) {
    Rig run;
    const auto encoder = run.steer();
    encoder->failsAt = 2;
    run.controller->start();
    for (int n = 0; n < 3; ++n) run.push(n);
    const auto heard = run.listener->waitForEnd();
    EXPECT_EQ(heard.ends, std::vector<bool>{false});
    EXPECT_EQ(heard.error->localizedDescription(), "broken");
    EXPECT_EQ(encoder->finished, 0);
    ZQErrorPtr error;
    EXPECT_FALSE(run.controller->encodeFrame(frame(3), &error));
    EXPECT_EQ(error->code(), -70001);
    EXPECT_EQ(error->localizedDescription(), "Couldn't add frame to encode, because Encoder Controller " +
                                                 run.controller->description() + " is in state: 1");
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::encodingError());
    EXPECT_EQ(run.controller->submittedRawFrames(), 3U);
}

TEST(EncoderController, ARunMayFollowOneThatFailedButNotBesideOneThatGoesOn) {
    Rig run;
    const auto encoder = run.steer();
    encoder->failsAt = 0;
    run.controller->start();
    run.push(0);
    EXPECT_EQ(run.listener->waitForEnd().ends, std::vector<bool>{false});
    run.controller->startEncoding();
    run.push(1);
    run.controller->start();
    run.push(2, ZQRFrameStatusLast);
    EXPECT_EQ(run.listener->waitForEnd().ends, (std::vector<bool>{false, true}));
    EXPECT_EQ(encoder->seen.load(), (std::vector<std::int64_t>{1000, 2000}));
}

TEST(EncoderController, PassesWarningsOnAndGoesOn) {
    Rig run;
    run.steer()->warnsAt = 0;
    run.controller->start();
    run.push(0);
    run.push(1, ZQRFrameStatusLast);
    const auto heard = run.listener->waitForEnd();
    EXPECT_EQ(heard.warnings, std::vector<int>{-2});
    EXPECT_EQ(heard.ends, std::vector<bool>{true});
}

TEST(EncoderController, AnEncoderThatAsksToFinishEndsTheRunBeforeTheNextFrame) {
    LogEar ear;
    Rig run;
    const auto encoder = run.steer();
    encoder->turnsTo = {1, ZQRVideoEncoderStateFinishRequested};
    for (int n = 0; n < 4; ++n) run.push(n);
    run.controller->start();
    EXPECT_EQ(run.listener->waitForEnd().ends, std::vector<bool>{true});
    EXPECT_EQ(encoder->encoded, 2);
    EXPECT_EQ(encoder->finished, 1);
    EXPECT_EQ(ear.count("was marked to finish. Will finish and exit"), 1);
    EXPECT_EQ(ear.count("has unbalanced encoding statistics: 4 <-> 0"), 1);
}

TEST(EncoderController, AnEncoderAtItsLimitGetsTheLastQueuedFrameMarkedAsLast) {
    Rig run;
    const auto encoder = run.steer();
    encoder->turnsTo = {0, ZQRVideoEncoderStateFailed};
    std::vector<TestFramePtr> frames;
    for (int n = 0; n < 3; ++n) {
        frames.push_back(frame(n));
        ASSERT_TRUE(run.controller->encodeFrame(frames.back()));
    }
    run.controller->start();
    EXPECT_EQ(run.listener->waitForEnd().ends, std::vector<bool>{true});
    EXPECT_EQ(encoder->encoded, 3);
    EXPECT_EQ(frames[1]->frameStatus(), 0U);
    EXPECT_EQ(frames[2]->frameStatus(), ZQRFrameStatusLast);
}

TEST(EncoderController, DummyFramesFlushTheEncoderAndEndTheRun) {
    struct Case {
        std::uint32_t status;
        const char* logged;
    };
    for (const auto& [status, logged] :
         {Case{ZQRFrameStatusEndDummy, "detected dummy frame on encoder controller"},
          Case{ZQRFrameStatusEndDummy | ZQRFrameStatusLast,
               "detected dummy Frame with \"LastFrame\" attribute"}}) {
        LogEar ear;
        Rig run;
        const auto encoder = run.steer();
        run.controller->start();
        run.push(0);
        const auto dummy = ZQRFrameMarker::endDummyFrame();
        dummy->setFrameStatus(status);
        ASSERT_TRUE(run.controller->encodeFrame(dummy));
        EXPECT_EQ(run.listener->waitForEnd().ends, std::vector<bool>{true});
        EXPECT_EQ(encoder->finished, 1);
        EXPECT_EQ(ear.count(logged), 1);
    }
}

TEST(EncoderController, ShutdownWakesAWaitingThreadWithADummyFrame) {
    using namespace std::chrono;
    LogEar ear;
    Rig run;
    run.controller->start();
    run.push(0);
    run.listener->frameSignal.wait();
    // The thread still has to get from the delegate back to its queue; otherwise it sees the shutdown on the way.
    std::this_thread::sleep_for(milliseconds(200));
    const auto begin = steady_clock::now();
    run.controller->shutdown();
    EXPECT_GE(steady_clock::now() - begin, milliseconds(1100));
    const auto heard = run.listener->heard();
    EXPECT_EQ(heard.ends, std::vector<bool>{true});
    EXPECT_EQ(heard.frames.size(), 1U);
    EXPECT_EQ(ear.count(": Shutdown didn't respond for 100ms. Will insert dummy."), 1);
    EXPECT_EQ(ear.count("shutdown didn't complete"), 0);
    const auto again = steady_clock::now();
    run.controller->shutdown();
    Rig idle;
    idle.controller->shutdown();
    EXPECT_LT(steady_clock::now() - again, milliseconds(100))
        << "ended or never started: nothing to wait for";
}

TEST(EncoderController, ShutdownWaitsForABusyEncoderHoweverLongItTakes) {
    Rig run;
    const auto encoder = run.steer();
    encoder->blocksAt = 0;
    run.controller->start();
    run.push(0);
    encoder->entered.wait();
    // Only the text of the unbounded wait lets the encoder go on.
    const auto sink = ZLGGetHandle().setSink([&](ZLGLevel, std::string_view text) {
        if (text.ends_with(" shutdown didn't complete. Waiting for completion...")) encoder->unblock.signal();
    });
    run.controller->shutdown();
    ZLGGetHandle().setSink(sink);
    EXPECT_EQ(encoder->seen.load().size(), 1U);
    EXPECT_TRUE(run.listener->heard().ends.empty()) << "a cancelled thread leaves without a word";
}

TEST(EncoderController, AFullQueueRefusesTheFrameAndKeepsCount) {
    LogEar ear;
    Rig run(recording(platform::pixelFormat2vuy), 2);
    EXPECT_EQ(run.controller->totalCapacity(), 27U);
    for (int n = 0; n < 27; ++n) run.push(n);
    ZQErrorPtr error;
    EXPECT_FALSE(run.controller->encodeFrame(frame(27), &error));
    EXPECT_EQ(error->code(), -12773);
    EXPECT_EQ(run.controller->submittedRawFrames(), 27U);
    EXPECT_EQ(ear.count("ZQREncoderController " + run.controller->description() + " didn't accept frame!"),
              1);
    EXPECT_EQ(ear.count("ZQREncoderController failed to encode frame"), 1);
    ZQDictionaryList diagnostics;
    run.controller->gatherQueueDiagnostics(diagnostics);
    ASSERT_EQ(diagnostics.size(), 1U);
    EXPECT_EQ(diagnostics[0]["name"].stringValue(), "Encoder Queue");
}

TEST(EncoderController, OnlyGapsInTheTimestampsAreReported) {
    LogEar ear;
    Rig run;
    run.steer();
    for (const int n : {0, 1, 2, 5, 6, 0, 1}) run.push(n);
    EXPECT_EQ(
        ear.count("non-sequential timestamp! last known raw: 2000, frd: 1000, relative frame time: 5000"), 1);
    EXPECT_EQ(ear.count("non-sequential timestamp!"), 1) << "a time of 0 starts anew";
}

}  // namespace
}  // namespace zenquor::test
