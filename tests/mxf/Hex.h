#pragma once
// Byte strings written as hexadecimal text, blanks between the bytes or not.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/core.h>

namespace zenquor::mxf::test {

inline std::vector<std::uint8_t> bytesOf(std::string_view hex) {
    std::vector<std::uint8_t> out;
    int high = -1;
    for (const char c : hex) {
        if (c == ' ') continue;
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high >= 0) out.push_back(static_cast<std::uint8_t>(high << 4 | digit));
        high = high < 0 ? digit : -1;
    }
    return out;
}

inline std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
    return text;
}

}  // namespace zenquor::mxf::test
