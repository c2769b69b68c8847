#pragma once
// Immutable bytes, shared without copying.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace zenquor {

/// An immutable run of bytes. Copies and slices share the memory; it goes with the last of them.
///
/// Thread-safety: Safe; the bytes never change after creation.
/// Ownership:     copying() owns a copy, adopting() a shared block, wrapping() memory that somebody else
///                frees. A default value owns nothing. Where "no bytes" and "zero bytes" differ, callers use
///                std::optional<ZQData>.
class ZQData {
public:
    ZQData() = default;

    /// A copy of @p bytes, in one allocation.
    static ZQData copying(std::span<const std::uint8_t> bytes);
    /// Takes over a shared block of at least @p size bytes; nothing is copied.
    static ZQData adopting(std::shared_ptr<const std::uint8_t> block, std::size_t size);
    /// Refers to foreign memory; @p release runs once, on the thread that drops the last reference.
    static ZQData wrapping(std::span<const std::uint8_t> bytes, std::function<void()> release);
    /// Allocates @p size uninitialised bytes and lets @p fill write all of them: one allocation per result.
    template <typename Fill>
    static ZQData filling(std::size_t size, Fill&& fill) {
        auto block = std::make_shared_for_overwrite<std::uint8_t[]>(size);
        fill(std::span<std::uint8_t>(block.get(), size));
        auto* const first = block.get();
        return adopting(std::shared_ptr<const std::uint8_t>(std::move(block), first), size);
    }

    const std::uint8_t* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::uint8_t operator[](std::size_t i) const { return bytes_.get()[i]; }
    std::span<const std::uint8_t> span() const { return {bytes_.get(), size_}; }
    operator std::span<const std::uint8_t>() const { return span(); }
    const std::uint8_t* begin() const { return data(); }
    const std::uint8_t* end() const { return data() + size_; }

    /// A view of part of the bytes that keeps the whole alive; clipped to what exists.
    ZQData slice(std::size_t offset, std::size_t length) const;

    /// Same bytes, wherever they lie.
    friend bool operator==(const ZQData& a, const ZQData& b);

private:
    std::shared_ptr<const std::uint8_t> bytes_;
    std::size_t size_ = 0;
};

}  // namespace zenquor
