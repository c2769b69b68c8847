// The controller with a writer that does what the test says.

#include <chrono>
#include <functional>
#include <semaphore>
#include <thread>

#include "writers/TestFrame.h"
#include "zenquor/core/ZQNotificationCenter.h"
#include "zenquor/writers/ZQRMovieWriterController.h"
#include "zenquor/writers/detail/SteadyClock.h"

namespace zenquor {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FakeWriter final : public ZQRMovieWriterProtocol {
public:
    std::function<bool(const ZQRFramePtr&, ZQErrorPtr*)> onWrite;
    std::function<void()> onFinish;
    bool finishResult = true;
    std::atomic<int> finishes{0};
    Guarded<std::vector<std::int64_t>> written;

    bool writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) override {
        if (onWrite && !onWrite(frame, error)) return false;
        written.with([&](auto& times) { times.push_back(frame->relativeFrameTime()); });
        return true;
    }
    bool finishWritingMovie() override {
        ++finishes;
        if (onFinish) onFinish();
        return finishResult;
    }
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const override {
        diagnostics.push_back({{"name", "writer"}});
    }
    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate() const override { return delegate_; }
    void setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) override {
        delegate_ = delegate;
    }
    const std::string& movieWriterID() const override { return id_; }

    void writeAudioFramesWithBytes(std::span<const std::uint8_t>) override {}
    void split() override {}
    std::int32_t recordingMode() const override { return 1; }
    void setRecordingMode(std::int32_t) override {}
    bool valid() const override { return true; }
    std::string failureReason() const override { return {}; }
    std::string filename() const override { return {}; }
    void setLength(std::int64_t, std::string, std::string) override {}
    std::uint64_t bufferFrames() const override { return 0; }
    ZQDictionary metadata() const override { return {}; }
    void setMetaData(ZQDictionary) override {}
    std::optional<ZQCKTimecode> startTimecode() const override { return std::nullopt; }
    void setUseOtherStartTimecode(bool) override {}
    void setOtherStartTimecode(std::optional<ZQCKTimecode>) override {}
    std::uint64_t duration() const override { return 0; }
    void setMovieWriterID(std::string id) override { id_ = std::move(id); }
    void setFramesLeftToRecord(std::int64_t) override {}
    std::int32_t state() const override { return 0; }
    void setState(std::int32_t) override {}
    const std::string& separatorString() const override { return id_; }
    void setSeparatorString(std::string) override {}

private:
    std::string id_ = "V1";
    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate_;
};

class FakeDelegate final : public ZQRMovieWriterControllerDelegate {
public:
    std::atomic<int> setups{0};
    std::atomic<int> finishes{0};
    bool success = false;
    ZQErrorPtr error;
    std::counting_semaphore<> finished{0};

    void didSetupMovieWriter(const ZQRMovieWriterControllerPtr&, const ZQDictionary&) override { ++setups; }
    void didFinishSuccessfully(const ZQRMovieWriterControllerPtr&, bool s, const ZQErrorPtr& e) override {
        success = s;
        error = e;
        ++finishes;
        finished.release();
    }
};

