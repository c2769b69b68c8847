#include "zenquor/mxf/detail/PartitionMap.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/core.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/mxf/detail/FileScan.h"
#include "zenquor/mxf/detail/ItemKeys.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint64_t longestRunIn = 65536;
constexpr std::uint64_t longestPack = 16384;  // of a thousand labels
constexpr std::uint64_t longestIndexSegment = 16u << 20;
constexpr std::size_t largestBodyCount = 64;  // essence streams that are looked at

bool isHeaderKey(const UL& key) {
    return PartitionPack::isPartitionKey(key) && key[13] == 2;
}

/// Sets of header metadata, known ones and others.
bool isSetKey(const UL& key) {
    return key[4] == 2 && (key[5] & 0x1F) == 0x13 && !isContentKey(key);
}

}  // namespace

bool PartitionMap::open() {
    const auto head = file_.bytes(0, longestRunIn + 16);
    for (std::size_t at = 0; at + 16 <= head.size(); ++at) {
        if (head[at] != 0x06 || !isHeaderKey(UL::read(head.data() + at))) continue;
        file_.setOrigin(at);
        return readPack(0).has_value();
    }
    return false;
}

std::optional<Partition> PartitionMap::readPack(std::uint64_t offset) {
    const auto item = file_.item(offset);
    if (!item || !PartitionPack::isPartitionKey(item->header.key) || item->header.length > longestPack)
        return std::nullopt;
    auto pack =
        PartitionPack::read(item->header.key, file_.bytes(item->valuePosition(), item->header.length));
    if (!pack) return std::nullopt;
    Partition partition;
    partition.pack = *std::move(pack);
    partition.bodySID = partition.pack.bodySID;
    partition.offset = offset;
    partition.packEnd = item->end();
    return partition;
}

/// The partitions that the pack at the end of the file names; remembers where it stands.
std::vector<std::uint64_t> PartitionMap::readRandomIndex() {
    randomIndexPosition_.reset();
    const std::uint64_t size = file_.size();
    if (size < 4) return {};
    const auto tail = file_.bytes(size - 4, 4);
    if (tail.size() < 4) return {};
    const std::uint32_t length = readBE32(tail.data());
    if (length < 17 + 4 || length > size) return {};
    const auto item = file_.item(size - length);
    if (!item || item->header.key != RandomIndexPack::key || item->end() != size) return {};
    const auto pack = RandomIndexPack::read(file_.bytes(item->valuePosition(), item->header.length));
    if (!pack) return {};
    randomIndexPosition_ = item->position;
    std::vector<std::uint64_t> offsets;
    for (const auto& entry : pack->entries) offsets.push_back(entry.offset);
    return offsets;
}

/// Each pack knows the one before it, and the footer. @return whether that accounts for the whole file.
bool PartitionMap::followPointers() {
    const std::vector<std::uint64_t> listed = readRandomIndex();
    std::vector<std::uint64_t> open(listed.rbegin(), listed.rend());
    open.push_back(0);
    std::set<std::uint64_t> seen;
    std::map<std::uint64_t, Partition> found;
    while (!open.empty()) {
        const std::uint64_t offset = open.back();
        open.pop_back();
        if (!seen.insert(offset).second) continue;
        auto partition = readPack(offset);
        if (!partition) continue;
        open.push_back(partition->pack.previousPartition);
        open.push_back(partition->pack.footerPartition);
        found.emplace(offset, *std::move(partition));
    }
    bool isListed = !listed.empty();
    for (const std::uint64_t offset : listed) {
        if (found.contains(offset)) continue;
        isListed = false;
        faults_.tell(fmt::format("The random index pack names a partition at byte {}, but none begins there.",
                                 offset));
    }
    if (!isListed && !isChainWhole(found)) return false;
    partitions_.clear();
    for (auto& [offset, partition] : found) partitions_.push_back(std::move(partition));
    return true;
}

