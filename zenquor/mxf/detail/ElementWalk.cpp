#include "zenquor/mxf/detail/ElementWalk.h"

#include <algorithm>

#include <fmt/core.h>

#include "zenquor/mxf/detail/FileScan.h"
#include "zenquor/mxf/detail/ItemKeys.h"

namespace zenquor::mxf::detail {

ElementWalk::ElementWalk(FileView& file, FaultList& faults, const std::vector<EssenceExtent>& extents,
                         std::uint64_t start, std::uint64_t limit)
    : file_(file), faults_(faults), extents_(extents), position_(start), limit_(limit) {
    const auto after = std::upper_bound(extents.begin(), extents.end(), start,
                                        [](std::uint64_t at, const EssenceExtent& e) { return at < e.end; });
    extent_ = static_cast<std::size_t>(after - extents.begin());
}

std::uint64_t ElementWalk::bound() const {
    return std::min(limit_, extents_[extent_].end);
}

/// An element that claims more than is there ends where the next item begins.
Element ElementWalk::cutElement(const PlacedItem& item) {
    const std::uint64_t value = std::min(item.valuePosition(), bound());
    const std::uint64_t next = findNextItem(file_, value, bound()).value_or(bound());
    // At the end of the file it is just being written, or was broken off; that is told for the whole file.
    if (next != file_.size()) {
        faults_.tell(fmt::format("The element at byte {} claims {} bytes, but there are only {}.",
                                 item.position, item.header.length, next - value));
    }
    position_ = next;
    return {item.header.key, item.position, value, next - value, next, true};
}

void ElementWalk::skipBytes() {
    const std::uint64_t next = findNextItem(file_, position_ + 1, bound()).value_or(bound());
    if (next != file_.size()) {
        faults_.tell(fmt::format("The {} bytes at byte {} are no item of MXF and are passed over.",
                                 next - position_, position_));
    }
    position_ = next;
}

std::optional<Element> ElementWalk::next() {
    while (extent_ < extents_.size() && position_ < limit_) {
        if (position_ >= extents_[extent_].end) {
            if (++extent_ < extents_.size()) position_ = extents_[extent_].start;
            continue;
        }
        const auto item = file_.item(position_);
        const bool isContent = item && isContentKey(item->header.key);
        const bool fits = item && item->end() <= bound();
        if (isContent && !fits) return cutElement(*item);
        if (!fits) {
            skipBytes();
            continue;
        }
        position_ = item->end();
        if (!isContent) continue;
        return Element{item->header.key,    item->position, item->valuePosition(),
                       item->header.length, item->end(),    false};
    }
    return std::nullopt;
}

bool PackageGrouping::beginsPackage(const UL& key) {
    const auto at = std::find(order_.begin(), order_.end(), key);
    if (at != order_.end()) {
        const std::size_t rank = static_cast<std::size_t>(at - order_.begin());
        const bool begins = last_ == none || rank <= last_;
        last_ = rank;
        return begins;
    }
    if (order_.size() >= largestCount) return last_ == none;
    const std::size_t rank = last_ == none ? 0 : last_ + 1;
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(rank), key);
    const bool begins = last_ == none;
    last_ = rank;
    return begins;
}

}  // namespace zenquor::mxf::detail
