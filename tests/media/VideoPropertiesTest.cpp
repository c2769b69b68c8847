// What the properties of a recording derive from its capture preset.

#include "zenquor/media/ZQRVideoProperties.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "media/TestFrame.h"

namespace zenquor {
namespace {

struct Preset {
    FourCC codec = 0;
    std::uint32_t norm = 0;
    std::uint32_t height = 0;
    std::uint32_t framerate = 2500;
};

ZQRVideoPropertiesPtr propertiesFor(const Preset& p) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    if (p.codec != 0) preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(p.codec));
    preset->setTvNorm(p.norm);
    preset->setVideoHeight(p.height);
    preset->setFramerate(p.framerate);
    return ZQRVideoProperties::initWithCapturePreset(preset);
}

TEST(VideoProperties, SampleSizesOfFixedCodecsIgnoreTheNorm) {
    const std::pair<const char*, std::uint64_t> rows[] = {
        {"dvc ", 120000}, {"dvcp", 144000}, {"dvpp", 144000}, {"dv5n", 240000}, {"dvhp", 240000},
        {"dv5p", 288000}, {"dvhq", 288000}, {"dvh6", 480000}, {"dvh5", 576000}, {"jpeg", 25000},
        {"mx3n", 125440}, {"mx3p", 150528}, {"mx4n", 166912}, {"mx4p", 200192}, {"mx5n", 208896},
        {"mx5p", 250368}, {"AVmp", 253952}, {"ai15", 568832}, {"ai16", 472576}, {"ai55", 281088},
        {"ai56", 232960}, {"xdvc", 1},      {"avc1", 0},      {"DVC ", 0}};
    for (const auto& [code, size] : rows) {
        for (const std::uint32_t norm : {0U, 2U, 6U}) {
            EXPECT_EQ(propertiesFor({fourCCFromString(code), norm, 1080})->sampleSize(), size) << code;
        }
    }
}

TEST(VideoProperties, SampleSizesOfPictureSizedCodecsFollowNormAndHeight) {
    struct Row {
        const char* code;
        std::uint64_t norm0, norm1, hd720, hd1080, hd2160, norm5;
    };
    const Row rows[] = {{"2vuy", 829440, 699840, 1843200, 4147200, 4147200, 2000000},
                        {"v210", 1105920, 933120, 2465280, 5529600, 5529600, 2000000},
                        {"apco", 90000, 70000, 125000, 250000, 1000000, 0},
                        {"apcs", 159744, 330000, 250000, 500000, 2000000, 0},
                        {"apcn", 229376, 196608, 350000, 700000, 2800000, 0},
                        {"apch", 350000, 300000, 525000, 1050000, 1050000, 0},
                        {"ap4h", 344064, 300000, 525000, 1050000, 4200000, 0}};
    for (const Row& row : rows) {
        const FourCC code = fourCCFromString(row.code);
        EXPECT_EQ(propertiesFor({code, 0, 576})->sampleSize(), row.norm0) << row.code;
        EXPECT_EQ(propertiesFor({code, 1, 486})->sampleSize(), row.norm1) << row.code;
        for (const std::uint32_t norm : {2U, 3U}) {
            EXPECT_EQ(propertiesFor({code, norm, 720})->sampleSize(), row.hd720) << row.code;
            EXPECT_EQ(propertiesFor({code, norm, 1080})->sampleSize(), row.hd1080) << row.code;
            EXPECT_EQ(propertiesFor({code, norm, 2160})->sampleSize(), row.hd2160) << row.code;
        }
        EXPECT_EQ(propertiesFor({code, 5, 2160})->sampleSize(), row.norm5) << row.code;
    }
    // An override without an estimate keeps the size of the codec before.
    const auto properties = propertiesFor({fourCC("xdvc"), 2, 1080});
    properties->finishSetupWithCodecType(fourCC("none"));
    EXPECT_EQ(properties->sampleSize(), 1U);
    properties->finishSetupWithCodecType(fourCC("apcn"));
    EXPECT_EQ(properties->sampleSize(), 700000U);
}

