#pragma once
// Builds the boxes of QuickTime and ISO base media files in memory.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/FourCC.h"

namespace zenquor::platform::detail {

/// A growing run of big-endian fields and boxes. A box's size is filled in when its content is complete, so
/// it cannot drift from what was written.
///
/// Thread-safety: One thread at a time.
class BoxWriter {
public:
    void u8(std::uint8_t v) { bytes_.push_back(v); }
    void u16(std::uint16_t v) { writeBE16(grow(2), v); }
    void u32(std::uint32_t v) { writeBE32(grow(4), v); }
    void u64(std::uint64_t v) { writeBE64(grow(8), v); }
    void i16(std::int16_t v) { u16(static_cast<std::uint16_t>(v)); }
    void i32(std::int32_t v) { u32(static_cast<std::uint32_t>(v)); }
    void i64(std::int64_t v) { u64(static_cast<std::uint64_t>(v)); }
    /// 64 bits when @p wide, else the low 32.
    void sized(std::uint64_t v, bool wide) { wide ? u64(v) : u32(static_cast<std::uint32_t>(v)); }
    void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
    void bytes(std::span<const std::uint8_t> v) { bytes_.insert(bytes_.end(), v.begin(), v.end()); }
    void text(std::string_view v) { bytes_.insert(bytes_.end(), v.begin(), v.end()); }
    /// A length byte and at most 255 characters.
    void pascalText(std::string_view v) {
        v = v.substr(0, 255);
        u8(static_cast<std::uint8_t>(v.size()));
        text(v);
    }

    template <typename Content>
    void box(FourCC type, Content&& content) {
        const std::size_t start = bytes_.size();
        u32(0);
        u32(type);
        std::forward<Content>(content)();
        writeBE32(bytes_.data() + start, static_cast<std::uint32_t>(bytes_.size() - start));
    }
    /// A box whose content starts with a version byte and 24 bits of flags.
    template <typename Content>
    void fullBox(FourCC type, std::uint8_t version, std::uint32_t flags, Content&& content) {
        box(type, [&] {
            u32(static_cast<std::uint32_t>(version) << 24 | flags);
            std::forward<Content>(content)();
        });
    }

    /// Replaces four bytes that were written before.
    void patchU32(std::size_t offset, std::uint32_t v) { writeBE32(bytes_.data() + offset, v); }
    void reserve(std::size_t size) { bytes_.reserve(size); }
    std::size_t size() const { return bytes_.size(); }
    std::span<const std::uint8_t> span() const { return bytes_; }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    std::uint8_t* grow(std::size_t count) {
        bytes_.resize(bytes_.size() + count);
        return bytes_.data() + bytes_.size() - count;
    }

    std::vector<std::uint8_t> bytes_;
};

}  // namespace zenquor::platform::detail
