#pragma once
// The clock that durations are measured with, so that a test can pin it.

#include <cstdint>

namespace zenquor::detail {

/// Nanoseconds of a clock that never goes back.
///
/// Thread-safety: Safe.
class SteadyClock {
public:
    using Source = std::int64_t (*)();

    static std::int64_t nanoseconds();
    /// Replaces the clock; null restores it.
    static void pin(Source source);
};

}  // namespace zenquor::detail
