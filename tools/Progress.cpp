#include "Progress.h"

#include <unistd.h>

#include <cstdio>

#include <fmt/format.h>

namespace zenquor::tools {
namespace {

constexpr std::chrono::milliseconds terminalInterval{100};
constexpr std::chrono::seconds plainInterval{2};

}  // namespace

Progress::Progress()
    : terminal_(isatty(STDERR_FILENO) == 1),
      interval_(terminal_ ? Clock::duration(terminalInterval) : Clock::duration(plainInterval)),
      start_(Clock::now()),
      next_(start_ + interval_) {}

bool Progress::isDue() const {
    return Clock::now() >= next_;
}

double Progress::elapsedSeconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

std::string Progress::lineFor(const State& state) const {
    const double elapsed = elapsedSeconds();
    std::string line = fmt::format("frame {}", state.framesWritten);
    if (state.framesTotal > 0) line += fmt::format(" of {}", state.framesTotal);
    if (!state.timecode.empty()) line += fmt::format("  {}", state.timecode);
    line += fmt::format("  {:.1f} s  {:.2f}x", state.secondsWritten,
                        elapsed > 0 ? state.secondsWritten / elapsed : 0.0);
    return line + fmt::format("  queues {:.0f} %  dropped {}", state.fullness * 100, state.framesDropped);
}

void Progress::show(const State& state) {
    next_ = Clock::now() + interval_;
    const std::string line = lineFor(state);
    fmt::print(stderr, "{}{}{}", terminal_ ? "\r\x1b[K" : "", line, terminal_ ? "" : "\n");
    std::fflush(stderr);
}

void Progress::finish(const State& state) {
    show(state);
    if (terminal_) fmt::print(stderr, "\n");
}

}  // namespace zenquor::tools
