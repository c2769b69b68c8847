#pragma once
// From a frame's interleaved sound to the packed samples of one audio track.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zenquor::detail {

/// How samples lie in a frame and in a track. Samples of different sizes agree in their high bits.
struct PCMShape {
    std::uint32_t sourceChannels = 0;
    std::uint32_t sourceBytes = 0;    // little-endian: 2, 3, or 4 with the sample in the high bits
    std::uint32_t trackChannels = 0;  // of one track
    std::uint32_t trackBytes = 0;     // 2 or 3
    bool bigEndianTrack = false;

    constexpr std::size_t sourceFrameBytes() const { return std::size_t{sourceChannels} * sourceBytes; }
    constexpr std::size_t trackFrameBytes() const { return std::size_t{trackChannels} * trackBytes; }
};

/// Writes @p sampleCount samples of the track that starts at channel @p channel into @p buffer. Channels that
/// the source does not have become silence.
/// @return false, with nothing written, for sizes outside PCMShape or spans that are too short.
bool deinterleaveSamples(std::span<const std::uint8_t> samples, const PCMShape& shape, std::uint32_t channel,
                         std::size_t sampleCount, std::span<std::uint8_t> buffer);

}  // namespace zenquor::detail
