#pragma once
// The sample queues of all tracks of one movie file.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQObject.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/writers/ZQRAVFQueueIndex.h"

namespace zenquor {

/// Owns one sample queue per track and waits at the end until all are empty.
///
/// Thread-safety: the queues as ZQRAVFQueueIndex says; the set itself is fixed at creation.
class ZQRAVFQueueIndexController final : public ZQObject {
public:
    /// Between two looks at the queues while finish() waits.
    static constexpr int finishPollMilliseconds = 100;

    /// @param fifoCapacity  samples of each queue.
    /// @param prefix        stands before the queues' names.
    /// @return null when a queue cannot be made.
    static std::shared_ptr<ZQRAVFQueueIndexController> initWithFifoCapacity(std::uint64_t fifoCapacity,
                                                                            std::uint64_t audioTrackCount,
                                                                            bool shouldWriteTimecode,
                                                                            bool shouldWriteClosedCaptions,
                                                                            std::string_view prefix);
    /// "PREFIX - NAME".
    static std::string queueName(std::string_view name, std::string_view prefix);

    /// Wakes every reader and waits, without limit, until every queue is empty.
    void finish();
    /// Wakes every reader.
    void signalAll();
    bool allQueuesEmpty() const;
    /// Logs one line per queue at debug level.
    void logQueueFullness() const;
    /// Appends one dictionary per queue, in the order video, audio, timecode, captions.
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const;

    const ZQRAVFQueueIndexPtr& videoQueueIndex() const { return videoQueueIndex_; }
    /// Null when the movie has no timecode track.
    const ZQRAVFQueueIndexPtr& timecodeQueueIndex() const { return timecodeQueueIndex_; }
    const std::vector<ZQRAVFQueueIndexPtr>& audioQueueIndex() const { return audioQueueIndex_; }
    /// Null beyond the last track.
    ZQRAVFQueueIndexPtr audioQueueIndexForAudioTrack(std::uint64_t track) const;
    /// Null when the movie has no caption track.
    const ZQRAVFQueueIndexPtr& closedCaptionQueueIndex() const { return closedCaptionQueueIndex_; }

private:
    ZQRAVFQueueIndexController() = default;
    bool setupAudioQueuesWithFifoCapacity(std::uint64_t fifoCapacity, std::uint64_t audioTrackCount,
                                          std::string_view prefix);
    template <typename Visitor>
    void forEachQueueIndex(Visitor&& visit) const;

    ZQRAVFQueueIndexPtr videoQueueIndex_;
    ZQRAVFQueueIndexPtr timecodeQueueIndex_;
    std::vector<ZQRAVFQueueIndexPtr> audioQueueIndex_;
    ZQRAVFQueueIndexPtr closedCaptionQueueIndex_;
};

using ZQRAVFQueueIndexControllerPtr = std::shared_ptr<ZQRAVFQueueIndexController>;

}  // namespace zenquor
