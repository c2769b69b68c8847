#include "zenquor/writers/detail/FileBlock.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <sys/mman.h>

#include "zenquor/writers/detail/CacheBypass.h"

namespace zenquor::detail {
namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t page = CacheBypass::pageBytes;
constexpr std::size_t hugePage = std::size_t{2} << 20;
/// Smaller blocks go through the cache in any case.
constexpr std::size_t smallestPagedBlock = std::size_t{64} << 10;

std::uint8_t* allocateBytes(std::size_t bytes) {
    const std::size_t unit = bytes < smallestPagedBlock ? cacheLine : bytes < hugePage ? page : hugePage;
    if (bytes > SIZE_MAX - unit) return nullptr;
    const std::size_t whole = (bytes + unit - 1) / unit * unit;
    auto* const memory = static_cast<std::uint8_t*>(std::aligned_alloc(unit, whole));
    // Advice: without huge pages the block only takes more page faults to fill.
    if (memory && unit == hugePage) static_cast<void>(::madvise(memory, whole, MADV_HUGEPAGE));
    return memory;
}

}  // namespace

void FileBlock::Free::operator()(std::uint8_t* p) const {
    std::free(p);
}

std::span<const std::uint8_t> FileBlock::append(std::span<const std::uint8_t> more) {
    const std::size_t fitting = std::min(more.size(), capacity - count);
    if (fitting != 0) std::memcpy(memory.get() + start + count, more.data(), fitting);
    count += fitting;
    return more.subspan(fitting);
}

std::unique_ptr<FileBlock> BlockPool::take(std::int64_t fileOffset) {
    auto block = spareOrNew();
    if (block && blockBytes_ >= smallestPagedBlock)
        block->start = static_cast<std::size_t>(fileOffset) % page;
    return block;
}

std::unique_ptr<FileBlock> BlockPool::spareOrNew() {
    auto block = spares_.with([](auto& spares) -> std::unique_ptr<FileBlock> {
        if (spares.empty()) return nullptr;
        auto last = std::move(spares.back());
        spares.pop_back();
        return last;
    });
    if (block) return block;
    block.reset(new (std::nothrow) FileBlock);
    if (!block) return nullptr;
    if (blockBytes_ > SIZE_MAX - page) return nullptr;
    block->memory.reset(allocateBytes(blockBytes_ < smallestPagedBlock ? blockBytes_ : blockBytes_ + page));
    block->capacity = blockBytes_;
    return block->memory ? std::move(block) : nullptr;
}

void BlockPool::giveBack(std::unique_ptr<FileBlock> block) {
    block->count = 0;
    spares_.with([&](auto& spares) {
        if (spares.size() < mostSpares) spares.push_back(std::move(block));
    });
}

}  // namespace zenquor::detail
