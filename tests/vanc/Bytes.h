#pragma once
// Byte data written as hexadecimal text.

#include <cstdint>
#include <cstdlib>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/core.h>

#include "zenquor/core/ZQData.h"

inline zenquor::ZQData bytes(const std::string& hex) {
    std::istringstream stream(hex);
    std::vector<std::uint8_t> out;
    for (std::string byte; stream >> byte;) {
        out.push_back(static_cast<std::uint8_t>(std::strtoul(byte.c_str(), nullptr, 16)));
    }
    return zenquor::ZQData::copying(out);
}

inline std::string hex(std::span<const std::uint8_t> data) {
    std::string text;
    for (const std::uint8_t byte : data) text += fmt::format("{}{:02x}", text.empty() ? "" : " ", byte);
    return text;
}
