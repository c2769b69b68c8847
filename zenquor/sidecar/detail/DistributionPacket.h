#pragma once
// The frame around the teletext packets of an OP-47 packet, as found on the wire.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zenquor::detail {

/// What is in a subtitling distribution packet, and what is wrong with it.
///
/// Standards: OP-47, SMPTE RDD 8.
struct DistributionPacket {
    enum class Sum : std::uint8_t {
        Right,           ///< all bytes add up to 0
        OnesComplement,  ///< to 255, as some devices have it
        Wrong,
        Absent,  ///< there is no footer to look at
    };

    bool wellFormed = false;  ///< identifiers, lengths and footer agree with each other and with the data
    Sum sum = Sum::Absent;
    std::optional<std::uint16_t> sequenceNumber;
    std::span<const std::uint8_t> teletext;  ///< whole packets of 45 bytes, as many as there are

    static DistributionPacket read(std::span<const std::uint8_t> bytes);
};

/// Whether the counters of OP-47 packets run on.
///
/// A device may count the packets of each line on its own or those of all lines together, and several services
/// may share one counter, which then goes on by a constant step.
class SequenceWatch {
public:
    /// @return false for a packet that cannot be the next one.
    bool follows(std::int32_t line, std::uint16_t number);

private:
    /// Steps up to this are taken for a counter that is shared; longer ones are always a gap.
    static constexpr std::uint16_t longestStep = 16;

    struct Line {
        std::int32_t line = 0;
        std::uint16_t last = 0;
        std::uint16_t step = 0;   // between the last two packets; 0: not known, or too long
        std::uint16_t usual = 0;  // that of the last packet that followed; 0: not known
    };

    std::array<Line, 4> lines_{};
    std::size_t count_ = 0;
    std::size_t oldest_ = 0;
    std::uint16_t last_ = 0;  // of all lines
};

}  // namespace zenquor::detail
