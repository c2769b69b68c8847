#pragma once
// The characters that are drawn into test pictures.

#include <array>
#include <cstddef>
#include <cstdint>

namespace zenquor::detail {

/// Characters of 5 by 7 dots: digits, capital letters, blank and : ; . - /
struct BitmapFont {
    static constexpr std::size_t width = 5;
    static constexpr std::size_t height = 7;
    /// Dots from the left edge of one character to that of the next.
    static constexpr std::size_t advance = 6;

    /// The rows from the top, the leftmost dot in bit 4. Small letters give capitals, unknown characters
    /// blank.
    static const std::array<std::uint8_t, height>& glyph(char character);
};

}  // namespace zenquor::detail
