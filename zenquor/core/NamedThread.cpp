#include "zenquor/core/NamedThread.h"

#include <pthread.h>

#include <utility>

namespace zenquor {

void setCurrentThreadName(std::string_view name) {
    pthread_setname_np(pthread_self(), std::string(name.substr(0, 15)).c_str());
}

NamedThread::~NamedThread() {
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void NamedThread::start(std::function<void()> body) {
    started_.store(true, std::memory_order_release);
    thread_ = std::thread(std::move(body));
}

void NamedThread::join() {
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

}  // namespace zenquor
