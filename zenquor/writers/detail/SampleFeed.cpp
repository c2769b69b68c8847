#include "zenquor/writers/detail/SampleFeed.h"

#include <utility>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor::detail {

SampleFeed::SampleFeed(const platform::AssetWriterPtr& writer, const platform::AssetWriterInputPtr& input,
                       ZQRAVFQueueIndexPtr queueIndex, std::shared_ptr<const FeedProgress> progress,
                       std::string name)
    : writer_(writer),
      input_(input),
      queueIndex_(std::move(queueIndex)),
      progress_(std::move(progress)),
      name_(std::move(name)) {}

bool SampleFeed::scheduleInput(const platform::AssetWriterInputPtr& input,
                               const SerialQueuePtr& dispatchQueue, std::shared_ptr<SampleFeed> feed) {
    ZQErrorPtr error;
    if (input->requestMediaDataWhenReadyOnQueue(
            dispatchQueue, [feed = std::move(feed)] { feed->pull(); }, &error)) {
        return true;
    }
    ZLGGetHandle().error("ZQRAVFoundationWriter: Caught exception {}", error);
    return false;
}

void SampleFeed::pull() {
    const auto input = input_.lock();
    if (!input) return;
    int appended = 0;
    while (input->isReadyForMoreMediaData() && !isDone(*input)) {
        // The inputs of a failed writer stay ready: a feed that waited here for samples that never come would keep
        // the other tracks of its serial queue from draining.
        if (writerHasFailed() && !(queueIndex_->queue()->fullness() > 0)) break;
        const auto sample = queueIndex_->queue()->nextSampleBuffer();
        if (sample && append(*input, sample)) ++appended;
    }
    if (appended >= 2) {
        ZLGGetHandle().debug("ZQRAVFoundationWriter {} {} samples written, {}, {}", appended, name_,
                             queueIndex_->writtenSamples(),
                             progress_->framesRecorded.load(std::memory_order_relaxed));
    }
}

bool SampleFeed::writerHasFailed() const {
    const auto writer = writer_.lock();
    return writer && writer->status() == platform::AssetWriterStatus::Failed;
}

bool SampleFeed::isDone(platform::AssetWriterInput& input) {
    if (progress_->abandoned.load(std::memory_order_acquire)) return true;
    if (!progress_->finishCalled.load(std::memory_order_acquire)) return false;
    if (queueIndex_->writtenSamples() == progress_->framesRecorded.load(std::memory_order_relaxed)) {
        ZLGGetHandle().log("ZQRAVFoundationWriter: {} queue will be marked as finished", name_);
        input.markAsFinished();
        // Samples of a frame that failed on another track: nobody takes them any more, and the end waits for
        // them.
        while (queueIndex_->queue()->fullness() > 0) queueIndex_->queue()->nextSampleBuffer();
        return true;
    }
    if (queueIndex_->queue()->fullness() > 0) return false;
    // A track that came short: the others must not wait for it.
    input.markAsFinished();
    return true;
}

bool SampleFeed::append(platform::AssetWriterInput& input, const platform::SampleBufferPtr& sample) {
    if (input.appendSampleBuffer(sample)) {
        queueIndex_->setWrittenSamples(queueIndex_->writtenSamples() + 1);
        return true;
    }
    const auto writer = writer_.lock();
    const auto status = writer ? writer->status() : platform::AssetWriterStatus::Unknown;
    ZLGGetHandle().error(
        "ZQRAVFoundationWriter: Couldn't append {} to input, writer status is: {}, already written samples: "
        "{}",
        name_, static_cast<int>(status), queueIndex_->writtenSamples());
    if (status == platform::AssetWriterStatus::Failed) {
        ZLGGetHandle().error("ZQRAVFoundationWriter: Writer error {}", writer->error());
    }
    return false;
}

}  // namespace zenquor::detail
