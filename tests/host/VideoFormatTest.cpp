// Format names as people write them.
#include "zenquor/host/ZHLVideoFormat.h"

#include <gtest/gtest.h>

#include "zenquor/host/ZHLIngestCapturePreset.h"

namespace zenquor {
namespace {

TEST(VideoFormat, EveryNameInUseFindsItsFormat) {
    struct Case {
        const char *given, *name;
        std::uint32_t width, height, norm, framerate;
        bool interlaced;
    };
    const Case cases[] = {
        {"1080i50", "1080i50", 1920, 1080, 2, 2500, true},
        {"1080i25", "1080i50", 1920, 1080, 2, 2500, true},
        {"1080I59.94", "1080i5994", 1920, 1080, 3, 2997, true},
        {"1080i2997", "1080i5994", 1920, 1080, 3, 2997, true},
        {"1080i60", "1080i60", 1920, 1080, 3, 3000, true},
        {"1080p25", "1080p25", 1920, 1080, 2, 2500, false},
        {"1080p50", "1080p50", 1920, 1080, 2, 5000, false},
        {"1080p23.976", "1080p2398", 1920, 1080, 3, 2398, false},
        {"720p5994", "720p5994", 1280, 720, 3, 5994, false},
        {"625i50", "625i50", 720, 576, 0, 2500, true},
        {"576i25", "625i50", 720, 576, 0, 2500, true},
        {"525i5994", "525i5994", 720, 486, 1, 2997, true},
        {"2160p25", "2160p25", 3840, 2160, 5, 2500, false},
        {"2160p5994", "2160p5994", 3840, 2160, 6, 5994, false},
        {"4320p50", "4320p50", 7680, 4320, 7, 5000, false},
    };
    for (const Case& c : cases) {
        const auto format = ZHLVideoFormat::formatNamed(c.given);
        ASSERT_TRUE(format) << c.given;
        EXPECT_EQ(format->name, c.name) << c.given;
        EXPECT_EQ(format->width, c.width) << c.given;
        EXPECT_EQ(format->height, c.height) << c.given;
        EXPECT_EQ(format->tvNorm, c.norm) << c.given;
        EXPECT_EQ(format->framerate, c.framerate) << c.given;
        EXPECT_EQ(format->interlaced, c.interlaced) << c.given;
    }
}

TEST(VideoFormat, WhatIsNoFormatFindsNothing) {
    for (const char* name :
         {"", "p", "1080", "1080p", "p25", "1080i5", "1080p2.5", "1080p26", "1080i24", "1081p25", "1080p-25",
          "720i50", "1080p25x", "1080i6001", "99999999999999p25", "1080p99999999999999"}) {
        EXPECT_FALSE(ZHLVideoFormat::formatNamed(name)) << name;
    }
}

TEST(VideoFormat, EveryFormatIsFoundByItsOwnNameAndHasTheNormOfItsHeightAndRate) {
    for (const ZHLVideoFormat& format : ZHLVideoFormat::allFormats()) {
        const auto found = ZHLVideoFormat::formatNamed(format.name);
        ASSERT_TRUE(found) << format.name;
        EXPECT_EQ(found->name, format.name);
        const std::uint32_t others = format.framerate == 2500 || format.framerate == 5000 ? 0 : 1;
        const std::uint32_t norm = format.height == 576    ? 0
                                   : format.height == 486  ? 1
                                   : format.height <= 1080 ? 2 + others
                                   : format.height == 2160 ? 5 + others
                                                           : 7 + others;
        EXPECT_EQ(format.tvNorm, norm) << format.name;
    }
}

TEST(CapturePreset, AFormatNameFillsThePicturePartAndAnUnknownOneGivesNoPreset) {
    const auto preset = ZHLIngestCapturePreset::capturePresetWithFormatNamed("625i50", fourCC("dvcp"));
    ASSERT_TRUE(preset);
    EXPECT_EQ(preset->videoWidth(), 720U);
    EXPECT_EQ(preset->videoHeight(), 576U);
    EXPECT_EQ(preset->tvNorm(), 0U);
    EXPECT_EQ(preset->framerate(), 2500U);
    EXPECT_NE(preset->aspectRatio(), 0U);
    EXPECT_EQ(preset->compressionComponent()->name(), "DV - PAL");
    EXPECT_FALSE(preset->audioMapping());
    EXPECT_FALSE(ZHLIngestCapturePreset::capturePresetWithFormatNamed("625i51", fourCC("dvcp")));
}

}  // namespace
}  // namespace zenquor
