#pragma once
// The bounded hand-over between two threads.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/core/ZQValue.h"

namespace zenquor {

namespace detail {
class ElementRing;
}

inline constexpr std::string_view ZQRSimpleQueueErrorDomain = "ZQRSimpleQueueErrorDomain";

/// Codes of ZQRSimpleQueueErrorDomain.
enum ZQRSimpleQueueError : int {
    ZQRSimpleQueueErrorAllocationFailed = -12770,
    ZQRSimpleQueueErrorRequiredParameterMissing = -12771,
    ZQRSimpleQueueErrorParameterOutOfRange = -12772,
    ZQRSimpleQueueErrorQueueIsFull = -12773
};

/// A first-in first-out queue of a fixed capacity. The producer never waits: an insert into a full queue
/// fails. The consumer sleeps while the queue is empty.
///
/// Inserting and taking allocate nothing and take no lock. The producer enters the kernel only to wake a
/// sleeping consumer, the consumer only to sleep.
///
/// Thread-safety: One producer (addElement), one consumer (nextElement). Everything else from any thread.
/// Ownership:     each element's reference rides in the queue and leaves with nextElement(); what is left is
///                let go on destruction.
class ZQRSimpleQueue : public ZQObject {
public:
    /// @param capacity  elements, at most 2^32 − 1; a queue of 0 is always full.
    /// @return null, after logging why, when there is no memory for so many.
    static std::shared_ptr<ZQRSimpleQueue> initWithCapacity(std::size_t capacity, std::string name);
    ~ZQRSimpleQueue() override;

    /// Appends @p element and wakes the consumer. A null element fails with -12771, a full queue with -12773.
    /// The failure is logged only when the caller passes no @p error.
    /// @return false when the element did not enter; the caller's reference is then untouched.
    bool addElement(const std::shared_ptr<void>& element, ZQErrorPtr* error = nullptr);
    /// The same without touching the reference count; @p element is moved from only on success.
    bool addElement(std::shared_ptr<void>&& element, ZQErrorPtr* error = nullptr);
    /// Waits for an element and removes it. @return null after signal() on an empty queue.
    std::shared_ptr<void> nextElement();
    /// Lets one nextElement() on an empty queue return null: it ends a wait at shutdown.
    void signal();

    /// Filled part of the capacity, 0 to 1, at some moment of the call; 0 for a capacity of 0.
    float fullness() const;
    /// fullness() times capacity, in single precision, truncated.
    std::uint32_t elementCount() const;
    /// "name", "capacity", "elementCount", "fullness".
    ZQDictionary encodeToDictionary() const;
    /// The error for a code of ZQRSimpleQueueErrorDomain.
    static ZQErrorPtr errorForSimpleQueueError(std::int32_t status);

    std::string name() const { return name_.load(); }
    void setName(std::string name) { name_.store(std::move(name)); }
    std::size_t capacity() const { return capacity_; }
    /// Whether every insert logs the fullness.
    bool logDebugOutput() const { return logDebugOutput_.load(std::memory_order_relaxed); }
    void setLogDebugOutput(bool log) { logDebugOutput_.store(log, std::memory_order_relaxed); }

protected:
    ZQRSimpleQueue(std::size_t capacity, std::string name);
    /// Makes the ring. @return false, after logging, when that failed.
    bool createRing();
    /// Elements in the ring right now; exact on the consumer's thread while nobody inserts.
    std::size_t count() const;

private:
    bool refuse(std::int32_t status, ZQErrorPtr* error) const;
    void logLargeQueue() const;

    std::unique_ptr<detail::ElementRing> ring_;
    std::atomic<bool> logDebugOutput_{false};
    Guarded<std::string> name_;
    std::size_t capacity_;
};

using ZQRSimpleQueuePtr = std::shared_ptr<ZQRSimpleQueue>;

}  // namespace zenquor
