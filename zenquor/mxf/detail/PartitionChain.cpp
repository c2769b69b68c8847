#include "zenquor/mxf/detail/PartitionChain.h"

#include "zenquor/mxf/detail/PackageGraph.h"

namespace zenquor::mxf::detail {

PartitionChain::PartitionChain(const UL& operationalPattern, const std::vector<UL>& essenceContainers,
                               std::uint32_t grid) {
    common_.kagSize = grid;
    common_.operationalPattern = operationalPattern;
    common_.essenceContainers = essenceContainers;
}

PartitionPack PartitionChain::pack(std::size_t i, PartitionPack::State state, std::uint64_t footer) const {
    const Place& place = places_[i];
    PartitionPack pack = common_;
    pack.kind = place.kind;
    pack.state = static_cast<std::uint8_t>(state);
    pack.thisPartition = place.offset;
    pack.previousPartition = i == 0 ? 0 : places_[i - 1].offset;
    pack.footerPartition = footer;
    pack.headerByteCount = place.headerBytes;
    pack.indexByteCount = place.indexBytes;
    pack.indexSID = place.indexBytes == 0 ? 0 : PackageGraph::indexSID;
    pack.bodyOffset = place.bodyOffset;
    pack.bodySID = place.hasEssence ? PackageGraph::bodySID : 0;
    return pack;
}

RandomIndexPack PartitionChain::randomIndex() const {
    RandomIndexPack pack;
    for (const Place& place : places_)
        pack.entries.push_back({place.hasEssence ? PackageGraph::bodySID : 0, place.offset});
    return pack;
}

}  // namespace zenquor::mxf::detail
