#pragma once
// A bounded set of pictures that are used again and again.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/PixelBuffer.h"

namespace zenquor::platform {

/// Hands out page-aligned pictures of one size whose memory comes back when their last reference goes.
///
/// Memory that comes back keeps its bytes, so a maker that redraws only part of a picture finds the rest as
/// it left it.
///
/// Thread-safety: Safe; pictures may be dropped on any thread and may outlive the pool.
/// Ownership:     the pool keeps the memory of pictures that came back until it goes itself.
class PixelBufferPool {
public:
    /// Runs once on each newly allocated picture, on the thread that asks for it.
    using Prepare = std::function<void(PixelBuffer&)>;

    /// @param limit  pictures in use at once; 0 for no bound.
    PixelBufferPool(std::uint32_t width, std::uint32_t height, FourCC format, std::size_t limit,
                    Prepare prepare = {});
    ~PixelBufferPool();
    PixelBufferPool(const PixelBufferPool&) = delete;
    PixelBufferPool& operator=(const PixelBufferPool&) = delete;

    /// A picture without attachments; waits up to @p wait for one to come back while all are in use.
    /// @return null when none came back in time, for an empty size or unknown format, or when memory is
    /// short.
    PixelBufferPtr pixelBuffer(std::chrono::milliseconds wait = std::chrono::milliseconds(0));
    /// Hands out @p foreign as one of the pool's pictures: it counts until its last reference goes. Size and
    /// format are its own.
    /// @return null when none came back in time.
    PixelBufferPtr lend(PixelBufferPtr foreign,
                        std::chrono::milliseconds wait = std::chrono::milliseconds(0));
    std::size_t limit() const;
    /// Pictures handed out and not yet back.
    std::size_t inUse() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace zenquor::platform
