#include "zenquor/media/detail/ElementRing.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>
#include <utility>

namespace zenquor::detail {
namespace {

/// A look at the producer's position that gains fewer elements than this shows a consumer on the producer's
/// heels.
constexpr std::size_t smallGain = 32;
/// Processor pauses, together well under a microsecond.
constexpr int pausesAfterSmallGain = 16;

void pauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace

std::unique_ptr<ElementRing> ElementRing::create(std::size_t capacity) {
    if (capacity > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    const std::size_t slotCount = std::bit_ceil(std::max<std::size_t>(capacity, 1));
    // Raw memory: a slot is constructed when it is filled, so that a large ring costs pages only as it fills.
    void* const memory = ::operator new (slotCount * sizeof(Slot), std::align_val_t{cacheLine}, std::nothrow);
    if (!memory) return nullptr;
    std::unique_ptr<ElementRing> ring(new (std::nothrow)
                                          ElementRing(capacity, slotCount, static_cast<Slot*>(memory)));
    if (!ring) ::operator delete (memory, std::align_val_t{cacheLine});
    return ring;
}

ElementRing::ElementRing(std::size_t capacity, std::size_t slotCount, Slot* slots)
    : capacity_(capacity), mask_(slotCount - 1), slots_(slots) {}

ElementRing::~ElementRing() {
    while (tryTake()) {
    }
    ::operator delete (slots_, std::align_val_t{cacheLine});
}

bool ElementRing::push(Element& element) {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    if (head - knownTail_ >= capacity_) {
        knownTail_ = tail_.load(std::memory_order_acquire);
        if (head - knownTail_ >= capacity_) return false;
    }
    std::construct_at(&slots_[head & mask_].element, std::move(element));
    // In one total order with the consumer's flag: either the consumer sees the element before it sleeps, or
    // wakeConsumer() sees the flag.
    head_.store(head + 1, std::memory_order_seq_cst);
    return true;
}

bool ElementRing::countIsAtLeast(std::size_t threshold) {
    const std::size_t head = head_.load(std::memory_order_relaxed);
    if (head - knownTail_ < threshold) return false;
    knownTail_ = tail_.load(std::memory_order_acquire);
    return head - knownTail_ >= threshold;
}

ElementRing::Element ElementRing::tryTake() {
    const std::size_t tail = tail_.load(std::memory_order_relaxed);
    if (tail == knownHead_ && lookForElements(tail) == 0) return nullptr;
    Element& slot = slots_[tail & mask_].element;
    Element taken = std::move(slot);
    std::destroy_at(&slot);
    tail_.store(tail + 1, std::memory_order_release);
    return taken;
}

std::size_t ElementRing::lookForElements(std::size_t tail) {
    // A consumer that reads the position after every single insert makes each insert wait for the cache line.
    // A short pause lets the producer run ahead, and the two move elements by the dozen instead of one at a
    // time.
    if (lastGain_ != 0 && lastGain_ < smallGain) {
        for (int i = 0; i < pausesAfterSmallGain; ++i) pauseProcessor();
    }
    knownHead_ = head_.load(std::memory_order_acquire);
    lastGain_ = knownHead_ - tail;
    return lastGain_;
}

ElementRing::Element ElementRing::take() {
    for (;;) {
        if (Element taken = tryTake()) return taken;
        if (bareSignals_.load(std::memory_order_acquire) > 0) {
            // Elements that were there before the signal come first.
            if (Element taken = tryTake()) return taken;
            bareSignals_.fetch_sub(1, std::memory_order_relaxed);
            return nullptr;
        }
        sleepUntilSignalled();
    }
}

void ElementRing::sleepUntilSignalled() {
    parked_.store(true, std::memory_order_seq_cst);
    const bool nothing = head_.load(std::memory_order_seq_cst) == tail_.load(std::memory_order_relaxed) &&
                         bareSignals_.load(std::memory_order_seq_cst) == 0;
    // When something came meanwhile, its producer may have seen the flag and signal all the same; the next
    // sleep then ends at once and the loop around it looks again.
    if (nothing) semaphore_.wait();
    parked_.store(false, std::memory_order_relaxed);
}

void ElementRing::unpark() {
    // Of two that see the flag, the producer and a caller of signal(), one wakes.
    if (parked_.exchange(false, std::memory_order_acq_rel)) semaphore_.signal();
}

void ElementRing::signal() {
    bareSignals_.fetch_add(1, std::memory_order_seq_cst);
    wakeConsumer();
}

std::size_t ElementRing::count() const {
    // The tail first: it never passes a head that was read later. The head may run ahead of an old tail.
    const std::size_t tail = tail_.load(std::memory_order_acquire);
    const std::size_t head = head_.load(std::memory_order_acquire);
    return std::min(head - tail, capacity_);
}

}  // namespace zenquor::detail
