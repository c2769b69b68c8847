#pragma once
// Logging: one process-wide handle with three levels.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include <atomic>

#include <fmt/core.h>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"

namespace zenquor {

enum class ZLGLevel : int { Debug = 0, Default = 1, Error = 2, Off = 3 };

/// The library's log. Texts are formatted only when their level is enabled: a disabled level costs one
/// branch.
///
/// Thread-safety: Safe.
class ZLGHandle {
public:
    /// Receives one finished line, without a newline, on the thread that logs.
    using Sink = std::function<void(ZLGLevel level, std::string_view text)>;

    bool isEnabled(ZLGLevel level) const { return level >= level_.load(std::memory_order_relaxed); }
    ZLGLevel level() const { return level_.load(std::memory_order_relaxed); }
    /// Lines below @p level are dropped. Default at start: ZLGLevel::Default. @return the level before.
    ZLGLevel setLevel(ZLGLevel level);
    /// Replaces where lines go; an empty sink restores standard error. @return the sink before.
    Sink setSink(Sink sink);

    template <typename... A>
    void debug(fmt::format_string<const A&...> text, const A&... arguments) {
        write(ZLGLevel::Debug, text, arguments...);
    }
    template <typename... A>
    void log(fmt::format_string<const A&...> text, const A&... arguments) {
        write(ZLGLevel::Default, text, arguments...);
    }
    template <typename... A>
    void error(fmt::format_string<const A&...> text, const A&... arguments) {
        write(ZLGLevel::Error, text, arguments...);
    }

private:
    friend ZLGHandle& ZLGGetHandle();
    ZLGHandle();
    template <typename... A>
    void write(ZLGLevel level, fmt::string_view text, const A&... arguments) {
        if (isEnabled(level)) emit(level, text, fmt::make_format_args(arguments...));
    }
    void emit(ZLGLevel level, fmt::string_view text, fmt::format_args arguments);

    struct State;
    std::atomic<ZLGLevel> level_{ZLGLevel::Default};
    std::unique_ptr<State> state_;
};

/// The process-wide log handle.
ZLGHandle& ZLGGetHandle();

namespace detail {
template <typename T>
inline constexpr bool isDescribed = std::is_base_of_v<ZQObject, std::remove_cv_t<T>>;
}

}  // namespace zenquor

/// Objects print as their description, absent ones as "(null)".
template <typename T>
struct fmt::formatter<T, char, std::enable_if_t<zenquor::detail::isDescribed<T>>>
    : fmt::formatter<fmt::string_view> {
    template <typename Context>
    auto format(const zenquor::ZQObject& object, Context& context) const {
        return fmt::formatter<fmt::string_view>::format(object.description(), context);
    }
};
template <typename T>
struct fmt::formatter<std::shared_ptr<T>, char, std::enable_if_t<zenquor::detail::isDescribed<T>>>
    : fmt::formatter<fmt::string_view> {
    template <typename Context>
    auto format(const std::shared_ptr<T>& object, Context& context) const {
        return fmt::formatter<fmt::string_view>::format(zenquor::describe(object.get()), context);
    }
};
