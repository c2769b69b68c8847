#pragma once
// Bits of coded headers, most significant first.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zenquor::mxf::detail {

/// Reads bits forwards; past the end everything reads as 0 and isBroken() becomes true.
class BitReader {
public:
    explicit BitReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    /// @param count  0 to 32.
    std::uint32_t bits(unsigned count);
    bool bit() { return bits(1) != 0; }
    void skip(std::size_t count);
    /// Exponential Golomb codes (ITU-T H.264, 9.1); a code of more than 32 bits breaks the reader.
    std::uint32_t unsignedGolomb();
    std::int32_t signedGolomb();
    std::size_t position() const { return position_; }  // in bits
    bool isBroken() const { return broken_; }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
    bool broken_ = false;
};

}  // namespace zenquor::mxf::detail
