#pragma once
// Samples on their way from one thread to another.

#include "zenquor/media/ZQRSimpleQueue.h"
#include "zenquor/platform/SampleBuffer.h"

namespace zenquor {

/// A ZQRSimpleQueue of sample buffers.
///
/// Thread-safety: One producer (addSampleBuffer), one consumer (nextSampleBuffer).
/// Ownership:     holds one reference per sample buffer.
class ZQRCMSampleBufferFIFOQueue final : public ZQRSimpleQueue {
public:
    /// As initWithCapacity().
    static std::shared_ptr<ZQRCMSampleBufferFIFOQueue> cmSampleBufferFifoQueueWithCapacity(
        std::size_t capacity, std::string name);
    /// As ZQRSimpleQueue::initWithCapacity().
    static std::shared_ptr<ZQRCMSampleBufferFIFOQueue> initWithCapacity(std::size_t capacity,
                                                                        std::string name);
    /// Empties itself.
    ~ZQRCMSampleBufferFIFOQueue() override;

    /// Appends @p sample. A null sample is logged and leaves @p error alone; a full queue gives -12773.
    /// @return false when the sample did not enter; the caller's reference is then untouched.
    bool addSampleBuffer(const platform::SampleBufferPtr& sample, ZQErrorPtr* error = nullptr);
    /// The same without touching the reference count; @p sample is moved from only on success.
    bool addSampleBuffer(platform::SampleBufferPtr&& sample, ZQErrorPtr* error = nullptr);
    /// Waits for a sample and removes it. @return null, after logging, when signal() ended the wait.
    platform::SampleBufferPtr nextSampleBuffer();

private:
    ZQRCMSampleBufferFIFOQueue(std::size_t capacity, std::string name);
};

using ZQRCMSampleBufferFIFOQueuePtr = std::shared_ptr<ZQRCMSampleBufferFIFOQueue>;

}  // namespace zenquor
