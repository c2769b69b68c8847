#pragma once
// Where the edit units of frame-wrapped essence lie: by the index where it is right, by walking everywhere else.

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "zenquor/mxf/detail/ElementWalk.h"
#include "zenquor/mxf/detail/IndexTable.h"

namespace zenquor::mxf::detail {

/// The content packages of one essence stream, by number. Only whole ones count: the last of a file that grows or was cut
/// is left out while an element of it is missing.
///
/// Lifecycle:     update() with what the partitions hold, again whenever they have changed.
/// Thread-safety: One thread at a time.
class EditUnitMap {
public:
    EditUnitMap(FileView& file, FaultList& faults) : file_(file), faults_(faults) {}

    /// @param expected  track numbers of the elements that a whole unit has.
    void update(std::vector<EssenceExtent> extents, const std::vector<const IndexSegment*>& segments,
                const std::vector<std::uint32_t>& expected);

    std::int64_t count() const { return tailFirst_ + static_cast<std::int64_t>(tail_.size()); }
    /// The elements of a unit in the order of the file; system items too.
    std::vector<Element> elementsOf(std::int64_t unit);
    /// What the index tells of a unit's picture; null where it tells nothing.
    const IndexEntry* entryOf(std::int64_t unit) const { return table_.entryOf(unit); }
    const IndexTable& table() const { return table_; }
    /// Keys of all elements that were met while walking; those of the first unit at least.
    const std::vector<UL>& keys() const { return grouping_.keys(); }
    /// Where a unit begins that is not whole; nothing when the essence ends with a whole one.
    const std::optional<std::uint64_t>& brokenUnitAt() const { return brokenAt_; }

private:
    std::optional<std::uint64_t> fileOffsetOf(std::uint64_t streamOffset) const;
    std::optional<std::uint64_t> positionOf(std::int64_t unit) const;
    std::uint64_t limitOf(std::int64_t unit, std::uint64_t position) const;
    const EssenceExtent* extentAt(std::uint64_t position) const;
    void dropUnitsOutside();
    bool isIndexRight();
    bool agrees(std::int64_t unit);
    bool fillHoles();
    std::vector<std::uint64_t> walkUnits(std::uint64_t from, std::uint64_t limit);
    void learnFirstUnit();
    void walkTail(const std::vector<std::uint32_t>& expected);
    bool isWhole(std::uint64_t position, const std::vector<std::uint32_t>& expected);

    FileView& file_;
    FaultList& faults_;
    std::vector<EssenceExtent> extents_;
    IndexTable table_;
    PackageGrouping grouping_;
    std::map<std::int64_t, std::vector<std::uint64_t>> holes_;  // by first unit: places that were walked
    std::int64_t tailFirst_ = 0;
    std::vector<std::uint64_t> tail_;  // places of the last unit of the index and of all behind it
    std::optional<std::uint64_t> brokenAt_;
    bool wasWrong_ = false;
};

}  // namespace zenquor::mxf::detail
