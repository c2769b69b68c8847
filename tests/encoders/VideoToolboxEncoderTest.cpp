// The encoder over real compression sessions.
#include "zenquor/encoders/ZQRVideoToolboxEncoder.h"

#include <algorithm>
#include <chrono>

#include "encoders/EncoderTestSupport.h"
#include "zenquor/platform/VideoEncoderList.h"

namespace zenquor::test {
namespace {

bool hasHardware(FourCC codec) {
    std::vector<platform::VideoEncoderInfo> list;
    platform::copyVideoEncoderList(list);
    return std::any_of(list.begin(), list.end(), [&](const auto& info) {
        return info.codecType == codec && info.isHardwareAccelerated;
    });
}

struct Bench {
    explicit Bench(const ZQRVideoPropertiesPtr& videoProperties) : properties(videoProperties) {
        encoder = ZQRVideoToolboxEncoder::initWithVideoProperties(
            properties,
            [this](ZQRVideoEncoderProtocol&, const ZQRFramePtr& done, const std::shared_ptr<void>& given) {
                EXPECT_EQ(given, context);
                out.push_back(done);
            },
            context, 25);
        encoder->setName("A");
    }
    const platform::VideoFormat& format() const {
        return *storeOf(*out.at(0), "A")->cmSampleBuffer()->formatDescription()->videoFormat();
    }

    ZQRVideoPropertiesPtr properties;
    std::shared_ptr<void> context = std::make_shared<int>(1);
    std::vector<ZQRFramePtr> out;
    std::shared_ptr<ZQRVideoToolboxEncoder> encoder;
};

std::shared_ptr<ZQRVANCClosedCaptionPacket> captions(std::uint8_t value) {
    return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQData::copying(std::vector<std::uint8_t>{value, value}), 0);
}

TEST(VideoToolboxEncoder, KeepsSoundTimecodeAndCaptionsInSubmissionOrderWhenPicturesAreReordered) {
    Bench bench(recording(fourCC("avc1")));
    std::vector<std::shared_ptr<ZQRVANCClosedCaptionPacket>> given;
    for (int n = 0; n < 30; ++n) {
        auto f = frame(n, n % 2 ? platform::pixelFormatV210 : platform::pixelFormat2vuy);
        f->captions = true;
        given.push_back(n % 3 ? captions(static_cast<std::uint8_t>(n)) : nullptr);
        if (given.back()) f->packets = {given.back()};
        ZQErrorPtr error;
        ASSERT_TRUE(bench.encoder->encodeFrame(f, &error));
    }
    bench.encoder->finishEncoding();
    EXPECT_EQ(bench.encoder->state(), ZQRVideoEncoderStateFinished);
    ASSERT_EQ(bench.out.size(), 30U);
    std::vector<int> types(5);
    bool isReordered = false;
    for (int n = 0; n < 30; ++n) {
        const auto& done = bench.out[static_cast<std::size_t>(n)];
        const auto store = storeOf(*done, "A");
        ASSERT_TRUE(store);
        EXPECT_EQ(store->type(), 1U);
        EXPECT_EQ(store->displayTimestamp(), done->relativeFrameTime());
        EXPECT_EQ(store->decodeTimestamp(), 1000 * n);
        EXPECT_EQ(store->cmSampleBuffer()->decodeTimeStamp().timescale, 25000);
        EXPECT_EQ((*store->audioData())[0], n);
        EXPECT_EQ(store->timecode()->framesSinceMidnight(), static_cast<std::uint32_t>(n));
        EXPECT_EQ(store->closedCaptionData(), given[static_cast<std::size_t>(n)]);
        ++types[store->frameType()];
        isReordered |= store->decodeTimestamp() != store->displayTimestamp();
    }
    EXPECT_TRUE(isReordered);
    EXPECT_EQ(storeOf(*bench.out[0], "A")->frameType(), ZQRFrameTypeSync);
    EXPECT_GT(types[ZQRFrameTypeReference], 3);
    EXPECT_GT(types[ZQRFrameTypeDisposable], 3);
    EXPECT_EQ(types[ZQRFrameTypePartialSync], 0);
}

TEST(VideoToolboxEncoder, TriesHardwareThreeTimesAndThenWarnsOfSoftware) {
    if (hasHardware(fourCC("avc1"))) GTEST_SKIP() << "this machine has a hardware encoder";
    LogEar ear;
    Bench bench(recording(fourCC("avc1")));
    ZQErrorPtr error;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(bench.encoder->encodeFrame(frame(0), &error));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_EQ(ear.count("can't create a hardware encoder instance with error -12908, will try again"), 3);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -53005);
    EXPECT_EQ(error->localizedDescription(),
              "No hardware encoder available, using software encoder instead which will lead to slower "
              "performance.");
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::noHardwareEncoder());
    error = nullptr;
    EXPECT_TRUE(bench.encoder->encodeFrame(frame(1), &error));
    EXPECT_FALSE(error) << "only the first frame makes a session";
}

