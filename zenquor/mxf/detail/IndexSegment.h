#pragma once
// Index table segments (SMPTE ST 377-1): where each edit unit lies in the essence stream.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

struct DeltaEntry {
    std::int8_t posTableIndex = 0;  // -1: subject to temporal reordering
    std::uint8_t slice = 0;
    std::uint32_t elementDelta = 0;

    friend bool operator==(const DeltaEntry&, const DeltaEntry&) = default;
};

struct IndexEntry {
    static constexpr std::uint8_t randomAccess = 0x80;
    static constexpr std::uint8_t sequenceHeader = 0x40;
    static constexpr std::uint8_t forwardPrediction = 0x20;
    static constexpr std::uint8_t backwardPrediction = 0x10;
    static constexpr std::uint8_t offsetOverflow = 0x08;

    std::int8_t temporalOffset = 0;
    std::int8_t keyFrameOffset = 0;
    std::uint8_t flags = randomAccess;
    std::uint64_t streamOffset = 0;
};

struct IndexSegment {
    static constexpr UL key = ul(0x060E2B34, 0x02530101, 0x0D010201, 0x01100100);
    /// Whatever the coding of lengths.
    static bool isIndexKey(const UL& other);

    UUID instance{};
    Rational editRate;
    std::int64_t startPosition = 0;
    std::int64_t duration = 0;
    std::uint32_t editUnitByteCount = 0;
    std::uint32_t indexSID = 0;
    std::uint32_t bodySID = 0;
    std::uint8_t sliceCount = 0;  // slices minus one
    std::uint8_t posTableCount = 0;
    std::vector<DeltaEntry> deltas;
    std::vector<IndexEntry> entries;
    std::vector<std::uint32_t> sliceOffsets;  // entries.size() * sliceCount

    /// Entries that one segment of this many slices can hold: a property's value ends at 65,535 bytes.
    static std::size_t largestEntryCount(std::uint8_t sliceCount);

    /// The whole item, without fill; at most largestEntryCount() entries.
    void write(ByteSink& out) const;
    /// @param value   behind the item's length. Entries that are cut off are left out.
    /// @param coding  byte 5 of the item's key: how lengths are coded.
    /// @return nothing when it cannot be an index: no edit rate, items smaller than what they have to hold.
    static std::optional<IndexSegment> read(std::span<const std::uint8_t> value, std::uint8_t coding = 0x53);
};

}  // namespace zenquor::mxf::detail
