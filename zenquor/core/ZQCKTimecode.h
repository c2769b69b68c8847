#pragma once
// Timecode: a frame of the day, with its label.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/core.h>

#include "zenquor/core/ZQCKTimebase.h"

namespace zenquor {

/// A frame counted from midnight in a timebase, and its hours:minutes:seconds:frames label.
///
/// The count is of real frames: in the drop-frame timebases labels are skipped, frames are not, so
/// 00:01:00;02 is frame 1800. All arithmetic wraps at midnight, in both directions.
///
/// Thread-safety: Safe; a value.
/// Standards:     SMPTE ST 12-1.
class ZQCKTimecode {
public:
    /// Midnight at 25 frames per second.
    constexpr ZQCKTimecode() = default;

    /// @param frames  any count; reduced to one day, negative counts run back from midnight.
    static constexpr ZQCKTimecode timecodeWithFrames(std::int64_t frames, ZQCKTimebase timebase) {
        const auto day = static_cast<std::int64_t>(timebase.framesPerDay());
        ZQCKTimecode timecode;
        timecode.timebase_ = timebase;
        timecode.frames_ = static_cast<std::uint32_t>(((frames % day) + day) % day);
        return timecode;
    }
    static constexpr ZQCKTimecode zeroTimeWithTimebase(ZQCKTimebase timebase) {
        return timecodeWithFrames(0, timebase);
    }
    /// Fields beyond their range are cut to the last valid value; a label that drop-frame counting skips
    /// gives the next one that exists.
    static ZQCKTimecode timecodeWithHours(unsigned hours, unsigned minutes, unsigned seconds, unsigned frames,
                                          ZQCKTimebase timebase);
    /// Reads "HH:MM:SS:FF" (each separator ":" or ";") or the SRT form "HH:MM:SS,mmm", and nothing else.
    /// Milliseconds go to the nearest label of the timebase's nominal rate. Out-of-range fields are cut as
    /// above.
    /// @return nothing when the text has another form.
    static std::optional<ZQCKTimecode> timecodeWithString(std::string_view text, ZQCKTimebase timebase);

    constexpr ZQCKTimebase timebase() const { return timebase_; }
    constexpr std::uint32_t framesSinceMidnight() const { return frames_; }
    constexpr unsigned hours() const { return label() / nominal() / 3600; }
    constexpr unsigned minutes() const { return label() / nominal() / 60 % 60; }
    constexpr unsigned seconds() const { return label() / nominal() % 60; }
    constexpr unsigned frames() const { return label() % nominal(); }
    /// The label's hours, minutes and seconds plus its frame over the nominal rate.
    constexpr double secondsSinceMidnight() const { return static_cast<double>(label()) / nominal(); }
    /// The same in whole milliseconds, truncated.
    constexpr std::uint64_t millisecondsSinceMidnight() const {
        return static_cast<std::uint64_t>(label()) * 1000 / nominal();
    }

    /// @p count frames later, or earlier when negative; wraps at midnight.
    constexpr ZQCKTimecode addingFrames(std::int64_t count) const {
        const auto day = static_cast<std::int64_t>(timebase_.framesPerDay());
        return timecodeWithFrames(frames_ + count % day, timebase_);
    }
    constexpr void addFrames(std::int64_t count) { *this = addingFrames(count); }

    /// "HH:MM:SS:FF", with ";" before the frames when the timebase drops labels.
    std::string description() const;
    /// The same with @p separator between all fields.
    std::string descriptionWithSeparator(std::string_view separator) const;
    /// "HH:MM:SS" and the frames after @p separator.
    std::string descriptionWithFrameSeparator(std::string_view separator) const;

    friend constexpr bool operator==(const ZQCKTimecode&, const ZQCKTimecode&) = default;

private:
    constexpr std::uint32_t nominal() const { return timebase_.nominalFramesPerSecond(); }
    /// The label as a count that skips what drop-frame counting skips.
    constexpr std::uint32_t label() const {
        const std::uint32_t drop = timebase_.droppedLabels();
        if (drop == 0) return frames_;
        const std::uint32_t tens = frames_ / timebase_.framesPerTenMinutes();
        const std::uint32_t rest = frames_ % timebase_.framesPerTenMinutes();
        const std::uint32_t fullMinute = nominal() * 60;
        const std::uint32_t minutes = rest < fullMinute ? 0 : 1 + (rest - fullMinute) / (fullMinute - drop);
        return frames_ + drop * (tens * 9 + minutes);
    }

    std::uint32_t frames_ = 0;
    ZQCKTimebase timebase_;
};

/// The plain-function form of the same operations.
ZQCKTimecode zqckTimecode_initWithFrames(std::uint32_t frames, ZQCKTimebase timebase);
void zqckTimecode_addFrames(ZQCKTimecode* timecode, std::int64_t count);
std::uint32_t zqckTimecode_getFramesSinceMidnight(const ZQCKTimecode* timecode);

/// The timecode's description, or "(null)" for none.
std::string describe(const std::optional<ZQCKTimecode>& timecode);

}  // namespace zenquor

template <>
struct fmt::formatter<zenquor::ZQCKTimecode> : fmt::formatter<fmt::string_view> {
    template <typename Context>
    auto format(const zenquor::ZQCKTimecode& timecode, Context& context) const {
        return fmt::formatter<fmt::string_view>::format(timecode.description(), context);
    }
};
