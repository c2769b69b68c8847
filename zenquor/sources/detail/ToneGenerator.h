#pragma once
// Sine tones, one per channel.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zenquor/core/ZQData.h"
#include "zenquor/sources/SourceFormat.h"

namespace zenquor::detail {

/// Interleaved tones of 1000 Hz plus 100 Hz per channel, -18 dB below full scale, computed once: all of them
/// repeat every 480 samples at 48 kHz.
///
/// Thread-safety: Safe; immutable.
class ToneGenerator {
public:
    explicit ToneGenerator(const SourceFormat& format);

    /// @p frames sample frames from number @p first of the recording on.
    ZQData samples(std::uint64_t first, std::size_t frames) const;

private:
    std::size_t bytesPerFrame_;
    std::vector<std::uint8_t> cycle_;
};

}  // namespace zenquor::detail
