#pragma once
// The elements of an essence stream in the order of the file.

#include <cstdint>
#include <optional>
#include <vector>

#include "zenquor/mxf/detail/FaultList.h"
#include "zenquor/mxf/detail/FileView.h"
#include "zenquor/mxf/detail/PartitionMap.h"

namespace zenquor::mxf::detail {

/// An essence element or a system item.
struct Element {
    UL key;
    std::uint64_t position = 0;
    std::uint64_t valuePosition = 0;
    std::uint64_t length = 0;  // of the value, as far as it is there
    std::uint64_t end = 0;
    bool isCut = false;  // it claims more than is there
};

/// Steps from element to element, over values without reading them; fill and what is not known is passed over, bytes
/// that are no item are skipped and told.
///
/// Thread-safety: One thread at a time.
class ElementWalk {
public:
    static constexpr std::uint64_t noLimit = ~std::uint64_t{0};

    /// @param start  in one of @p extents, which outlive the walk.
    /// @param limit  where the walk ends.
    ElementWalk(FileView& file, FaultList& faults, const std::vector<EssenceExtent>& extents,
                std::uint64_t start, std::uint64_t limit = noLimit);

    std::optional<Element> next();

private:
    std::uint64_t bound() const;
    Element cutElement(const PlacedItem& item);
    void skipBytes();

    FileView& file_;
    FaultList& faults_;
    const std::vector<EssenceExtent>& extents_;
    std::size_t extent_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t limit_ = noLimit;
};

/// Tells where content packages begin. Elements stand in one order through a whole file, and each once: a key that has
/// been, or that belongs in front of the last one, begins the next package. Any element may be missing from a package.
class PackageGrouping {
public:
    /// @return whether the element with @p key begins a content package.
    bool beginsPackage(const UL& key);
    /// Whether every element known was in the package at hand.
    bool isAtLastElement() const { return !order_.empty() && last_ + 1 == order_.size(); }
    void restart() { last_ = none; }
    /// Keys in the order of the file.
    const std::vector<UL>& keys() const { return order_; }

private:
    static constexpr std::size_t none = ~std::size_t{0};
    static constexpr std::size_t largestCount = 64;

    std::vector<UL> order_;
    std::size_t last_ = none;
};

}  // namespace zenquor::mxf::detail
