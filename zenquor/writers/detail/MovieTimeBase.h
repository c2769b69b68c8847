#pragma once
// How a recording's frames are counted in a movie.

#include <cstdint>

#include "zenquor/platform/MediaTime.h"

namespace zenquor::detail {

/// One frame lasts durationNumerator / timeScale seconds. Here 23.98 is 24000/1001, unlike in the video
/// properties.
struct MovieTimeBase {
    std::uint32_t framerate = 0;  // frames per second times 100
    std::uint32_t frameQuanta = 0;
    std::int32_t timeScale = 0;
    std::int64_t durationNumerator = 1000;
    std::uint32_t timecodeFlags = 2;  // 1 drop frame, 2 wraps at 24 hours

    constexpr platform::MediaTime frameDuration() const { return {durationNumerator, timeScale}; }
    constexpr platform::MediaTime time(std::int64_t units) const { return {units, timeScale}; }
};

/// An unknown rate has no time scale; its times are invalid.
constexpr MovieTimeBase movieTimeBase(std::uint32_t framerate) {
    constexpr MovieTimeBase rates[] = {
        {2398, 24, 24000, 1001, 2}, {2400, 24, 24000, 1000, 2}, {2500, 25, 25000, 1000, 2},
        {2997, 30, 30000, 1001, 3}, {3000, 30, 30000, 1000, 2}, {5000, 50, 50000, 1000, 2},
        {5994, 60, 60000, 1001, 3}, {6000, 60, 60000, 1000, 2},
    };
    for (const auto& rate : rates) {
        if (rate.framerate == framerate) return rate;
    }
    return {};
}

}  // namespace zenquor::detail
