#include "zenquor/mxf/detail/IndexTable.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace zenquor::mxf::detail {
namespace {

constexpr std::int64_t largestUnit = std::int64_t{1} << 48;

std::int64_t unitsOf(const IndexSegment& segment) {
    if (segment.editUnitByteCount > 0) return segment.duration > 0 ? segment.duration : largestUnit;
    const std::int64_t entries = static_cast<std::int64_t>(segment.entries.size());
    return segment.duration > 0 ? std::min(segment.duration, entries) : entries;
}

/// What is covered already, as stretches that do not touch.
class Coverage {
public:
    /// Covers first … end and calls @p piece for each part that was not covered before.
    template <typename Piece>
    void cover(std::int64_t first, std::int64_t end, Piece&& piece) {
        auto at = covered_.upper_bound(first);
        if (at != covered_.begin() && std::prev(at)->second >= first) --at;
        std::int64_t from = first, mergedFirst = first, mergedEnd = end;
        while (at != covered_.end() && at->first <= end) {
            if (at->first > from) piece(from, at->first);
            from = std::max(from, at->second);
            mergedFirst = std::min(mergedFirst, at->first);
            mergedEnd = std::max(mergedEnd, at->second);
            at = covered_.erase(at);
        }
        if (from < end) piece(from, end);
        covered_[mergedFirst] = mergedEnd;
    }

private:
    std::map<std::int64_t, std::int64_t> covered_;
};

}  // namespace

IndexTable::IndexTable(const std::vector<const IndexSegment*>& segments, std::uint64_t streamBytes,
                       FaultList& faults) {
    Coverage coverage;
    for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
        const std::int64_t first = (*segment)->startPosition;
        if (first < 0 || first >= largestUnit) {
            faults.tell("A part of the index begins at an impossible edit unit and is passed over.");
            continue;
        }
        const std::int64_t end = first + std::min(unitsOf(**segment), largestUnit - first);
        if (end <= first) continue;
        coverage.cover(first, end, [&](std::int64_t from, std::int64_t to) {
            runs_.push_back({from, to - from, *segment, 0});
        });
    }
    std::sort(runs_.begin(), runs_.end(), [](const Run& a, const Run& b) { return a.first < b.first; });
    placeConstantSizes(streamBytes);
}

/// A run of constant sizes begins where the one in front of it ends.
void IndexTable::placeConstantSizes(std::uint64_t streamBytes) {
    std::int64_t nextUnit = 0;
    std::uint64_t nextOffset = 0;
    for (Run& run : runs_) {
        const std::uint64_t size = run.segment->editUnitByteCount;
        if (size == 0) continue;
        if (run.first != nextUnit) {
            const std::uint64_t first = static_cast<std::uint64_t>(run.first);
            nextOffset = first > streamBytes / size ? streamBytes : first * size;
        }
        run.base = nextOffset;
        const std::uint64_t fitting = run.base < streamBytes ? (streamBytes - run.base) / size : 0;
        run.count = static_cast<std::int64_t>(std::min(static_cast<std::uint64_t>(run.count), fitting));
        nextUnit = run.first + run.count;
        nextOffset = run.base + static_cast<std::uint64_t>(run.count) * size;
    }
    std::erase_if(runs_, [](const Run& run) { return run.count <= 0; });
}

std::int64_t IndexTable::end() const {
    return runs_.empty() ? 0 : runs_.back().first + runs_.back().count;
}

void IndexTable::endAt(std::int64_t unit) {
    while (!runs_.empty() && runs_.back().first >= unit) runs_.pop_back();
    if (!runs_.empty()) runs_.back().count = std::min(runs_.back().count, unit - runs_.back().first);
}

const IndexTable::Run* IndexTable::runOf(std::int64_t unit) const {
    const auto after = std::upper_bound(runs_.begin(), runs_.end(), unit,
                                        [](std::int64_t at, const Run& run) { return at < run.first; });
    if (after == runs_.begin()) return nullptr;
    const Run& run = *std::prev(after);
    return unit - run.first < run.count ? &run : nullptr;
}

std::optional<std::uint64_t> IndexTable::offsetOf(std::int64_t unit) const {
    const Run* run = runOf(unit);
    if (!run) return std::nullopt;
    if (const IndexEntry* entry = entryOf(unit)) return entry->streamOffset;
    return run->base + static_cast<std::uint64_t>(unit - run->first) * run->segment->editUnitByteCount;
}

const IndexEntry* IndexTable::entryOf(std::int64_t unit) const {
    const Run* run = runOf(unit);
    if (!run || run->segment->editUnitByteCount > 0) return nullptr;
    return &run->segment->entries[static_cast<std::size_t>(unit - run->segment->startPosition)];
}

std::vector<std::pair<std::int64_t, std::int64_t>> IndexTable::holes() const {
    std::vector<std::pair<std::int64_t, std::int64_t>> found;
    std::int64_t next = 0;
    for (const Run& run : runs_) {
        if (run.first > next) found.emplace_back(next, run.first);
        next = run.first + run.count;
    }
    return found;
}

std::int64_t IndexTable::coveredCount() const {
    std::int64_t count = 0;
    for (const Run& run : runs_) count += run.count;
    return count;
}

}  // namespace zenquor::mxf::detail
