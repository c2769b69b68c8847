// The asset writer's end: finished, cancelled or failed.

#include <algorithm>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/quicktime/WriterCore.h"
#include "zenquor/platform/quicktime/WriterErrors.h"

namespace zenquor::platform {

using namespace quicktime;

AssetWriter::Implementation::~Implementation() {
    cancel();
    closeFile();
}

void AssetWriter::Implementation::finish(std::shared_ptr<AssetWriter> self,
                                         std::function<void()> completion) {
    {
        const std::lock_guard lock(mutex);
        finishing_ = true;
        wakeInputsLocked();
    }
    if (finisher_.isStarted()) {
        finisher_.join();
        if (completion) completion();
        return;
    }
    finisher_.start([this, self = std::move(self), completion = std::move(completion)] {
        finishInputs();
        const bool written = status() == AssetWriterStatus::Writing && writeMovie();
        closeFile();
        if (written) {
            const std::lock_guard lock(mutex);
            status_ = AssetWriterStatus::Completed;
        }
        dropBlocks();
        if (completion) completion();
    });
}

/// Blocks that are under way hand over what they hold; every input is then at its end.
void AssetWriter::Implementation::finishInputs() {
    for (const auto& input : inputs) {
        auto& in = input->implementation();
        for (;;) {
            SerialQueuePtr queue;
            {
                const std::lock_guard lock(mutex);
                if (in.dispatched) queue = in.queue;
            }
            if (!queue) break;
            queue->sync([] {});
        }
    }
    for (const auto& input : inputs) markFinished(input->implementation());
}

void AssetWriter::Implementation::markFinished(AssetWriterInput::Implementation& input) {
    {
        const std::lock_guard lock(mutex);
        if (input.finished) return;
        input.finished = true;
        if (status_ != AssetWriterStatus::Writing) return;
    }
    if (input.encoder) finishEncoder(input);
    wakeInputs();
}

bool AssetWriter::Implementation::writeMovie() {
    const std::lock_guard fileLock(fileMutex);
    if (!closeFragment()) return false;
    std::vector<std::uint8_t> movieBox;
    {
        const std::lock_guard lock(mutex);
        movieBox = makeMovieHeader(settings, tracks_);
    }
    return file_->finish(std::move(movieBox)) || failWriting(file_->lastError());
}

void AssetWriter::Implementation::cancel() {
    {
        const std::lock_guard fileLock(fileMutex);
        if (status() != AssetWriterStatus::Writing) return;
        closeFragment();
        const std::lock_guard lock(mutex);
        if (status_ == AssetWriterStatus::Writing) status_ = AssetWriterStatus::Cancelled;
    }
    closeFile();
    dropBlocks();
}

void AssetWriter::Implementation::closeFile() {
    const std::lock_guard fileLock(fileMutex);
    synchroniser_ = nullptr;  // waits for the disk
    file_ = nullptr;
}

/// Blocks hold what the host gave them, often the host itself.
void AssetWriter::Implementation::dropBlocks() {
    for (const auto& input : inputs) {
        auto& in = input->implementation();
        std::function<void()> block;
        SerialQueuePtr queue;
        const std::lock_guard lock(mutex);
        std::swap(block, in.block);
        if (!in.dispatched) std::swap(queue, in.queue);
    }
}

// ---- failures

bool AssetWriter::Implementation::fail(ZQErrorPtr error) {
    const std::lock_guard lock(mutex);
    if (status_ == AssetWriterStatus::Writing || status_ == AssetWriterStatus::Unknown) {
        status_ = AssetWriterStatus::Failed;
        ZLGGetHandle().error("AssetWriter: {}", error);
        error_ = std::move(error);
    }
    wakeInputsLocked();
    return false;
}

/// Called with the file's lock. What was written stays readable: the open fragment is cut off.
bool AssetWriter::Implementation::failWriting(int number) {
    fail(writingError(url, number));
    if (!file_->abandonFragment())
        ZLGGetHandle().error("AssetWriter: {}", writingError(url, file_->lastError()));
    return false;
}

bool AssetWriter::Implementation::failSamples(const Track& track, const std::string& problem) {
    return fail(sampleError(fourCCString(track.mediaType), problem));
}

}  // namespace zenquor::platform
