#include "zenquor/core/ZQProjectTimecode.h"

#include <atomic>

namespace zenquor {
namespace {

std::atomic<int>& projectRate() {
    static std::atomic<int> code{2};
    return code;
}

}  // namespace

int ZQProjectTimecode::currentFrameRate() {
    return projectRate().load(std::memory_order_relaxed);
}
void ZQProjectTimecode::setCurrentFrameRate(int code) {
    projectRate().store(code, std::memory_order_relaxed);
}

ZQProjectTimecode ZQProjectTimecode::timecodeWithFrames(std::int64_t framesSinceMidnight) {
    ZQProjectTimecode timecode;
    timecode.timecode_ = ZQCKTimecode::timecodeWithFrames(
        framesSinceMidnight, ZQCKTimebase::timebaseForFramerate(currentFrameRate()));
    return timecode;
}

void ZQProjectTimecode::setFramesSinceMidnight(std::int64_t frames) {
    timecode_ = ZQCKTimecode::timecodeWithFrames(frames, timecode_.timebase());
}

}  // namespace zenquor
