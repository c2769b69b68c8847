#pragma once
// The index of a file that is being written.

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/IndexSegment.h"

namespace zenquor::mxf::detail {

/// What is the same in every segment of a file's index.
struct IndexLayout {
    Rational editRate;
    std::uint32_t editUnitBytes = 0;  // of constant size; 0: every unit has an entry of its own
    std::uint8_t sliceCount = 0;      // slices minus one
    std::vector<DeltaEntry> deltas;
};

/// Keeps an entry of every edit unit and writes them as index segments.
///
/// An entry tells where the picture shown at its place is stored. With reordered pictures that is known only
/// some units later: an entry is settled once it is. Whatever the essence says of its order, the offsets
/// written lead from every place to another stored unit: places that no picture claims are closed up, a second
/// claim gets the next place.
///
/// Lifecycle:     add() in stored order; finish() after the last; write whenever wanted.
/// Thread-safety: One thread at a time.
/// Ownership:     about 20 bytes a unit, nothing for units of constant size.
class IndexBuilder {
public:
    explicit IndexBuilder(IndexLayout layout) : layout_(std::move(layout)) {}

    /// @param sliceOffsets  from the unit's start, as many as the layout's slice count.
    void add(std::uint64_t streamOffset, const UnitFacts& facts, std::span<const std::uint32_t> sliceOffsets);
    /// Settles what is left.
    void finish();

    bool isConstant() const { return layout_.editUnitBytes != 0; }
    std::int64_t unitCount() const { return unitCount_; }
    /// Leading entries that will not change any more.
    std::int64_t settledCount() const { return settled_; }

    /// Bytes that putEntries() appends.
    std::uint64_t bytesOfEntries(std::int64_t first, std::int64_t last) const;
    /// Largest number of entries in one segment.
    std::int64_t segmentEntries() const;
    /// Appends segments with the entries from @p first up to @p last, which is left out.
    void putEntries(ByteSink& out, std::int64_t first, std::int64_t last) const;
    /// Appends the segment of constant units. @param duration  0 while the file grows: all units there are.
    void putConstant(ByteSink& out, std::int64_t duration) const;

private:
    struct Claim {
        std::int64_t displayPosition;
        std::int64_t unit;
    };

    void claim(std::int64_t displayPosition, std::int64_t unit);
    void settleReady();
    void settle(std::int64_t unit);
    IndexSegment segment(std::int64_t first, std::int64_t last) const;

    IndexLayout layout_;
    std::deque<IndexEntry> entries_;
    std::deque<std::uint32_t> sliceOffsets_;
    std::vector<Claim> claims_;  // places ahead of the settled ones, the nearest first
    std::int64_t unitCount_ = 0;
    std::int64_t settled_ = 0;
    std::int64_t shift_ = 0;  // places of the essence's own count that were closed up
};

}  // namespace zenquor::mxf::detail
