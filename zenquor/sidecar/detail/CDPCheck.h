#pragma once
// The check of caption distribution packets.

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/sidecar/detail/PairCheck.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"

namespace zenquor::detail {

/// Follows the packets of a stream or file: their form, their counters, the CEA-608 pairs and the caption
/// channel inside.
///
/// Standards: SMPTE ST 334-2 (packets), CEA-708-E (caption channel).
class CDPCheck {
public:
    CDPCheck(RemarkCollector& remarks, PairCheck& pairs) : remarks_(remarks), pairs_(pairs) {}

    /// The rate that the packets have to tell.
    void setTimebase(ZQCKTimebase timebase) { timebase_ = timebase; }
    /// @param packet  the user data words of one ancillary packet.
    void add(std::span<const std::uint8_t> packet, const Place& place);

private:
    using Bytes = std::span<const std::uint8_t>;

    /// @return the part that can be looked at, without the checksum; empty for what is no such packet.
    Bytes checkFrame(Bytes packet, const Place& place);
    void checkRate(std::uint8_t rate, const Place& place);
    void checkSequence(unsigned sequence, const Place& place);
    void checkSections(Bytes packet, const Place& place);
    /// @return its length; 0 when it cannot be told.
    std::size_t checkSection(Bytes packet, std::size_t at, unsigned& found, const Place& place);
    void checkCaptionData(Bytes triplets, unsigned rate, const Place& place);
    void checkTriplet(Bytes triplet, bool& sawChannelData, const Place& place);
    void startChannelPacket(std::uint8_t header, const Place& place);
    void continueChannelPacket(const Place& place);
    void checkFlags(std::uint8_t flags, unsigned found, const Place& place);

    RemarkCollector& remarks_;
    PairCheck& pairs_;
    std::optional<ZQCKTimebase> timebase_;
    std::optional<unsigned> sequence_;
    std::optional<unsigned> channelSequence_;
    int channelBytesLeft_ = 0;
};

}  // namespace zenquor::detail
