#include "zenquor/media/ZQRFrameFIFOQueue.h"

#include <utility>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

ZQRFrameFIFOQueue::ZQRFrameFIFOQueue(std::size_t capacity, std::string name)
    : ZQRSimpleQueue(capacity, std::move(name)) {}

std::shared_ptr<ZQRFrameFIFOQueue> ZQRFrameFIFOQueue::initWithCapacity(std::size_t capacity,
                                                                       std::string name) {
    ZLGGetHandle().debug("ZQRFrameFIFOQueue {} initing with capacity {}", name, capacity);
    std::shared_ptr<ZQRFrameFIFOQueue> queue(new ZQRFrameFIFOQueue(capacity, std::move(name)));
    return queue->createRing() ? queue : nullptr;
}

ZQRFrameFIFOQueue::~ZQRFrameFIFOQueue() {
    cleanUp();
}

bool ZQRFrameFIFOQueue::addFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    return addFrame(ZQRFramePtr(frame), error);
}

bool ZQRFrameFIFOQueue::addFrame(ZQRFramePtr&& frame, ZQErrorPtr* error) {
    if (!frame) {
        ZLGGetHandle().error("ZQRFrameFIFOQueue attempt to insert a NULL-frame to {}", *this);
        return false;
    }
    std::shared_ptr<void> element = std::move(frame);
    if (addElement(std::move(element), error)) return true;
    frame = std::static_pointer_cast<ZQRFrame>(std::move(element));
    return false;
}

ZQRFramePtr ZQRFrameFIFOQueue::nextFrame() {
    auto frame = std::static_pointer_cast<ZQRFrame>(nextElement());
    if (!frame) ZLGGetHandle().error("ZQRFrameFIFOQueue got a NULL-frame from {}", *this);
    return frame;
}

void ZQRFrameFIFOQueue::cleanUp() {
    const std::size_t left = count();
    if (left == 0) return;
    ZLGGetHandle().debug("ZQRFrameFIFOQueue {} still has {} elements on dealloc! They will be released now",
                         *this, left);
    while (count() != 0) nextElement();
}

}  // namespace zenquor
