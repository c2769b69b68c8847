#include "zenquor/platform/PixelBufferPool.h"

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace zenquor::platform {

/// Shared with every picture handed out, so that one that outlives the pool still finds where to go.
struct PixelBufferPool::State {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    FourCC format = 0;
    std::size_t limit = 0;
    Prepare prepare;
    std::mutex mutex;
    std::condition_variable returned;
    std::vector<PixelBufferPtr> idle;  // the memory, each a picture of its own that is never handed out
    std::size_t inUse = 0;
    bool closed = false;

    /// Counts one picture as used. @return false when none came back in time.
    bool reserve(std::chrono::milliseconds wait) {
        std::unique_lock lock(mutex);
        if (!returned.wait_for(lock, wait, [this] { return limit == 0 || inUse < limit; })) return false;
        ++inUse;
        return true;
    }

    /// Memory that came back, or null when new has to be made.
    PixelBufferPtr takeIdle() {
        const std::lock_guard lock(mutex);
        if (idle.empty()) return nullptr;
        auto memory = std::move(idle.back());
        idle.pop_back();
        return memory;
    }

    void giveBack(PixelBufferPtr memory) {
        {
            const std::lock_guard lock(mutex);
            --inUse;
            if (memory && !closed) idle.push_back(std::move(memory));
        }
        returned.notify_one();
    }
};

PixelBufferPool::PixelBufferPool(std::uint32_t width, std::uint32_t height, FourCC format, std::size_t limit,
                                 Prepare prepare)
    : state_(std::make_shared<State>()) {
    state_->width = width;
    state_->height = height;
    state_->format = format;
    state_->limit = limit;
    state_->prepare = std::move(prepare);
}

PixelBufferPool::~PixelBufferPool() {
    std::vector<PixelBufferPtr> idle;  // freed after the lock
    const std::lock_guard lock(state_->mutex);
    state_->closed = true;
    idle.swap(state_->idle);
}

PixelBufferPtr PixelBufferPool::pixelBuffer(std::chrono::milliseconds wait) {
    State& state = *state_;
    if (!state.reserve(wait)) return nullptr;
    PixelBufferPtr memory = state.takeIdle();
    if (!memory) {
        if (PixelBuffer::create(state.width, state.height, state.format, memory) != noErr) {
            state.giveBack(nullptr);
            return nullptr;
        }
        if (state.prepare) state.prepare(*memory);
    }
    auto* const bytes = memory->mutableBaseAddress();
    const auto rowBytes = memory->bytesPerRow();
    PixelBufferPtr picture;
    PixelBuffer::createWithBytes(
        state.width, state.height, state.format, bytes, rowBytes,
        [owner = state_, held = std::move(memory)] { owner->giveBack(held); }, picture);
    return picture;
}

PixelBufferPtr PixelBufferPool::lend(PixelBufferPtr foreign, std::chrono::milliseconds wait) {
    if (!foreign || !state_->reserve(wait)) return nullptr;
    auto& source = *foreign;
    PixelBufferPtr picture;
    PixelBuffer::createWithBytes(
        source.width(), source.height(), source.pixelFormat(), source.mutableBaseAddress(),
        source.bytesPerRow(), [owner = state_, held = std::move(foreign)] { owner->giveBack(nullptr); },
        picture);
    picture->setAttachments(source.attachments());
    return picture;
}

std::size_t PixelBufferPool::limit() const {
    return state_->limit;
}

std::size_t PixelBufferPool::inUse() const {
    const std::lock_guard lock(state_->mutex);
    return state_->inUse;
}

}  // namespace zenquor::platform