TEST(VideoToolboxEncoder, ProResStandsAloneAndNeedsNoWarning) {
    LogEar ear;
    Bench bench(recording(fourCC("apch"), 96, 64));
    for (int n = 0; n < 4; ++n) {
        ZQErrorPtr error;
        ASSERT_TRUE(bench.encoder->encodeFrame(frame(n, platform::pixelFormatV210, 96, 64), &error));
        EXPECT_FALSE(error);
    }
    bench.encoder->finishEncoding();
    ASSERT_EQ(bench.out.size(), 4U);
    EXPECT_EQ(storeOf(*bench.out[3], "A")->frameType(), ZQRFrameTypeStandalone);
    EXPECT_EQ(storeOf(*bench.out[3], "A")->decodeTimestamp(), 3000);
    EXPECT_EQ(ear.count("will try again"), 0);
    EXPECT_EQ(bench.properties->nativeVideoWidth(), 96U);
}

TEST(VideoToolboxEncoder, DescribesGeometryColourAndFieldsOfThePicture) {
    struct Case {
        std::uint32_t width, height, norm, aspect;
        double cleanWidth;
        std::uint32_t h, v;
        platform::FieldDetail detail;
    };
    const auto early = platform::FieldDetail::SpatialFirstLineEarly,
               late = platform::FieldDetail::SpatialFirstLineLate;
    for (const Case& c :
         {Case{720, 576, 0, 0, 702.9152542372881, 118, 81, early},
          Case{720, 576, 0, 1, 702.9152542372881, 59, 54, early}, Case{720, 486, 1, 0, 704, 40, 33, late},
          Case{1280, 1080, 2, 0, 1280, 3, 2, early}}) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " aspect " << c.aspect);
        auto preset = ZHLIngestCapturePreset::capturePreset();
        preset->setVideoWidth(c.width);
        preset->setVideoHeight(c.height);
        preset->setFramerate(2500);
        preset->setTvNorm(c.norm);
        preset->setAspectRatio(c.aspect);
        preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(fourCC("apco")));
        Bench bench(ZQRVideoProperties::initWithCapturePreset(preset));
        bench.properties->setScanMode(1);
        auto f = frame(0, platform::pixelFormat2vuy, c.width, c.height);
        platform::PixelBuffer::Attachments known;
        known.yCbCrMatrix = platform::YCbCrMatrix::ITU_R_2020;
        f->picture->setAttachments(known);
        ASSERT_TRUE(bench.encoder->encodeFrame(f));
        bench.encoder->finishEncoding();
        const platform::VideoFormat& format = bench.format();
        EXPECT_EQ(format.cleanAperture->width, c.cleanWidth);
        EXPECT_EQ(format.cleanAperture->height, c.height);
        EXPECT_EQ(format.pixelAspectRatio, (platform::PixelAspectRatio{c.h, c.v}));
        EXPECT_EQ(format.fieldCount, 2U);
        EXPECT_EQ(format.fieldDetail, c.detail);
        EXPECT_EQ(format.yCbCrMatrix, platform::YCbCrMatrix::ITU_R_2020) << "the picture knows better";
        EXPECT_TRUE(format.colorPrimaries);
    }
}

