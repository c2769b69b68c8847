#pragma once
// Bits of a parameter set.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zenquor::platform::detail {

/// Reads bits, most significant first, from a NAL unit's payload, without its emulation prevention bytes.
/// Reading past the end gives zeros.
///
/// Standards: ITU-T H.264 7.3.1, 9.1; H.265 the same.
class RBSPReader {
public:
    explicit RBSPReader(std::span<const std::uint8_t> payload) {
        int zeros = 0;
        for (const std::uint8_t byte : payload) {
            if (zeros >= 2 && byte == 3) {
                zeros = 0;
                continue;
            }
            zeros = byte == 0 ? zeros + 1 : 0;
            bytes_.push_back(byte);
        }
    }

    /// @param count  at most 32.
    std::uint32_t bits(unsigned count) {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < count; ++i, ++position_) {
            const std::size_t byte = position_ / 8;
            const unsigned bit = byte < bytes_.size() ? bytes_[byte] >> (7 - position_ % 8) & 1U : 0U;
            value = value << 1 | bit;
        }
        return value;
    }
    void skip(std::size_t count) { position_ += count; }
    /// An unsigned Exp-Golomb number; 0 when it is longer than 32 bits.
    std::uint32_t ue() {
        unsigned zeros = 0;
        while (zeros < 32 && !isOverrun() && bits(1) == 0) ++zeros;
        return zeros < 32 ? (1U << zeros) - 1 + bits(zeros) : 0;
    }
    bool isOverrun() const { return position_ > bytes_.size() * 8; }

private:
    std::vector<std::uint8_t> bytes_;
    std::size_t position_ = 0;
};

}  // namespace zenquor::platform::detail
