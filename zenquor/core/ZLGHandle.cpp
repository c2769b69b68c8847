#include "zenquor/core/ZLGHandle.h"

#include <utility>

#include <fmt/format.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include "zenquor/core/Guarded.h"

// Public headers format through fmt/core.h, which only declares this; here is the one definition for all of
// them.
template fmt::format_context::iterator fmt::formatter<fmt::string_view>::format(const fmt::string_view&,
                                                                                fmt::format_context&) const;

namespace zenquor {
namespace {

spdlog::level::level_enum spdlogLevel(ZLGLevel level) {
    switch (level) {
        case ZLGLevel::Debug:
            return spdlog::level::debug;
        case ZLGLevel::Default:
            return spdlog::level::info;
        case ZLGLevel::Error:
            return spdlog::level::err;
        case ZLGLevel::Off:
            break;
    }
    return spdlog::level::off;
}

}  // namespace

struct ZLGHandle::State {
    Guarded<std::shared_ptr<const Sink>> sink;
    // Not registered with spdlog: a host that uses spdlog itself keeps its own names and levels.
    spdlog::logger standardError{"zenquor", std::make_shared<spdlog::sinks::stderr_color_sink_mt>()};
};

ZLGHandle::ZLGHandle() : state_(std::make_unique<State>()) {
    state_->standardError.set_level(spdlog::level::trace);
}

ZLGLevel ZLGHandle::setLevel(ZLGLevel level) {
    return level_.exchange(level);
}

ZLGHandle::Sink ZLGHandle::setSink(Sink sink) {
    auto next = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
    const auto previous =
        state_->sink.with([&](auto& current) { return std::exchange(current, std::move(next)); });
    return previous ? *previous : Sink{};
}

void ZLGHandle::emit(ZLGLevel level, fmt::string_view text, fmt::format_args arguments) {
    const std::string line = fmt::vformat(text, arguments);
    if (const auto sink = state_->sink.load()) {
        (*sink)(level, line);
    } else {
        state_->standardError.log(spdlogLevel(level), line);
    }
}

ZLGHandle& ZLGGetHandle() {
    // Never destroyed: threads that outlive main() may still log.
    static ZLGHandle& handle = *new ZLGHandle;
    return handle;
}

}  // namespace zenquor
