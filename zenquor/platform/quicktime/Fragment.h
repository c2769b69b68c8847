#pragma once
// The moof box that tells the samples of one fragment.

#include <cstdint>
#include <span>
#include <vector>

#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/quicktime/TrackState.h"

namespace zenquor::platform::quicktime {

/// One track's part of a finished fragment.
struct FragmentTrack {
    std::uint32_t trackID = 0;
    std::int64_t decodeTime = 0;  // of the first sample, from the fragments' origin
    std::uint64_t offset = 0;     // of the first byte in the file
    std::span<const FragmentRun::Entry> entries;
};

/// @param sequence    counts fragments from 1.
/// @param moofOffset  where the box will stand in the file, which sample offsets may be told from.
std::vector<std::uint8_t> makeFragment(FileType type, std::uint32_t sequence, std::uint64_t moofOffset,
                                       std::span<const FragmentTrack> tracks);

/// Bytes that one more sample takes at most in its track's run, and that a track takes beside its samples.
inline constexpr std::size_t fragmentBytesPerSample = 16;
inline constexpr std::size_t fragmentBytesPerPlainSample = 8;  // sync samples, shown when decoded
inline constexpr std::size_t fragmentBytesPerTrack = 8 + 40 + 20 + 24;
inline constexpr std::size_t fragmentBytesFixed = 8 + 16;

}  // namespace zenquor::platform::quicktime
