#pragma once
// Timecodes in the frame rate that the host works in.

#include <cstdint>

#include "zenquor/core/ZQCKTimecode.h"

namespace zenquor {

/// A timecode made from a frame count in the project's frame rate, the one process-wide setting of this kind.
///
/// Thread-safety: the rate may be read and set from any thread; an object belongs to one thread at a time.
class ZQProjectTimecode {
public:
    /// The project's frame-rate code (see ZQCKTimebase); 2 (25 frames per second) until set.
    static int currentFrameRate();
    static void setCurrentFrameRate(int code);

    /// A running timecode at @p framesSinceMidnight; negative and over-long counts wrap within the day.
    static ZQProjectTimecode timecodeWithFrames(std::int64_t framesSinceMidnight);

    ZQCKTimecode timecode() const { return timecode_; }
    std::uint32_t framesSinceMidnight() const { return timecode_.framesSinceMidnight(); }
    void setFramesSinceMidnight(std::int64_t frames);
    void addFrames(std::int64_t count) { timecode_.addFrames(count); }

private:
    ZQCKTimecode timecode_;
};

}  // namespace zenquor
