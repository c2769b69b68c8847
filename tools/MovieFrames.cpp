#include "MovieFrames.h"

#include <algorithm>
#include <cmath>

namespace zenquor::tools {

MovieFrames::MovieFrames(const platform::AssetPtr& asset) : timecodes_(TimecodeTrack::ofAsset(asset)) {
    const auto video = asset->tracksWithMediaType(platform::mediaTypeVideo);
    if (video.empty() || video[0].frameRateNumerator == 0) return;
    framesPerSecond_ = static_cast<double>(video[0].frameRateNumerator) /
                       static_cast<double>(std::max<std::uint32_t>(video[0].frameRateDenominator, 1));
}

std::int64_t MovieFrames::frameAt(platform::MediaTime time) const {
    if (timecodes_) return timecodes_->frameAt(time);
    return std::llround(time.seconds() * framesPerSecond_);
}

std::optional<ZQCKTimecode> MovieFrames::timecodeAt(platform::MediaTime time) const {
    return timecodes_ ? timecodes_->timecodeAt(time) : std::nullopt;
}

ZQCKTimebase MovieFrames::timebase() const {
    if (timecodes_) return timecodes_->timebase();
    ZQCKTimebase nearest;
    for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
        const auto timebase = ZQCKTimebase::timebaseForFramerate(code);
        if (std::abs(timebase.realFramesPerSecond() - framesPerSecond_) <
            std::abs(nearest.realFramesPerSecond() - framesPerSecond_))
            nearest = timebase;
    }
    return nearest;
}

}  // namespace zenquor::tools
