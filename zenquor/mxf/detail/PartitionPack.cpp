#include "zenquor/mxf/detail/PartitionPack.h"

#include <algorithm>

namespace zenquor::mxf::detail {
namespace {

/// Key of every partition pack; kind and state stand in bytes 13 and 14.
constexpr UL packKey = ul(0x060E2B34, 0x02050101, 0x0D010201, 0x01000000);

/// Up to and with the operational pattern.
constexpr std::size_t fixedBytes = 80;

}  // namespace

bool PartitionPack::isPartitionKey(const UL& key) {
    if (!key.startsLike(packKey, 13)) return false;
    const std::uint8_t kind = key[13], state = key[14];
    if (kind < 2 || kind > 4) return false;
    return (state >= 1 && state <= 4) || (state == genericStreamState && kind == 3);
}

void PartitionPack::write(ByteSink& out) const {
    UL key = packKey;
    key[13] = static_cast<std::uint8_t>(kind);
    key[14] = state;
    out.putUL(key);
    out.putLength(88 + 16 * essenceContainers.size());
    out.put16(majorVersion);
    out.put16(minorVersion);
    out.put32(kagSize);
    out.put64(thisPartition);
    out.put64(previousPartition);
    out.put64(footerPartition);
    out.put64(headerByteCount);
    out.put64(indexByteCount);
    out.put32(indexSID);
    out.put64(bodyOffset);
    out.put32(bodySID);
    out.putUL(operationalPattern);
    out.put32(static_cast<std::uint32_t>(essenceContainers.size()));
    out.put32(16);
    for (const UL& label : essenceContainers) out.putUL(label);
}

std::optional<PartitionPack> PartitionPack::read(const UL& key, std::span<const std::uint8_t> value) {
    if (!isPartitionKey(key) || value.size() < fixedBytes) return std::nullopt;
    ByteSource in(value);
    PartitionPack pack;
    pack.kind = static_cast<Kind>(key[13]);
    pack.state = key[14];
    pack.majorVersion = in.get16();
    pack.minorVersion = in.get16();
    pack.kagSize = in.get32();
    pack.thisPartition = in.get64();
    pack.previousPartition = in.get64();
    pack.footerPartition = in.get64();
    pack.headerByteCount = in.get64();
    pack.indexByteCount = in.get64();
    pack.indexSID = in.get32();
    pack.bodyOffset = in.get64();
    pack.bodySID = in.get32();
    pack.operationalPattern = in.getUL();
    const std::size_t count = in.get32();
    if (in.get32() != 16) return pack;
    pack.essenceContainers.resize(std::min(count, in.left() / 16));
    for (UL& label : pack.essenceContainers) label = in.getUL();
    return pack;
}

void RandomIndexPack::write(ByteSink& out) const {
    const std::size_t length = 12 * entries.size() + 4;
    const std::size_t start = out.size();
    out.putUL(key);
    out.putLength(length);
    for (const Entry& entry : entries) {
        out.put32(entry.bodySID);
        out.put64(entry.offset);
    }
    out.put32(static_cast<std::uint32_t>(out.size() - start + 4));
}

std::optional<RandomIndexPack> RandomIndexPack::read(std::span<const std::uint8_t> value) {
    if (value.size() < 4 || (value.size() - 4) % 12 != 0) return std::nullopt;
    ByteSource in(value);
    RandomIndexPack pack;
    pack.entries.resize((value.size() - 4) / 12);
    for (Entry& entry : pack.entries) {
        entry.bodySID = in.get32();
        entry.offset = in.get64();
    }
    return pack;
}

}  // namespace zenquor::mxf::detail
