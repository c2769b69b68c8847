#pragma once
// The 8-bit sum that the checksums of ancillary data are made of.

#include <cstdint>
#include <span>

namespace zenquor::detail {

/// The sum of all bytes modulo 256. An 8-bit accumulator keeps the loop in whole vectors.
inline std::uint8_t byteSum(std::span<const std::uint8_t> bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes) sum = static_cast<std::uint8_t>(sum + byte);
    return sum;
}

}  // namespace zenquor::detail
