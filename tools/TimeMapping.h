#pragma once
// The same moment in another frame rate.

#include <cstdint>

#include "zenquor/core/ZQCKTimecode.h"

namespace zenquor::tools {

/// The label of the same hours, minutes and seconds in @p target, to the nearest frame.
ZQCKTimecode sameLabel(const ZQCKTimecode& timecode, ZQCKTimebase target);

/// Frames from @p from on to @p to, round midnight where needed; both in one timebase. What lies less than an
/// hour back counts as back, in negative frames.
std::int64_t framesBetween(const ZQCKTimecode& from, const ZQCKTimecode& to);

/// Turns timecodes of one rate into those of another. Both rates show the same label at the anchor; from there
/// on real time counts, so that 23.98 and 29.97 stay together for hours.
class TimeMapping {
public:
    TimeMapping(const ZQCKTimecode& anchor, ZQCKTimebase target)
        : anchor_(anchor), target_(sameLabel(anchor, target)) {}

    /// The nearest frame of the target rate.
    ZQCKTimecode map(const ZQCKTimecode& timecode) const;

private:
    ZQCKTimecode anchor_;
    ZQCKTimecode target_;
};

}  // namespace zenquor::tools
