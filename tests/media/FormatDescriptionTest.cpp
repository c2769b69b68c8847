// Format descriptions, colour tags, default settings and frame durations.

#include <gtest/gtest.h>

#include "media/LogCapture.h"
#include "media/TestFrame.h"
#include "zenquor/media/ZQRAVFoundationDefaults.h"
#include "zenquor/media/ZQRAVFoundationMediaFormatDescriptionHelper.h"
#include "zenquor/media/ZQRCMVideoUtilities.h"

namespace zenquor {
namespace {

using Helper = ZQRAVFoundationMediaFormatDescriptionHelper;
using platform::ColorPrimaries;
using platform::TransferFunction;
using platform::YCbCrMatrix;

ZQRVideoPropertiesPtr propertiesFor(std::uint64_t width, std::uint64_t height, std::uint32_t norm,
                                    FourCC codec) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(width);
    preset->setVideoHeight(height);
    preset->setTvNorm(norm);
    preset->setFramerate(norm == 1 ? 2997 : 2500);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(codec, "Codec"));
    return ZQRVideoProperties::initWithCapturePreset(preset);
}

TEST(FormatDescriptions, VideoCarriesGeometryAndTheFixedExtensions) {
    struct Row {
        std::uint64_t width, height;
        platform::CleanAperture aperture;
        platform::PixelAspectRatio aspect;
    };
    const Row rows[] = {{1920, 1080, {1888, 1062}, {1, 1}},
                        {1920, 1200, {1888, 1062}, {1, 1}},
                        {1280, 720, {1280, 720}, {3, 2}},
                        {1440, 1080, {1440, 1080}, {4, 3}},
                        {720, 576, {720, 576}, {1, 1}}};
    for (const Row& row : rows) {
        const auto description = Helper::createVideoFormatDescriptionWithVideoProperties(
            propertiesFor(row.width, row.height, 2, fourCC("apcn")));
        ASSERT_TRUE(description && description->videoFormat());
        const auto& video = *description->videoFormat();
        EXPECT_EQ(description->mediaSubType(), fourCC("apcn"));
        EXPECT_EQ(video.width, row.width);
        EXPECT_EQ(video.height, row.height);
        EXPECT_EQ(video.cleanAperture, row.aperture) << row.width;
        EXPECT_EQ(video.pixelAspectRatio, row.aspect) << row.width;
        EXPECT_EQ(video.vendor, fourCC("appl"));
        EXPECT_EQ(video.fieldCount, 2U);
        EXPECT_EQ(video.fieldDetail, platform::FieldDetail::SpatialFirstLineEarly);
        EXPECT_EQ(video.temporalQuality, 512U);
        EXPECT_EQ(video.spatialQuality, 512U);
        EXPECT_EQ(video.depth, 24U);
        EXPECT_EQ(video.version, 1U);
        EXPECT_EQ(video.formatName, "Codec");
        EXPECT_EQ(video.recordedCode, 0U);
    }
}

TEST(FormatDescriptions, XDCAMIsDescribedAsMPEG2AndKeepsItsCode) {
    const auto description =
        Helper::createVideoFormatDescriptionWithVideoProperties(propertiesFor(1920, 1080, 2, fourCC("xd5b")));
    EXPECT_EQ(description->mediaSubType(), fourCC("mp2v"));
    EXPECT_EQ(description->videoFormat()->recordedCode, fourCC("xd5b"));
}

TEST(FormatDescriptions, WhatCannotBeDescribedIsLoggedWithItsStatus) {
    LogCapture log(ZLGLevel::Error);
    EXPECT_FALSE(Helper::createVideoFormatDescriptionWithVideoProperties(nullptr));
    EXPECT_FALSE(
        Helper::createVideoFormatDescriptionWithVideoProperties(propertiesFor(0, 0, 2, fourCC("apcn"))));
    EXPECT_FALSE(Helper::createTimecodeFormatDescriptionWithReelID("R", 1000, 0, 0, 2));
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 3U);
    for (const auto& line : lines) EXPECT_NE(line.second.find("-50"), std::string::npos) << line.second;
}

