#pragma once
// Frame rates as rationals.

#include <cstdint>

#include "zenquor/platform/MediaTime.h"

namespace zenquor {

/// Arithmetic on frame rates given as frames per second times 100.
///
/// Thread-safety: Safe; no state.
class ZQRCMVideoUtilities final {
public:
    ZQRCMVideoUtilities() = delete;

    /// 24000 for 2398 and 2400, 25000, 30000, 50000, 60000; 0 for an unknown rate.
    static std::int32_t numeratorForFramerate(std::uint32_t framerate);
    /// 1001 for 2997 and 5994, otherwise 1000: 23.98 counts as an exact 24.
    static std::int32_t denominatorForFramerate(std::uint32_t framerate);
    /// How long one frame lasts; invalid for an unknown rate.
    static platform::MediaTime durationForFramerate(std::uint32_t framerate);
    /// @p sampleValue counted in the time scale of @p duration.
    static platform::MediaTime timeValueForSampleValue(std::int64_t sampleValue,
                                                       const platform::MediaTime& duration);
};

}  // namespace zenquor
