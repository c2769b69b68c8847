#pragma once
// The way of a track's samples from their queue into the movie file.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "zenquor/core/SerialQueue.h"
#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/writers/ZQRAVFQueueIndex.h"

namespace zenquor::detail {

/// What the feeds of all tracks look at; the writer sets it.
struct FeedProgress {
    std::atomic<std::uint64_t> framesRecorded{0};
    std::atomic<bool> finishCalled{false};
    std::atomic<bool> abandoned{false};  // nobody wants the rest
};

/// Moves samples from one queue to one input whenever the input wants more, on a serial queue.
///
/// Thread-safety: pull() runs on the track's serial queue only.
/// Ownership:     the input holds its feed, so the feed does not hold the input and its writer.
class SampleFeed {
public:
    SampleFeed(const platform::AssetWriterPtr& writer, const platform::AssetWriterInputPtr& input,
               ZQRAVFQueueIndexPtr queueIndex, std::shared_ptr<const FeedProgress> progress,
               std::string name);

    /// Registers a feed. @return false when the input refuses, which is logged.
    static bool scheduleInput(const platform::AssetWriterInputPtr& input, const SerialQueuePtr& dispatchQueue,
                              std::shared_ptr<SampleFeed> feed);
    void pull();

private:
    bool isDone(platform::AssetWriterInput& input);
    bool writerHasFailed() const;
    bool append(platform::AssetWriterInput& input, const platform::SampleBufferPtr& sample);

    std::weak_ptr<platform::AssetWriter> writer_;
    std::weak_ptr<platform::AssetWriterInput> input_;
    ZQRAVFQueueIndexPtr queueIndex_;
    std::shared_ptr<const FeedProgress> progress_;
    std::string name_;
};

}  // namespace zenquor::detail
