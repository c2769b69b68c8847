#include "zenquor/mxf/detail/TimecodeLabel.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint8_t dropFlag = 0x40;   // of the frames
constexpr std::uint8_t fieldMark = 0x80;  // of the hours at 25 and 50, of the seconds at all others

std::uint8_t decimal(unsigned value) {
    return static_cast<std::uint8_t>((value / 10) << 4 | value % 10);
}

/// The count with the labels in it that drop-frame counting skips.
std::int64_t withDroppedLabels(std::int64_t frames, std::int64_t base) {
    const std::int64_t drop = base / 15;
    const std::int64_t tenMinutes = base * 600 - 9 * drop;
    const std::int64_t rest = frames % tenMinutes;
    const std::int64_t minutes = rest < base * 60 ? 0 : 1 + (rest - base * 60) / (base * 60 - drop);
    return frames + drop * (frames / tenMinutes * 9 + minutes);
}

}  // namespace

TimecodeLabel TimecodeLabel::of(std::int64_t framesSinceMidnight, std::uint32_t base, bool dropsFrames) {
    const auto wide = static_cast<std::int64_t>(base);
    const bool drops = dropsFrames && canDropFrames(base);
    const std::int64_t day = 144 * (wide * 600 - (drops ? 9 * (wide / 15) : 0));
    std::int64_t count = (framesSinceMidnight % day + day) % day;
    if (drops) count = withDroppedLabels(count, wide);
    const auto seconds = static_cast<unsigned>(count / wide);
    return {seconds / 3600, seconds / 60 % 60, seconds % 60, static_cast<unsigned>(count % wide)};
}

std::array<std::uint8_t, 4> TimecodeLabel::packed(std::uint32_t base, bool dropsFrames) const {
    const bool pairs = base > 30;
    std::array<std::uint8_t, 4> bytes{decimal(pairs ? frames / 2 : frames), decimal(seconds),
                                      decimal(minutes), decimal(hours)};
    if (dropsFrames && canDropFrames(base)) bytes[0] |= dropFlag;
    if (pairs && frames % 2 != 0) bytes[base % 25 == 0 ? 3 : 1] |= fieldMark;
    return bytes;
}

}  // namespace zenquor::mxf::detail