TEST(VideoProperties, EachCodecBelongsToItsFamilyAndNoOther) {
    const std::vector<std::pair<std::string, std::string>> families = {
        {"2vuy v210", "U"},
        {"jpeg", "J"},
        {"ai12 ai13 ai15 ai16 ai1p ai1q ai23 ai2p ai2q ai3p ai52 ai53 ai55 ai56 ai5p ai5q ai60 ai61 ai62 "
         "ai63 ai64 "
         "ai6p ai6q ai7p",
         "A"},
        {"xv00 xv01 xv02 xv03 xv04 xv05 xv06 xv07 xv08 xv09 xv10 xv11 xv12 xv13 xv14 xv15 xv16 xv17 xv18 "
         "xv19 xv20 "
         "xv21 xv22 xv23 xv24 xv25 xv26 xv27 xa02 xa03 xa05 xa06 xalg",
         "X"},
        {"xdv2 xdv3 xdv6 xdv7 xdv8 xdv9 xdva xdvb xdvc xdvd xdve xdvf xd59 xd5a xd5b xd5c xd5d xd5e xd5f",
         "M"},
        {"apch apcn apco apcs ap4h", "P"},
        {"d7q8 d7s8 d7t8 d7x1 dihr diq8 dis8 dit8 dix1 dpq8 dps8 dpt8 dpx1 drl1 drx1 hrhq hrlb hrsq rhqx "
         "rr41",
         "D"},
        {"avc1 hvc1 xv28 xdv1 xdv4 ai14 ap4x dvh5", ""}};
    for (const auto& [codes, family] : families) {
        for (std::size_t at = 0; at < codes.size(); at += 5) {
            const auto p = propertiesFor({fourCCFromString(codes.substr(at, 4)), 2, 1080});
            std::string found;
            if (p->wantsUncompressedEncoding()) found += 'U';
            if (p->wantsPhotoJPEGEncoding()) found += 'J';
            if (p->wantsAVCIntraEncoding()) found += 'A';
            if (p->wantsXAVCEncoding()) found += 'X';
            if (p->wantsXDCAMEncoding()) found += 'M';
            if (p->wantsProResEncoding()) found += 'P';
            if (p->wantsDNxHDEncoding()) found += 'D';
            EXPECT_EQ(found, family) << codes.substr(at, 4);
        }
    }
}

TEST(VideoProperties, FrameRatesBecomeRationals) {
    struct Row {
        std::uint32_t rate;
        std::int32_t numerator, denominator;
        bool dropping;
    };
    const Row rows[] = {{2398, 24000, 1000, false}, {2400, 24000, 1000, false}, {2500, 25000, 1000, false},
                        {2997, 30000, 1001, true},  {3000, 30000, 1000, false}, {5000, 50000, 1000, false},
                        {5994, 60000, 1001, true},  {6000, 60000, 1000, false}, {1234, 0, 1000, false}};
    for (const Row& row : rows) {
        const auto p = propertiesFor({0, 2, 1080, row.rate});
        EXPECT_EQ(p->framerateNumerator(), row.numerator) << row.rate;
        EXPECT_EQ(p->framerateDenominator(), row.denominator) << row.rate;
        EXPECT_EQ(p->dropping(), row.dropping) << row.rate;
        EXPECT_DOUBLE_EQ(p->editRate(), row.numerator / static_cast<double>(row.denominator)) << row.rate;
    }
}

TEST(VideoProperties, TheNativeSizeOverridesThePresetAndItsNorm) {
    struct Row {
        std::uint64_t native;
        std::uint32_t rate, norm;
    };
    const Row rows[] = {{486, 2997, 1},  {576, 2500, 0},  {720, 5000, 2},  {720, 5994, 3},
                        {1080, 2500, 2}, {1080, 2398, 3}, {2160, 5000, 5}, {2160, 2997, 6},
                        {4320, 2500, 7}, {4320, 6000, 8}, {0, 2500, 9},    {540, 2500, 9}};
    for (const Row& row : rows) {
        const auto p = propertiesFor({0, 9, 1080, row.rate});
        p->setNativeVideoHeight(row.native);
        EXPECT_EQ(p->tvNormForNative(), row.norm) << row.native << " at " << row.rate;
        EXPECT_EQ(p->nativeVideoHeight(), row.native == 0 ? 1080 : row.native);
    }
}

