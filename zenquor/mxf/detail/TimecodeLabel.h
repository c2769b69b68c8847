#pragma once
// The label of a frame of the day, and its form in system items (SMPTE ST 12-1, ST 12-3, ST 331).

#include <array>
#include <cstdint>

namespace zenquor::mxf::detail {

/// Hours, minutes, seconds and frames.
struct TimecodeLabel {
    unsigned hours = 0;
    unsigned minutes = 0;
    unsigned seconds = 0;
    unsigned frames = 0;

    /// @param framesSinceMidnight  real frames; wraps at midnight.
    /// @param base                 labels in a second; 1 or more.
    /// @param dropsFrames          skips two labels of 30 and four of 60 each minute but every tenth; of other
    /// bases nothing.
    static TimecodeLabel of(std::int64_t framesSinceMidnight, std::uint32_t base, bool dropsFrames);

    /// Frames, seconds, minutes and hours as packed decimals with the flags of SMPTE ST 12-1. Above 30 frames a
    /// pair of frames shares its count and the field mark tells the second of the two.
    std::array<std::uint8_t, 4> packed(std::uint32_t base, bool dropsFrames) const;

    friend bool operator==(const TimecodeLabel&, const TimecodeLabel&) = default;
};

/// Whether labels are skipped at all.
constexpr bool canDropFrames(std::uint32_t base) {
    return base == 30 || base == 60;
}

}  // namespace zenquor::mxf::detail
