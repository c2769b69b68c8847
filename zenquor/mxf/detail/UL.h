#pragma once
// Universal labels: the 16 bytes that every key, property and coding goes by (SMPTE ST 298, ST 336).

#include <array>
#include <compare>
#include <cstdint>
#include <span>
#include <string>

namespace zenquor::mxf::detail {

using UUID = std::array<std::uint8_t, 16>;
using UMID = std::array<std::uint8_t, 32>;

/// One label. Comparison leaves out the registry version (byte 7), as readers must.
struct UL {
    std::array<std::uint8_t, 16> bytes{};

    constexpr std::uint8_t operator[](std::size_t i) const { return bytes[i]; }
    constexpr std::uint8_t& operator[](std::size_t i) { return bytes[i]; }
    constexpr bool isNull() const { return bytes == std::array<std::uint8_t, 16>{}; }
    constexpr bool isLabel() const {
        return bytes[0] == 0x06 && bytes[1] == 0x0E && bytes[2] == 0x2B && bytes[3] == 0x34;
    }
    /// The first @p count bytes are the same, the version aside.
    constexpr bool startsLike(const UL& other, std::size_t count) const {
        for (std::size_t i = 0; i < count && i < 16; ++i) {
            if (i != 7 && bytes[i] != other.bytes[i]) return false;
        }
        return true;
    }
    friend constexpr bool operator==(const UL& a, const UL& b) { return a.startsLike(b, 16); }
    friend constexpr std::strong_ordering operator<=>(const UL& a, const UL& b) {
        for (std::size_t i = 0; i < 16; ++i) {
            if (i != 7 && a.bytes[i] != b.bytes[i]) return a.bytes[i] <=> b.bytes[i];
        }
        return std::strong_ordering::equal;
    }

    static UL read(const std::uint8_t* p);
    /// "060e2b34.01010102.0d010301.15010500", lower case.
    std::string text() const;
};

/// A label written as four 32-bit words: ul(0x060E2B34, 0x02050101, 0x0D010201, 0x01020400).
constexpr UL ul(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    UL label;
    const std::uint32_t words[] = {a, b, c, d};
    for (std::size_t i = 0; i < 16; ++i)
        label[i] = static_cast<std::uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
    return label;
}

}  // namespace zenquor::mxf::detail
