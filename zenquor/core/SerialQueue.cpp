#include "zenquor/core/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>

#include "zenquor/core/NamedThread.h"

namespace zenquor {

struct SerialQueue::State {
    std::string label;
    std::mutex mutex;
    std::condition_variable wakeUp;
    std::deque<std::function<void()>> functions;
    bool closing = false;
    std::thread thread;
    // These outlast the handle above, which destruction takes away while queued functions still run.
    bool started = false;
    std::thread::id worker;

    bool isCurrent() {
        const std::lock_guard lock(mutex);
        return worker == std::this_thread::get_id();
    }

    void run() {
        setCurrentThreadName(label);
        std::unique_lock lock(mutex);
        worker = std::this_thread::get_id();
        for (;;) {
            wakeUp.wait(lock, [this] { return closing || !functions.empty(); });
            if (functions.empty()) return;
            auto function = std::move(functions.front());
            functions.pop_front();
            lock.unlock();
            function();
            function = nullptr;
            lock.lock();
        }
    }
};

SerialQueue::SerialQueue(std::string_view label) : state_(std::make_shared<State>()) {
    state_->label = label;
}

SerialQueue::~SerialQueue() {
    std::thread thread;
    {
        const std::lock_guard lock(state_->mutex);
        state_->closing = true;
        thread = std::move(state_->thread);
    }
    state_->wakeUp.notify_all();
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

const std::string& SerialQueue::label() const {
    return state_->label;
}

void SerialQueue::async(std::function<void()> function) {
    {
        const std::lock_guard lock(state_->mutex);
        state_->functions.push_back(std::move(function));
        if (!std::exchange(state_->started, true)) {
            state_->thread = std::thread([state = state_] { state->run(); });
        }
    }
    state_->wakeUp.notify_one();
}

void SerialQueue::sync(const std::function<void()>& function) {
    if (state_->isCurrent()) return function();
    std::binary_semaphore done{0};
    async([&] {
        function();
        done.release();
    });
    done.acquire();
}

}  // namespace zenquor
