#pragma once
// Memory for the blocks that a file is written in.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "zenquor/core/Guarded.h"

namespace zenquor::detail {

/// A run of bytes that fills up. The system gives memory to as much of it as is touched.
struct FileBlock {
    struct Free {
        void operator()(std::uint8_t* p) const;
    };
    std::unique_ptr<std::uint8_t[], Free> memory;
    std::size_t capacity = 0;
    std::size_t start = 0;  // of the bytes in the memory
    std::size_t count = 0;

    bool isFull() const { return count == capacity; }
    std::span<const std::uint8_t> bytes() const { return {memory.get() + start, count}; }
    /// Copies as much as fits. @return what did not.
    std::span<const std::uint8_t> append(std::span<const std::uint8_t> more);
};

/// Blocks of one size, used again: first-time memory costs as much as filling it.
///
/// Thread-safety: Safe.
class BlockPool {
public:
    explicit BlockPool(std::size_t blockBytes) : blockBytes_(blockBytes) {}

    /// An empty block whose bytes will lie in their page of memory as they do in a page of the file, so that they can
    /// go to the disk as they are. Null without memory.
    /// @param fileOffset  where the block's first byte will be written.
    std::unique_ptr<FileBlock> take(std::int64_t fileOffset);
    /// Keeps the block for later, or frees it when enough are kept.
    void giveBack(std::unique_ptr<FileBlock> block);

private:
    static constexpr std::size_t mostSpares = 2;

    std::unique_ptr<FileBlock> spareOrNew();

    const std::size_t blockBytes_;
    Guarded<std::vector<std::unique_ptr<FileBlock>>> spares_;
};

}  // namespace zenquor::detail
