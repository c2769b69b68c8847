#pragma once
// The partitions of a file that is written, in their order.

#include <cstdint>
#include <vector>

#include "zenquor/mxf/detail/PartitionPack.h"

namespace zenquor::mxf::detail {

/// Remembers where partitions stand and makes their packs, so that every pack can be written again once the
/// footer is known.
class PartitionChain {
public:
    /// What differs between partitions.
    struct Place {
        PartitionPack::Kind kind = PartitionPack::Kind::Body;
        bool hasEssence = false;
        std::uint64_t offset = 0;
        std::uint64_t bodyOffset = 0;
        std::uint64_t headerBytes = 0;
        std::uint64_t indexBytes = 0;
    };

    /// What is the same in all partitions.
    PartitionChain(const UL& operationalPattern, const std::vector<UL>& essenceContainers,
                   std::uint32_t grid);

    void add(const Place& place) { places_.push_back(place); }
    std::size_t count() const { return places_.size(); }
    const Place& operator[](std::size_t i) const { return places_[i]; }
    /// @param footer  0 while there is none.
    PartitionPack pack(std::size_t i, PartitionPack::State state, std::uint64_t footer) const;
    RandomIndexPack randomIndex() const;

private:
    PartitionPack common_;
    std::vector<Place> places_;
};

}  // namespace zenquor::mxf::detail
