#include "zenquor/vanc/ZQRDataStream.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace zenquor {

ZQRDataStream ZQRDataStream::initWithData(ZQData data) {
    const std::size_t size = data.size();
    return initWithData(std::move(data), 0, size);
}

ZQRDataStream ZQRDataStream::initWithData(ZQData data, std::size_t position, std::size_t size) {
    ZQRDataStream stream;
    const std::size_t start = std::min(position, data.size());
    stream.view_ = data.span().subspan(start, std::min(size, data.size() - start));
    stream.input_ = std::move(data);
    return stream;
}

ZQRDataStream ZQRDataStream::initForWriting() {
    return {};
}

ZQRDataStream ZQRDataStream::streamAtPosition(std::size_t offset, std::size_t size) const {
    return initWithData(input_, offset, size);
}

bool ZQRDataStream::setPosition(std::int64_t offset, SeekMode mode, std::int64_t* newPosition) {
    const auto end = static_cast<std::int64_t>(view_.size());
    std::int64_t target = offset;
    if (mode == SeekMode::Relative && __builtin_add_overflow(position_, offset, &target)) return false;
    if (mode == SeekMode::FromEnd && __builtin_sub_overflow(end, offset, &target)) return false;
    if (target < 0 || target > end) return false;
    position_ = target;
    if (newPosition) *newPosition = target;
    return true;
}

bool ZQRDataStream::isEndOfStream() const {
    return position_ >= static_cast<std::int64_t>(view_.size()) && (!readBits_ || bitMask_ == 0);
}

bool ZQRDataStream::readBytes(std::span<std::uint8_t> destination, std::size_t* bytesRead) {
    const auto source = unreadBytes();
    const std::size_t count = std::min(destination.size(), source.size());
    std::copy_n(source.begin(), count, destination.begin());
    position_ += static_cast<std::int64_t>(count);
    if (bytesRead) *bytesRead = count;
    return count > 0;
}

bool ZQRDataStream::loadByte() {
    bitMask_ = 0;
    const auto source = unreadBytes();
    if (source.empty()) return false;
    bits_ = source.front();
    bitMask_ = 0x80;
    ++position_;
    return true;
}

bool ZQRDataStream::beginReadBits() {
    if (!loadByte()) return false;
    readBits_ = true;
    return true;
}

bool ZQRDataStream::readBits(int count, std::uint8_t& value) {
    if (count < 1 || count > 8 || !readBits_) return false;
    unsigned result = 0;
    for (int i = 0; i < count; ++i) {
        if (bitMask_ == 0) return false;
        result = result << 1 | ((bits_ & bitMask_) != 0 ? 1U : 0U);
        bitMask_ = static_cast<std::uint8_t>(bitMask_ >> 1);
        // At the end of the data the mask stays empty: the last bit can be read, nothing after it.
        if (bitMask_ == 0) loadByte();
    }
    value = static_cast<std::uint8_t>(result);
    return true;
}

bool ZQRDataStream::skipBits(int count) {
    if (!readBits_) return true;
    for (int i = 0; i < count; ++i) {
        bitMask_ = static_cast<std::uint8_t>(bitMask_ >> 1);
        if (bitMask_ == 0 && !loadByte()) return false;
    }
    return true;
}

bool ZQRDataStream::read8BitWord(std::uint8_t& value, std::uint32_t* crc) {
    if (!readBits(8, value)) return false;
    if (crc) *crc += value;
    return true;
}

bool ZQRDataStream::read10BitParityWordPacked16(bool packed16, std::uint8_t& value, std::uint8_t& parity,
                                                std::uint32_t* crc) {
    if (packed16 && !skipBits(6)) return false;
    if (!readBits(2, parity) || !readBits(8, value)) return false;
    if (crc) *crc += value + parity * 256U;
    return true;
}

bool ZQRDataStream::validate8BitWord(std::uint8_t expected, std::uint32_t* crc) {
    std::uint8_t value = 0;
    return read8BitWord(value, crc) && value == expected;
}

bool ZQRDataStream::validate10BitParityWordPacked16(bool packed16, std::uint8_t expectedValue,
                                                    std::uint8_t expectedParity, std::uint32_t* crc) {
    std::uint8_t value = 0;
    std::uint8_t parity = 0;
    return read10BitParityWordPacked16(packed16, value, parity, crc) && value == expectedValue &&
           parity == expectedParity;
}

bool ZQRDataStream::writeBytes(std::span<const std::uint8_t> bytes) {
    output_.insert(output_.end(), bytes.begin(), bytes.end());
    return true;
}

void ZQRDataStream::beginWriteBits() {
    bits_ = 0;
    bitMask_ = 0x80;
    writeBits_ = true;
}

void ZQRDataStream::writeBits(int count, std::uint32_t value, std::uint32_t* crc, std::uint32_t crcMask) {
    if (count > 31 || !writeBits_) return;
    for (int bit = count - 1; bit >= 0; --bit) {
        if ((value >> bit & 1) != 0) bits_ |= bitMask_;
        bitMask_ = static_cast<std::uint8_t>(bitMask_ >> 1);
        if (bitMask_ != 0) continue;
        output_.push_back(bits_);
        bits_ = 0;
        bitMask_ = 0x80;
    }
    if (crc) *crc += value & crcMask;
}

void ZQRDataStream::write10BitParityWordPacked16(bool tight, std::uint8_t value, std::uint32_t* crc) {
    const std::uint32_t parity = isOddParityByte(value, 8) ? 0x100 : 0x200;
    writeBits(tight ? 10 : 16, value | parity, crc, 0x1FF);
}

int ZQRDataStream::bitCount(std::uint8_t byte, int count) {
    if (count < 1) return 0;
    return std::popcount(byte & ((1U << std::min(count, 8)) - 1));
}

std::uint8_t ZQRDataStream::oddParityByte(std::uint8_t byte) {
    return static_cast<std::uint8_t>(isOddParityByte(byte, 7) ? byte & 0x7F : byte | 0x80);
}

std::uint8_t ZQRDataStream::encodeHamming84Byte(std::uint8_t nibble) {
    const unsigned d1 = nibble & 1;
    const unsigned d2 = nibble >> 1 & 1;
    const unsigned d3 = nibble >> 2 & 1;
    const unsigned d4 = nibble >> 3 & 1;
    const unsigned p1 = 1 ^ d1 ^ d3 ^ d4;
    const unsigned p2 = 1 ^ d1 ^ d2 ^ d4;
    const unsigned p3 = 1 ^ d1 ^ d2 ^ d3;
    const unsigned p4 = 1 ^ p1 ^ d1 ^ p2 ^ d2 ^ p3 ^ d3 ^ d4;
    return static_cast<std::uint8_t>(p1 | d1 << 1 | p2 << 2 | d2 << 3 | p3 << 4 | d3 << 5 | p4 << 6 |
                                     d4 << 7);
}

bool ZQRDataStream::decodeHamming84Byte(std::uint8_t byte, std::uint8_t& decoded) {
    constexpr std::uint8_t oddGroups[] = {0xFF, 0xA3, 0x8E, 0x3A};  // all bits; 0 1 5 7; 1 2 3 7; 1 3 4 5
    for (const std::uint8_t group : oddGroups) {
        if (!isOddParityByte(byte & group, 8)) return false;
    }
    decoded =
        static_cast<std::uint8_t>((byte >> 1 & 1) | (byte >> 2 & 2) | (byte >> 3 & 4) | (byte >> 4 & 8));
    return true;
}

}  // namespace zenquor
