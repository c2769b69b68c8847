#include "zenquor/core/ZQCKSemaphore.h"

#include <algorithm>

namespace zenquor {

void ZQCKSemaphore::wait() {
    if (count_.fetch_sub(1, std::memory_order_acquire) <= 0) sleep();
}

bool ZQCKSemaphore::tryWait() {
    std::int32_t count = count_.load(std::memory_order_relaxed);
    while (count > 0) {
        if (count_.compare_exchange_weak(count, count - 1, std::memory_order_acquire)) return true;
    }
    return false;
}

void ZQCKSemaphore::signalCount(std::int32_t count) {
    if (count <= 0) return;
    const std::int32_t before = count_.fetch_add(count, std::memory_order_release);
    if (before >= 0) return;
    const std::int32_t sleepers = std::min(-before, count);
    wakeUps_.fetch_add(sleepers, std::memory_order_release);
    if (sleepers == 1) {
        wakeUps_.notify_one();
    } else {
        wakeUps_.notify_all();
    }
}

std::int32_t ZQCKSemaphore::drain() {
    std::int32_t count = count_.load(std::memory_order_relaxed);
    while (count > 0 && !count_.compare_exchange_weak(count, 0, std::memory_order_acquire)) {
    }
    return std::max(count, 0);
}

void ZQCKSemaphore::sleep() {
    std::int32_t granted = wakeUps_.load(std::memory_order_relaxed);
    for (;;) {
        while (granted > 0) {
            if (wakeUps_.compare_exchange_weak(granted, granted - 1, std::memory_order_acquire)) return;
        }
        wakeUps_.wait(granted, std::memory_order_relaxed);
        granted = wakeUps_.load(std::memory_order_relaxed);
    }
}

}  // namespace zenquor
