// What the engine is told of a recording: codec table, stream formats, picture types, time stamps, D-10 samples.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "zenquor/writers/detail/IMXPicture.h"
#include "zenquor/writers/detail/MXFCodecTable.h"
#include "zenquor/writers/detail/MXFStreamFormats.h"
#include "zenquor/writers/detail/RecordingPath.h"

namespace zenquor::detail {
namespace {

using Bytes = std::vector<std::uint8_t>;

ZQRVideoPropertiesPtr video(const char* codec, std::uint64_t width, std::uint64_t height,
                            std::uint32_t framerate = 2500, std::uint32_t norm = 2, bool wide = true) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(width);
    preset->setVideoHeight(height);
    preset->setFramerate(framerate);
    preset->setTvNorm(norm);
    preset->setAspectRatio(wide ? 0 : 1);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(fourCCFromString(codec)));
    return ZQRVideoProperties::initWithCapturePreset(preset);
}

ZQRAudioPropertiesPtr audio(std::uint64_t bits, std::uint64_t native, std::uint64_t selected) {
    auto properties = ZQRAudioProperties::initWithBitRate(bits, bits == 16 ? 2 : 4, 48000, selected);
    properties->setNativeChannelCount(native);
    properties->setAudioFormatFlagIsSignedInteger(true);
    properties->setAudioFormatFlagIsAlignedHigh(bits == 24);
    return properties;
}

MXFCodec codec(const char* code) {
    return mxfCodecForComponent(fourCCFromString(code)).value();
}

TEST(MXFCodecTable, EveryCodeHasItsProfileAndEssence) {
    struct Row {
        const char* codes;  // "." stands for a space
        std::int32_t wrappingKind;
        std::int32_t essenceType;
        bool isXDCAMHD = false;
    };
    const Row rows[] = {
        {"mx3n mx3p mx4n mx4p mx5n mx5p", 1, 2},
        {"xdv2 xdv3 xdv6 xdv7 xdv8", 2, 2, true},
        {"xdv9 xdva xdvb xdvc xdvd xdve xdvf xd59 xd5a xd5b xd5c xd5d xd5e xd5f", 2, 2},
        {"dvc. dvcp", 3, 35},
        {"dvpp", 3, 36},
        {"dv5n dv5p", 3, 37},
        {"dvh5 dvh6 dvhp dvhq", 3, 38},
        {"ai12 ai13 ai15 ai16 ai1p ai1q ai23 ai2p ai2q ai3p ai62 ai64", 3, 30},
        {"ai52 ai53 ai55 ai56 ai5p ai5q ai60 ai61 ai63 ai6p ai6q ai7p", 3, 29},
        {"xv00 xv01 xv02 xv03 xv04 xv05 xv06 xalg", 7, 34},
        {"xv07 xv08 xv09 xv10 xv11 xv12 xv13", 8, 29},
        {"xv14 xv15 xv16 xv17 xv18 xv19 xv20", 8, 30},
        {"xv21 xv22 xv23 xv24 xv25 xv26 xv27", 8, 31},
        {"xa02 xa03 xa05 xa06", 8, 32},
        {"d7q8 d7s8 d7t8 d7x1 diq8 dis8 dit8 dix1 dihr dpq8 dps8 dpt8 dpx1 drl1 drx1 hrsq hrhq hrlb rhqx "
         "rr41",
         9, 39},
        {"apch apcn apco apcs ap4h", 16, 48},
    };
    const std::map<std::string, std::uint32_t> frameSizes = {{"mx3n", 125125}, {"mx3p", 150000},
                                                             {"mx4n", 166832}, {"mx4p", 200000},
                                                             {"mx5n", 208540}, {"mx5p", 250000}};
    std::set<FourCC> listed;
    for (const Row& row : rows) {
        std::istringstream codes(row.codes);
        for (std::string code; codes >> code;) {
            std::replace(code.begin(), code.end(), '.', ' ');
            const auto found = mxfCodecForComponent(fourCCFromString(code));
            ASSERT_TRUE(found) << code;
            EXPECT_EQ(found->wrappingKind, row.wrappingKind) << code;
            EXPECT_EQ(found->essenceType, row.essenceType) << code;
            EXPECT_EQ(found->isXDCAMHD, row.isXDCAMHD) << code;
            const auto size = frameSizes.find(code);
            EXPECT_EQ(found->imxFrameSize, size == frameSizes.end() ? 0 : size->second) << code;
            EXPECT_EQ(componentIsQuickTimeIMX(fourCCFromString(code)), size != frameSizes.end()) << code;
            listed.insert(fourCCFromString(code));
        }
    }
    // Nothing else goes into MXF.
    for (const auto& component : ZHLCompressionComponent::knownComponents()) {
        EXPECT_EQ(mxfCodecForComponent(component.code).has_value(), listed.count(component.code) == 1)
            << fourCCString(component.code);
    }
    EXPECT_FALSE(mxfCodecForComponent(fourCC("avc1")));
    EXPECT_FALSE(componentIsQuickTimeIMX(fourCC("avc1")));
}

