#include "zenquor/media/ZQRSimpleQueue.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/media/detail/ElementRing.h"

namespace zenquor {
namespace {

/// A queue this long is worth a line in the log, whatever its capacity.
constexpr std::size_t largeQueueThreshold = 100;

std::string textForStatus(std::int32_t status) {
    switch (status) {
        case ZQRSimpleQueueErrorQueueIsFull:
            return "Operation failed because queue was full";
        case ZQRSimpleQueueErrorParameterOutOfRange:
            return "An out-of-range value was passed for a parameter with a restricted valid range.";
        case ZQRSimpleQueueErrorRequiredParameterMissing:
            return "NULL or 0 was passed for a required parameter";
        case ZQRSimpleQueueErrorAllocationFailed:
            return "An allocation failed.";
        default:
            return fmt::format("An unknown error occured ({})", status);
    }
}

}  // namespace

std::shared_ptr<ZQRSimpleQueue> ZQRSimpleQueue::initWithCapacity(std::size_t capacity, std::string name) {
    std::shared_ptr<ZQRSimpleQueue> queue(new ZQRSimpleQueue(capacity, std::move(name)));
    return queue->createRing() ? queue : nullptr;
}

ZQRSimpleQueue::ZQRSimpleQueue(std::size_t capacity, std::string name)
    : name_(std::move(name)), capacity_(capacity) {}

ZQRSimpleQueue::~ZQRSimpleQueue() = default;

bool ZQRSimpleQueue::createRing() {
    ring_ = detail::ElementRing::create(capacity_);
    if (ring_) return true;
    ZLGGetHandle().error("ZQRSimpleQueue: Couldn't create queue with error {}",
                         static_cast<int>(ZQRSimpleQueueErrorAllocationFailed));
    return false;
}

bool ZQRSimpleQueue::addElement(const std::shared_ptr<void>& element, ZQErrorPtr* error) {
    return addElement(std::shared_ptr<void>(element), error);
}

bool ZQRSimpleQueue::addElement(std::shared_ptr<void>&& element, ZQErrorPtr* error) {
    if (!element) return refuse(ZQRSimpleQueueErrorRequiredParameterMissing, error);
    if (!ring_->push(element)) return refuse(ZQRSimpleQueueErrorQueueIsFull, error);
    if (logDebugOutput()) ZLGGetHandle().log("ZQRSimpleQueue {}: has {:f} fullness", *this, fullness());
    ring_->wakeConsumer();
    if (ring_->countIsAtLeast(largeQueueThreshold)) logLargeQueue();
    return true;
}

bool ZQRSimpleQueue::refuse(std::int32_t status, ZQErrorPtr* error) const {
    if (error) return fail(error, errorForSimpleQueueError(status));
    ZLGGetHandle().error("ZQRSimpleQueue {}: Tried to add element into full fifo", *this);
    return false;
}

void ZQRSimpleQueue::logLargeQueue() const {
    const std::uint32_t elements = elementCount();
    if (elements < largeQueueThreshold) return;
    ZLGGetHandle().log("ZQRSimpleQueue {}: Large queue detected with {} frames", *this, elements);
}

std::shared_ptr<void> ZQRSimpleQueue::nextElement() {
    return ring_->take();
}

void ZQRSimpleQueue::signal() {
    ring_->signal();
}

std::size_t ZQRSimpleQueue::count() const {
    return ring_ ? ring_->count() : 0;
}

float ZQRSimpleQueue::fullness() const {
    if (capacity_ == 0) return 0.0F;
    return static_cast<float>(count()) / static_cast<float>(capacity_);
}

std::uint32_t ZQRSimpleQueue::elementCount() const {
    return static_cast<std::uint32_t>(fullness() * static_cast<float>(capacity_));
}

ZQDictionary ZQRSimpleQueue::encodeToDictionary() const {
    return {{"name", name()},
            {"capacity", capacity_},
            {"elementCount", elementCount()},
            {"fullness", fullness()}};
}

ZQErrorPtr ZQRSimpleQueue::errorForSimpleQueueError(std::int32_t status) {
    return ZQError::errorWithDomain(ZQRSimpleQueueErrorDomain, status, textForStatus(status));
}

}  // namespace zenquor
