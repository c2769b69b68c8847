#pragma once
// How far a recording is, on standard error.

#include <chrono>
#include <cstdint>
#include <string>

namespace zenquor::tools {

/// Shows the state of a recording: a line that renews itself on a terminal, a plain line every few seconds
/// elsewhere.
class Progress {
public:
    struct State {
        std::uint64_t framesWritten = 0;  // by the slowest output
        std::uint64_t framesTotal = 0;    // 0 when not known
        double secondsWritten = 0;        // of programme
        std::string timecode;             // of the last frame written, empty when not known
        double fullness = 0;              // of the fullest queue, 0 to 1
        std::uint64_t framesDropped = 0;
    };

    Progress();
    /// Whether it is time for another update; cheap enough to ask at every frame.
    bool isDue() const;
    void show(const State& state);
    /// Leaves the last state standing and ends the line.
    void finish(const State& state);
    double elapsedSeconds() const;

private:
    using Clock = std::chrono::steady_clock;

    std::string lineFor(const State& state) const;

    bool terminal_;
    Clock::duration interval_;
    Clock::time_point start_;
    Clock::time_point next_;
};

}  // namespace zenquor::tools
