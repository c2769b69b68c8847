#include "zenquor/core/ZQCKTimecode.h"

#include <algorithm>

#include <fmt/format.h>

namespace zenquor {
namespace {

/// The number written by @p text, digits only.
std::optional<unsigned> number(std::string_view text) {
    unsigned value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    return value;
}

bool isSeparator(char c) {
    return c == ':' || c == ';';
}

}  // namespace

ZQCKTimecode ZQCKTimecode::timecodeWithHours(unsigned hours, unsigned minutes, unsigned seconds,
                                             unsigned frames, ZQCKTimebase timebase) {
    const std::uint32_t nominal = timebase.nominalFramesPerSecond();
    const std::uint32_t drop = timebase.droppedLabels();
    const std::uint32_t minute = std::min(hours, 23U) * 60 + std::min(minutes, 59U);
    const std::uint32_t second = std::min(seconds, 59U);
    std::uint32_t frame = std::min(frames, nominal - 1);
    if (minute % 10 != 0 && second == 0) frame = std::max(frame, drop);
    const std::uint32_t label = (minute * 60 + second) * nominal + frame;
    ZQCKTimecode timecode;
    timecode.timebase_ = timebase;
    timecode.frames_ = label - drop * (minute - minute / 10);  // within the day, as all fields are
    return timecode;
}

std::optional<ZQCKTimecode> ZQCKTimecode::timecodeWithString(std::string_view text, ZQCKTimebase timebase) {
    if (text.size() < 11 || !isSeparator(text[2]) || !isSeparator(text[5])) return std::nullopt;
    const auto hours = number(text.substr(0, 2));
    const auto minutes = number(text.substr(3, 2));
    const auto seconds = number(text.substr(6, 2));
    const auto rest = number(text.substr(9));
    if (!hours || !minutes || !seconds || !rest) return std::nullopt;
    if (text.size() == 11 && isSeparator(text[8])) {
        return timecodeWithHours(*hours, *minutes, *seconds, *rest, timebase);
    }
    if (text.size() != 12 || text[8] != ',') return std::nullopt;
    const std::uint32_t nominal = timebase.nominalFramesPerSecond();
    const std::uint32_t frame = (*rest * nominal * 2 + 1000) / 2000;
    if (frame < nominal) return timecodeWithHours(*hours, *minutes, *seconds, frame, timebase);
    // Rounded up into the next second; at the end of the day the last label stands.
    const ZQCKTimecode last = timecodeWithHours(*hours, *minutes, *seconds, nominal - 1, timebase);
    return last.framesSinceMidnight() + 1 < timebase.framesPerDay() ? last.addingFrames(1) : last;
}

std::string ZQCKTimecode::description() const {
    return descriptionWithFrameSeparator(timebase_.dropFrameTimecode() ? ";" : ":");
}

std::string ZQCKTimecode::descriptionWithSeparator(std::string_view separator) const {
    return fmt::format("{:02}{}{:02}{}{:02}{}{:02}", hours(), separator, minutes(), separator, seconds(),
                       separator, frames());
}

std::string ZQCKTimecode::descriptionWithFrameSeparator(std::string_view separator) const {
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", hours(), minutes(), seconds(), separator, frames());
}

ZQCKTimecode zqckTimecode_initWithFrames(std::uint32_t frames, ZQCKTimebase timebase) {
    return ZQCKTimecode::timecodeWithFrames(frames, timebase);
}
void zqckTimecode_addFrames(ZQCKTimecode* timecode, std::int64_t count) {
    timecode->addFrames(count);
}
std::uint32_t zqckTimecode_getFramesSinceMidnight(const ZQCKTimecode* timecode) {
    return timecode->framesSinceMidnight();
}

std::string describe(const std::optional<ZQCKTimecode>& timecode) {
    return timecode ? timecode->description() : "(null)";
}

}  // namespace zenquor
