#pragma once
// Collects what the library logs during a test.

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

class LogCapture {
public:
    using Line = std::pair<ZLGLevel, std::string>;

    explicit LogCapture(ZLGLevel level = ZLGLevel::Debug) : level_(ZLGGetHandle().setLevel(level)) {
        sink_ = ZLGGetHandle().setSink([this](ZLGLevel l, std::string_view text) {
            const std::lock_guard lock(mutex_);
            lines_.emplace_back(l, text);
        });
    }
    ~LogCapture() {
        ZLGGetHandle().setSink(sink_);
        ZLGGetHandle().setLevel(level_);
    }

    std::vector<Line> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(lines_, {});
    }

private:
    ZLGLevel level_;
    ZLGHandle::Sink sink_;
    std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace zenquor
