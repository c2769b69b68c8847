#pragma once
// A thread with a name, a cancel flag and a finish flag.

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace zenquor {

/// The reverse-domain prefix of every thread and queue label of the library.
inline constexpr std::string_view identifierPrefix = "tv.zenquor";

/// Names the calling thread; Linux keeps the first 15 bytes.
void setCurrentThreadName(std::string_view name);

/// One run of a function on a thread of its own.
///
/// Lifecycle:     start() once; destruction joins, or detaches when it happens on the thread itself.
/// Thread-safety: start() and destruction by the owner; cancel() and the queries from anywhere.
class NamedThread {
public:
    NamedThread() = default;
    ~NamedThread();
    NamedThread(const NamedThread&) = delete;
    NamedThread& operator=(const NamedThread&) = delete;

    /// @param body  holds its owner strongly, so that the owner outlives the run.
    void start(std::function<void()> body);
    /// Asks the body to stop; the body looks at isCancelled() itself.
    void cancel() { cancelled_.store(true, std::memory_order_release); }
    bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
    bool isStarted() const { return started_.load(std::memory_order_acquire); }
    void join();

private:
    std::thread thread_;
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> started_{false};
};

}  // namespace zenquor