class MovieWriterControllerTest : public testing::Test {
protected:
    MovieWriterControllerTest() {
        token_ = ZQNotificationCenter::defaultCenter().addObserver(
            ZQRMovieWriterDidFailNotification,
            [this](std::string_view, const ZQNotificationCenter::Objects& objects) {
                posted.with([&](auto& all) { all.push_back(objects); });
            });
    }
    ~MovieWriterControllerTest() override {
        if (controller) controller->shutdown();
        ZQNotificationCenter::defaultCenter().removeObserver(token_);
        detail::SteadyClock::pin(nullptr);
    }
    void make(std::uint64_t capacity) {
        controller = ZQRMovieWriterController::initWithMovieWriter(writer, delegate, capacity);
        ASSERT_TRUE(controller);
    }
    static ZQRFramePtr frame(std::int64_t number, std::uint32_t status = 0, std::uint32_t type = 0) {
        auto made = std::make_shared<test::TestFrame>();
        made->time = number * 1000;
        made->status = status;
        auto store = ZQRFrameStore::helperWithData(ZQData());
        store->setFrameType(type);
        store->setDecodeTimestamp(made->time);
        made->setFrameHelper(store, "V");
        return made;
    }
    static std::uint32_t lastIf(bool last) { return last ? ZQRFrameStatusLast : 0u; }
    void addBoth(const ZQRFramePtr& made) {
        EXPECT_TRUE(controller->addRawFrame(made));
        EXPECT_TRUE(controller->addEncodedFrame(made));
    }
    void run() {
        controller->start();
        waitForEnd();
    }
    void waitForEnd() {
        ASSERT_TRUE(delegate->finished.try_acquire_for(10s)) << "the controller did not end";
    }
    const ZQError* postedError(std::size_t i) {
        const auto all = posted.load();
        if (i >= all.size() || all[i].size() != 2 || all[i][0].get() != controller.get()) return nullptr;
        return dynamic_cast<const ZQError*>(all[i][1].get());
    }

    std::shared_ptr<FakeWriter> writer = std::make_shared<FakeWriter>();
    std::shared_ptr<FakeDelegate> delegate = std::make_shared<FakeDelegate>();
    ZQRMovieWriterControllerPtr controller;
    Guarded<std::vector<ZQNotificationCenter::Objects>> posted;

private:
    ZQNotificationCenter::Token token_ = 0;
};

TEST_F(MovieWriterControllerTest, EndsAtTheFrameThatWasFlaggedLastEvenIfMoreAreQueued) {
    make(30);
    addBoth(frame(0));
    addBoth(frame(1));
    const auto last = frame(2, ZQRFrameStatusLast);
    EXPECT_TRUE(controller->addRawFrame(last));
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateDraining);
    EXPECT_TRUE(controller->addEncodedFrame(last));
    EXPECT_TRUE(controller->addEncodedFrame(frame(3)));
    run();
    EXPECT_THAT(writer->written.load(), ElementsAre(0, 1000, 2000));
    EXPECT_EQ(writer->finishes, 1);
    EXPECT_TRUE(delegate->success);
    EXPECT_FALSE(delegate->error);
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateFinished);
    EXPECT_EQ(controller->rawFrameFIFOQueue()->elementCount(), 0u);
    EXPECT_EQ(controller->extractedFrames(), 3u);
}

TEST_F(MovieWriterControllerTest, CountsADuplicateAsWrittenWithoutShowingItToTheWriter) {
    make(30);
    addBoth(frame(0));
    auto duplicate = std::make_shared<test::TestFrame>();
    duplicate->status = ZQRFrameStatusDuplicate;
    duplicate->time = 77;  // says nothing about the sequence
    test::LogEar log;
    addBoth(duplicate);
    addBoth(frame(1, ZQRFrameStatusLast));
    run();
    EXPECT_THAT(writer->written.load(), ElementsAre(0, 1000));
    EXPECT_EQ(controller->rawFrameFIFOQueue()->elementCount(), 0u);
    EXPECT_EQ(log.count("V1: received duplicate frame, likely shutting down"), 1);
    EXPECT_EQ(log.count("non-sequential"), 0);
}

TEST_F(MovieWriterControllerTest, ReportsATimestampThatDoesNotFollow) {
    make(30);
    test::LogEar log;
    for (const int number : {0, 1, 3, 4}) EXPECT_TRUE(controller->addRawFrame(frame(number)));
    EXPECT_EQ(log.count("got frame in non-sequential timestamp!"), 1);
    EXPECT_EQ(
        log.count(
            "ZQRMovieWriterController V1: got frame in non-sequential timestamp! Should be: 2000, is 3000"),
        1);
}

