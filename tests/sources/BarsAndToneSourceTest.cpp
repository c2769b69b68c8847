#include "zenquor/sources/BarsAndToneSource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <future>
#include <numbers>

#include "zenquor/sources/detail/ColorBars.h"
#include "zenquor/sources/detail/TestPicture.h"

namespace zenquor {
namespace {

using platform::pixelFormat2vuy;
using platform::pixelFormatV210;

SourceFormat formatNamed(std::string_view name, FourCC pixelFormat = pixelFormat2vuy,
                         std::uint32_t channels = 2, std::uint32_t bits = 16) {
    return SourceFormat::withVideoFormat(*ZHLVideoFormat::formatNamed(name), pixelFormat, channels, bits);
}

/// A picture of few pixels, for cases that are about anything else.
SourceFormat smallFormat(std::uint32_t framerate, std::uint32_t channels = 1, std::uint32_t bits = 16) {
    SourceFormat format;
    format.width = 192;
    format.height = 64;
    format.framerate = framerate;
    format.audioChannels = channels;
    format.audioBits = bits;
    return format;
}

/// Y, Cb and Cr of a pixel at an even position, at 10 bits.
struct Levels {
    int y, cb, cr;
    friend bool operator==(const Levels&, const Levels&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Levels& l) {
        return out << l.y << ' ' << l.cb << ' ' << l.cr;
    }
};

Levels levelsAt(const ZQRFrame& frame, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* const row = frame.videoDataPointer() + y * frame.videoRowBytes();
    if (frame.videoPixelFormat() == pixelFormat2vuy) return {row[x * 2 + 1], row[x * 2], row[x * 2 + 2]};
    const auto sample = [&](std::uint32_t i) {
        std::uint32_t word = 0;
        std::memcpy(&word, row + i / 3 * 4, 4);
        return static_cast<int>(word >> (10 * (i % 3)) & 0x3FF);
    };
    return {sample(x * 2 + 1), sample(x * 2), sample(x * 2 + 2)};
}

TEST(BarsAndToneSource, BarsHaveTheLevelsOfTheirStandard) {
    struct Row {
        const char* format;
        FourCC pixelFormat;
        BarsAndToneSource::Bars bars;
        Levels levels[8];  // white, yellow, cyan, green, magenta, red, blue, black
    };
    using enum BarsAndToneSource::Bars;
    // The figures of ITU-R BT.1729 and of the tables in common use with BT.601 and BT.709.
    const Row rows[] = {
        {"1080i50",
         pixelFormat2vuy,
         Percent75,
         {{235, 128, 128},
          {168, 44, 136},
          {145, 147, 44},
          {133, 63, 52},
          {63, 193, 204},
          {51, 109, 212},
          {28, 212, 120},
          {16, 128, 128}}},
        {"1080i5994",
         pixelFormatV210,
         Percent75,
         {{721, 512, 512},
          {674, 176, 543},
          {581, 589, 176},
          {534, 253, 207},
          {251, 771, 817},
          {204, 435, 848},
          {111, 848, 481},
          {64, 512, 512}}},
        {"1080p50",
         pixelFormatV210,
         Percent100,
         {{940, 512, 512},
          {877, 64, 553},
          {754, 615, 64},
          {691, 167, 105},
          {313, 857, 919},
          {250, 409, 960},
          {127, 960, 471},
          {64, 512, 512}}},
        {"625i50",
         pixelFormat2vuy,
         Percent75,
         {{235, 128, 128},
          {162, 44, 142},
          {131, 156, 44},
          {112, 72, 58},
          {84, 184, 198},
          {65, 100, 212},
          {35, 212, 114},
          {16, 128, 128}}},
        {"525i5994",
         pixelFormat2vuy,
         Percent75,
         {{180, 128, 128},
          {162, 44, 142},
          {131, 156, 44},
          {112, 72, 58},
          {84, 184, 198},
          {65, 100, 212},
          {35, 212, 114},
          {16, 128, 128}}},
    };
    for (const auto& row : rows) {
        const auto source =
            BarsAndToneSource::sourceWithFormat(formatNamed(row.format, row.pixelFormat), {.bars = row.bars});
        const auto frame = source->nextFrame();
        ASSERT_TRUE(frame);
        for (std::uint32_t bar = 0; bar < 8; ++bar) {
            const std::uint32_t x = (frame->videoWidth() * (2 * bar + 1) / 16) & ~1U;
            EXPECT_EQ(levelsAt(*frame, x, 3), row.levels[bar]) << row.format << " bar " << bar;
        }
    }
}

TEST(BarsAndToneSource, UltraHighDefinitionIsRec2020) {
    const auto bars = detail::colorBars(1, 1, platform::YCbCrMatrix::ITU_R_2020, 10);
    // Yellow, from the weights 0.2627, 0.6780 and 0.0593.
    EXPECT_EQ(bars[1], (detail::VideoColor{888, 64, 548}));
    EXPECT_EQ(*formatNamed("2160p50").pictureAttachments().yCbCrMatrix, platform::YCbCrMatrix::ITU_R_2020);
}

TEST(BarsAndToneSource, AnHourOfSoundIsExactAtEveryRate) {
    struct Row {
        std::uint32_t framerate;
        std::uint64_t frames;  // of 3600 seconds, or of 3603.6 where the rate is not whole
        std::uint64_t samples;
        std::int64_t scale, step;
    };
    const Row rows[] = {
        {2398, 86400, 172972800, 24000, 1001},  {2400, 86400, 172800000, 24000, 1000},
        {2500, 90000, 172800000, 25000, 1000},  {2997, 108000, 172972800, 30000, 1001},
        {3000, 108000, 172800000, 30000, 1000}, {5000, 180000, 172800000, 50000, 1000},
        {5994, 216000, 172972800, 60000, 1001}, {6000, 216000, 172800000, 60000, 1000},
    };
    for (const auto& row : rows) {
        const SourceFormat format = smallFormat(row.framerate);
        EXPECT_EQ(format.timeScale(), row.scale) << row.framerate;
        const auto source = BarsAndToneSource::sourceWithFormat(format, {});
        // One round of the cadence is what an hour consists of.
        const std::uint64_t round = 30;
        std::uint64_t samples = 0;
        for (std::uint64_t i = 0; i < round; ++i) {
            const auto frame = source->nextFrame();
            samples += frame->frameAudioData()->size() / 2;
            EXPECT_EQ(frame->relativeFrameTime(), static_cast<std::int64_t>(i) * row.step);
            EXPECT_EQ(frame->frameDuration(), row.step);
            EXPECT_EQ(frame->frameID(), i);
        }
        ASSERT_EQ(row.frames % round, 0U);
        EXPECT_EQ(samples * (row.frames / round), row.samples) << row.framerate;
    }
}

TEST(BarsAndToneSource, TonesRunOnAcrossFramesAtTheirLevel) {
    for (const std::uint32_t bits : {16U, 24U}) {
        const auto source = BarsAndToneSource::sourceWithFormat(smallFormat(2997, 3, bits), {});
        const double full = bits == 16 ? 32767 : 8388607;
        std::uint64_t position = 0;
        for (int i = 0; i < 7; ++i) {
            const auto frame = source->nextFrame();
            const auto audio = *frame->frameAudioData();
            ASSERT_EQ(frame->audioBytesPerFrame(), bits == 16 ? 6U : 12U);
            ASSERT_EQ(audio.size(), (i % 5 < 3 ? 1602U : 1601U) * frame->audioBytesPerFrame());
            const std::size_t sampleBytes = bits == 16 ? 2 : 4;
            for (std::size_t at = 0; at < audio.size(); at += frame->audioBytesPerFrame(), ++position) {
                for (std::uint32_t channel = 0; channel < 3; ++channel) {
                    std::int32_t value = 0;
                    std::memcpy(&value, audio.data() + at + channel * sampleBytes, sampleBytes);
                    if (bits == 16) value = static_cast<std::int16_t>(value);
                    if (bits == 24) {
                        ASSERT_EQ(value & 0xFF, 0);
                    }
                    const double hertz = 1000 + 100 * channel;
                    const double angle = 2 * std::numbers::pi * hertz * static_cast<double>(position) / 48000;
                    const double expected = full * std::pow(10, -18 / 20.0) * std::sin(angle);
                    ASSERT_NEAR(bits == 16 ? value : value >> 8, expected, 1) << position << ' ' << channel;
                }
            }
        }
    }
}

TEST(BarsAndToneSource, TimecodeRunsOverDroppedLabels) {
    const auto base = ZQCKTimebase::timebaseForHundredths(2997);
    const auto source = BarsAndToneSource::sourceWithFormat(
        smallFormat(2997), {.startTimecode = ZQCKTimecode::timecodeWithString("00:00:59;28", base)});
    for (const char* label : {"00:00:59;28", "00:00:59;29", "00:01:00;02", "00:01:00;03"}) {
        EXPECT_EQ(source->nextFrame()->frameTimecode()->description(), label);
    }
    EXPECT_EQ(BarsAndToneSource::sourceWithFormat(smallFormat(5000), {})->startTimecode().description(),
              "10:00:00:00");
}

TEST(BarsAndToneSource, OnlyTheBandAndTheBoxChangeAndReusedMemoryShowsNoTrace) {
    const SourceFormat format = formatNamed("625i50", pixelFormatV210);
    const auto fresh = BarsAndToneSource::sourceWithFormat(format, {.title = "A TITLE", .pictureLimit = 40});
    const auto reused = BarsAndToneSource::sourceWithFormat(format, {.title = "A TITLE", .pictureLimit = 1});
    std::vector<ZQRFramePtr> held;
    for (int i = 0; i < 30; ++i) {
        held.push_back(fresh->nextFrame());
        const auto frame = reused->nextFrame();
        ASSERT_TRUE(frame);
        ASSERT_EQ(*held.back()->videoData(), *frame->videoData()) << i;
    }
    const detail::TestPicture picture(format, {}, "A TITLE");
    int changedRows = 0;
    for (std::uint32_t y = 0; y < 576; ++y) {
        const auto row = [&](std::size_t i) {
            return held[i]->videoDataPointer() + y * held[i]->videoRowBytes();
        };
        const bool changed = std::memcmp(row(3), row(4), held[3]->videoRowBytes()) != 0;
        changedRows += changed;
        EXPECT_FALSE(changed && (y < 576 * 2 / 5 || y >= picture.bandBottom())) << y;
    }
    EXPECT_GT(changedRows, static_cast<int>(picture.bandBottom() - picture.bandTop()));
}

TEST(BarsAndToneSource, TheBlockMovesFromFieldToFieldInTheOrderOfTheFormat) {
    const auto leftEdge = [](const ZQRFrame& frame, std::uint32_t y) {
        std::uint32_t x = 0;
        while (x < frame.videoWidth() && levelsAt(frame, x, y).y < 200) x += 2;
        return x;
    };
    struct Row {
        const char* format;
        std::uint32_t earlier;  // the parity of the rows of the first field
    };
    for (const Row& row : {Row{"1080i50", 0}, Row{"525i5994", 1}}) {
        const SourceFormat format = formatNamed(row.format);
        const detail::TestPicture picture(format, {}, "");
        const auto source = BarsAndToneSource::sourceWithFormat(format, {});
        std::uint32_t before = 0;
        for (int i = 0; i < 5; ++i) {
            const auto frame = source->nextFrame();
            const std::uint32_t first = leftEdge(*frame, picture.bandTop() + row.earlier);
            const std::uint32_t second = leftEdge(*frame, picture.bandTop() + 1 - row.earlier);
            EXPECT_TRUE(i == 0 || first > before) << row.format;
            EXPECT_GT(second, first) << row.format;
            before = second;
        }
    }
    const auto progressive = BarsAndToneSource::sourceWithFormat(formatNamed("720p50"), {});
    progressive->nextFrame();
    const auto frame = progressive->nextFrame();
    const detail::TestPicture picture(formatNamed("720p50"), {}, "");
    EXPECT_EQ(leftEdge(*frame, picture.bandTop()), leftEdge(*frame, picture.bandTop() + 1));
}

TEST(BarsAndToneSource, TheStockOfPicturesIsBoundedAndAFreedOneIsWaitedFor) {
    const auto source = BarsAndToneSource::sourceWithFormat(
        smallFormat(2500), {.pictureLimit = 3, .pictureWait = std::chrono::milliseconds(0)});
    std::vector<ZQRFramePtr> held;
    for (int i = 0; i < 3; ++i) held.push_back(source->nextFrame());
    EXPECT_FALSE(source->nextFrame());
    ASSERT_TRUE(source->error());
    EXPECT_EQ(source->error()->code(), frameSourceErrorNoFreePicture);
    // The bytes alone keep a picture as well.
    auto bytes = held[0]->videoData();
    held.erase(held.begin());
    EXPECT_FALSE(source->nextFrame());
    bytes.reset();
    const auto next = source->nextFrame();
    ASSERT_TRUE(next);
    EXPECT_EQ(next->frameID(), 3U);
    EXPECT_FALSE(source->error());

    const auto patient = BarsAndToneSource::sourceWithFormat(
        smallFormat(2500), {.pictureLimit = 1, .pictureWait = std::chrono::seconds(60)});
    auto only = patient->nextFrame();
    auto waiting = std::async(std::launch::async, [&] { return patient->nextFrame(); });
    only.reset();
    EXPECT_TRUE(waiting.get());
}

TEST(BarsAndToneSource, TheLastFrameSaysSoAndNothingFollows) {
    const auto source = BarsAndToneSource::sourceWithFormat(smallFormat(2500), {.durationFrames = 2});
    EXPECT_EQ(source->nextFrame()->frameStatus(), 0U);
    EXPECT_EQ(source->nextFrame()->frameStatus(), static_cast<std::uint32_t>(ZQRFrameStatusLast));
    EXPECT_FALSE(source->nextFrame());
    EXPECT_FALSE(source->error());
    SourceFormat odd = smallFormat(2500);
    odd.framerate = 4800;
    ZQErrorPtr error;
    EXPECT_FALSE(BarsAndToneSource::sourceWithFormat(odd, {}, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), frameSourceErrorInvalidFormat);
}

}  // namespace
}  // namespace zenquor
