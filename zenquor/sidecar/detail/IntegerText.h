#pragma once
// Numbers as people and programs write them into text files.

#include <cstdint>
#include <limits>
#include <string_view>

namespace zenquor::detail {

/// The integer at the start of a text: blanks, a sign, digits; what follows is not looked at. Anything else
/// is 0, and values outside 32 bits are cut to the nearest that fits.
template <typename Char>
constexpr std::int32_t integerValue(std::basic_string_view<Char> text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == Char(' ') || text[i] == Char('\t'))) ++i;
    const bool isNegative = i < text.size() && text[i] == Char('-');
    if (isNegative || (i < text.size() && text[i] == Char('+'))) ++i;
    constexpr std::int64_t limit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t value = 0;
    for (; i < text.size() && text[i] >= Char('0') && text[i] <= Char('9'); ++i) {
        value = value * 10 + (text[i] - Char('0'));
        if (value > limit) value = limit;
    }
    if (isNegative) return static_cast<std::int32_t>(-value);
    return static_cast<std::int32_t>(value == limit ? limit - 1 : value);
}

/// A 64-bit sum brought back into 32 bits.
constexpr std::int32_t saturated(std::int64_t value) {
    constexpr std::int64_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t high = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(value < low ? low : value > high ? high : value);
}

}  // namespace zenquor::detail
