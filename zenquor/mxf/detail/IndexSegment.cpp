#include "zenquor/mxf/detail/IndexSegment.h"

#include <algorithm>
#include <cassert>

#include "zenquor/mxf/detail/LocalSet.h"

namespace zenquor::mxf::detail {
namespace {

/// Tags of an index segment are the same in every file; it has no primer.
enum Tag : std::uint16_t {
    TagInstanceUID = 0x3C0A,
    TagEditUnitByteCount = 0x3F05,
    TagIndexSID = 0x3F06,
    TagBodySID = 0x3F07,
    TagSliceCount = 0x3F08,
    TagDeltaEntryArray = 0x3F09,
    TagIndexEntryArray = 0x3F0A,
    TagIndexEditRate = 0x3F0B,
    TagIndexStartPosition = 0x3F0C,
    TagIndexDuration = 0x3F0D,
    TagPosTableCount = 0x3F0E
};

constexpr std::size_t deltaBytes = 6;
constexpr std::size_t fixedEntryBytes = 11;
constexpr std::size_t posTableBytes = 8;

std::size_t entryBytes(const IndexSegment& segment) {
    return fixedEntryBytes + 4u * segment.sliceCount + posTableBytes * segment.posTableCount;
}

void putTag(ByteSink& out, Tag tag, std::size_t length) {
    assert(length <= 0xFFFF);
    out.put16(tag);
    out.put16(static_cast<std::uint16_t>(length));
}

void putArrayTag(ByteSink& out, Tag tag, std::size_t count, std::size_t itemBytes) {
    putTag(out, tag, 8 + count * itemBytes);
    out.put32(static_cast<std::uint32_t>(count));
    out.put32(static_cast<std::uint32_t>(itemBytes));
}

void putDeltas(ByteSink& out, const IndexSegment& segment) {
    if (segment.deltas.empty()) return;
    putArrayTag(out, TagDeltaEntryArray, segment.deltas.size(), deltaBytes);
    for (const DeltaEntry& delta : segment.deltas) {
        out.put8(static_cast<std::uint8_t>(delta.posTableIndex));
        out.put8(delta.slice);
        out.put32(delta.elementDelta);
    }
}

void putEntries(ByteSink& out, const IndexSegment& segment) {
    if (segment.entries.empty()) return;
    assert(segment.sliceOffsets.size() == segment.entries.size() * segment.sliceCount);
    putArrayTag(out, TagIndexEntryArray, segment.entries.size(), fixedEntryBytes + 4u * segment.sliceCount);
    auto slice = segment.sliceOffsets.begin();
    for (const IndexEntry& entry : segment.entries) {
        out.put8(static_cast<std::uint8_t>(entry.temporalOffset));
        out.put8(static_cast<std::uint8_t>(entry.keyFrameOffset));
        out.put8(entry.flags);
        out.put64(entry.streamOffset);
        for (unsigned i = 0; i < segment.sliceCount; ++i) out.put32(*slice++);
    }
}

/// An array's items: how many there are and how many bytes each takes.
struct Items {
    std::size_t count = 0;
    std::size_t stride = 0;
    std::span<const std::uint8_t> bytes;

