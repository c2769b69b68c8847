#pragma once
// Captions of one frame rate on the frames of another.

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include "TimeMapping.h"
#include "zenquor/sidecar/ZQRSidecar.h"

namespace zenquor::tools {

/// Plays a sidecar at another frame rate than its own: every byte pair is sent, in order, at its time or as
/// soon after it as one pair a frame and field allows. Digital (CEA-708) captions are not carried over.
class RetimedCaptions final : public ZQRSidecar {
public:
    /// @param timebase  of the timecodes that @p source is driven with.
    RetimedCaptions(ZQRSidecarPtr source, ZQCKTimebase timebase)
        : source_(std::move(source)), timebase_(timebase) {}

    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    void prepareToReadFromFrame(std::int32_t frame) override { source_->prepareToReadFromFrame(frame); }
    void close() override { source_->close(); }
    bool valid() const override { return source_->valid(); }
    std::int32_t timecodeType() const override { return source_->timecodeType(); }

    /// The most frames that a pair had to wait.
    std::size_t longestWait() const { return longestWait_; }
    /// The packets whose digital captions were left behind.
    std::uint64_t digitalPackets() const { return digitalPackets_; }

private:
    using Pair = std::array<std::uint8_t, 2>;

    void take(const ZQCKTimecode& sourceTimecode);
    Pair next(std::deque<Pair>& queue);

    ZQRSidecarPtr source_;
    ZQCKTimebase timebase_;
    std::optional<TimeMapping> mapping_;
    std::optional<ZQCKTimecode> taken_;  // the last frame of the source that was asked for
    std::array<std::deque<Pair>, 2> waiting_;
    std::size_t longestWait_ = 0;
    std::uint64_t digitalPackets_ = 0;
};

}  // namespace zenquor::tools
