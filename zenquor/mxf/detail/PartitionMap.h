#pragma once
// The partitions of a file, found by its random index pack, by their chain, or by walking.

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "zenquor/mxf/detail/FaultList.h"
#include "zenquor/mxf/detail/FileView.h"
#include "zenquor/mxf/detail/IndexSegment.h"
#include "zenquor/mxf/detail/PartitionPack.h"

namespace zenquor::mxf::detail {

/// A partition as it lies in the file. Positions count from the header partition.
struct Partition {
    PartitionPack pack;
    std::uint32_t bodySID = 0;        // of its essence, also where the pack forgets it
    std::uint64_t offset = 0;         // of the pack's key
    std::uint64_t packEnd = 0;        // behind the pack
    std::uint64_t end = 0;            // of the partition
    std::uint64_t metadataStart = 0;  // of the primer; equal to metadataEnd where there are none
    std::uint64_t metadataEnd = 0;
    std::uint64_t essenceStart =
        0;  // of the first element or system item; the partition's end where there is none
    std::vector<IndexSegment> index;

    bool hasMetadata() const { return metadataEnd > metadataStart; }
    bool hasEssence() const { return end > essenceStart; }
};

/// A stretch of essence in the file.
struct EssenceExtent {
    std::uint64_t start = 0;  // in the file
    std::uint64_t end = 0;
    std::uint64_t streamOffset = 0;  // of its first byte in the essence stream

    std::uint64_t size() const { return end - start; }
};

/// All partitions in file order.
///
/// Lifecycle:     open() once, update() whenever the file may have grown.
/// Thread-safety: One thread at a time.
/// Ownership:     the view and the list of faults outlive the map.
class PartitionMap {
public:
    PartitionMap(FileView& file, FaultList& faults) : file_(file), faults_(faults) {}

    /// Looks for the header partition behind at most 64 KiB of run-in and sets the view's origin there. @return false when
    /// there is none.
    bool open();
    /// Looks at the whole file, or at what is new since the last time.
    void update();

    const std::vector<Partition>& partitions() const { return partitions_; }
    bool hasRandomIndexPack() const { return randomIndexPosition_.has_value(); }
    bool hasFooter() const;
    /// The stretches of one essence stream in file order.
    std::vector<EssenceExtent> extentsOf(std::uint32_t bodySID) const;
    /// Index segments of one essence stream in file order; valid until the next update().
    std::vector<const IndexSegment*> indexOf(std::uint32_t bodySID) const;
    /// Numbers of the essence streams there are, in file order.
    std::vector<std::uint32_t> bodySIDs() const;

private:
    std::optional<Partition> readPack(std::uint64_t offset);
    std::vector<std::uint64_t> readRandomIndex();
    bool followPointers();
    bool isChainWhole(const std::map<std::uint64_t, Partition>& found) const;
    void walk();
    void closePartitions(std::size_t firstOpen);
    void layOut(Partition& partition);
    std::uint64_t passMetadata(Partition& partition, const PlacedItem& item);
    void readIndex(Partition& partition, const PlacedItem& item);
    void nameBodies();

    FileView& file_;
    FaultList& faults_;
    std::vector<Partition> partitions_;
    std::optional<std::uint64_t> randomIndexPosition_;
};

}  // namespace zenquor::mxf::detail
