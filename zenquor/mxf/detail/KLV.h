#pragma once
// Key, length, value: the grain of the file (SMPTE ST 336, ST 377-1).

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/mxf/detail/UL.h"

namespace zenquor::mxf::detail {

inline constexpr UL fillKey = ul(0x060E2B34, 0x01010102, 0x03010210, 0x01000000);

/// The start of an item in front of its value.
struct KLVHeader {
    static constexpr std::size_t largest = 16 + 9;

    UL key;
    std::uint64_t length = 0;       // of the value
    std::uint32_t headerBytes = 0;  // of key and length

    std::uint64_t totalBytes() const { return headerBytes + length; }
    bool isFill() const { return key == fillKey; }
    /// Reads an item's start. @return nothing when the bytes do not begin with a label or a definite length that fits
    /// 63 bits, or are too few.
    static std::optional<KLVHeader> read(std::span<const std::uint8_t> bytes);
};

/// Bytes to come of one file, written forwards; every put…() appends, big-endian.
class ByteSink {
public:
    std::vector<std::uint8_t>& bytes() { return bytes_; }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }
    std::size_t size() const { return bytes_.size(); }

    void put8(std::uint8_t v) { bytes_.push_back(v); }
    void put16(std::uint16_t v);
    void put32(std::uint32_t v);
    void put64(std::uint64_t v);
    void put(std::span<const std::uint8_t> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void putUL(const UL& label) { put(label.bytes); }
    /// Long form: 4 bytes in all (83 …) up to 16 MiB, else 9 (88 …).
    void putLength(std::uint64_t length);
    void putKLV(const UL& key, std::span<const std::uint8_t> value);
    /// A fill item of @p totalBytes, which is at least smallestFill.
    void putFill(std::size_t totalBytes);
    /// Fills up to the next point of the grid; nothing when there already, or with a grid of 0 or 1. A gap smaller
    /// than a fill item takes one grid step more.
    void alignWithFill(std::size_t grid, std::size_t startOfGrid = 0);

    static constexpr std::size_t smallestFill = 20;  // key and a length of 4 bytes

private:
    std::vector<std::uint8_t> bytes_;
};

/// Bytes read forwards; past the end everything reads as 0 and isBroken() becomes true.
class ByteSource {
public:
    explicit ByteSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::uint8_t get8();
    std::uint16_t get16();
    std::uint32_t get32();
    std::uint64_t get64();
    UL getUL();
    std::span<const std::uint8_t> get(std::size_t count);
    std::size_t left() const { return bytes_.size() - position_; }
    std::size_t position() const { return position_; }
    bool isBroken() const { return broken_; }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
    bool broken_ = false;
};

}  // namespace zenquor::mxf::detail
