#include "zenquor/mxf/detail/EditUnitMap.h"

#include <algorithm>
#include <iterator>

#include <fmt/core.h>

#include "zenquor/mxf/detail/ItemKeys.h"

namespace zenquor::mxf::detail {
namespace {

/// Edit units of the index that are compared with the file before it is used.
constexpr std::int64_t largestSampleCount = 16;
/// Edit units that an index may name behind the end of the essence before it is given up.
constexpr int largestDropCount = 1 << 20;
/// A content package of more items than this is none.
constexpr std::size_t largestItemCount = 4096;

}  // namespace

void EditUnitMap::update(std::vector<EssenceExtent> extents, const std::vector<const IndexSegment*>& segments,
                         const std::vector<std::uint32_t>& expected) {
    extents_ = std::move(extents);
    const std::uint64_t streamBytes =
        extents_.empty() ? 0 : extents_.back().streamOffset + extents_.back().size();
    table_ = wasWrong_ ? IndexTable{} : IndexTable(segments, streamBytes, faults_);
    dropUnitsOutside();
    if (!table_.isEmpty()) {
        learnFirstUnit();
        if (!isIndexRight() || !fillHoles()) {
            wasWrong_ = true;
            table_ = IndexTable{};
        }
    }
    walkTail(expected);
}

std::optional<std::uint64_t> EditUnitMap::fileOffsetOf(std::uint64_t streamOffset) const {
    const auto after =
        std::upper_bound(extents_.begin(), extents_.end(), streamOffset,
                         [](std::uint64_t at, const EssenceExtent& e) { return at < e.streamOffset; });
    if (after == extents_.begin()) return std::nullopt;
    const EssenceExtent& extent = *std::prev(after);
    const std::uint64_t inside = streamOffset - extent.streamOffset;
    if (inside >= extent.size()) return std::nullopt;
    return extent.start + inside;
}

const EssenceExtent* EditUnitMap::extentAt(std::uint64_t position) const {
    const auto after =
        std::upper_bound(extents_.begin(), extents_.end(), position,
                         [](std::uint64_t at, const EssenceExtent& e) { return at < e.start; });
    if (after == extents_.begin() || position >= std::prev(after)->end) return nullptr;
    return &*std::prev(after);
}

std::optional<std::uint64_t> EditUnitMap::positionOf(std::int64_t unit) const {
    if (unit >= tailFirst_ && unit - tailFirst_ < static_cast<std::int64_t>(tail_.size()))
        return tail_[static_cast<std::size_t>(unit - tailFirst_)];
    if (const auto offset = table_.offsetOf(unit)) return fileOffsetOf(*offset);
    const auto after = holes_.upper_bound(unit);
    if (after == holes_.begin()) return std::nullopt;
    const auto& [first, places] = *std::prev(after);
    if (unit - first >= static_cast<std::int64_t>(places.size())) return std::nullopt;
    return places[static_cast<std::size_t>(unit - first)];
}

/// Where the unit at @p position ends at the latest: where the next one begins, or with its partition.
std::uint64_t EditUnitMap::limitOf(std::int64_t unit, std::uint64_t position) const {
    const EssenceExtent* extent = extentAt(position);
    const std::uint64_t end = extent ? extent->end : position;
    const auto next = unit + 1 < count() || tail_.empty() ? positionOf(unit + 1) : brokenAt_;
    return next && *next > position ? std::min(*next, end) : end;
}

/// An index may tell of essence that was cut off, and some end with an entry for the end of the stream.
void EditUnitMap::dropUnitsOutside() {
    tailFirst_ = 0;
    std::vector<std::uint64_t> tail;
    tail.swap(tail_);
    for (int i = 0; i < largestDropCount && !table_.isEmpty(); ++i) {
        if (positionOf(table_.end() - 1)) break;
        table_.endAt(table_.end() - 1);
    }
    if (!table_.isEmpty() && !positionOf(table_.end() - 1)) table_.endAt(0);
    tail_.swap(tail);
}

void EditUnitMap::learnFirstUnit() {
    if (!grouping_.keys().empty() || extents_.empty()) return;
    ElementWalk walk(file_, faults_, extents_, extents_.front().start);
    while (const auto element = walk.next()) {
        const bool isFirst = grouping_.keys().empty();
        if (grouping_.beginsPackage(element->key) && !isFirst) break;
    }
}

/// Whether a unit begins with an element where the index says so, and ends where the next one begins.
bool EditUnitMap::agrees(std::int64_t unit) {
    const auto position = positionOf(unit);
    if (!position) return false;
    if (unit == 0 && *position != extents_.front().start) return false;
    const auto first = file_.item(*position);
    if (!first || !isContentKey(first->header.key)) return false;
    const auto next = positionOf(unit + 1);
    if (!next) return true;
    const EssenceExtent* extent = extentAt(*position);
    const std::uint64_t end = *next < extent->end ? *next : extent->end;
    if (*next <= *position) return false;
    std::uint64_t at = *position;
    for (std::size_t i = 0; i < largestItemCount && at < end; ++i) {
        const auto item = file_.item(at);
        if (!item) return false;
        at = item->end();
    }
    return at == end;
}

/// Looks at some edit units across the file. A few that disagree are damage in the essence; many are a wrong index.
bool EditUnitMap::isIndexRight() {
    std::vector<std::uint64_t> tail;
    tail.swap(tail_);
    const std::int64_t end = table_.end();
    const std::int64_t samples = std::min(end, largestSampleCount);
    std::int64_t looked = 0, wrong = 0, firstWrong = -1;
    for (std::int64_t i = 0; i < samples; ++i) {
        const std::int64_t unit = samples < 2 ? 0 : i * (end - 1) / (samples - 1);
        if (!table_.offsetOf(unit)) continue;
        ++looked;
        if (agrees(unit)) continue;
        if (wrong++ == 0) firstWrong = unit;
    }
    const bool isWrong = wrong > 0 && (wrong == looked || wrong * 4 >= looked);
    if (isWrong) {
        faults_.tell(
            fmt::format("The index says that edit unit {} begins at byte {} of its stream, but there is no "
                        "content package of that length; the index is not used, the elements are walked.",
                        firstWrong, table_.offsetOf(firstWrong).value_or(0)));
    }
    tail_.swap(tail);
    return !isWrong;
}

/// Places of units from @p from on; a whole number of packages where the essence goes on behind @p limit.
std::vector<std::uint64_t> EditUnitMap::walkUnits(std::uint64_t from, std::uint64_t limit) {
    std::vector<std::uint64_t> places;
    grouping_.restart();
    ElementWalk walk(file_, faults_, extents_, from, limit);
    while (const auto element = walk.next()) {
        if (grouping_.beginsPackage(element->key)) places.push_back(element->position);
    }
    return places;
}

bool EditUnitMap::fillHoles() {
    holes_.clear();
    for (const auto& [first, end] : table_.holes()) {
        const auto limit = positionOf(end);
        const auto from =
            first == 0 ? extents_.front().start : positionOf(first - 1).value_or(ElementWalk::noLimit);
        auto places = limit && from < *limit ? walkUnits(from, *limit) : std::vector<std::uint64_t>{};
        if (first > 0 && !places.empty()) places.erase(places.begin());
        if (static_cast<std::int64_t>(places.size()) != end - first) {
            faults_.tell(fmt::format(
                "The index leaves out the edit units {} to {}, but {} are there; the index is not "
                "used, the elements are walked.",
                first, end - 1, places.size()));
            holes_.clear();
            return false;
        }
        holes_.emplace(first, std::move(places));
    }
    return true;
}

/// From the last unit of the index on, or the first of all, to the end of the essence. What was walked before stays.
void EditUnitMap::walkTail(const std::vector<std::uint32_t>& expected) {
    brokenAt_.reset();
    std::vector<std::uint64_t> before;
    before.swap(tail_);
    const std::int64_t first = std::max<std::int64_t>(table_.end() - 1, 0);
    const bool goesOn = first == tailFirst_ && !before.empty();
    tailFirst_ = first;
    if (extents_.empty()) return;
    const auto start = table_.isEmpty() ? extents_.front().start : positionOf(first);
    if (!start) return;
    std::uint64_t from = *start;
    if (goesOn && before.front() == from) {
        from = before.back();
        before.pop_back();
    } else {
        before.clear();
    }
    const auto places = walkUnits(from, ElementWalk::noLimit);
    tail_ = std::move(before);
    tail_.insert(tail_.end(), places.begin(), places.end());
    // The essence that ends with the file may end in the middle of a unit.
    const bool isOpen = extents_.back().end == file_.size();
    if (isOpen && !tail_.empty() && !isWhole(tail_.back(), expected)) {
        brokenAt_ = tail_.back();
        tail_.pop_back();
    }
}

/// Whether the last unit has all elements that it should have, each to its end.
bool EditUnitMap::isWhole(std::uint64_t position, const std::vector<std::uint32_t>& expected) {
    if (!grouping_.isAtLastElement()) return false;
    std::vector<std::uint32_t> found;
    ElementWalk walk(file_, faults_, extents_, position);
    while (const auto element = walk.next()) {
        if (element->isCut) return false;
        found.push_back(trackNumberOf(element->key));
    }
    return std::all_of(expected.begin(), expected.end(), [&](std::uint32_t number) {
        return std::find(found.begin(), found.end(), number) != found.end();
    });
}

std::vector<Element> EditUnitMap::elementsOf(std::int64_t unit) {
    std::vector<Element> elements;
    if (unit < 0 || unit >= count()) return elements;
    const auto position = positionOf(unit);
    if (!position) return elements;
    ElementWalk walk(file_, faults_, extents_, *position, limitOf(unit, *position));
    while (elements.size() < largestItemCount) {
        const auto element = walk.next();
        if (!element) break;
        elements.push_back(*element);
    }
    if (elements.empty() || elements.front().position != *position) {
        faults_.tell(
            fmt::format("The index says that edit unit {} begins at byte {}, but there is no element there.",
                        unit, *position));
    }
    return elements;
}

}  // namespace zenquor::mxf::detail