TEST(MXFCodecTable, PictureTypesBecomeTheEnginesFlags) {
    const std::uint64_t flags[] = {4, 0, 4, 8, 16, 0, 0};
    for (std::uint32_t type = 0; type < 7; ++type)
        EXPECT_EQ(mxfSampleFlagsForFrameType(type), flags[type]) << type;
    EXPECT_EQ(mxfSampleFlagsForFrameType(UINT32_MAX), 0u);
}

TEST(MXFStreamFormats, TheWrittenSizeFollowsCodecAndProcess) {
    struct Row {
        const char* code;
        std::uint64_t width, height;
        std::uint32_t norm;
        bool xdcamHD;
        std::uint32_t expectedWidth, expectedHeight;
    };
    const Row rows[] = {
        {"apch", 1920, 1080, 2, false, 1920, 1080}, {"apch", 1920, 1080, 2, true, 1440, 1080},
        {"xdv2", 1920, 1080, 2, true, 1440, 1080},  {"ai55", 1920, 1080, 2, false, 1440, 1080},
        {"ai15", 1920, 1080, 2, false, 1440, 1080}, {"ai15", 1280, 720, 2, true, 960, 720},
        {"xv14", 1920, 1080, 2, false, 1440, 1080}, {"xv14", 3840, 2160, 5, false, 3840, 2160},
        {"xv14", 3840, 2160, 5, true, 1440, 2160},  {"xv21", 1920, 1080, 2, false, 1920, 1080},
        {"mx5p", 720, 576, 0, true, 720, 608},      {"mx5n", 720, 486, 1, true, 720, 512},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.code) + (row.xdcamHD ? " after XDCAM HD" : ""));
        const auto format = mxfVideoFormat(*video(row.code, row.width, row.height, 2500, row.norm),
                                           codec(row.code), row.xdcamHD);
        EXPECT_EQ(format.width, row.expectedWidth);
        EXPECT_EQ(format.height, row.expectedHeight);
    }
}

TEST(MXFStreamFormats, PicturesTellRateFieldsAndAspect) {
    const auto properties = video("apch", 1920, 1080, 2997);
    properties->setScanMode(2);
    auto format = mxfVideoFormat(*properties, codec("apch"), false);
    EXPECT_EQ(format.streamKind, 1);
    EXPECT_EQ(format.codec, 48);
    EXPECT_NEAR(format.editRate, 29.97, 0.001);
    EXPECT_EQ(format.frameRate, format.editRate);
    EXPECT_TRUE(format.isInterlaced);
    EXPECT_TRUE(format.isFrameWrapped);
    EXPECT_EQ(format.aspectX, 16u);
    EXPECT_EQ(format.aspectY, 9u);
    format = mxfVideoFormat(*video("mx5p", 720, 576, 2500, 0, false), codec("mx5p"), false);
    EXPECT_FALSE(format.isInterlaced);
    EXPECT_EQ(format.aspectX, 4u);
    EXPECT_EQ(format.aspectY, 3u);
    format = mxfVideoFormat(*properties, codec("xd5b"), false);
    EXPECT_EQ(format.aspectX, 0u) << "the essence says it";
    EXPECT_EQ(format.aspectY, 0u);
    format = mxfCaptionsFormat(*properties);
    EXPECT_EQ(format.streamKind, 5);
    EXPECT_EQ(format.codec, 4097);
    EXPECT_NEAR(format.editRate, 29.97, 0.001);
}

