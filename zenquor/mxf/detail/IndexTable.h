#pragma once
// The index of one essence stream, put together from all its segments.

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "zenquor/mxf/detail/FaultList.h"
#include "zenquor/mxf/detail/IndexSegment.h"

namespace zenquor::mxf::detail {

/// Offsets of edit units in an essence stream, as the index tells them.
///
/// Thread-safety: One thread at a time.
/// Ownership:     the segments outlive the table.
class IndexTable {
public:
    IndexTable() = default;
    /// @param segments     in file order: of several that cover the same edit units the last one counts.
    /// @param streamBytes  what the stream has; constant sizes end there.
    IndexTable(const std::vector<const IndexSegment*>& segments, std::uint64_t streamBytes,
               FaultList& faults);

    bool isEmpty() const { return runs_.empty(); }
    /// One behind the last edit unit that is covered.
    std::int64_t end() const;
    /// Forgets the edit units from @p unit on.
    void endAt(std::int64_t unit);
    std::optional<std::uint64_t> offsetOf(std::int64_t unit) const;
    /// Null where there is none: with constant sizes, and outside the index.
    const IndexEntry* entryOf(std::int64_t unit) const;
    /// Stretches of edit units in front of end() that are not covered: first, and one behind the last.
    std::vector<std::pair<std::int64_t, std::int64_t>> holes() const;
    std::int64_t coveredCount() const;
    /// Of the first segment; 0 for variable sizes.
    std::uint32_t constantBytes() const {
        return runs_.empty() ? 0 : runs_.front().segment->editUnitByteCount;
    }
    Rational editRate() const { return runs_.empty() ? Rational{} : runs_.front().segment->editRate; }

private:
    struct Run {
        std::int64_t first = 0;
        std::int64_t count = 0;
        const IndexSegment* segment = nullptr;
        std::uint64_t base = 0;  // stream offset of the first, with constant sizes
    };

    void placeConstantSizes(std::uint64_t streamBytes);
    const Run* runOf(std::int64_t unit) const;

    std::vector<Run> runs_;  // by edit unit, without overlap
};

}  // namespace zenquor::mxf::detail
