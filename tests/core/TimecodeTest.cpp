#include "zenquor/core/ZQCKTimecode.h"

#include <gtest/gtest.h>

#include "zenquor/core/ZQProjectTimecode.h"

using namespace zenquor;

namespace {

constexpr ZQCKTimebase ntsc = ZQCKTimebase::timebaseForFramerate(3);
constexpr ZQCKTimebase pal = ZQCKTimebase::timebaseForFramerate(2);

/// Counts labels as a clock does, skipping the first ones of nine minutes in ten.
struct LabelClock {
    unsigned nominal, dropped;
    unsigned hours = 0, minutes = 0, seconds = 0, frames = 0;

    void tick() {
        if (++frames < nominal) return;
        frames = 0;
        if (++seconds < 60) return;
        seconds = 0;
        if (++minutes == 60) {
            minutes = 0;
            hours = (hours + 1) % 24;
        }
        if (minutes % 10 != 0) frames = dropped;
    }
    bool agreesWith(const ZQCKTimecode& timecode) const {
        return timecode.hours() == hours && timecode.minutes() == minutes && timecode.seconds() == seconds &&
               timecode.frames() == frames;
    }
};

std::string read(std::string_view text, ZQCKTimebase timebase) {
    return describe(ZQCKTimecode::timecodeWithString(text, timebase));
}

}  // namespace

TEST(Timecode, LabelsOfAWholeDayGoThereAndBackAtEveryRate) {
    const struct {
        unsigned nominal, dropped, framesPerDay;
    } rates[] = {{24, 0, 2073600}, {24, 0, 2073600}, {25, 0, 2160000}, {30, 2, 2589408},
                 {30, 0, 2592000}, {50, 0, 4320000}, {60, 4, 5178816}, {60, 0, 5184000}};
    for (int code = 0; code < 8; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        ASSERT_EQ(timebase.framesPerDay(), rates[code].framesPerDay);
        LabelClock clock{rates[code].nominal, rates[code].dropped};
        for (std::uint32_t frame = 0; frame < rates[code].framesPerDay; ++frame, clock.tick()) {
            const auto timecode = ZQCKTimecode::timecodeWithFrames(frame, timebase);
            const auto back = ZQCKTimecode::timecodeWithHours(clock.hours, clock.minutes, clock.seconds,
                                                              clock.frames, timebase);
            ASSERT_TRUE(clock.agreesWith(timecode) && back == timecode)
                << "code " << code << " frame " << frame << ": " << fmt::format("{}", timecode);
        }
        EXPECT_TRUE(clock.agreesWith(ZQCKTimecode::zeroTimeWithTimebase(timebase)))
            << "the day ends at midnight";
    }
}

TEST(Timecode, CountsAcrossMidnightInBothDirections) {
    const auto last = ZQCKTimecode::timecodeWithFrames(-1, ntsc);
    EXPECT_EQ(last.description(), "23:59:59;29");
    EXPECT_EQ(last.addingFrames(1).framesSinceMidnight(), 0U);
    EXPECT_EQ(ZQCKTimecode::timecodeWithFrames(1800, ntsc).description(), "00:01:00;02");
    EXPECT_EQ(ZQCKTimecode::timecodeWithFrames(1800, ntsc).addingFrames(-1).description(), "00:00:59;29");
    EXPECT_EQ(ZQCKTimecode::timecodeWithFrames(17982, ntsc).description(), "00:10:00;00");
    const auto noon = ZQCKTimecode::timecodeWithHours(12, 0, 0, 0, pal);
    EXPECT_EQ(noon.addingFrames(INT64_MAX).addingFrames(-INT64_MAX), noon);
    EXPECT_EQ(ZQCKTimecode::timecodeWithFrames(INT64_MIN, pal).addingFrames(INT64_MAX),
              ZQCKTimecode::timecodeWithFrames(-1, pal));
    ZQCKTimecode timecode = zqckTimecode_initWithFrames(5, pal);
    zqckTimecode_addFrames(&timecode, -2160005);
    EXPECT_EQ(zqckTimecode_getFramesSinceMidnight(&timecode), 0U);
    EXPECT_EQ(ZQCKTimebase::timebaseForHundredths(2398).frameRate(), 0);
    EXPECT_EQ(ZQCKTimebase::timebaseForHundredths(5994).frameRate(), 6);
}

