#pragma once
// The timecodes of a movie, read from its timecode track.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::tools {

/// Every run of consecutive timecodes of the first timecode track.
class TimecodeTrack {
public:
    /// @return nothing when the movie has no timecode track or none of its samples can be read.
    static std::optional<TimecodeTrack> ofAsset(const platform::AssetPtr& asset);

    ZQCKTimecode first() const { return runs_.front().first; }
    ZQCKTimecode last() const { return runs_.back().first.addingFrames(runs_.back().frames - 1); }
    ZQCKTimebase timebase() const { return timebase_; }
    const std::string& reel() const { return reel_; }
    std::int64_t frameCount() const;
    /// The timecode shown at @p time; nothing before the track and behind it.
    std::optional<ZQCKTimecode> timecodeAt(platform::MediaTime time) const;
    /// The frame, counted from 0 at the start of the track, that is shown at @p time.
    std::int64_t frameAt(platform::MediaTime time) const;
    /// A sentence for each place where the timecodes do not follow each other.
    std::vector<std::string> breaks() const;

private:
    struct Run {
        std::int64_t startFrame;
        std::int64_t frames;
        ZQCKTimecode first;
    };

    ZQCKTimebase timebase_;
    platform::MediaTime start_;
    platform::MediaTime frameDuration_;
    std::string reel_;
    std::vector<Run> runs_;
};

}  // namespace zenquor::tools
