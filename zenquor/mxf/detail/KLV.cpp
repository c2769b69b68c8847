#include "zenquor/mxf/detail/KLV.h"

#include <algorithm>
#include <cassert>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::uint64_t largestFourByteLength = 0xFFFFFF;

}  // namespace

std::optional<KLVHeader> KLVHeader::read(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 17) return std::nullopt;
    KLVHeader header;
    header.key = UL::read(bytes.data());
    if (!header.key.isLabel()) return std::nullopt;
    const std::uint8_t first = bytes[16];
    header.headerBytes = 17;
    header.length = first;
    if (first < 0x80) return header;

    const std::size_t count = first & 0x7F;
    if (count == 0 || count > 8 || bytes.size() - 17 < count) return std::nullopt;
    header.length = 0;
    for (std::size_t i = 0; i < count; ++i) header.length = header.length << 8 | bytes[17 + i];
    if (header.length >> 63 != 0) return std::nullopt;
    header.headerBytes += static_cast<std::uint32_t>(count);
    return header;
}

void ByteSink::put16(std::uint16_t v) {
    std::uint8_t raw[2];
    writeBE16(raw, v);
    put(raw);
}

void ByteSink::put32(std::uint32_t v) {
    std::uint8_t raw[4];
    writeBE32(raw, v);
    put(raw);
}

void ByteSink::put64(std::uint64_t v) {
    std::uint8_t raw[8];
    writeBE64(raw, v);
    put(raw);
}

void ByteSink::putLength(std::uint64_t length) {
    if (length <= largestFourByteLength) {
        put32(0x83000000u | static_cast<std::uint32_t>(length));
    } else {
        put8(0x88);
        put64(length);
    }
}

void ByteSink::putKLV(const UL& key, std::span<const std::uint8_t> value) {
    putUL(key);
    putLength(value.size());
    put(value);
}

void ByteSink::putFill(std::size_t totalBytes) {
    assert(totalBytes >= smallestFill);
    const bool isShort = totalBytes - smallestFill <= largestFourByteLength;
    const std::size_t length = totalBytes - (isShort ? smallestFill : KLVHeader::largest);
    putUL(fillKey);
    if (isShort) {
        putLength(length);
    } else {
        // A value just short of the limit keeps the long form too, so that the item has the size asked for.
        put8(0x88);
        put64(length);
    }
    bytes_.resize(bytes_.size() + length);
}

void ByteSink::alignWithFill(std::size_t grid, std::size_t startOfGrid) {
    if (grid < 2) return;
    const std::size_t beyond = (size() - startOfGrid) % grid;
    if (beyond == 0) return;
    std::size_t gap = grid - beyond;
    while (gap < smallestFill) gap += grid;
    putFill(gap);
}

std::span<const std::uint8_t> ByteSource::get(std::size_t count) {
    if (count > left()) {
        broken_ = true;
        position_ = bytes_.size();
        return {};
    }
    const auto taken = bytes_.subspan(position_, count);
    position_ += count;
    return taken;
}

std::uint8_t ByteSource::get8() {
    const auto raw = get(1);
    return raw.empty() ? std::uint8_t{0} : raw[0];
}

std::uint16_t ByteSource::get16() {
    const auto raw = get(2);
    return raw.empty() ? std::uint16_t{0} : readBE16(raw.data());
}

std::uint32_t ByteSource::get32() {
    const auto raw = get(4);
    return raw.empty() ? 0 : readBE32(raw.data());
}

std::uint64_t ByteSource::get64() {
    const auto raw = get(8);
    return raw.empty() ? 0 : readBE64(raw.data());
}

UL ByteSource::getUL() {
    const auto raw = get(16);
    return raw.empty() ? UL{} : UL::read(raw.data());
}

}  // namespace zenquor::mxf::detail
