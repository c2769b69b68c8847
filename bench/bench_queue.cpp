// The hand-over between two threads against what a programmer would write instead: boost's single-producer
// ring with a counting semaphore for the sleeping reader.
//
// Time on the wall counts here, not processor time: two threads work and one of them sleeps at times. The
// variants run in turns; of each the best round counts, for wake-ups the median of all.

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <boost/lockfree/spsc_queue.hpp>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/media/ZQRSimpleQueue.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t capacity = 1024;
constexpr int rounds = 15;
constexpr std::size_t elementsPerRound = 200000;
constexpr std::size_t poolSize = 4096;  // more than the capacity, so that no element is under way twice
constexpr int wakeUpsPerRound = 60;
constexpr auto pauseBeforeWakeUp = std::chrono::microseconds(500);
constexpr double handOverLimit = 0.5;
constexpr double wakeUpLimit = 1.1;

void pinTo(std::size_t core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core % std::max(1U, std::thread::hardware_concurrency()), &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

void relax() {
    __builtin_ia32_pause();
}

/// Elements without a reference count, so that the hand-over alone is measured.
class OwnQueue {
public:
    void push(std::size_t i) {
        std::shared_ptr<void> element(std::shared_ptr<void>(), &pool_[i % poolSize]);
        while (!queue_->addElement(std::move(element), &error_)) relax();
    }
    void pop(std::size_t) {
        if (!queue_->nextElement()) std::abort();
    }

private:
    std::vector<std::size_t> pool_ = std::vector<std::size_t>(poolSize);
    zenquor::ZQRSimpleQueuePtr queue_ = zenquor::ZQRSimpleQueue::initWithCapacity(capacity, "bench");
    zenquor::ZQErrorPtr error_;
};

/// Bare pointers travel through boost's ring: eight bytes an element and no ownership.
class BoostQueue {
public:
    void push(std::size_t i) {
        while (!ring_.push(&pool_[i % poolSize])) relax();
        available_.release();
    }
    void pop(std::size_t) {
        available_.acquire();
        std::size_t* element = nullptr;
        ring_.pop(element);
        if (!element) std::abort();
    }

private:
    std::vector<std::size_t> pool_ = std::vector<std::size_t>(poolSize);
    boost::lockfree::spsc_queue<std::size_t*, boost::lockfree::capacity<capacity>> ring_;
    std::counting_semaphore<> available_{0};
};

/// Nanoseconds per element when the producer gives all it can.
template <typename Queue>
double handOver(Queue& queue) {
    std::atomic<bool> ready{false};
    std::thread consumer([&] {
        pinTo(1);
        ready = true;
        for (std::size_t i = 0; i < elementsPerRound; ++i) queue.pop(i);
    });
    while (!ready) std::this_thread::yield();
    const auto start = Clock::now();
    for (std::size_t i = 0; i < elementsPerRound; ++i) queue.push(i);
    consumer.join();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() /
           static_cast<double>(elementsPerRound);
}

/// Microseconds from the insert to the return of a reader that slept, one value per wake-up.
template <typename Queue>
void wakeUps(Queue& queue, std::vector<double>& out) {
    std::atomic<Clock::rep> inserted{0};
    std::counting_semaphore<> next{0};
    std::thread consumer([&] {
        pinTo(1);
        for (std::size_t i = 0; i < wakeUpsPerRound; ++i) {
            queue.pop(i);
            const auto waited = Clock::now().time_since_epoch().count() - inserted.load();
            out.push_back(std::chrono::duration<double, std::micro>(Clock::duration(waited)).count());
            next.release();
        }
    });
    for (std::size_t i = 0; i < wakeUpsPerRound; ++i) {
        std::this_thread::sleep_for(pauseBeforeWakeUp);
        inserted = Clock::now().time_since_epoch().count();
        queue.push(i);
        next.acquire();
    }
    consumer.join();
}

bool report(const char* what, const char* unit, double own, double peer, double limit) {
    const double ratio = own / peer;
    const bool held = ratio <= limit;
    std::printf("  %-24s %9.2f %s   boost + semaphore %9.2f %s   ratio %5.2f  limit %.2f %s\n", what, own,
                unit, peer, unit, ratio, limit, held ? "held" : "EXCEEDED");
    return held;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

}  // namespace

int main() {
    // A full bench queue is over the length that the log is told of.
    zenquor::ZLGGetHandle().setLevel(zenquor::ZLGLevel::Off);
    pinTo(0);
    OwnQueue own;
    BoostQueue boost;
    std::vector<double> ownTimes, boostTimes, ownWakeUps, boostWakeUps;
    for (int round = 0; round < rounds; ++round) {
        ownTimes.push_back(handOver(own));
        boostTimes.push_back(handOver(boost));
        wakeUps(own, ownWakeUps);
        wakeUps(boost, boostWakeUps);
    }
    std::printf("Frame queue, %zu elements, %d rounds\n", capacity, rounds);
    const auto best = [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); };
    bool good = report("hand-over, best", "ns", best(ownTimes), best(boostTimes), handOverLimit);
    good = report("hand-over, median", "ns", median(ownTimes), median(boostTimes), handOverLimit) && good;
    good = report("wake-up, median", "us", median(ownWakeUps), median(boostWakeUps), wakeUpLimit) && good;
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