TEST(MXFStreamFormats, SoundIsCodedAndCountedAsTheProfileWants) {
    struct Row {
        const char* code;
        std::uint64_t bits, native, selected;
        std::int32_t codec;
        std::uint32_t sampleBytes, bytesPerSecond, channels, streams, flags, frameBytes;
    };
    const Row rows[] = {
        {"xd5b", 16, 8, 8, 146, 2, 96000, 1, 8, 0x24, 2},
        {"xd5b", 24, 8, 8, 146, 3, 144000, 1, 8, 0x2C, 3},
        {"ai55", 24, 8, 2, 146, 3, 144000, 1, 2, 0x2C, 3},
        {"xalg", 16, 4, 4, 146, 2, 96000, 1, 4, 0x24, 2},
        {"xv21", 24, 8, 8, 0, 3, 144000, 1, 8, 0x2C, 3},
        {"dix1", 16, 2, 8, 146, 2, 96000, 1, 2, 0x24, 2},
        {"apch", 24, 16, 16, 146, 3, 144000, 1, 16, 0x2C, 3},
        {"mx5p", 16, 8, 8, 147, 2, 96000, 8, 1, 0x04, 16},
        {"mx5p", 24, 4, 4, 147, 3, 144000, 4, 1, 0x0C, 12},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.code) + " " + std::to_string(row.bits));
        const auto properties = audio(row.bits, row.native, row.selected);
        const auto format = mxfAudioFormat(*video(row.code, 1920, 1080), *properties, codec(row.code));
        EXPECT_EQ(format.streamKind, 2);
        EXPECT_EQ(format.codec, row.codec);
        EXPECT_EQ(format.editRate, 25);
        EXPECT_EQ(format.sampleRate, 48000);
        EXPECT_EQ(format.bitsPerSample, row.bits);
        EXPECT_EQ(format.bytesPerSample, row.sampleBytes);
        EXPECT_EQ(format.bytesPerSecond, row.bytesPerSecond);
        EXPECT_EQ(format.channelCount, row.channels);
        EXPECT_EQ(mxfAudioStreamCount(properties.get(), codec(row.code)), row.streams);
        EXPECT_EQ(inputAudioStreamBasicDescription(properties.get()),
                  properties->audioStreamBasicDescription());
        auto expected = properties->audioStreamBasicDescription();
        expected.formatFlags = row.flags;
        expected.bytesPerFrame = expected.bytesPerPacket = row.frameBytes;
        EXPECT_EQ(outputAudioStreamBasicDescription(properties.get(), codec(row.code)), expected);
    }
    EXPECT_EQ(mxfAudioStreamCount(nullptr, codec("apch")), 0u);
    EXPECT_EQ(inputAudioStreamBasicDescription(nullptr), platform::AudioStreamBasicDescription());
    EXPECT_EQ(outputAudioStreamBasicDescription(nullptr, codec("apch")),
              platform::AudioStreamBasicDescription());
}

TEST(MXFStreamFormats, TimeStampsGrowByRoundedTicksAndHalfATick) {
    EXPECT_EQ(mxfTimeStamp(0, 25), 0);
    EXPECT_EQ(mxfTimeStamp(1, 25), 1080000);
    EXPECT_EQ(mxfTimeStamp(2, 25), 2160001);
    EXPECT_EQ(mxfTimeStamp(3, 25), 3240001);
    EXPECT_EQ(mxfTimeStamp(4, 50), 2160002);
    EXPECT_EQ(mxfTimeStamp(1, 30000.0 / 1001), 900900);
    EXPECT_EQ(mxfTimeStamp(90000, 25), 90000 * std::int64_t{1080000} + 45000);
    EXPECT_EQ(mxfTimeStamp(7, 0), 0);
}

TEST(IMXPicture, StandsBehindTheHeaderOfTheSample) {
    Bytes sample(20 + 600);
    for (std::size_t i = 20; i < sample.size(); ++i) sample[i] = static_cast<std::uint8_t>(i);
    const Bytes length = {0x83, 0x00, 0x02, 0x01};  // three bytes follow: 513
    std::copy(length.begin(), length.end(), sample.begin() + 16);
    EXPECT_EQ(imxPicture(sample, 500).data(), sample.data() + 20);
    EXPECT_EQ(imxPicture(sample, 500).size(), 500u);
    EXPECT_EQ(imxPicture(sample, 0).size(), 513u);
    EXPECT_EQ(imxPicture(sample, 150000).size(), 600u) << "no more than there is";
    for (std::size_t size : {0, 3, 19, 20})
        EXPECT_TRUE(imxPicture(std::span(sample).first(size), 500).empty());
}

TEST(IMXPicture, SaysWideScreenInItsFirstSequenceHeader) {
    const Bytes header = {0x00, 0x00, 0x01, 0xB3, 0x2D, 0x02, 0x40, 0x23, 0x30, 0xD4};  // 720 x 576, 4:3, 25
    Bytes sample(20, 0);
    sample.insert(sample.end(), header.begin(), header.end());
    sample.insert(sample.end(), header.begin(), header.end());
    Bytes expected = sample;
    expected[27] = 0x33;
    EXPECT_TRUE(setWideAspectRatio(sample));
    EXPECT_EQ(sample, expected);
    for (std::size_t size : {0, 3, 24, 27}) EXPECT_FALSE(setWideAspectRatio(std::span(sample).first(size)));
    EXPECT_TRUE(setWideAspectRatio(std::span(sample).first(28)));
}

TEST(RecordingPath, HasOneExtensionAndTheTimecodeWhereItIsAskedFor) {
    EXPECT_EQ(recordingPath("/a/clip", ".mxf", "10-00-00-00"), "/a/clip.mxf");
    EXPECT_EQ(recordingPath("/a/clip.MXF", ".mxf", "10-00-00-00"), "/a/clip.mxf");
    EXPECT_EQ(recordingPath("clip.mov", ".mxf", ""), "clip.mov.mxf");
    EXPECT_EQ(recordingPath("c <StartTimecode>.mxf", ".mxf", "10-00-00-00"), "c 10-00-00-00.mxf");
}

}  // namespace
}  // namespace zenquor::detail