    explicit Items(std::span<const std::uint8_t> value) {
        ByteSource in(value);
        count = in.get32();
        stride = in.get32();
        bytes = in.get(in.left());
        count = stride == 0 ? 0 : std::min(count, bytes.size() / stride);
    }
    ByteSource operator[](std::size_t i) const { return ByteSource(bytes.subspan(i * stride, stride)); }
};

bool readDeltas(IndexSegment& segment, std::span<const std::uint8_t> value) {
    const Items items(value);
    if (items.count == 0) return true;
    if (items.stride < deltaBytes) return false;
    segment.deltas.resize(items.count);
    for (std::size_t i = 0; i < items.count; ++i) {
        ByteSource in = items[i];
        DeltaEntry& delta = segment.deltas[i];
        delta.posTableIndex = static_cast<std::int8_t>(in.get8());
        delta.slice = in.get8();
        delta.elementDelta = in.get32();
    }
    return true;
}

bool readEntries(IndexSegment& segment, std::span<const std::uint8_t> value) {
    const Items items(value);
    if (items.count == 0) return true;
    if (items.stride < entryBytes(segment)) return false;
    segment.entries.resize(items.count);
    segment.sliceOffsets.reserve(items.count * segment.sliceCount);
    for (std::size_t i = 0; i < items.count; ++i) {
        ByteSource in = items[i];
        IndexEntry& entry = segment.entries[i];
        entry.temporalOffset = static_cast<std::int8_t>(in.get8());
        entry.keyFrameOffset = static_cast<std::int8_t>(in.get8());
        entry.flags = in.get8();
        entry.streamOffset = in.get64();
        for (unsigned slice = 0; slice < segment.sliceCount; ++slice)
            segment.sliceOffsets.push_back(in.get32());
    }
    return true;
}

void readRate(Rational& rate, ByteSource& in) {
    rate.numerator = static_cast<std::int32_t>(in.get32());
    rate.denominator = static_cast<std::int32_t>(in.get32());
}

}  // namespace

bool IndexSegment::isIndexKey(const UL& other) {
    UL wanted = key;
    wanted[5] = other[5];
    return other.isLabel() && wanted == other && LocalSetReader::canRead(other[5]);
}

std::size_t IndexSegment::largestEntryCount(std::uint8_t sliceCount) {
    return (65535u - 8) / (fixedEntryBytes + 4u * sliceCount);
}

void IndexSegment::write(ByteSink& out) const {
    ByteSink set;
    putTag(set, TagInstanceUID, 16);
    set.put(instance);
    putTag(set, TagIndexEditRate, 8);
    set.put32(static_cast<std::uint32_t>(editRate.numerator));
    set.put32(static_cast<std::uint32_t>(editRate.denominator));
    putTag(set, TagIndexStartPosition, 8);
    set.put64(static_cast<std::uint64_t>(startPosition));
    putTag(set, TagIndexDuration, 8);
    set.put64(static_cast<std::uint64_t>(duration));
    putTag(set, TagEditUnitByteCount, 4);
    set.put32(editUnitByteCount);
    putTag(set, TagIndexSID, 4);
    set.put32(indexSID);
    putTag(set, TagBodySID, 4);
    set.put32(bodySID);
    putTag(set, TagSliceCount, 1);
    set.put8(sliceCount);
    putTag(set, TagPosTableCount, 1);
    set.put8(0);  // the entries written carry no position table
    putDeltas(set, *this);
    putEntries(set, *this);
    out.putKLV(key, set.bytes());
}

std::optional<IndexSegment> IndexSegment::read(std::span<const std::uint8_t> value, std::uint8_t coding) {
    if (!LocalSetReader::canRead(coding)) return std::nullopt;
    IndexSegment segment;
    std::span<const std::uint8_t> deltas, entries;
    LocalSetReader set(value, coding);
    while (const auto item = set.next()) {
        ByteSource in(item->value);
        switch (item->tag) {
            case TagInstanceUID:
                if (item->value.size() >= 16) std::copy_n(item->value.begin(), 16, segment.instance.begin());
                break;
            case TagIndexEditRate:
                readRate(segment.editRate, in);
                break;
            case TagIndexStartPosition:
                segment.startPosition = static_cast<std::int64_t>(in.get64());
                break;
            case TagIndexDuration:
                segment.duration = static_cast<std::int64_t>(in.get64());
                break;
            case TagEditUnitByteCount:
                segment.editUnitByteCount = in.get32();
                break;
            case TagIndexSID:
                segment.indexSID = in.get32();
                break;
            case TagBodySID:
                segment.bodySID = in.get32();
                break;
            case TagSliceCount:
                segment.sliceCount = in.get8();
                break;
            case TagPosTableCount:
                segment.posTableCount = in.get8();
                break;
            case TagDeltaEntryArray:
                deltas = item->value;
                break;
            case TagIndexEntryArray:
                entries = item->value;
                break;
            default:
                break;
        }
    }
    if (segment.editRate.numerator <= 0 || segment.editRate.denominator <= 0) return std::nullopt;
    if (!readDeltas(segment, deltas) || !readEntries(segment, entries)) return std::nullopt;
    return segment;
}

}  // namespace zenquor::mxf::detail