TEST_F(MovieWriterControllerTest, ReleasesRawFramesOfALongGroupAtTheNextSyncFrame) {
    make(30);
    std::vector<std::uint32_t> rawAtWrite;
    writer->onWrite = [&](const ZQRFramePtr&, ZQErrorPtr*) {
        rawAtWrite.push_back(controller->rawFrameFIFOQueue()->elementCount());
        return true;
    };
    const std::uint32_t types[] = {1, 3, 3, 1, 4, 2, 9};
    for (int i = 0; i < 7; ++i) addBoth(frame(i, lastIf(i == 6), types[i]));
    run();
    EXPECT_THAT(rawAtWrite, ElementsAre(7, 7, 7, 7, 4, 4, 2));
    EXPECT_EQ(controller->rawFrameFIFOQueue()->elementCount(), 2u);
}

TEST_F(MovieWriterControllerTest, NeverWaitsForARawFrameThatComesLate) {
    make(30);
    EXPECT_TRUE(controller->addEncodedFrame(frame(0)));
    EXPECT_TRUE(controller->addEncodedFrame(frame(1)));
    std::binary_semaphore written{0};
    writer->onWrite = [&](const ZQRFramePtr& f, ZQErrorPtr*) {
        if (f->relativeFrameTime() == 1000) written.release();
        return true;
    };
    controller->start();
    ASSERT_TRUE(written.try_acquire_for(10s));
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(controller->addRawFrame(frame(i)));
    addBoth(frame(2, ZQRFrameStatusLast));
    waitForEnd();
    EXPECT_EQ(controller->rawFrameFIFOQueue()->elementCount(), 0u);
}

TEST_F(MovieWriterControllerTest, StopsAtOnceAtAnEndDummy) {
    make(30);
    addBoth(frame(0));
    EXPECT_TRUE(controller->addEncodedFrame(frame(1, ZQRFrameStatusEndDummy)));
    EXPECT_TRUE(controller->addEncodedFrame(frame(2)));
    run();
    EXPECT_THAT(writer->written.load(), ElementsAre(0));
    EXPECT_EQ(writer->finishes, 0);
    EXPECT_FALSE(delegate->success);
    EXPECT_FALSE(delegate->error);
}

struct WriteFailure {
    const char* domain;
    int code;  // 0: no error at all
    int finishes;
};

class WriteFailureTest : public MovieWriterControllerTest,
                         public testing::WithParamInterface<WriteFailure> {};

TEST_P(WriteFailureTest, IsPostedAndReportedAndEndsTheRun) {
    make(30);
    const auto& failure = GetParam();
    const ZQErrorPtr error =
        failure.code ? ZQError::errorWithDomain(failure.domain, failure.code, "no") : nullptr;
    writer->onWrite = [&](const ZQRFramePtr&, ZQErrorPtr* out) { return fail(out, error); };
    addBoth(frame(0));
    addBoth(frame(1));
    test::LogEar log;
    run();
    EXPECT_EQ(writer->finishes, failure.finishes);
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateInvalid);
    EXPECT_EQ(controller->extractedFrames(), 1u);
    EXPECT_FALSE(delegate->success);
    EXPECT_EQ(delegate->error, error);
    EXPECT_EQ(posted.load().size(), 1u);
    EXPECT_EQ(postedError(0), error.get());
    EXPECT_EQ(log.count("V1: failed to write frame without returning an error"), error ? 0 : 1);
    EXPECT_EQ(log.count("V1: writer threw performance error, will try to finish"), failure.finishes);
    EXPECT_EQ(log.count("V1: failed and will exit"), 1);
}

INSTANTIATE_TEST_SUITE_P(Errors, WriteFailureTest,
                         testing::Values(WriteFailure{"ZQRMovieWriterErrorDomain", -30003, 1},
                                         WriteFailure{"ZQRMovieWriterErrorDomain", -300, 0},
                                         WriteFailure{"ZQAssetWriterErrorDomain", -30003, 0},
                                         WriteFailure{"", 0, 0}));

