#include "zenquor/writers/detail/SteadyClock.h"

#include <atomic>
#include <chrono>

namespace zenquor::detail {
namespace {

std::int64_t systemNanoseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

std::atomic<SteadyClock::Source>& currentSource() {
    static std::atomic<SteadyClock::Source> source{systemNanoseconds};
    return source;
}

}  // namespace

std::int64_t SteadyClock::nanoseconds() {
    return currentSource().load(std::memory_order_relaxed)();
}

void SteadyClock::pin(Source source) {
    currentSource().store(source ? source : systemNanoseconds, std::memory_order_relaxed);
}

}  // namespace zenquor::detail