TEST(VideoToolboxEncoder, TakesTheChoicesOfThePreset) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(320);
    preset->setVideoHeight(240);
    preset->setFramerate(2500);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(fourCC("avc1")));
    auto choices = ZHLH264Preferences::preferences();
    choices->setGopSize(5);
    choices->setAllowFrameReordering(false);
    choices->setH264Profile("Main");
    choices->setEntropyMode("CAVLC");
    preset->setH264Preferences(choices);
    Bench bench(ZQRVideoProperties::initWithCapturePreset(preset));
    for (int n = 0; n < 11; ++n) ASSERT_TRUE(bench.encoder->encodeFrame(frame(n)));
    bench.encoder->finishEncoding();
    ASSERT_EQ(bench.out.size(), 11U);
    for (std::size_t n = 0; n < 11; ++n) {
        EXPECT_EQ(storeOf(*bench.out[n], "A")->frameType() == ZQRFrameTypeSync, n % 5 == 0) << n;
        EXPECT_EQ(bench.out[n]->relativeFrameTime(), static_cast<std::int64_t>(1000 * n));
    }
    EXPECT_EQ(bench.format().configuration[1], 77) << "Main";
}

TEST(VideoToolboxEncoder, WithoutPreferencesPicturesKeepTheirOrder) {
    const auto properties = recording(fourCC("avc1"));
    properties->capturePreset()->setH264Preferences(nullptr);
    Bench bench(properties);
    for (int n = 0; n < 12; ++n) ASSERT_TRUE(bench.encoder->encodeFrame(frame(n)));
    bench.encoder->finishEncoding();
    ASSERT_EQ(bench.out.size(), 12U);
    for (std::size_t n = 0; n < 12; ++n) {
        EXPECT_EQ(bench.out[n]->relativeFrameTime(), static_cast<std::int64_t>(1000 * n));
    }
}

TEST(VideoToolboxEncoder, RefusesWhatCannotBeEncoded) {
    Bench impossible(recording(fourCC("apch"), 0, 0));
    ZQErrorPtr error;
    EXPECT_FALSE(impossible.encoder->encodeFrame(frame(0), &error));
    EXPECT_EQ(error->code(), -53004);
    EXPECT_EQ(error->localizedDescription(), "ZQRVideoToolboxEncoder failed to setup encoder with error -50");
    Bench empty(recording(fourCC("apch")));
    EXPECT_FALSE(empty.encoder->encodeFrame(std::make_shared<TestFrame>(), &error));
    EXPECT_EQ(error->domain(), "ZQRVideoEncoderErrorDomain");
}

TEST(VideoToolboxEncoder, FinishAsksForTheEndOnce) {
    Bench bench(recording(fourCC("apch")));
    bench.encoder->finish();
    EXPECT_EQ(bench.encoder->state(), ZQRVideoEncoderStateFinishRequested);
    bench.encoder->finishEncoding();
    bench.encoder->finish();
    EXPECT_EQ(bench.encoder->state(), ZQRVideoEncoderStateFinished);
}

TEST(VideoToolboxEncoder, WorksBehindAController) {
    const auto listener = std::make_shared<Listener>();
    const auto controller = ZQREncoderController::initWithVideoProperties(recording(fourCC("avc1")), 30);
    controller->setControllerID("B");
    controller->setDelegate(listener);
    controller->start();
    for (int n = 0; n < 30; ++n) {
        auto f = frame(n);
        if (n == 29) f->status = ZQRFrameStatusLast;
        ASSERT_TRUE(controller->encodeFrame(f));
    }
    const auto heard = listener->waitForEnd();
    EXPECT_EQ(heard.frames.size(), 30U);
    EXPECT_EQ(heard.warnings, hasHardware(fourCC("avc1")) ? std::vector<int>{} : std::vector<int>{-53005});
    EXPECT_EQ(heard.ends, std::vector<bool>{true});
    EXPECT_TRUE(storeOf(*heard.frames[0], "B"));
}

}  // namespace
}  // namespace zenquor::test
