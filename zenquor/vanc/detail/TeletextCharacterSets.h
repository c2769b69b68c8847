#pragma once
// The Latin character sets of teletext: the primary set and its national options.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zenquor::detail {

inline constexpr std::size_t teletextSetCount = 14;
inline constexpr std::uint32_t teletextEnglishSet = 7;
inline constexpr char16_t teletextFirstCharacter = 0x20;
/// The codes that a national option replaces.
inline constexpr std::array<std::uint8_t, 13> teletextOptionCodes = {0x23, 0x24, 0x40, 0x5B, 0x5C, 0x5D, 0x5E,
                                                                     0x5F, 0x60, 0x7B, 0x7C, 0x7D, 0x7E};

/// The characters of the codes 0x20 to 0x7F.
using TeletextMapping = std::array<char16_t, 96>;

/// The mapping of a set; that of set 0 for a number that does not exist.
const TeletextMapping& teletextMapping(std::uint32_t set);
/// The set's name, for logs.
std::string_view teletextSetName(std::uint32_t set);
/// The code of a character of the set; nothing when the set lacks it.
std::optional<std::uint8_t> teletextCode(char16_t character, std::uint32_t set);
/// Whether every set has the character, at its ASCII code.
constexpr bool isInEveryTeletextSet(char16_t character) {
    return character >= teletextFirstCharacter && character < 0x7F &&
           std::find(teletextOptionCodes.begin(), teletextOptionCodes.end(), character) ==
               teletextOptionCodes.end();
}

}  // namespace zenquor::detail
