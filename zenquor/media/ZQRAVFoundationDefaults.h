#pragma once
// Output settings for hosts that choose none.

#include "zenquor/platform/OutputSettings.h"

namespace zenquor {

/// Default settings of the inputs of an asset writer that encodes.
///
/// Thread-safety: Safe; no state.
class ZQRAVFoundationDefaults final {
public:
    ZQRAVFoundationDefaults() = delete;

    /// A small H.264 picture of 1 Mbit/s that any player decodes.
    static platform::VideoOutputSettings h264CompressionDefaults();
    /// Stereo AAC, 128 kbit/s, 48 kHz.
    static platform::AudioOutputSettings aacCompressionDefaults();
};

}  // namespace zenquor
