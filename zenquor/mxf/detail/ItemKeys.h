#pragma once
// Which items of a file are what, by their keys.

#include <cstdint>

#include "zenquor/mxf/detail/UL.h"

namespace zenquor::mxf::detail {

inline constexpr UL primerPackKey = ul(0x060E2B34, 0x02050101, 0x0D010201, 0x01050100);

/// Essence elements and system items: what content packages are made of. The last four bytes are the track number.
constexpr bool isContentKey(const UL& key) {
    constexpr UL standard = ul(0, 0, 0x0D010301, 0);
    constexpr UL ofOneMaker = ul(0, 0, 0x0E040301, 0);
    if (!key.isLabel() || (key[4] != 1 && key[4] != 2)) return false;
    for (std::size_t i = 8; i < 12; ++i) {
        if (key[i] != standard[i] && key[i] != ofOneMaker[i]) return false;
    }
    // Of packs and sets, those of system items only.
    return key[4] == 1 ? key[5] == 2 : key[12] == 0x04 || key[12] == 0x14;
}

/// An essence element, not a system item.
constexpr bool isElementKey(const UL& key) {
    return isContentKey(key) && key[4] == 1;
}

constexpr std::uint32_t trackNumberOf(const UL& key) {
    return static_cast<std::uint32_t>(key[12]) << 24 | static_cast<std::uint32_t>(key[13]) << 16 |
           static_cast<std::uint32_t>(key[14]) << 8 | key[15];
}

}  // namespace zenquor::mxf::detail
