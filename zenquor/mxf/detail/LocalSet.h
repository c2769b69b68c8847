#pragma once
// The inside of a local set: tags, lengths, values, one behind the other (SMPTE ST 336).

#include <cstdint>
#include <optional>
#include <span>

#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

/// Steps through a local set's properties. Tags have two bytes; lengths one, two, four, or BER, as byte 5 of the set's key says.
class LocalSetReader {
public:
    static constexpr std::uint8_t twoByteLengths = 0x53;
    static constexpr std::uint8_t berLengths = 0x13;

    struct Item {
        std::uint16_t tag = 0;
        std::span<const std::uint8_t> value;
    };

    explicit LocalSetReader(std::span<const std::uint8_t> value, std::uint8_t coding = twoByteLengths)
        : in_(value), coding_(coding) {}

    /// Whether sets of this coding can be read.
    static bool canRead(std::uint8_t coding) { return (coding & 0x9F) == 0x13; }
    /// The next property; nothing at the end and at the first that runs past it.
    std::optional<Item> next();
    /// A property ran past the end of its set.
    bool isBroken() const { return broken_; }

private:
    std::uint64_t nextLength();
    std::uint64_t nextBERLength();

    ByteSource in_;
    std::uint8_t coding_;
    bool broken_ = false;
};

}  // namespace zenquor::mxf::detail
