#include "TimeMapping.h"

#include <cmath>

namespace zenquor::tools {

ZQCKTimecode sameLabel(const ZQCKTimecode& timecode, ZQCKTimebase target) {
    if (timecode.timebase() == target) return timecode;
    const unsigned nominal = target.nominalFramesPerSecond();
    const unsigned frames = (timecode.frames() * nominal * 2 + timecode.timebase().nominalFramesPerSecond()) /
                            (2 * timecode.timebase().nominalFramesPerSecond());
    const auto label =
        ZQCKTimecode::timecodeWithHours(timecode.hours(), timecode.minutes(), timecode.seconds(),
                                        frames < nominal ? frames : nominal - 1, target);
    return frames < nominal ? label : label.addingFrames(1);
}

std::int64_t framesBetween(const ZQCKTimecode& from, const ZQCKTimecode& to) {
    constexpr std::int64_t hoursPerDay = 24;
    const std::int64_t day = from.timebase().framesPerDay();
    const std::int64_t distance = static_cast<std::int64_t>(to.framesSinceMidnight()) -
                                  static_cast<std::int64_t>(from.framesSinceMidnight());
    const std::int64_t ahead = distance < 0 ? distance + day : distance;
    return ahead > day - day / hoursPerDay ? ahead - day : ahead;
}

ZQCKTimecode TimeMapping::map(const ZQCKTimecode& timecode) const {
    const ZQCKTimebase from = anchor_.timebase();
    const ZQCKTimebase to = target_.timebase();
    const double seconds = static_cast<double>(framesBetween(anchor_, timecode)) / from.realFramesPerSecond();
    return target_.addingFrames(std::llround(seconds * to.realFramesPerSecond()));
}

}  // namespace zenquor::tools
