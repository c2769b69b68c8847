#pragma once
// The inner loop of channel mapping.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zenquor::detail {

/// Fills every output frame from the input frame of the same number.
///
/// Neighbouring outputs that are fed by neighbouring inputs move together, so stereo pairs cost half and an
/// unchanged frame is one copy. What is left goes through the widest loop that fits the frame.
///
/// Thread-safety: Safe; immutable.
class ChannelMap {
public:
    static constexpr std::int32_t silence = -1;

    /// @param offsets  the byte offset in the input frame that feeds each output, or silence; each within the
    /// frame.
    ChannelMap(std::span<const std::int32_t> offsets, std::size_t bytesPerSample);

    std::size_t frameBytes() const { return frameBytes_; }
    /// Whether every output takes the input of its own number.
    bool isIdentity() const { return isIdentity_; }
    /// Maps whole frames; input and output do not overlap.
    void apply(const std::uint8_t* in, std::uint8_t* out, std::size_t frames) const {
        kernel_(*this, in, out, frames);
    }

private:
    using Kernel = void (*)(const ChannelMap&, const std::uint8_t*, std::uint8_t*, std::size_t);
    struct Kernels;

    void joinNeighbours();

    std::vector<std::int32_t> offsets_;  // of each unit
    std::size_t unitBytes_;
    std::size_t frameBytes_;
    bool isIdentity_;
    // For each output byte the input byte of the lower and upper 16, 0x80 for none; frames of 16 and 32 bytes
    // only.
    std::array<std::array<std::uint8_t, 32>, 2> shuffle_{};
    // For each output word of 4 bytes the input word; frames of 64 bytes whose units are whole words,
    // and begin at one, only.
    std::array<std::int32_t, 16> words_{};
    std::vector<std::uint8_t> keep_;  // 0xFF where an output byte has an input, else 0
    Kernel kernel_;
};

}  // namespace zenquor::detail