TEST_F(MovieWriterControllerTest, ClosesTheMovieAfterTheEncodedQueueOverflowed) {
    make(2);
    writer->finishResult = false;
    addBoth(frame(0));
    addBoth(frame(1));
    ZQErrorPtr error;
    EXPECT_FALSE(controller->addEncodedFrame(frame(2), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -12773);
    ASSERT_TRUE(postedError(0));
    EXPECT_EQ(postedError(0)->domain(), "ZQRMovieWriterControllerErrorDomain");
    EXPECT_EQ(postedError(0)->code(), -52002);
    EXPECT_EQ(postedError(0)->localizedDescription(),
              "Can't add encoded frame into V1 because it's full. This indicates performance problems or "
              "disconnection of disks.");
    EXPECT_EQ(postedError(0)->userInterfaceDescription(), ZQError::writeError());

    EXPECT_FALSE(controller->addEncodedFrame(frame(3), &error));
    EXPECT_EQ(error->code(), -1);
    EXPECT_EQ(error->localizedDescription(), "Tried to push frames into an invalid movie writer controller");

    test::LogEar log;
    run();
    EXPECT_EQ(writer->finishes, 1);
    EXPECT_TRUE(writer->written.load().empty());
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateFinished);
    EXPECT_FALSE(delegate->success);
    ASSERT_TRUE(delegate->error);
    EXPECT_EQ(delegate->error->code(), -52001);
    EXPECT_EQ(delegate->error->localizedDescription(), "Can't do anything on V1 because it's invalid.");
    EXPECT_EQ(log.count("ZQRMovieWriterController V1: failed to finish"), 1);
}

TEST_F(MovieWriterControllerTest, RefusesRawFramesAfterTheRawQueueOverflowed) {
    make(1);
    ZQErrorPtr error;
    EXPECT_TRUE(controller->addRawFrame(frame(0)));
    EXPECT_FALSE(controller->addRawFrame(frame(1), &error));
    EXPECT_EQ(error->code(), -12773);
    ASSERT_TRUE(postedError(0));
    EXPECT_EQ(postedError(0)->code(), -52004);
    EXPECT_FALSE(controller->addRawFrame(frame(2), &error));
    EXPECT_EQ(error->code(), -52001);
    EXPECT_EQ(error->localizedDescription(),
              "Can't add raw frame into movie writer V1, because it's invalid.");
    EXPECT_FALSE(controller->addRawFrame(frame(2)));
    EXPECT_EQ(controller->acceptedRawFrames(), 1u);
    EXPECT_EQ(controller->rawFrameFIFOQueue()->elementCount(), 1u);
}

TEST_F(MovieWriterControllerTest, StaysInvalidWhenAProducerOverflowsDuringAWrite) {
    make(1);
    std::binary_semaphore writing{0}, go{0};
    writer->onWrite = [&](const ZQRFramePtr&, ZQErrorPtr*) {
        writing.release();
        go.acquire();
        return true;
    };
    addBoth(frame(0));
    controller->start();
    ASSERT_TRUE(writing.try_acquire_for(10s));
    ZQErrorPtr error;
    EXPECT_FALSE(controller->addRawFrame(frame(1), &error));
    go.release();
    waitForEnd();
    EXPECT_EQ(writer->finishes, 1);
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateInvalid);
    ASSERT_TRUE(delegate->error);
    EXPECT_EQ(delegate->error->code(), -52001);
    EXPECT_EQ(delegate->error->localizedDescription(),
              "Can't do anything on movie writer V1 because it's invalid.");
}

TEST_F(MovieWriterControllerTest, StaysInvalidWhenAProducerOverflowsWhileTheMovieIsClosed) {
    make(1);
    writer->onFinish = [&] {
        EXPECT_TRUE(controller->addRawFrame(frame(1)));
        EXPECT_FALSE(controller->addRawFrame(frame(2)));
    };
    addBoth(frame(0, ZQRFrameStatusLast));
    run();
    EXPECT_TRUE(delegate->success);
    EXPECT_EQ(controller->state(), ZQRMovieWriterController::StateInvalid);
}

std::atomic<std::int64_t> pinnedNanoseconds{0};

