#include "zenquor/core/ZQCKSemaphore.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace zenquor {
namespace {

static_assert(sizeof(std::atomic<std::int32_t>) == sizeof(std::int32_t),
              "the kernel looks at the bare integer");

// std::atomic's own wait spins before it sleeps and keeps a table of waiters; both cost more than they bring
// when the sleeper is woken once per frame. The kernel compares and sleeps in one step, so no wake-up is
// lost.
void sleepWhileEqual(std::atomic<std::int32_t>& word, std::int32_t value) {
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void wakeSleepers(std::atomic<std::int32_t>* word, std::int32_t count) {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

}  // namespace

void ZQCKSemaphore::wait() {
    if (count_.fetch_sub(1, std::memory_order_acquire) <= 0) sleep();
}

bool ZQCKSemaphore::tryWait() {
    std::int32_t count = count_.load(std::memory_order_relaxed);
    while (count > 0) {
        if (count_.compare_exchange_weak(count, count - 1, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

void ZQCKSemaphore::signalCount(std::int32_t count) {
    if (count <= 0) return;
    auto* const word = &wakeUps_;
    const std::int32_t before = count_.fetch_add(count, std::memory_order_release);
    if (before >= 0) return;
    const std::int32_t sleepers = std::min(-before, count);
    word->fetch_add(sleepers, std::memory_order_release);
    // A waiter that takes its grant now may already destroy the semaphore: only the address is used from here
    // on, and waking an address that nobody sleeps on does nothing.
    wakeSleepers(word, sleepers);
}

std::int32_t ZQCKSemaphore::drain() {
    std::int32_t count = count_.load(std::memory_order_relaxed);
    while (count > 0 &&
           !count_.compare_exchange_weak(count, 0, std::memory_order_acquire, std::memory_order_relaxed)) {
    }
    return std::max(count, 0);
}

void ZQCKSemaphore::sleep() {
    for (;;) {
        std::int32_t granted = wakeUps_.load(std::memory_order_relaxed);
        while (granted > 0) {
            if (wakeUps_.compare_exchange_weak(granted, granted - 1, std::memory_order_acquire,
                                               std::memory_order_relaxed)) {
                return;
            }
        }
        sleepWhileEqual(wakeUps_, granted);
    }
}

}  // namespace zenquor
