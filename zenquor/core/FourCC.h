#pragma once
// Four-character codes: the names that containers and pixel formats go by.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zenquor {

/// A four-character code as the 32-bit number whose big-endian bytes are the characters.
using FourCC = std::uint32_t;

/// The code written as four characters: fourCC("v210"). Exactly four characters compile.
constexpr FourCC fourCC(const char (&text)[5]) {
    const auto byte = [&](std::size_t i) { return static_cast<FourCC>(static_cast<unsigned char>(text[i])); };
    return byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
}

/// The code as text; bytes outside printable ASCII become dots.
inline std::string fourCCString(FourCC code) {
    std::string text(4, '.');
    for (int i = 0; i < 4; ++i) {
        const auto byte = static_cast<unsigned char>(code >> (24 - 8 * i));
        if (byte >= 0x20 && byte < 0x7F) text[static_cast<std::size_t>(i)] = static_cast<char>(byte);
    }
    return text;
}

/// The code of a text of exactly four bytes; 0 for any other length.
inline FourCC fourCCFromString(const std::string& text) {
    if (text.size() != 4) return 0;
    FourCC code = 0;
    for (const char c : text) code = code << 8 | static_cast<unsigned char>(c);
    return code;
}

}  // namespace zenquor
