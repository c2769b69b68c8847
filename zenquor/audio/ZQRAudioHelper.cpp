#include "zenquor/audio/ZQRAudioHelper.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/core/ZQProjectTimecode.h"

namespace zenquor {
namespace {

Guarded<ZQRAudioHelperPtr>& sharedHelper() {
    static Guarded<ZQRAudioHelperPtr> helper;
    return helper;
}

/// A count is taken for whole when it is this near to a whole number.
constexpr double wholeTolerance = 0.001;
/// Some multiple up to this one is near enough for any rate: 1 / 1000 is the tolerance.
constexpr int longestCycle = 1000;

/// The length of the shortest cycle after which @p samplesPerFrame adds up to a whole number.
int cycleLength(double samplesPerFrame) {
    for (int count = 1; count < longestCycle; ++count) {
        const double samples = count * samplesPerFrame;
        if (std::abs(samples - std::nearbyint(samples)) < wholeTolerance) return count;
    }
    return longestCycle;
}

/// The counts of one cycle, the larger ones first.
std::vector<std::uint32_t> weaveForSamplesPerFrame(double samplesPerFrame) {
    const int count = cycleLength(samplesPerFrame);
    const double whole = std::trunc(samplesPerFrame);
    const auto larger = static_cast<std::size_t>((samplesPerFrame - whole) * count);
    std::vector<std::uint32_t> weave(static_cast<std::size_t>(count),
                                     static_cast<std::uint32_t>(std::ceil(samplesPerFrame)));
    if (larger > 0) {
        const auto smaller = static_cast<std::uint32_t>(std::floor(samplesPerFrame));
        std::fill(weave.begin() + static_cast<std::ptrdiff_t>(larger), weave.end(), smaller);
    }
    return weave;
}

}  // namespace

void ZQRAudioHelper::setAudioFormat(const platform::AudioStreamBasicDescription& format) {
    sharedHelper().store(initWithAudioFormat(format));
}

bool ZQRAudioHelper::isInitialised() {
    return sharedHelper().load() != nullptr;
}

ZQRAudioHelperPtr ZQRAudioHelper::audioHelper() {
    const ZQRAudioHelperPtr shared = sharedHelper().load();
    return ZQRAudioHelperPtr(shared ? new ZQRAudioHelper(*shared) : new ZQRAudioHelper);
}

ZQRAudioHelperPtr ZQRAudioHelper::initWithAudioFormat(const platform::AudioStreamBasicDescription& format) {
    return initWithAudioFormat(format,
                               ZQCKTimebase::timebaseForFramerate(ZQProjectTimecode::currentFrameRate()));
}

ZQRAudioHelperPtr ZQRAudioHelper::initWithAudioFormat(const platform::AudioStreamBasicDescription& format,
                                                      ZQCKTimebase timebase) {
    ZQRAudioHelperPtr helper(new ZQRAudioHelper);
    helper->timescale_ = timebase.realFramesPerSecond();
    if (!helper->audioPacketWeaveForFormat(format)) return helper;
    helper->weave_ = std::make_shared<const Weave>(helper->count_);
    helper->audioPacketWeaveForFormat(format);
    return helper;
}

bool ZQRAudioHelper::audioPacketWeaveForFormat(const platform::AudioStreamBasicDescription& format) {
    const double samplesPerFrame = format.sampleRate / timescale_;
    // Written so that a rate that is no number fails as well.
    if (!(samplesPerFrame > 0 && samplesPerFrame < std::numeric_limits<std::int32_t>::max())) return false;
    const Weave cycle = weaveForSamplesPerFrame(samplesPerFrame);
    if (!weave_->empty()) {
        if (weave_->size() < cycle.size()) return false;
        // Copies of this helper go on with the weave they were made with.
        auto filled = std::make_shared<Weave>(*weave_);
        std::copy(cycle.begin(), cycle.end(), filled->begin());
        weave_ = std::move(filled);
    }
    maximumSize_ = static_cast<std::int32_t>(cycle.front());
    count_ = static_cast<std::uint32_t>(cycle.size());
    return true;
}

std::uint32_t ZQRAudioHelper::audioFramesForNextVideoFrame() {
    if (count_ == 0) return 0;
    if (current_ >= count_) current_ = 0;
    const std::uint32_t frames = (*weave_)[current_];
    current_ = (current_ + 1) % count_;
    return frames;
}

}  // namespace zenquor
