// The counting semaphore.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "zenquor/core/ZQCKSemaphore.h"

namespace zenquor {
namespace {

TEST(Semaphore, SignalsAreCountedTakenAndDiscarded) {
    ZQCKSemaphore semaphore(1);
    semaphore.signal();
    semaphore.signalCount(3);
    semaphore.signalCount(0);
    semaphore.signalCount(-5);
    semaphore.wait();
    EXPECT_TRUE(semaphore.tryWait());
    EXPECT_EQ(semaphore.drain(), 3);
    EXPECT_EQ(semaphore.drain(), 0);
    EXPECT_FALSE(semaphore.tryWait());
}

TEST(Semaphore, EverySignalEndsExactlyOneWait) {
    constexpr int threads = 4;
    constexpr int waits = 5000;
    ZQCKSemaphore semaphore;
    std::atomic<int> taken{0};
    std::vector<std::thread> waiters;
    for (int t = 0; t < threads; ++t) {
        waiters.emplace_back([&] {
            for (int i = 0; i < waits; ++i) {
                semaphore.wait();
                taken.fetch_add(1, std::memory_order_relaxed);
            }
        });
    }
    std::thread other([&] {
        for (int i = 0; i < threads * waits / 4; ++i) semaphore.signal();
    });
    for (int i = 0; i < threads * waits / 4; ++i) semaphore.signalCount(3);
    for (auto& waiter : waiters) waiter.join();
    other.join();
    EXPECT_EQ(taken.load(), threads * waits);
    EXPECT_EQ(semaphore.drain(), 0);
}

TEST(Semaphore, WhatWasWrittenBeforeASignalIsSeenAfterTheWait) {
    ZQCKSemaphore ping, pong;
    int value = 0;
    std::thread other([&] {
        for (int i = 0; i < 5000; ++i) {
            ping.wait();
            ++value;
            pong.signal();
        }
    });
    for (int i = 0; i < 5000; ++i) {
        ++value;
        ping.signal();
        pong.wait();
        ASSERT_EQ(value, 2 * (i + 1));
    }
    other.join();
}

TEST(Semaphore, TheWaiterMayDestroyItAsSoonAsTheWaitEnds) {
    for (int i = 0; i < 2000; ++i) {
        auto semaphore = std::make_unique<ZQCKSemaphore>();
        std::thread signaller([&semaphore = *semaphore] { semaphore.signal(); });
        semaphore->wait();
        // The signaller no longer looks at the memory, only the kernel at its address.
        semaphore = nullptr;
        signaller.join();
    }
}

}  // namespace
}  // namespace zenquor
