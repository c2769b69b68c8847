#include "zenquor/core/Clock.h"

#include <utility>

#include "zenquor/core/Guarded.h"

namespace zenquor {
namespace {

Guarded<Clock::Source>& pinnedSource() {
    static Guarded<Clock::Source> source;
    return source;
}

}  // namespace

std::chrono::system_clock::time_point Clock::now() {
    const Source source = pinnedSource().load();
    return source ? source() : std::chrono::system_clock::now();
}

void Clock::pin(Source source) {
    pinnedSource().store(std::move(source));
}

}  // namespace zenquor
