#include "zenquor/platform/detail/LibavLog.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

extern "C" {
#include <libavutil/log.h>
}

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {
namespace {

thread_local LibavErrorText* listener = nullptr;

std::string firstLine(const char* text, va_list arguments) {
    std::array<char, 512> line{};
    va_list copy;
    va_copy(copy, arguments);
    std::vsnprintf(line.data(), line.size(), text, copy);
    va_end(copy);
    const std::string_view message(line.data());
    return std::string(message.substr(0, message.find('\n')));
}

void forwardMessage(void* object, int level, const char* text, va_list arguments) {
    const int ownLevel = level >= quietLogOffset ? level - quietLogOffset : level;
    if (listener && ownLevel <= AV_LOG_ERROR) listener->take(firstLine(text, arguments));
    if (level > AV_LOG_WARNING || level > av_log_get_level() || !ZLGGetHandle().isEnabled(ZLGLevel::Debug))
        return;
    std::array<char, 512> line{};
    int printPrefix = 1;
    av_log_format_line2(object, level, text, arguments, line.data(), static_cast<int>(line.size()),
                        &printPrefix);
    std::string_view message(line.data());
    while (!message.empty() && message.back() == '\n') message.remove_suffix(1);
    ZLGGetHandle().debug("libav: {}", message);
}

}  // namespace

void routeLibavLogging() {
    static const bool routed = [] {
        av_log_set_callback(forwardMessage);
        return true;
    }();
    static_cast<void>(routed);
}

LibavErrorText::LibavErrorText() : outer_(listener) {
    routeLibavLogging();
    listener = this;
}

LibavErrorText::~LibavErrorText() {
    listener = outer_;
}

}  // namespace zenquor::platform::detail
