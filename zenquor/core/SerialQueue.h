#pragma once
// Runs functions one after the other on one thread of its own.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zenquor {

/// A first-in first-out queue of functions, run on one thread that starts with the first of them.
///
/// Lifecycle:     destruction runs what is queued and then ends the thread; on the queue's own thread it
///                lets go at once.
/// Thread-safety: Safe.
class SerialQueue {
public:
    explicit SerialQueue(std::string_view label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const;
    /// Queues @p function and returns at once.
    void async(std::function<void()> function);
    /// Queues @p function and waits until it has run; on the queue's own thread it runs at once.
    void sync(const std::function<void()>& function);

private:
    struct State;
    std::shared_ptr<State> state_;
};

using SerialQueuePtr = std::shared_ptr<SerialQueue>;

}  // namespace zenquor
