#include <gtest/gtest.h>

#include "MuxRig.h"
#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/mxf/detail/EditRate.h"
#include "zenquor/mxf/detail/TimecodeLabel.h"

namespace zenquor::mxf::test {
namespace {

using detail::TimecodeLabel;

TEST(MuxTimecode, KnowsTheExactRateBehindTheNumbersThatHostsUse) {
    const struct {
        double rate;
        Rational exact;
        std::uint16_t base;
    } rows[] = {{23.98, {24000, 1001}, 24}, {23.976, {24000, 1001}, 24}, {24000 / 1001.0, {24000, 1001}, 24},
                {24, {24, 1}, 24},          {25, {25, 1}, 25},           {29.97, {30000, 1001}, 30},
                {30, {30, 1}, 30},          {47.95, {48000, 1001}, 48},  {50, {50, 1}, 50},
                {59.94, {60000, 1001}, 60}, {60, {60, 1}, 60},           {12.5, {12500, 1000}, 13}};
    for (const auto& row : rows) {
        const auto exact = detail::exactEditRate(row.rate);
        ASSERT_TRUE(exact) << row.rate;
        EXPECT_EQ(*exact, row.exact) << row.rate;
        EXPECT_EQ(detail::timecodeBase(*exact), row.base) << row.rate;
    }
    for (const double wrong : {0.0, -25.0, 1e9, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_FALSE(detail::exactEditRate(wrong)) << wrong;
}

TEST(MuxTimecode, CountsTheLabelsOfAWholeDay) {
    for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        const std::uint32_t base = timebase.nominalFramesPerSecond();
        for (std::int64_t n = -3; n < timebase.framesPerDay() + 3; n += n % 1798 == 0 ? 1 : 31) {
            const auto wanted = ZQCKTimecode::timecodeWithFrames(n, timebase);
            const auto label = TimecodeLabel::of(n, base, timebase.dropFrameTimecode());
            const TimecodeLabel same{wanted.hours(), wanted.minutes(), wanted.seconds(), wanted.frames()};
            ASSERT_EQ(label, same) << code << " " << n;
        }
    }
}

TEST(MuxTimecode, StandsInTheSystemItemOfEveryFrame) {
    const struct {
        const char* name;
        Rational rate;
        bool drops;
        std::int64_t start;
        std::uint8_t rateCode;
        std::vector<std::vector<std::uint8_t>> labels;  // frames, seconds, minutes, hours
    } rows[] = {
        {"25", {25, 1}, false, 25 * 36000 - 1, 0x04, {{0x24, 0x59, 0x59, 0x09}, {0, 0, 0, 0x10}}},
        {"25 drops nothing", {25, 1}, true, 25 * 60 - 1, 0x04, {{0x24, 0x59, 0, 0}, {0, 0, 0x01, 0}}},
        {"23.98", {24000, 1001}, false, 24 * 86400 - 1, 0x03, {{0x23, 0x59, 0x59, 0x23}, {0, 0, 0, 0}}},
        {"29.97 DF", {30000, 1001}, true, 1799, 0x07, {{0x69, 0x59, 0, 0}, {0x42, 0, 0x01, 0}}},
        {"29.97 NDF", {30000, 1001}, false, 1799, 0x07, {{0x29, 0x59, 0, 0}, {0, 0, 0x01, 0}}},
        {"50", {50, 1}, false, 49, 0x0A, {{0x24, 0, 0, 0x80}, {0, 0x01, 0, 0}}},
        {"59.94 DF",
         {60000, 1001},
         true,
         3599,
         0x0D,
         {{0x69, 0xD9, 0, 0}, {0x42, 0, 0x01, 0}, {0x42, 0x80, 0x01, 0}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Rig rig;
        rig.editRate = row.rate;
        MuxSettings settings;
        settings.startTimecodeFrames = row.start;
        settings.dropFrame = row.drops;
        ASSERT_EQ(rig.open(settings), StatusOK);
        TestStream& images = rig.add(picture());
        for (std::size_t n = 0; n < row.labels.size(); ++n) images.send(sample(10, 1), static_cast<int>(n));
        ASSERT_EQ(rig.muxer->close(), StatusOK);
        const FileWalk walk = rig.walk();
        expectClosed(walk);
        const auto packages = walk.packages();
        ASSERT_EQ(packages.size(), row.labels.size());
        for (std::size_t n = 0; n < packages.size(); ++n) {
            const auto item = packages[n][0].value;
            ASSERT_EQ(item.size(), 57u);
            EXPECT_EQ(item[0], 0x58);
            EXPECT_EQ(item[1], row.rateCode);
            EXPECT_EQ(item[6], n);
            EXPECT_EQ(item[40], 0x81);
            EXPECT_EQ(std::vector<std::uint8_t>(item.begin() + 41, item.begin() + 45), row.labels[n]);
        }
    }
}

TEST(MuxTimecode, TakesTwentyFourFramesWithTheSoundOf2398ForThoseOf2398) {
    for (const std::size_t samples : {2000, 2002}) {
        SCOPED_TRACE(samples);
        Rig rig;
        rig.editRate = {24, 1};
        ASSERT_EQ(rig.open(), StatusOK);
        TestStream& images = rig.add(picture());
        StreamFormat format;
        format.streamKind = streamKindAudio;
        format.editRate = 24;
        TestStream tone;
        ASSERT_EQ(rig.muxer->addStream(&tone, format), StatusOK);
        for (int n = 0; n < 2; ++n) {
            images.send(sample(10, 1), n);
            tone.send(sample(samples * 2, 2), n);
        }
        ASSERT_EQ(rig.muxer->close(), StatusOK);
        const FileWalk walk = rig.walk();
        expectClosed(walk);
        EXPECT_EQ(walk.packages()[0][0].value[1], samples == 2000 ? 0x02 : 0x03);
        EXPECT_EQ(walk.packages()[1][2].value.size(), samples * 2) << "no sample is cut off";
    }
}

}  // namespace
}  // namespace zenquor::mxf::test
