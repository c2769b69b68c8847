#pragma once
// Where the MXF engine tells what it does and what went wrong.

#include <memory>
#include <string_view>
#include <utility>

#include <fmt/core.h>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// Takes the engine's messages: discards them, or forwards them to the log ("NabletMXF Error: …").
///
/// Thread-safety: Safe; no state that changes.
class ZQRMXFLogger final : public ZQObject {
public:
    enum class Mode { Silent, Forwarding };

    explicit ZQRMXFLogger(Mode mode) : mode_(mode) {}
    static std::shared_ptr<ZQRMXFLogger> loggerWithMode(Mode mode) {
        return std::make_shared<ZQRMXFLogger>(mode);
    }

    template <typename... Arguments>
    void DoLogError(fmt::format_string<Arguments...> text, Arguments&&... arguments) const {
        if (mode_ != Mode::Silent) forwardError(fmt::format(text, std::forward<Arguments>(arguments)...));
    }
    template <typename... Arguments>
    void DoLogWarning(fmt::format_string<Arguments...> text, Arguments&&... arguments) const {
        if (mode_ != Mode::Silent) forwardWarning(fmt::format(text, std::forward<Arguments>(arguments)...));
    }
    template <typename... Arguments>
    void DoLogInfo(fmt::format_string<Arguments...> text, Arguments&&... arguments) const {
        if (mode_ != Mode::Silent) forwardInfo(fmt::format(text, std::forward<Arguments>(arguments)...));
    }
    template <typename... Arguments>
    void DoLogDebug(fmt::format_string<Arguments...> text, Arguments&&... arguments) const {
        if (mode_ != Mode::Silent) forwardDebug(fmt::format(text, std::forward<Arguments>(arguments)...));
    }

private:
    static void forwardError(std::string_view message);
    static void forwardWarning(std::string_view message);
    static void forwardInfo(std::string_view message);
    static void forwardDebug(std::string_view message);

    const Mode mode_;
};

using ZQRMXFLoggerPtr = std::shared_ptr<ZQRMXFLogger>;

}  // namespace zenquor