TEST_F(MovieWriterControllerTest, ReportsWritesThatTakeLongerThan500Milliseconds) {
    make(30);
    pinnedNanoseconds = 5'000'000'123;
    detail::SteadyClock::pin([] { return pinnedNanoseconds.load(); });
    writer->onWrite = [&](const ZQRFramePtr& f, ZQErrorPtr*) {
        pinnedNanoseconds += f->relativeFrameTime() == 0 ? 500'999'999 : 501'000'000;
        return true;
    };
    addBoth(frame(0));
    addBoth(frame(1, ZQRFrameStatusLast));
    test::LogEar log;
    run();
    EXPECT_EQ(log.count("took longer than 500ms"), 1);
    EXPECT_EQ(log.count("took longer than 500ms. In fact it took 501ms"), 1);
}

TEST_F(MovieWriterControllerTest, ShutdownWakesAThreadThatWaitsForFrames) {
    make(30);
    addBoth(frame(0));
    controller->start();
    const auto begin = std::chrono::steady_clock::now();
    controller->shutdown();
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(controller->frameGrabberThreadDidFinish());
    EXPECT_GE(took, 200ms);
    EXPECT_LT(took, 900ms);
    waitForEnd();
    EXPECT_FALSE(delegate->success);
    EXPECT_FALSE(delegate->error);
    test::LogEar log;
    controller->shutdown();  // nothing left to wait for
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(MovieWriterControllerTest, ShutdownWaitsForAWriterThatHangsAndCancelsTheThread) {
    make(30);
    std::binary_semaphore go{0};
    writer->onWrite = [&](const ZQRFramePtr&, ZQErrorPtr*) {
        go.acquire();
        return true;
    };
    addBoth(frame(0));
    controller->start();
    test::LogEar log;
    std::thread control([&] { controller->shutdown(); });
    while (log.count("shutdown didn't complete, waiting for completion") == 0) std::this_thread::yield();
    EXPECT_FALSE(controller->frameGrabberThreadDidFinish());
    go.release();
    control.join();
    EXPECT_EQ(delegate->finishes, 0) << "a cancelled thread does not call its delegate";
}

TEST_F(MovieWriterControllerTest, ShutdownOfAThreadThatNeverRanReturnsAtOnce) {
    make(30);
    test::LogEar log;
    controller->shutdown();
    EXPECT_EQ(log.count("will insert dummy"), 0);
}

TEST_F(MovieWriterControllerTest, PassesTheWritersSetupOnAndGathersDiagnosticsInOrder) {
    make(30);
    ASSERT_EQ(writer->delegate().lock(), controller);
    writer->delegate().lock()->didFinishSetupWithOptions(writer, {});
    EXPECT_EQ(delegate->setups, 1);
    ZQDictionaryList diagnostics;
    controller->gatherQueueDiagnostics(diagnostics);
    std::vector<std::string> names;
    for (const auto& entry : diagnostics) names.push_back(entry["name"].stringValue());
    EXPECT_THAT(names, ElementsAre("ZQRMovieWriterController V1 - Raw Queue",
                                   "ZQRMovieWriterController V1 - Encoded Queue", "writer"));
}

TEST_F(MovieWriterControllerTest, TakesFramesOfThreeThreadsWithoutLosingOne) {
    constexpr int frames = 3000;
    make(64);
    controller->start();
    std::counting_semaphore<> raw{0};
    std::thread encoder([&] {
        for (int i = 0; i < frames; ++i) {
            raw.acquire();
            EXPECT_TRUE(controller->addEncodedFrame(frame(i, lastIf(i == frames - 1), i % 12 ? 3 : 1)));
        }
    });
    for (int i = 0; i < frames; ++i) {
        while (i - static_cast<int>(controller->extractedFrames()) > 32) std::this_thread::yield();
        EXPECT_TRUE(controller->addRawFrame(frame(i, lastIf(i == frames - 1))));
        raw.release();
    }
    encoder.join();
    waitForEnd();
    EXPECT_TRUE(delegate->success);
    EXPECT_EQ(writer->written.load().size(), static_cast<std::size_t>(frames));
}

}  // namespace
}  // namespace zenquor
