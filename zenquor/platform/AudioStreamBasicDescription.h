#pragma once
// Layout of a stream of audio samples.

#include <cstdint>

#include "zenquor/core/FourCC.h"

namespace zenquor::platform {

inline constexpr FourCC audioFormatLinearPCM = fourCC("lpcm");
inline constexpr FourCC audioFormatMPEG4AAC = fourCC("aac ");

/// Bits of AudioStreamBasicDescription::formatFlags.
enum AudioFormatFlag : std::uint32_t {
    audioFormatFlagIsFloat = 1,
    audioFormatFlagIsBigEndian = 2,
    audioFormatFlagIsSignedInteger = 4,
    audioFormatFlagIsPacked = 8,
    audioFormatFlagIsAlignedHigh = 16,
    audioFormatFlagIsNonInterleaved = 32,
    audioFormatFlagIsNonMixable = 64,
};

/// 40 bytes that say how audio samples lie. bytesPerFrame counts all channels when interleaved, one when not.
struct AudioStreamBasicDescription {
    double sampleRate = 0;
    FourCC formatID = 0;
    std::uint32_t formatFlags = 0;
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t framesPerPacket = 0;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channelsPerFrame = 0;
    std::uint32_t bitsPerChannel = 0;
    std::uint32_t reserved = 0;

    friend constexpr bool operator==(const AudioStreamBasicDescription&, const AudioStreamBasicDescription&) = default;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

}  // namespace zenquor::platform