bool PartitionMap::isChainWhole(const std::map<std::uint64_t, Partition>& found) const {
    if (found.empty() || found.rbegin()->second.pack.kind != PartitionPack::Kind::Footer) return false;
    std::uint64_t previous = 0;
    for (const auto& [offset, partition] : found) {
        if (partition.pack.previousPartition != previous) return false;
        previous = offset;
    }
    return true;
}

/// From item to item, from the last partition known on.
void PartitionMap::walk() {
    if (partitions_.empty()) {
        if (auto header = readPack(0)) partitions_.push_back(*std::move(header));
    }
    std::uint64_t position = partitions_.empty() ? 0 : partitions_.back().packEnd;
    while (position < file_.size()) {
        const auto item = file_.item(position);
        if (item && item->end() <= file_.size()) {
            if (item->header.key == RandomIndexPack::key) break;
            auto partition =
                PartitionPack::isPartitionKey(item->header.key) ? readPack(position) : std::nullopt;
            if (partition) partitions_.push_back(*std::move(partition));
            position = item->end();
            continue;
        }
        const auto next = findNextItem(file_, position + 1, file_.size());
        if (!next) break;
        position = *next;
    }
}

void PartitionMap::update() {
    if (followPointers()) {
        closePartitions(0);
        return;
    }
    // What lies in front of the last partition stays; header and last one are looked at again.
    std::size_t known = 0;
    if (!partitions_.empty()) {
        auto header = readPack(0);
        if (header && partitions_.size() > 1) {
            partitions_.front().pack = header->pack;
            partitions_.front().packEnd = header->packEnd;
        }
        const auto last = readPack(partitions_.back().offset);
        known = partitions_.size() - 1;
        if (last) partitions_.back() = *last;
    }
    walk();
    closePartitions(known);
}

/// Finds out where partitions end and what is in them.
void PartitionMap::closePartitions(std::size_t firstOpen) {
    for (std::size_t i = firstOpen; i < partitions_.size(); ++i) {
        Partition& partition = partitions_[i];
        const bool isLast = i + 1 == partitions_.size();
        partition.end = isLast ? std::max(partition.packEnd, randomIndexPosition_.value_or(file_.size()))
                               : partitions_[i + 1].offset;
        partition.end = std::max(std::min(partition.end, file_.size()), partition.offset);
        layOut(partition);
        if (partition.pack.thisPartition != partition.offset) {
            faults_.tell(fmt::format("The partition at byte {} says that it begins at byte {}.",
                                     partition.offset, partition.pack.thisPartition));
        }
        const std::uint64_t previous = i == 0 ? 0 : partitions_[i - 1].offset;
        if (partition.pack.previousPartition != previous) {
            faults_.tell(
                fmt::format("The partition at byte {} says that the one before it begins at byte {}, but "
                            "that is at byte {}.",
                            partition.offset, partition.pack.previousPartition, previous));
        }
    }
    // The header is rewritten in place while a file grows.
    if (firstOpen > 0 && !partitions_.empty()) layOut(partitions_.front());
    nameBodies();
}

void PartitionMap::readIndex(Partition& partition, const PlacedItem& item) {
    if (item.header.length > longestIndexSegment) {
        faults_.tell(fmt::format("The index at byte {} is too long to be one.", item.position));
        return;
    }
    auto segment =
        IndexSegment::read(file_.bytes(item.valuePosition(), item.header.length), item.header.key[5]);
    if (segment)
        partition.index.push_back(*std::move(segment));
    else
        faults_.tell(fmt::format("The index at byte {} cannot be read.", item.position));
}

/// Primer and sets. The pack tells how long they are; where that leads nowhere, they are walked.
std::uint64_t PartitionMap::passMetadata(Partition& partition, const PlacedItem& item) {
    if (partition.metadataStart == 0) {
        partition.metadataStart = item.position;
        const std::uint64_t count = partition.pack.headerByteCount;
        if (count > item.header.totalBytes() && count <= partition.end - item.position) {
            const std::uint64_t target = item.position + count;
            if (target == partition.end || file_.item(target)) return partition.metadataEnd = target;
        }
    }
    return partition.metadataEnd = std::max(partition.metadataEnd, item.end());
}

