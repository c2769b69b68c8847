// DNxHD recordings: what the engine is asked for, and what a frame carries afterwards.
#include "zenquor/encoders/ZQRDNxHDEncoder.h"

#include "encoders/EncoderTestSupport.h"

namespace zenquor::test {
namespace {

std::shared_ptr<ZQRDNxHDEncoder> encoderFor(const ZQRVideoPropertiesPtr& properties, std::uint32_t bitDepth,
                                            std::size_t rowBytes,
                                            std::vector<ZQRFramePtr>* delivered = nullptr) {
    const auto callback = [delivered](ZQRVideoEncoderProtocol&, const ZQRFramePtr& frame, const auto&) {
        if (delivered) delivered->push_back(frame);
    };
    auto encoder = ZQRDNxHDEncoder::initWithVideoProperties(properties, callback, {}, 50, bitDepth, rowBytes);
    if (encoder) encoder->setName("A");
    return encoder;
}

TEST(DNxHDEncoder, EveryCodeHasItsCompressionID) {
    struct Row {
        const char (&code)[5];
        std::uint32_t identifier;
    };
    for (const Row& row :
         {Row{"dpx1", 1235}, Row{"dps8", 1237}, Row{"dpq8", 1238}, Row{"d7x1", 1250}, Row{"d7q8", 1251},
          Row{"d7s8", 1252}, Row{"dix1", 1241}, Row{"dis8", 1242}, Row{"diq8", 1243}, Row{"dihr", 1244},
          Row{"drl1", 1253}, Row{"drx1", 1256}, Row{"d7t8", 1258}, Row{"dpt8", 1259}, Row{"dit8", 1260},
          Row{"rr41", 1270}, Row{"rhqx", 1271}, Row{"hrhq", 1272}, Row{"hrsq", 1273}, Row{"hrlb", 1274},
          Row{"avc1", 0}}) {
        EXPECT_EQ(ZQRDNxHDEncoder::compressionIdForCodecFourCC(fourCC(row.code)), row.identifier) << row.code;
    }
}

TEST(DNxHDEncoder, TenBitPicturesOfDNxHDLeaveTheFieldsOfDNxHREmpty) {
    const auto encoder = encoderFor(recording(fourCC("d7x1"), 1280, 720), 10, 3456);
    ASSERT_TRUE(encoder);
    EXPECT_FALSE(encoder->isRGB());
    const auto& p = encoder->encodeParameters();
    EXPECT_EQ(p.structureSize, 64U);
    EXPECT_EQ(p.width, 1280U);
    EXPECT_EQ(p.height, 720U);
    EXPECT_EQ(p.compressionID, 1250U);
    EXPECT_EQ(p.colorFormat, 1);
    EXPECT_EQ(p.chromaSampling + p.colorVolume + p.bitDepth + p.pixelAspectWidth + p.pixelAspectHeight, 0);
    EXPECT_EQ(p.inputDepth, 1024U);
    EXPECT_EQ(p.scanType, 64);
    EXPECT_EQ(p.sourceRowBytes, 3456U);
    EXPECT_EQ(p.threadCount, std::max(std::thread::hardware_concurrency(), 1U));
    EXPECT_EQ(encoder->state(), ZQRVideoEncoderStateReady);
}

TEST(DNxHDEncoder, RGBPicturesOfDNxHRSetThem) {
    const auto encoder = encoderFor(recording(fourCC("rr41")), 8, 1280);
    ASSERT_TRUE(encoder);
    EXPECT_TRUE(encoder->isRGB());
    const auto& p = encoder->encodeParameters();
    EXPECT_EQ(p.colorFormat, 2);
    EXPECT_EQ(p.chromaSampling, 2);
    EXPECT_EQ(p.colorVolume, 1);
    EXPECT_EQ(p.bitDepth, 8);
    EXPECT_EQ(p.pixelAspectWidth, 1);
    EXPECT_EQ(p.pixelAspectHeight, 1);
    EXPECT_EQ(p.inputDepth, 1U);
}

TEST(DNxHDEncoder, InterlacedRecordingsAskForInterlacedFrames) {
    const auto properties = recording(fourCC("diq8"), 1920, 1080);
    properties->setScanMode(1);
    const auto encoder = encoderFor(properties, 8, 3840);
    ASSERT_TRUE(encoder);
    EXPECT_EQ(encoder->encodeParameters().scanType, 1);
}

TEST(DNxHDEncoder, AFrameHasItsPictureAndCompanionsBeforeTheCallReturns) {
    LogEar ear;
    std::vector<ZQRFramePtr> delivered;
    const auto properties = recording(fourCC("hrhq"));
    // The preset's mapping is not for this encoder: the sound goes on as it came.
    const auto encoder = encoderFor(properties, 8, 640, &delivered);
    ASSERT_TRUE(encoder);
    EXPECT_EQ(ear.count("ZQRDNxHDEncoder using API version: "), 1);
    for (int n = 0; n < 3; ++n) {
        const auto given = frame(n);
        given->captions = n != 1;
        const auto packet = ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            ZQData::copying(std::vector<std::uint8_t>{0x80, 0x80}), 0);
        given->packets = {packet};
        ASSERT_TRUE(encoder->encodeFrame(given));
        ASSERT_EQ(delivered.size(), static_cast<std::size_t>(n) + 1);
        EXPECT_EQ(delivered.back(), given);
        const auto store = storeOf(*given, "A");
        ASSERT_TRUE(store);
        EXPECT_EQ(store->type(), 0U);
        EXPECT_EQ(store->frameType(), ZQRFrameTypeStandalone);
        EXPECT_EQ(store->rawData()->size(), 32768U)
            << "20 by 15 macroblocks of 28672/255 bytes, in whole pages";
        EXPECT_EQ(store->audioData(), given->audio);
        EXPECT_EQ(store->timecode(), given->timecode);
        EXPECT_EQ(store->closedCaptionData() != nullptr, n != 1);
        EXPECT_EQ(store->decodeTimestamp(), 1000 * n);
        EXPECT_EQ(store->displayTimestamp(), 1000 * n);
    }
    EXPECT_NE(storeOf(*delivered[0], "A")->rawData(), storeOf(*delivered[1], "A")->rawData());
    encoder->finishEncoding();
    EXPECT_EQ(encoder->state(), ZQRVideoEncoderStateFinished);
}

TEST(DNxHDEncoder, EngineFailuresKeepTheirCodeAndText) {
    std::vector<ZQRFramePtr> delivered;
    const auto encoder = encoderFor(recording(fourCC("hrhq")), 8, 640, &delivered);
    ASSERT_TRUE(encoder);
    ZQErrorPtr error;
    const auto small = frame(0, platform::pixelFormat2vuy, 320, 120);
    EXPECT_FALSE(encoder->encodeFrame(small, &error));
    ASSERT_TRUE(error);
    std::string text;
    platform::DNX_GetErrorString(platform::DNX_SourceTooShort, text);
    EXPECT_EQ(error->domain(), "ZQRVideoEncoderErrorDomain");
    EXPECT_EQ(error->code(), platform::DNX_SourceTooShort);
    EXPECT_EQ(error->localizedDescription(), text);
    EXPECT_EQ(error->userInterfaceDescription(), ZQError::encodingError());
    EXPECT_TRUE(delivered.empty());
    EXPECT_FALSE(storeOf(*small, "A"));
    EXPECT_FALSE(encoder->encodeFrame(std::make_shared<TestFrame>(), &error)) << "no picture";
    EXPECT_TRUE(encoder->encodeFrame(frame(1))) << "a failed frame leaves the encoder as it was";
}

TEST(DNxHDEncoder, ARefusingEngineGivesNoEncoderAndLogsWhy) {
    for (const auto& [code, says] : {std::pair{fourCC("drx1"), "DNxHD 444 (compression ID 1256)"},
                                     {fourCC("dit8"), "compression ID 1260"},
                                     {fourCC("d7q8"), "The picture size is not that of the DNxHD codec."},
                                     {fourCC("avc1"), "no DNxHD compression ID"}}) {
        LogEar ear;
        EXPECT_FALSE(encoderFor(recording(code), 8, 640));
        EXPECT_EQ(ear.count(says), 1) << fourCCString(code);
    }
}

}  // namespace
}  // namespace zenquor::test
