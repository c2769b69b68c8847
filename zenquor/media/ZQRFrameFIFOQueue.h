#pragma once
// Frames on their way from one thread to another.

#include "zenquor/media/ZQRFrame.h"
#include "zenquor/media/ZQRSimpleQueue.h"

namespace zenquor {

/// A ZQRSimpleQueue of frames.
///
/// Thread-safety: One producer (addFrame), one consumer (nextFrame, cleanUp).
/// Ownership:     holds one reference per frame.
class ZQRFrameFIFOQueue final : public ZQRSimpleQueue {
public:
    /// As ZQRSimpleQueue::initWithCapacity().
    static std::shared_ptr<ZQRFrameFIFOQueue> initWithCapacity(std::size_t capacity, std::string name);
    /// Empties itself.
    ~ZQRFrameFIFOQueue() override;

    /// Appends @p frame. A null frame is logged and leaves @p error alone; a full queue gives -12773.
    /// @return false when the frame did not enter; the caller's reference is then untouched.
    bool addFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr);
    /// The same without touching the reference count; @p frame is moved from only on success.
    bool addFrame(ZQRFramePtr&& frame, ZQErrorPtr* error = nullptr);
    /// Waits for a frame and removes it. @return null, after logging, when signal() ended the wait.
    ZQRFramePtr nextFrame();
    /// Lets all frames go, logging how many there were. For the owner, once both threads have stopped.
    void cleanUp();

private:
    ZQRFrameFIFOQueue(std::size_t capacity, std::string name);
};

using ZQRFrameFIFOQueuePtr = std::shared_ptr<ZQRFrameFIFOQueue>;

}  // namespace zenquor
