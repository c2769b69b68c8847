#pragma once
// The samples of one track on their way into a movie file.

#include <atomic>
#include <cstdint>
#include <memory>

#include "zenquor/core/ZQObject.h"
#include "zenquor/media/ZQRCMSampleBufferFIFOQueue.h"

namespace zenquor {

/// A track's sample queue with the track's number and the count of samples that have reached the file.
///
/// Thread-safety: one thread fills the queue, one drains it and counts; everything else Safe.
class ZQRAVFQueueIndex final : public ZQObject {
public:
    using Queue = std::shared_ptr<ZQRCMSampleBufferFIFOQueue>;

    static std::shared_ptr<ZQRAVFQueueIndex> queueIndexWithQueue(Queue queue, std::uint64_t index);
    static std::shared_ptr<ZQRAVFQueueIndex> initWithQueue(Queue queue, std::uint64_t index);

    /// Wakes a reader that is blocked on the queue; it then gets no sample.
    void finish();

    const Queue& queue() const { return queue_; }
    void setQueue(Queue queue) { queue_ = std::move(queue); }
    /// Position among the tracks of its kind.
    std::uint64_t index() const { return index_; }
    void setIndex(std::uint64_t index) { index_ = index; }
    std::uint64_t writtenSamples() const { return writtenSamples_.load(std::memory_order_relaxed); }
    void setWrittenSamples(std::uint64_t count) { writtenSamples_.store(count, std::memory_order_relaxed); }

private:
    ZQRAVFQueueIndex() = default;

    Queue queue_;
    std::uint64_t index_ = 0;
    std::atomic<std::uint64_t> writtenSamples_{0};
};

using ZQRAVFQueueIndexPtr = std::shared_ptr<ZQRAVFQueueIndex>;

}  // namespace zenquor
