#pragma once
// A counting semaphore that costs no system call while nobody sleeps on it.

#include <atomic>
#include <cstdint>

namespace zenquor {

/// Counting semaphore. signal() enters the kernel only to wake a sleeper, wait() only to sleep.
///
/// Thread-safety: Safe. Any number of waiters and signallers.
class ZQCKSemaphore {
public:
    explicit ZQCKSemaphore(std::int32_t count = 0) : count_(count) {}
    ZQCKSemaphore(const ZQCKSemaphore&) = delete;
    ZQCKSemaphore& operator=(const ZQCKSemaphore&) = delete;

    /// Blocks until a signal is there, and takes it.
    void wait();
    /// Takes a signal if one is there. @return whether it did.
    bool tryWait();
    /// Adds one signal and wakes one waiter.
    void signal() { signalCount(1); }
    /// Adds @p count signals; a count of 0 or less does nothing.
    void signalCount(std::int32_t count);
    /// Discards the signals that nobody has taken. @return how many.
    std::int32_t drain();

private:
    void sleep();

    alignas(64) std::atomic<std::int32_t> count_;       // below 0: the number of waiters
    alignas(64) std::atomic<std::int32_t> wakeUps_{0};  // granted to sleepers and not yet taken by them
};

}  // namespace zenquor