void PartitionMap::layOut(Partition& partition) {
    partition.metadataStart = partition.metadataEnd = 0;
    partition.essenceStart = partition.end;
    partition.index.clear();
    if (partition.pack.state == PartitionPack::genericStreamState) return;
    std::uint64_t position = partition.packEnd;
    while (position < partition.end) {
        const auto item = file_.item(position);
        if (!item || item->end() > partition.end) {
            if (item && isContentKey(item->header.key)) partition.essenceStart = position;
            if (item && isContentKey(item->header.key)) return;
            const auto next = findNextItem(file_, position + 1, partition.end);
            if (!next) return;
            faults_.tell(
                fmt::format("There is no item of MXF at byte {}, where one should begin.", position));
            position = *next;
            continue;
        }
        const UL& key = item->header.key;
        if (isContentKey(key)) {
            partition.essenceStart = position;
            return;
        }
        const bool isIndex = IndexSegment::isIndexKey(key);
        if (isIndex) readIndex(partition, *item);
        const bool isMetadata = !isIndex && (key == primerPackKey || isSetKey(key));
        position = isMetadata ? passMetadata(partition, *item) : item->end();
    }
}

/// A pack that does not name its essence is taken to continue the file's first essence stream.
void PartitionMap::nameBodies() {
    std::uint32_t first = 0;
    for (const Partition& partition : partitions_) {
        if (first == 0 && partition.hasEssence()) first = partition.pack.bodySID;
    }
    for (Partition& partition : partitions_) {
        if (!partition.hasEssence() || partition.pack.bodySID != 0) continue;
        partition.bodySID = first == 0 ? 1 : first;
        faults_.tell(fmt::format(
            "The partition at byte {} holds essence, but its pack says that it has none.", partition.offset));
    }
}

bool PartitionMap::hasFooter() const {
    return !partitions_.empty() && partitions_.back().pack.kind == PartitionPack::Kind::Footer;
}

std::vector<EssenceExtent> PartitionMap::extentsOf(std::uint32_t bodySID) const {
    std::vector<EssenceExtent> extents;
    for (const Partition& partition : partitions_) {
        if (!partition.hasEssence() || partition.bodySID != bodySID) continue;
        const std::uint64_t counted =
            extents.empty() ? 0 : extents.back().streamOffset + extents.back().size();
        const std::uint64_t told = partition.pack.bodyOffset;
        if (told != counted) {
            faults_.tell(
                fmt::format("The essence at byte {} says that it continues at byte {} of its stream, but {} "
                            "bytes of the stream lie in front of it.",
                            partition.essenceStart, told, counted));
        }
        // A lost partition leaves a hole in the stream; what overlaps was told wrongly.
        const bool isHole = told > counted && told < file_.size();
        extents.push_back({partition.essenceStart, partition.end, isHole ? told : counted});
    }
    return extents;
}

std::vector<const IndexSegment*> PartitionMap::indexOf(std::uint32_t bodySID) const {
    std::vector<const IndexSegment*> segments;
    for (const Partition& partition : partitions_) {
        for (const IndexSegment& segment : partition.index) {
            // Some writers leave the number out.
            if (segment.bodySID == bodySID || segment.bodySID == 0) segments.push_back(&segment);
        }
    }
    return segments;
}

std::vector<std::uint32_t> PartitionMap::bodySIDs() const {
    std::vector<std::uint32_t> numbers;
    for (const Partition& partition : partitions_) {
        if (numbers.size() == largestBodyCount) break;
        if (partition.hasEssence() &&
            std::find(numbers.begin(), numbers.end(), partition.bodySID) == numbers.end())
            numbers.push_back(partition.bodySID);
    }
    return numbers;
}

}  // namespace zenquor::mxf::detail
