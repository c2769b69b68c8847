#pragma once
// Timecode labels as files write them, whether they exist or not.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zenquor/core/ZQCKTimecode.h"

namespace zenquor::detail {

/// Hours, minutes, seconds and frames that were read, not yet looked at.
struct TimecodeLabel {
    static constexpr std::size_t length = 11;  // "HH:MM:SS:FF"

    unsigned hours = 0, minutes = 0, seconds = 0, frames = 0;
    char separator = ':';         // before the frames
    bool plainSeparators = true;  // the other two are ':'

    /// The label at the start of a text. Before the frames any of ":;.," is taken, elsewhere ":" and ";".
    static std::optional<TimecodeLabel> fromText(std::string_view text);

    /// What is wrong with the label, as "has frame 31, but a second has 30"; nothing for one that exists.
    std::optional<std::string> fault(ZQCKTimebase timebase) const;
    /// The nearest label that exists.
    ZQCKTimecode timecode(ZQCKTimebase timebase) const {
        return ZQCKTimecode::timecodeWithHours(hours, minutes, seconds, frames, timebase);
    }
};

/// Frames from one timecode to another of the same timebase. Half a day and more back counts as forwards: a
/// programme may run over midnight.
std::int64_t frameDistance(const ZQCKTimecode& from, const ZQCKTimecode& to);

}  // namespace zenquor::detail