TEST(FormatDescriptions, ColourOfARecordingFollowsNormAndNativeHeight) {
    struct Row {
        std::uint64_t height;
        std::uint32_t norm;
        ColorPrimaries primaries;
        YCbCrMatrix matrix;
        std::optional<TransferFunction> transfer;
    };
    const Row rows[] = {
        {576, 0, ColorPrimaries::EBU_3213, YCbCrMatrix::ITU_R_601_4, std::nullopt},
        {486, 1, ColorPrimaries::SMPTE_C, YCbCrMatrix::ITU_R_601_4, std::nullopt},
        {719, 2, ColorPrimaries::ITU_R_709_2, YCbCrMatrix::ITU_R_601_4, std::nullopt},
        {720, 2, ColorPrimaries::ITU_R_709_2, YCbCrMatrix::ITU_R_709_2, TransferFunction::ITU_R_709_2},
        {1080, 3, ColorPrimaries::ITU_R_709_2, YCbCrMatrix::ITU_R_709_2, TransferFunction::ITU_R_709_2},
        {1081, 3, ColorPrimaries::ITU_R_2020, YCbCrMatrix::ITU_R_2020, TransferFunction::ITU_R_2020},
        {2160, 5, ColorPrimaries::ITU_R_2020, YCbCrMatrix::ITU_R_2020, TransferFunction::ITU_R_2020}};
    for (const Row& row : rows) {
        const auto p = propertiesFor(1000, row.height, row.norm, fourCC("v210"));
        EXPECT_EQ(Helper::colorPrimariesForVideoProperties(p), row.primaries) << row.height;
        EXPECT_EQ(Helper::yCbCrMatrixForVideoProperties(p), row.matrix) << row.height;
        EXPECT_EQ(Helper::transferFunctionForVideoProperties(p), row.transfer) << row.height;
    }
    // The source is UHD although the preset says HD.
    const auto p = propertiesFor(1920, 1080, 2, fourCC("apcn"));
    p->setNativeVideoHeight(2160);
    const auto description = Helper::createVideoFormatDescriptionWithVideoProperties(p);
    EXPECT_EQ(description->videoFormat()->colorPrimaries, ColorPrimaries::ITU_R_2020);
    EXPECT_EQ(description->videoFormat()->transferFunction, TransferFunction::ITU_R_2020);
    EXPECT_EQ(description->videoFormat()->yCbCrMatrix, YCbCrMatrix::ITU_R_2020);
}

TEST(FormatDescriptions, ColourOfAFrameFollowsItsIdentifierThenItsHeight) {
    struct Row {
        std::uint32_t height;
        ColorPrimaries primaries;
        YCbCrMatrix matrix;
        TransferFunction transfer;
    };
    const Row rows[] = {
        {486, ColorPrimaries::SMPTE_C, YCbCrMatrix::ITU_R_601_4, TransferFunction::SMPTE_C},
        {575, ColorPrimaries::SMPTE_C, YCbCrMatrix::ITU_R_601_4, TransferFunction::SMPTE_C},
        {576, ColorPrimaries::EBU_3213, YCbCrMatrix::ITU_R_601_4, TransferFunction::EBU_3213},
        {719, ColorPrimaries::EBU_3213, YCbCrMatrix::ITU_R_601_4, TransferFunction::EBU_3213},
        {720, ColorPrimaries::ITU_R_709_2, YCbCrMatrix::ITU_R_709_2, TransferFunction::ITU_R_709_2},
        {1080, ColorPrimaries::ITU_R_709_2, YCbCrMatrix::ITU_R_709_2, TransferFunction::ITU_R_709_2},
        {2160, ColorPrimaries::ITU_R_2020, YCbCrMatrix::ITU_R_2020, TransferFunction::ITU_R_2020}};
    auto frame = std::make_shared<TestFrame>();
    for (const Row& row : rows) {
        frame->height = row.height;
        for (const auto& identifier : {std::optional<ZQRVPID>(), std::optional(ZQRVPID::defaultVPID())}) {
            frame->payloadIdentifier = identifier;
            EXPECT_EQ(Helper::colorPrimariesForFrame(frame), row.primaries) << row.height;
            EXPECT_EQ(Helper::yCbCrMatrixForFrame(frame), row.matrix) << row.height;
            EXPECT_EQ(Helper::transferFunctionForFrame(frame), row.transfer) << row.height;
        }
    }
    // A PQ signal says nothing of its matrix.
    frame->height = 1080;
    frame->payloadIdentifier = ZQRVPID::initWithTransferCharacteristics(8, 5, false);
    EXPECT_EQ(Helper::colorPrimariesForFrame(frame), ColorPrimaries::P3_D65);
    EXPECT_EQ(Helper::transferFunctionForFrame(frame), TransferFunction::SMPTE_ST_2084_PQ);
    EXPECT_EQ(Helper::yCbCrMatrixForFrame(frame), YCbCrMatrix::ITU_R_709_2);
}