TEST(VideoProperties, KnownPictureSizesHaveAnApertureAndAnAspect) {
    struct Row {
        std::uint64_t width, height;
        bool wide;
        double cleanWidth, cleanHeight;
        std::uint32_t horizontal, vertical;
    };
    const Row rows[] = {{288, 243, false, 288, 240, 10, 9},   {288, 243, true, 288, 240, 40, 27},
                        {352, 243, false, 352, 240, 10, 11},  {352, 243, true, 352, 240, 40, 33},
                        {352, 288, false, 352, 288, 59, 54},  {352, 288, true, 352, 288, 118, 81},
                        {720, 480, false, 704, 480, 10, 11},  {720, 480, true, 704, 480, 40, 33},
                        {720, 486, false, 704, 486, 10, 11},  {720, 486, true, 704, 486, 40, 33},
                        {720, 576, false, 702, 576, 59, 54},  {720, 576, true, 702, 576, 118, 81},
                        {960, 540, true, 960, 540, 1, 1},     {960, 540, false, 0, 0, 1, 1},
                        {960, 720, false, 960, 720, 4, 3},    {960, 720, true, 0, 0, 1, 1},
                        {1280, 720, true, 1280, 720, 1, 1},   {1280, 1080, true, 1280, 1080, 3, 2},
                        {1440, 1080, true, 1440, 1080, 4, 3}, {1920, 1080, true, 1920, 1080, 1, 1},
                        {3840, 2160, true, 3840, 2160, 1, 1}, {1024, 576, true, 0, 0, 1, 1},
                        {65536 + 720, 576, true, 0, 0, 1, 1}};
    for (const Row& row : rows) {
        using P = ZQRVideoProperties;
        const platform::CleanAperture aperture{row.cleanWidth, row.cleanHeight, 0, 0};
        const platform::PixelAspectRatio aspect{row.horizontal, row.vertical};
        EXPECT_EQ(P::cleanApertureForVideoWidth(row.width, row.height, row.wide), aperture) << row.width;
        EXPECT_EQ(P::pixelAspectRatioForVideoWidth(row.width, row.height, row.wide), aspect) << row.width;
    }
}

TEST(VideoProperties, TheDescriptionNamesSizeAspectRateAndCodec) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(720);
    preset->setVideoHeight(486);
    preset->setFramerate(2997);
    preset->setAspectRatio(1);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(fourCC("apcn"), "My codec"));
    EXPECT_EQ(ZQRVideoProperties::initWithCapturePreset(preset)->videoPropertiesString(),
              "720x486, 4:3, 29.97 fps, My codec");
    EXPECT_EQ(ZQRVideoProperties::initWithCapturePreset(nullptr)->videoPropertiesString(),
              "0x0, 16:9, 0.00 fps, (null)");
}

std::shared_ptr<TestFrame> stereoFrame(std::initializer_list<std::uint8_t> bytes,
                                       std::uint32_t bytesPerSample) {
    auto frame = std::make_shared<TestFrame>();
    frame->audio = ZQData::copying(std::vector<std::uint8_t>(bytes));
    frame->bytesPerFrame = 2 * bytesPerSample;
    frame->channels = 2;
    return frame;
}

TEST(VideoProperties, AudioIsMappedAsThePresetSaysAndOtherwiseShared) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    const auto frame = stereoFrame({1, 2, 3, 4, 5, 6, 7, 8}, 2);
    const auto plain = ZQRVideoProperties::initWithCapturePreset(preset);
    EXPECT_EQ(plain->audioDataForFrame(frame)->data(), frame->audio->data());
    EXPECT_FALSE(plain->audioDataForFrame(nullptr));

    preset->setAudioMapping(std::vector<std::int32_t>{1, 0});
    const auto swapping = ZQRVideoProperties::initWithCapturePreset(preset);
    EXPECT_FALSE(swapping->audioDataForFrame(std::make_shared<TestFrame>()));
    const auto swapped = ZQData::copying(std::vector<std::uint8_t>{3, 4, 1, 2, 7, 8, 5, 6});
    EXPECT_EQ(swapping->audioDataForFrame(frame), swapped);
    // The layout of the first frame with audio is kept: 16-bit samples, although this frame says 8-bit.
    EXPECT_EQ(swapping->audioDataForFrame(stereoFrame({1, 2, 3, 4, 5, 6, 7, 8}, 1)), swapped);
}

TEST(VideoProperties, AMappingThatMovesNothingSharesTheFramesAudio) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setAudioMapping(std::vector<std::int32_t>{0, 1});
    const auto frame = stereoFrame({1, 2, 3, 4}, 2);
    const auto audio = ZQRVideoProperties::initWithCapturePreset(preset)->audioDataForFrame(frame);
    EXPECT_EQ(audio->data(), frame->audio->data());
}

TEST(VideoProperties, SeveralEncodersMayAskForTheirFirstAudioAtOnce) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setAudioMapping(std::vector<std::int32_t>{1, 0});
    for (int round = 0; round < 20; ++round) {
        const auto properties = ZQRVideoProperties::initWithCapturePreset(preset);
        const auto frame = stereoFrame({1, 2, 3, 4}, 2);
        const auto ask = [&] { return properties->audioDataForFrame(frame); };
        auto other = std::async(std::launch::async, ask);
        EXPECT_EQ(ask(), other.get());
    }
}

}  // namespace
}  // namespace zenquor
