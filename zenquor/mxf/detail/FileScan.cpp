#include "zenquor/mxf/detail/FileScan.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "zenquor/mxf/detail/IndexSegment.h"
#include "zenquor/mxf/detail/ItemKeys.h"
#include "zenquor/mxf/detail/PartitionPack.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint64_t longestScan = 64u << 20;
/// The next item mostly lies near.
constexpr std::size_t firstBlockBytes = 4u << 10;
constexpr std::size_t blockBytes = 64u << 10;
constexpr std::size_t keyBytes = 16;

bool isKnownKey(const UL& key) {
    return isContentKey(key) || PartitionPack::isPartitionKey(key) || key == fillKey ||
           IndexSegment::isIndexKey(key) || key == RandomIndexPack::key;
}

std::optional<std::size_t> findKey(std::span<const std::uint8_t> block) {
    for (std::size_t at = 0; at + keyBytes <= block.size(); ++at) {
        const void* found = std::memchr(block.data() + at, 0x06, block.size() - keyBytes + 1 - at);
        if (!found) return std::nullopt;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - block.data());
        const UL key = UL::read(block.data() + at);
        if (key.isLabel() && isKnownKey(key)) return at;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::uint64_t> findNextItem(FileView& file, std::uint64_t position, std::uint64_t limit) {
    limit = std::min(limit, file.size());
    if (limit > position && limit - position > longestScan) limit = position + longestScan;
    std::vector<std::uint8_t> block(firstBlockBytes);
    while (position < limit && limit - position >= keyBytes) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), limit - position));
        const std::size_t count = file.read(position, std::span(block).first(wanted));
        if (const auto at = findKey(std::span(block).first(count))) return position + *at;
        if (count < wanted || count < keyBytes) return std::nullopt;
        position += count - (keyBytes - 1);
        if (block.size() < blockBytes) block.resize(blockBytes);
    }
    return std::nullopt;
}

}  // namespace zenquor::mxf::detail