TEST(FormatDescriptions, AudioTracksTellTheirOwnChannelsAndPackedBytes) {
    for (const auto& [bits, bytes, perSample] : {std::tuple{16U, 2U, 2U}, std::tuple{24U, 4U, 3U}}) {
        const auto properties = ZQRAudioProperties::initWithBitRate(bits, bytes, 48000, 8);
        properties->setAudioFormatFlagIsSignedInteger(true);
        const auto description = Helper::createAudioFormatDescriptionWithAudioProperties(properties, 2)
                                     ->audioFormat()
                                     ->description;
        EXPECT_EQ(description.sampleRate, 48000.0);
        EXPECT_EQ(description.formatID, fourCC("lpcm"));
        EXPECT_EQ(description.formatFlags, 4U);
        EXPECT_EQ(description.bitsPerChannel, bits);
        EXPECT_EQ(description.channelsPerFrame, 2U);
        EXPECT_EQ(description.bytesPerFrame, 2 * perSample);
        EXPECT_EQ(description.bytesPerPacket, 2 * perSample);
    }
    platform::AudioStreamBasicDescription bare;
    bare.channelsPerFrame = 2;
    bare.bytesPerFrame = bare.bytesPerPacket = 6;
    EXPECT_EQ(Helper::createAudioFormatDescriptionWithAudioProperties(nullptr, 2)->audioFormat()->description,
              bare);
}

TEST(FormatDescriptions, TimecodeAndCaptionTracksTellTheirKind) {
    const auto timecode = Helper::createTimecodeFormatDescriptionWithReelID("REEL 7", 1001, 30000, 30, 3);
    ASSERT_TRUE(timecode && timecode->timecodeFormat());
    EXPECT_EQ(timecode->mediaSubType(), fourCC("tmcd"));
    EXPECT_EQ(timecode->timecodeFormat()->frameDuration.value, 1001);
    EXPECT_EQ(timecode->timecodeFormat()->frameDuration.timescale, 30000);
    EXPECT_EQ(timecode->timecodeFormat()->frameQuanta, 30U);
    EXPECT_EQ(timecode->timecodeFormat()->flags, 3U);
    EXPECT_EQ(timecode->timecodeFormat()->sourceReferenceName, "REEL 7");
    const auto captions = Helper::createClosedCaptionFormatDescriptionWithType(fourCC("c708"));
    EXPECT_EQ(captions->mediaType(), fourCC("clcp"));
    EXPECT_EQ(captions->mediaSubType(), fourCC("c708"));
}

TEST(FormatDescriptions, DefaultSettingsAreASmallPictureAndStereoSound) {
    const platform::VideoOutputSettings video{fourCC("avc1"),        480,   272,    1048576, 12,
                                              "H264_High_AutoLevel", false, "CAVLC"};
    const platform::AudioOutputSettings audio{fourCC("aac "), 2, 128000, 48000, 0x00650002};
    EXPECT_EQ(ZQRAVFoundationDefaults::h264CompressionDefaults(), video);
    EXPECT_EQ(ZQRAVFoundationDefaults::aacCompressionDefaults(), audio);
}

TEST(FormatDescriptions, FrameDurationsAreExactAndUnknownRatesInvalid) {
    const auto ntsc = ZQRCMVideoUtilities::durationForFramerate(5994);
    EXPECT_EQ(ntsc.value, 1001);
    EXPECT_EQ(ntsc.timescale, 60000);
    const auto film = ZQRCMVideoUtilities::durationForFramerate(2398);
    EXPECT_EQ(film.value, 1000);
    EXPECT_EQ(film.timescale, 24000);
    EXPECT_FALSE(ZQRCMVideoUtilities::durationForFramerate(2399).isValid());
    const auto time = ZQRCMVideoUtilities::timeValueForSampleValue(-7, ntsc);
    EXPECT_EQ(time.value, -7);
    EXPECT_EQ(time.timescale, 60000);
}

}  // namespace
}  // namespace zenquor
