#pragma once
// A value that several threads read and replace.

#include <mutex>
#include <utility>

namespace zenquor {

/// One value behind one lock: loads copy it out, stores replace it, with() runs a function on it under the
/// lock.
///
/// Thread-safety: Safe. The function given to with() must not call back into the owner.
template <typename T>
class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value) : value_(std::move(value)) {}

    T load() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }
    void store(T value) {
        {
            const std::lock_guard lock(mutex_);
            std::swap(value_, value);
        }
        // The old value dies here, outside the lock: its destructor may do anything.
    }
    template <typename F>
    decltype(auto) with(F&& function) {
        const std::lock_guard lock(mutex_);
        return std::forward<F>(function)(value_);
    }
    template <typename F>
    decltype(auto) with(F&& function) const {
        const std::lock_guard lock(mutex_);
        return std::forward<F>(function)(value_);
    }

private:
    mutable std::mutex mutex_;
    T value_{};
};

}  // namespace zenquor
