#pragma once
// How many audio samples belong to each video frame.

#include <cstdint>
#include <memory>
#include <vector>

#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"

namespace zenquor {

class ZQRAudioHelper;
using ZQRAudioHelperPtr = std::shared_ptr<ZQRAudioHelper>;

/// The cadence of audio samples over video frames, such as 1602, 1602, 1602, 1601, 1601 at 48 kHz and 29.97
/// frames per second, handed out frame by frame. The frame rate is that of ZQProjectTimecode when the helper
/// is made.
///
/// Lifecycle:     setAudioFormat() once per format; every user takes a copy with audioHelper().
/// Thread-safety: the class operations are Safe; a helper belongs to one thread at a time.
class ZQRAudioHelper final {
public:
    /// Replaces the shared helper by one for @p format.
    static void setAudioFormat(const platform::AudioStreamBasicDescription& format);
    /// Whether there is a shared helper.
    static bool isInitialised();
    /// A copy of the shared helper that starts at its first entry; an empty helper when there is none.
    static ZQRAudioHelperPtr audioHelper();
    /// A sample rate that is not a positive number gives an empty helper.
    static ZQRAudioHelperPtr initWithAudioFormat(const platform::AudioStreamBasicDescription& format);
    /// The same for a frame rate of the caller's own, whatever the project's is.
    static ZQRAudioHelperPtr initWithAudioFormat(const platform::AudioStreamBasicDescription& format,
                                                 ZQCKTimebase timebase);

    /// Works out the cycle for @p format at timescale(): its largest count and its length, and, once there is
    /// memory for a cycle, the counts themselves.
    /// @return false, with nothing changed, for a rate that is not a positive number and for a cycle longer
    /// than the memory.
    bool audioPacketWeaveForFormat(const platform::AudioStreamBasicDescription& format);
    /// Samples of the next video frame; 0 from an empty helper.
    std::uint32_t audioFramesForNextVideoFrame();
    /// The counts of one cycle; shared between copies.
    const std::vector<std::uint32_t>& audioWeave() const { return *weave_; }
    /// The largest count of the cycle.
    std::int32_t audioWeaveMaximumSize() const { return maximumSize_; }
    std::uint32_t audioWeaveCount() const { return count_; }
    /// The index of the next entry.
    std::uint32_t audioWeaveCurrent() const { return current_; }
    void setAudioWeaveCurrent(std::uint32_t index) { current_ = index; }
    /// Video frames per second.
    double timescale() const { return timescale_; }

private:
    using Weave = std::vector<std::uint32_t>;

    ZQRAudioHelper() = default;
    ZQRAudioHelper(const ZQRAudioHelper&) = default;

    std::int32_t maximumSize_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t current_ = 0;
    std::shared_ptr<const Weave> weave_ = std::make_shared<const Weave>();
    double timescale_ = 0;
};

}  // namespace zenquor
