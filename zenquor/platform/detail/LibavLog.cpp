#include "zenquor/platform/detail/LibavLog.h"

#include <array>
#include <cstdarg>
#include <string_view>

extern "C" {
#include <libavutil/log.h>
}

#include "zenquor/core/ZLGHandle.h"

namespace zenquor::platform::detail {
namespace {

void forwardMessage(void* object, int level, const char* text, va_list arguments) {
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

}  // namespace zenquor::platform::detail
