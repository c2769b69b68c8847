#pragma once
// What is said of one sample when it is handed to or from the engine.

#include <array>
#include <cstdint>
#include <span>

namespace zenquor::mxf {

/// Picture types as a sample's flags tell them; a hint, since the coded picture itself says more.
inline constexpr std::uint64_t sampleFlagIntra = 4;
inline constexpr std::uint64_t sampleFlagPredicted = 8;
inline constexpr std::uint64_t sampleFlagBidirectional = 16;

/// The record of one sample. On the wire 48 bytes, little-endian: time stamp at 0, flags at 16, byte count at 40, all
/// else zero.
struct SampleRecord {
    static constexpr std::size_t size = 48;
    using Bytes = std::array<std::uint8_t, size>;

    std::int64_t timeStamp = 0;  // 27 MHz
    std::uint64_t flags = 0;
    std::uint64_t byteCount = 0;

    Bytes bytes() const;
    static SampleRecord read(std::span<const std::uint8_t, size> bytes);

    friend bool operator==(const SampleRecord&, const SampleRecord&) = default;
};

}  // namespace zenquor::mxf
