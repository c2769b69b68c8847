#pragma once
// What an asset writer is asked to make of pictures and sound that it encodes itself.

#include <cstdint>
#include <string>

#include "zenquor/core/FourCC.h"

namespace zenquor::platform {

/// Settings of a video input that compresses what it is given. Plain data; 0 and an empty text leave the
/// choice to the encoder.
///
/// Thread-safety: Safe; a value.
struct VideoOutputSettings {
    FourCC codec = fourCC("avc1");
    std::uint32_t width = 0;                ///< pixels; 0 = as wide as the pictures
    std::uint32_t height = 0;               ///< lines; 0 = as high as the pictures
    std::uint64_t averageBitRate = 0;       ///< bits per second
    std::uint32_t maxKeyFrameInterval = 0;  ///< pictures
    std::string profileLevel;               ///< "H264_Baseline_AutoLevel", "H264_High_AutoLevel" …
    bool allowFrameReordering = true;       ///< B pictures
    std::string entropyMode;                ///< "CAVLC" or "CABAC"

    /// "{codec = avc1; width = 480; …}" for logs.
    std::string description() const;

    friend bool operator==(const VideoOutputSettings&, const VideoOutputSettings&) = default;
};

/// Settings of an audio input that compresses what it is given.
///
/// Thread-safety: Safe; a value.
struct AudioOutputSettings {
    FourCC format = fourCC("aac ");
    std::uint32_t channels = 2;
    std::uint32_t bitRate = 128000;               ///< bits per second for all channels together
    double sampleRate = 48000;                    ///< Hz
    std::uint32_t channelLayoutTag = 0x00650002;  ///< (layout << 16 | channels) of the "chan" atom; stereo

    std::string description() const;

    friend bool operator==(const AudioOutputSettings&, const AudioOutputSettings&) = default;
};

}  // namespace zenquor::platform
