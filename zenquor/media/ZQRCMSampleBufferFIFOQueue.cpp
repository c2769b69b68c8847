#include "zenquor/media/ZQRCMSampleBufferFIFOQueue.h"

#include <utility>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

ZQRCMSampleBufferFIFOQueue::ZQRCMSampleBufferFIFOQueue(std::size_t capacity, std::string name)
    : ZQRSimpleQueue(capacity, std::move(name)) {}

std::shared_ptr<ZQRCMSampleBufferFIFOQueue> ZQRCMSampleBufferFIFOQueue::cmSampleBufferFifoQueueWithCapacity(
    std::size_t capacity, std::string name) {
    return initWithCapacity(capacity, std::move(name));
}

std::shared_ptr<ZQRCMSampleBufferFIFOQueue> ZQRCMSampleBufferFIFOQueue::initWithCapacity(std::size_t capacity,
                                                                                         std::string name) {
    ZLGGetHandle().debug("ZQRCMSampleBufferFIFOQueue {} initing with capacity: {}", name, capacity);
    std::shared_ptr<ZQRCMSampleBufferFIFOQueue> queue(
        new ZQRCMSampleBufferFIFOQueue(capacity, std::move(name)));
    return queue->createRing() ? queue : nullptr;
}

ZQRCMSampleBufferFIFOQueue::~ZQRCMSampleBufferFIFOQueue() {
    const std::size_t left = count();
    if (left == 0) return;
    ZLGGetHandle().debug(
        "ZQRCMSampleBufferFIFOQueue {} still has {} elements on dealloc! They will be released now", *this,
        left);
    while (count() != 0) nextElement();
}

bool ZQRCMSampleBufferFIFOQueue::addSampleBuffer(const platform::SampleBufferPtr& sample, ZQErrorPtr* error) {
    return addSampleBuffer(platform::SampleBufferPtr(sample), error);
}

bool ZQRCMSampleBufferFIFOQueue::addSampleBuffer(platform::SampleBufferPtr&& sample, ZQErrorPtr* error) {
    if (!sample) {
        ZLGGetHandle().error("ZQRCMSampleBufferFIFOQueue attempt to insert a NULL-sample buffer into {}",
                             *this);
        return false;
    }
    // The queue carries pointers of any kind and never looks behind them; constness comes back on the way
    // out.
    std::shared_ptr<void> element = std::const_pointer_cast<platform::SampleBuffer>(std::move(sample));
    if (addElement(std::move(element), error)) return true;
    sample = std::static_pointer_cast<const platform::SampleBuffer>(std::move(element));
    return false;
}

platform::SampleBufferPtr ZQRCMSampleBufferFIFOQueue::nextSampleBuffer() {
    auto sample = std::static_pointer_cast<const platform::SampleBuffer>(nextElement());
    if (!sample) ZLGGetHandle().error("ZQRCMSampleBufferFIFOQueue got a NULL-frame from {}", *this);
    return sample;
}

}  // namespace zenquor
