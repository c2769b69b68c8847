#pragma once
// Follows the extended data of field 2, as far as its sums.

#include <array>
#include <cstdint>

namespace zenquor::detail {

/// Packets of the seven classes, which may interrupt each other and be interrupted by captions.
///
/// Standards: CEA-608-E section 9.
class ExtendedDataReader {
public:
    struct End {
        bool isPacket = false;
        bool isSumRight = false;
        std::uint8_t dataClass = 0;  ///< its start code
        std::uint8_t type = 0;
    };

    /// Whether characters belong to extended data.
    bool isReading() const { return isReading_; }
    /// A caption code came: captions have the line until a code resumes.
    void suspend() { isReading_ = false; }
    /// @param first  0x01 to 0x0F.
    End code(std::uint8_t first, std::uint8_t second) {
        if (first == endCode) return end(second);
        isReading_ = true;
        current_ = static_cast<std::size_t>((first - 1) / 2);
        Packet& packet = packets_[current_];
        const bool starts = first % 2 == 1;
        if (starts) {
            packet = {true, second, static_cast<std::uint8_t>(first + second)};
        } else if (packet.type != second) {
            packet.isOpen = false;  // the start of this one was missed
        }
        return {};
    }
    void characters(std::uint8_t first, std::uint8_t second) {
        Packet& packet = packets_[current_];
        packet.sum = static_cast<std::uint8_t>(packet.sum + first + second);
    }

private:
    static constexpr std::uint8_t endCode = 0x0F;

    struct Packet {
        bool isOpen = false;
        std::uint8_t type = 0;
        std::uint8_t sum = 0;  // of all bytes but resumptions, low 7 bits
    };

    End end(std::uint8_t second) {
        const bool wasReading = isReading_;
        isReading_ = false;
        Packet& packet = packets_[current_];
        if (!wasReading || !packet.isOpen) return {};
        packet.isOpen = false;
        const bool isSumRight = ((packet.sum + endCode + second) & 0x7F) == 0;
        return {true, isSumRight, static_cast<std::uint8_t>(current_ * 2 + 1), packet.type};
    }

    std::array<Packet, 7> packets_{};
    std::size_t current_ = 0;
    bool isReading_ = false;
};

}  // namespace zenquor::detail
