#include "zenquor/writers/ZQRAVFQueueIndexController.h"

#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

ZQRAVFQueueIndexPtr makeQueueIndex(std::uint64_t capacity, std::string name, std::uint64_t index) {
    auto queue = ZQRCMSampleBufferFIFOQueue::cmSampleBufferFifoQueueWithCapacity(capacity, std::move(name));
    return queue ? ZQRAVFQueueIndex::queueIndexWithQueue(std::move(queue), index) : nullptr;
}

bool isEmpty(const ZQRAVFQueueIndexPtr& queueIndex) {
    return !(queueIndex->queue()->fullness() > 0);
}

}  // namespace

ZQRAVFQueueIndexControllerPtr ZQRAVFQueueIndexController::initWithFifoCapacity(std::uint64_t fifoCapacity,
                                                                               std::uint64_t audioTrackCount,
                                                                               bool shouldWriteTimecode,
                                                                               bool shouldWriteClosedCaptions,
                                                                               std::string_view prefix) {
    ZQRAVFQueueIndexControllerPtr controller(new ZQRAVFQueueIndexController);
    controller->videoQueueIndex_ = makeQueueIndex(fifoCapacity, queueName("File Output", prefix), 0);
    if (!controller->videoQueueIndex_ ||
        !controller->setupAudioQueuesWithFifoCapacity(fifoCapacity, audioTrackCount, prefix)) {
        return nullptr;
    }
    if (shouldWriteTimecode) {
        controller->timecodeQueueIndex_ = makeQueueIndex(fifoCapacity, queueName("Timecode", prefix), 0);
        if (!controller->timecodeQueueIndex_) return nullptr;
    }
    if (shouldWriteClosedCaptions) {
        controller->closedCaptionQueueIndex_ =
            makeQueueIndex(fifoCapacity, queueName("Closed Captions", prefix), 0);
        if (!controller->closedCaptionQueueIndex_) return nullptr;
    }
    return controller;
}

bool ZQRAVFQueueIndexController::setupAudioQueuesWithFifoCapacity(std::uint64_t fifoCapacity,
                                                                  std::uint64_t audioTrackCount,
                                                                  std::string_view prefix) {
    for (std::uint64_t track = 0; track < audioTrackCount; ++track) {
        auto queueIndex = makeQueueIndex(fifoCapacity, queueName("Audio", prefix), track);
        if (!queueIndex) return false;
        audioQueueIndex_.push_back(std::move(queueIndex));
    }
    return true;
}

std::string ZQRAVFQueueIndexController::queueName(std::string_view name, std::string_view prefix) {
    return fmt::format("{} - {}", prefix, name);
}

template <typename Visitor>
void ZQRAVFQueueIndexController::forEachQueueIndex(Visitor&& visit) const {
    visit(videoQueueIndex_);
    for (const auto& queueIndex : audioQueueIndex_) visit(queueIndex);
    if (timecodeQueueIndex_) visit(timecodeQueueIndex_);
    if (closedCaptionQueueIndex_) visit(closedCaptionQueueIndex_);
}

void ZQRAVFQueueIndexController::signalAll() {
    forEachQueueIndex([](const ZQRAVFQueueIndexPtr& queueIndex) { queueIndex->finish(); });
}

void ZQRAVFQueueIndexController::finish() {
    signalAll();
    while (!allQueuesEmpty()) {
        ZLGGetHandle().debug("Waiting for queues to empty...");
        logQueueFullness();
        std::this_thread::sleep_for(std::chrono::milliseconds(finishPollMilliseconds));
    }
}

bool ZQRAVFQueueIndexController::allQueuesEmpty() const {
    bool empty = true;
    forEachQueueIndex([&](const ZQRAVFQueueIndexPtr& queueIndex) { empty = empty && isEmpty(queueIndex); });
    return empty;
}

void ZQRAVFQueueIndexController::logQueueFullness() const {
    if (!ZLGGetHandle().isEnabled(ZLGLevel::Debug)) return;
    std::string text = fmt::format("Video: {:f}\n", videoQueueIndex_->queue()->fullness());
    for (const auto& queueIndex : audioQueueIndex_) {
        text += fmt::format("Audio: {:f}\n", queueIndex->queue()->fullness());
    }
    // Captions go under the label of the timecode: the logs are read by it.
    for (const auto& queueIndex : {timecodeQueueIndex_, closedCaptionQueueIndex_}) {
        if (queueIndex) text += fmt::format("TC: {:f}\n", queueIndex->queue()->fullness());
    }
    ZLGGetHandle().debug("{}", text);
}

void ZQRAVFQueueIndexController::gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const {
    forEachQueueIndex([&](const ZQRAVFQueueIndexPtr& queueIndex) {
        diagnostics.push_back(queueIndex->queue()->encodeToDictionary());
    });
}

ZQRAVFQueueIndexPtr ZQRAVFQueueIndexController::audioQueueIndexForAudioTrack(std::uint64_t track) const {
    return track < audioQueueIndex_.size() ? audioQueueIndex_[track] : nullptr;
}

}  // namespace zenquor
