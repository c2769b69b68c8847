#pragma once
// What the flags of a stream description say about one sample.

#include <cstdint>
#include <optional>

#include "zenquor/platform/AudioStreamBasicDescription.h"

namespace zenquor::platform::detail {

/// One sample of linear PCM: its container and where the number lies in it.
struct PCMLayout {
    std::uint32_t bytes = 0;  // of the container: 2, 3, 4, or 8 for floating point
    std::uint32_t bits = 0;   // of the number
    std::uint32_t channels = 0;
    bool isFloat = false;
    bool isSigned = true;
    bool isBigEndian = false;
    bool isAlignedHigh = false;  // a number smaller than its container lies in the high bits

    /// Whether samples of both look the same in memory, whatever their channels.
    bool hasSameSamples(const PCMLayout& other) const {
        return bytes == other.bytes && bits == other.bits && isFloat == other.isFloat &&
               isSigned == other.isSigned && isBigEndian == other.isBigEndian &&
               isAlignedHigh == other.isAlignedHigh;
    }
};

/// The layout of a description; nothing when it is not linear PCM that adds up.
std::optional<PCMLayout> pcmLayoutForDescription(const AudioStreamBasicDescription& description);

}  // namespace zenquor::platform::detail
