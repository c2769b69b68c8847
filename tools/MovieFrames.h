#pragma once
// Frame numbers and timecodes of a movie's times.

#include <cstdint>
#include <optional>

#include "TimecodeTrack.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::tools {

/// Counts by the timecode track, or by the rate of the first video track where there is none.
class MovieFrames {
public:
    explicit MovieFrames(const platform::AssetPtr& asset);

    std::int64_t frameAt(platform::MediaTime time) const;
    /// Nothing where the movie has no timecode.
    std::optional<ZQCKTimecode> timecodeAt(platform::MediaTime time) const;
    /// Of the timecode track, or the nearest to the rate of the picture.
    ZQCKTimebase timebase() const;

private:
    std::optional<TimecodeTrack> timecodes_;
    double framesPerSecond_ = 25;
};

}  // namespace zenquor::tools