TEST(Timecode, ReadsLabelsAndCutsWhatIsOutOfRange) {
    EXPECT_EQ(read("10:20:30:24", pal), "10:20:30:24");
    EXPECT_EQ(read("10;20;30;24", pal), "10:20:30:24");
    EXPECT_EQ(read("10:20:30:84", pal), "10:20:30:24");
    EXPECT_EQ(read("99:99:99:99", ntsc), "23:59:59;29");
    EXPECT_EQ(read("00:01:00:00", ntsc), "00:01:00;02") << "a dropped label gives the next one";
    EXPECT_EQ(read("00:01:00;01", ntsc), "00:01:00;02");
    EXPECT_EQ(read("00:10:00;01", ntsc), "00:10:00;01");
    EXPECT_EQ(read("00:09:00:03", ZQCKTimebase::timebaseForFramerate(6)), "00:09:00;04");
    for (const char* wrong :
         {"", "10:20:30", "10:20:30:2", "10:20:30:244", "10:20:30.24", "1x:20:30:24", "+1:20:30:24",
          "10,20,30,24", "10:20:30:24 ", "10:20:30,24", "10:20:30,24x", "10:20:30:024"}) {
        EXPECT_EQ(read(wrong, pal), "(null)") << wrong;
    }
}

TEST(Timecode, ReadsMillisecondsAsTheInverseOfSecondsSinceMidnight) {
    EXPECT_EQ(read("00:00:01,500", pal), "00:00:01:13") << "12.5 frames, rounded up";
    EXPECT_EQ(read("00:00:01,499", pal), "00:00:01:12");
    EXPECT_EQ(read("00:00:59,990", ntsc), "00:01:00;02")
        << "rounded into the next minute, past its dropped labels";
    EXPECT_EQ(read("00:01:00,000", ntsc), "00:01:00;02");
    EXPECT_EQ(read("23:59:59,999", pal), "23:59:59:24") << "the last label of the day";
    EXPECT_EQ(read("99:59:59,999", ntsc), "23:59:59;29");
    for (int code = 0; code < 8; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        for (unsigned frame = 0; frame < timebase.nominalFramesPerSecond(); ++frame) {
            const auto timecode = ZQCKTimecode::timecodeWithHours(1, 2, 3, frame, timebase);
            const std::string text =
                fmt::format("01:02:03,{:03}", timecode.millisecondsSinceMidnight() % 1000);
            EXPECT_EQ(read(text, timebase), timecode.description());
            EXPECT_NEAR(timecode.secondsSinceMidnight(),
                        3723 + frame / double(timebase.nominalFramesPerSecond()), 1e-9);
        }
    }
}

TEST(Timecode, FormatsWithAnySeparator) {
    const auto timecode = ZQCKTimecode::timecodeWithHours(1, 2, 3, 4, ntsc);
    EXPECT_EQ(fmt::format("{}", timecode), "01:02:03;04");
    EXPECT_EQ(timecode.descriptionWithSeparator("."), "01.02.03.04");
    EXPECT_EQ(timecode.descriptionWithFrameSeparator(":"), "01:02:03:04");
    ZQProjectTimecode::setCurrentFrameRate(3);
    auto project = ZQProjectTimecode::timecodeWithFrames(-1);
    ZQProjectTimecode::setCurrentFrameRate(2);
    project.addFrames(1);
    EXPECT_EQ(project.timecode(), ZQCKTimecode::zeroTimeWithTimebase(ntsc))
        << "it keeps the rate it was made at";
}
