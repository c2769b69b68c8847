#pragma once
// The one place that time of day comes from, so that a test can pin it.

#include <chrono>
#include <cstdint>
#include <functional>

namespace zenquor {

/// The wall clock of everything that is written into files.
///
/// Thread-safety: Safe.
class Clock {
public:
    using Source = std::function<std::chrono::system_clock::time_point()>;

    /// The time of day, or what the pinned source says.
    static std::chrono::system_clock::time_point now();
    /// Replaces the wall clock; an empty source restores it.
    static void pin(Source source);
};

}  // namespace zenquor
