#include "zenquor/sidecar/detail/TimecodeLabel.h"

#include <fmt/format.h>

#include "zenquor/sidecar/detail/TextLines.h"

namespace zenquor::detail {

std::optional<TimecodeLabel> TimecodeLabel::fromText(std::string_view text) {
    if (text.size() < length) return std::nullopt;
    constexpr std::string_view separators = ":;.,";
    TimecodeLabel label;
    unsigned* const fields[] = {&label.hours, &label.minutes, &label.seconds, &label.frames};
    for (std::size_t i = 0; i < length; ++i) {
        const char c = text[i];
        if (i % 3 != 2) {
            if (!isDigit(c)) return std::nullopt;
            unsigned& field = *fields[i / 3];
            field = field * 10 + static_cast<unsigned>(c - '0');
        } else if (separators.substr(0, i == 8 ? 4 : 2).find(c) == std::string_view::npos) {
            return std::nullopt;
        }
    }
    label.separator = text[8];
    label.plainSeparators = text[2] == ':' && text[5] == ':';
    return label;
}

std::optional<std::string> TimecodeLabel::fault(ZQCKTimebase timebase) const {
    const unsigned nominal = timebase.nominalFramesPerSecond();
    if (hours > 23) return fmt::format("has hour {}, but the last hour of a day is 23", hours);
    if (minutes > 59) return fmt::format("has minute {}, but an hour ends with 59", minutes);
    if (seconds > 59) return fmt::format("has second {}, but a minute ends with 59", seconds);
    if (frames >= nominal) return fmt::format("has frame {}, but a second ends with {}", frames, nominal - 1);
    if (frames < timebase.droppedLabels() && seconds == 0 && minutes % 10 != 0) {
        return "is one of those that drop-frame counting leaves out";
    }
    return std::nullopt;
}

std::int64_t frameDistance(const ZQCKTimecode& from, const ZQCKTimecode& to) {
    const auto day = static_cast<std::int64_t>(from.timebase().framesPerDay());
    const std::int64_t distance = std::int64_t{to.framesSinceMidnight()} - from.framesSinceMidnight();
    return distance < -day / 2 ? distance + day : distance;
}

}  // namespace zenquor::detail
