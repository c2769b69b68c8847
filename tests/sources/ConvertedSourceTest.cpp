#include "zenquor/sources/ConvertedSource.h"

#include <gtest/gtest.h>

#include "zenquor/sources/BarsAndToneSource.h"

namespace zenquor {
namespace {

constexpr std::size_t pictureLimit = 2;

FrameSourcePtr bars(std::uint64_t frames) {
    SourceFormat format;
    format.width = 192;
    format.height = 64;
    BarsAndToneSource::Options options;
    options.durationFrames = frames;
    return BarsAndToneSource::sourceWithFormat(format, options);
}

TEST(ConvertedSource, GivesTheSameFramesInAnotherPixelFormat) {
    const auto plain = bars(3);
    const auto converted =
        ConvertedSource::sourceWithSource(bars(3), platform::pixelFormat32ARGB, pictureLimit);
    EXPECT_EQ(converted->format().pixelFormat, platform::pixelFormat32ARGB);
    EXPECT_EQ(converted->durationFrames(), 3U);
    for (int n = 0; n < 3; ++n) {
        const auto frame = converted->nextFrame(), same = plain->nextFrame();
        ASSERT_TRUE(frame && same);
        EXPECT_EQ(frame->videoPixelFormat(), platform::pixelFormat32ARGB);
        EXPECT_EQ(frame->videoWidth(), 192U);
        EXPECT_EQ(frame->frameTimecode(), same->frameTimecode());
        EXPECT_EQ(frame->relativeFrameTime(), same->relativeFrameTime());
        EXPECT_EQ(frame->frameAudioData(), same->frameAudioData());
        EXPECT_EQ(frame->frameStatus(), same->frameStatus());
        // The leftmost bar is white: three colours of one level.
        const auto* const pixel = frame->videoDataPointer() + 8 * 4;
        EXPECT_GT(pixel[1], 170);
        EXPECT_NEAR(pixel[1], pixel[2], 3);
        EXPECT_NEAR(pixel[2], pixel[3], 3);
    }
    EXPECT_FALSE(converted->nextFrame());
    EXPECT_FALSE(converted->error());
}

TEST(ConvertedSource, TellsWhatItCannotConvert) {
    const auto source = ConvertedSource::sourceWithSource(bars(1), fourCC("nope"), pictureLimit);
    EXPECT_FALSE(source->nextFrame());
    ASSERT_TRUE(source->error());
}

}  // namespace
}  // namespace zenquor
