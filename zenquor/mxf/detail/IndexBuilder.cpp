#include "zenquor/mxf/detail/IndexBuilder.h"

#include <algorithm>
#include <limits>

#include "zenquor/core/UUIDSource.h"
#include "zenquor/mxf/detail/PackageGraph.h"

namespace zenquor::mxf::detail {
namespace {

/// No coding reorders over more pictures; a place that is still free then stays free for ever.
constexpr std::size_t mostClaims = 64;

/// @p value as an entry holds it; one that does not fit is told by a flag.
std::int8_t narrowed(std::int64_t value, std::uint8_t& flags) {
    using Limits = std::numeric_limits<std::int8_t>;
    if (value < Limits::min() || value > Limits::max()) flags |= IndexEntry::offsetOverflow;
    return static_cast<std::int8_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

}  // namespace

void IndexBuilder::add(std::uint64_t streamOffset, const UnitFacts& facts,
                       std::span<const std::uint32_t> sliceOffsets) {
    const std::int64_t unit = unitCount_++;
    if (isConstant()) {
        settled_ = unitCount_;
        return;
    }
    IndexEntry entry;
    entry.flags = facts.flags;
    entry.keyFrameOffset = narrowed(std::max<std::int64_t>(facts.keyFrameOffset, -unit), entry.flags);
    entry.streamOffset = streamOffset;
    entries_.push_back(entry);
    sliceOffsets_.insert(sliceOffsets_.end(), sliceOffsets.begin(), sliceOffsets.end());
    claim(facts.displayPosition, unit);
    settleReady();
}

void IndexBuilder::claim(std::int64_t displayPosition, std::int64_t unit) {
    std::int64_t place = displayPosition - shift_;
    if (place < settled_) {
        // Shown before something that is settled already: the essence counts anew, or is broken.
        shift_ = displayPosition - settled_;
        place = settled_;
    }
    const Claim next{place, unit};
    claims_.insert(std::upper_bound(
                       claims_.begin(), claims_.end(), next,
                       [](const Claim& a, const Claim& b) { return a.displayPosition < b.displayPosition; }),
                   next);
}

void IndexBuilder::settleReady() {
    std::size_t used = 0;
    while (used < claims_.size() && settled_ < unitCount_) {
        const std::int64_t gap = claims_[used].displayPosition - settled_;
        if (gap > 0 && claims_.size() - used < mostClaims) break;
        if (gap != 0) {
            for (std::size_t i = used; i < claims_.size(); ++i) claims_[i].displayPosition -= gap;
            shift_ += gap;
        }
        settle(claims_[used++].unit);
    }
    claims_.erase(claims_.begin(), claims_.begin() + static_cast<std::ptrdiff_t>(used));
}

void IndexBuilder::settle(std::int64_t unit) {
    IndexEntry& entry = entries_[static_cast<std::size_t>(settled_)];
    entry.temporalOffset = narrowed(unit - settled_, entry.flags);
    ++settled_;
}

void IndexBuilder::finish() {
    for (const Claim& left : claims_) settle(left.unit);
    claims_.clear();
}

std::int64_t IndexBuilder::segmentEntries() const {
    return static_cast<std::int64_t>(IndexSegment::largestEntryCount(layout_.sliceCount));
}

std::uint64_t IndexBuilder::bytesOfEntries(std::int64_t first, std::int64_t last) const {
    const std::int64_t most = segmentEntries();
    std::uint64_t bytes = 0;
    while (first < last) {
        const std::int64_t count = std::min(last - first, most);
        // Every full segment has the same size.
        const auto repeats = static_cast<std::uint64_t>(count == most ? (last - first) / most : 1);
        ByteSink one;
        segment(first, first + count).write(one);
        bytes += repeats * one.size();
        first += static_cast<std::int64_t>(repeats) * count;
    }
    return bytes;
}

void IndexBuilder::putEntries(ByteSink& out, std::int64_t first, std::int64_t last) const {
    for (const std::int64_t most = segmentEntries(); first < last; first += most)
        segment(first, std::min(first + most, last)).write(out);
}

void IndexBuilder::putConstant(ByteSink& out, std::int64_t duration) const {
    IndexSegment all = segment(0, 0);
    all.duration = duration;
    all.write(out);
}

IndexSegment IndexBuilder::segment(std::int64_t first, std::int64_t last) const {
    IndexSegment result;
    result.instance = UUIDSource::next();
    result.editRate = layout_.editRate;
    result.startPosition = first;
    result.duration = last - first;
    result.editUnitByteCount = layout_.editUnitBytes;
    result.indexSID = PackageGraph::indexSID;
    result.bodySID = PackageGraph::bodySID;
    result.sliceCount = layout_.sliceCount;
    result.deltas = layout_.deltas;
    result.entries.assign(entries_.begin() + first, entries_.begin() + last);
    const std::int64_t slices = layout_.sliceCount;
    result.sliceOffsets.assign(sliceOffsets_.begin() + first * slices, sliceOffsets_.begin() + last * slices);
    return result;
}

}  // namespace zenquor::mxf::detail
