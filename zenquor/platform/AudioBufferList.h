#pragma once
// Where the samples of an audio block lie.

#include <cstdint>
#include <vector>

namespace zenquor::platform {

/// One run of interleaved samples in memory that somebody else owns.
struct AudioBuffer {
    std::uint32_t numberChannels = 0;  // interleaved channels in this buffer
    std::uint32_t dataByteSize = 0;
    void* data = nullptr;  // may be null in a list that is not filled yet
};

/// The buffers of a block: one for interleaved audio, one per channel otherwise. It owns the list, not the
/// samples.
using AudioBufferList = std::vector<AudioBuffer>;

}  // namespace zenquor::platform
