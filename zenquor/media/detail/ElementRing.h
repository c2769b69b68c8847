#pragma once
// The ring behind the queues: one producer, one consumer who sleeps while there is nothing to take.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "zenquor/core/ZQCKSemaphore.h"

namespace zenquor::detail {

/// A bounded ring of shared pointers.
///
/// Each side keeps a copy of the other side's position and looks at the original only when the copy says full
/// or empty, so that in a steady flow the two touch few common cache lines. A sleeping consumer shows a flag;
/// the producer wakes it through the semaphore only when it sees the flag.
///
/// Thread-safety: One producer (push, wakeConsumer, countIsAtLeast), one consumer (take, tryTake); signal()
///                and count() from any thread.
class ElementRing final {
public:
    using Element = std::shared_ptr<void>;

    /// @return null when @p capacity takes more than 32 bits or more memory than there is.
    static std::unique_ptr<ElementRing> create(std::size_t capacity);
    ~ElementRing();
    ElementRing(const ElementRing&) = delete;
    ElementRing& operator=(const ElementRing&) = delete;

    /// Appends @p element, which is not null. @return false, with the element untouched, when the ring is
    /// full.
    bool push(Element& element);
    /// To be called after push(): ends the consumer's sleep.
    void wakeConsumer() {
        if (parked_.load(std::memory_order_seq_cst)) unpark();
    }
    /// For the producer: cheaper than count(), which looks at the consumer's side every time.
    bool countIsAtLeast(std::size_t threshold);

    /// The next element; waits for one. @return null when signal() was called and nothing is there.
    Element take();
    /// The next element, or null.
    Element tryTake();

    /// Lets one take() that finds nothing return null.
    void signal();
    std::size_t count() const;
    std::size_t capacity() const { return capacity_; }

private:
    union Slot {
        Slot() {}
        ~Slot() {}
        Element element;
    };
    static constexpr std::size_t cacheLine = 64;

    ElementRing(std::size_t capacity, std::size_t slotCount, Slot* slots);
    std::size_t lookForElements(std::size_t tail);
    void unpark();
    void sleepUntilSignalled();

    const std::size_t capacity_;
    const std::size_t mask_;
    Slot* const slots_;

    // Positions run on without wrapping; the low bits are the slot. Owned by the producer:
    alignas(cacheLine) std::atomic<std::size_t> head_{0};
    std::size_t knownTail_ = 0;
    // Owned by the consumer:
    alignas(cacheLine) std::atomic<std::size_t> tail_{0};
    std::size_t knownHead_ = 0;
    std::size_t lastGain_ = 0;
    // Written when the consumer goes to sleep and wakes, read by the producer:
    alignas(cacheLine) std::atomic<bool> parked_{false};
    std::atomic<std::size_t> bareSignals_{0};
    ZQCKSemaphore semaphore_;
};

}  // namespace zenquor::detail
