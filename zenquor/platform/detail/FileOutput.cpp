#include "zenquor/platform/detail/FileOutput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "zenquor/platform/BufferCachePolicy.h"
#include "zenquor/platform/detail/CachePolicy.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::size_t stagingSize = std::size_t{4} << 20;
/// Below this a copy into the staging buffer is cheaper than a system call of its own.
constexpr std::size_t smallestStraightWrite = std::size_t{64} << 10;
/// How much is written between two rounds of dropping pages where direct writes are refused.
constexpr std::uint64_t dropWindow = std::uint64_t{8} << 20;
constexpr std::size_t partsPerCall = 64;
/// How far blocks are allocated ahead: half of what is there, within limits.
constexpr std::uint64_t smallestAllocation = std::uint64_t{1} << 20;
constexpr std::uint64_t largestAllocation = std::uint64_t{64} << 20;

constexpr std::uint64_t roundDown(std::uint64_t v, std::uint64_t unit) {
    return v / unit * unit;
}
constexpr std::uint64_t roundUp(std::uint64_t v, std::uint64_t unit) {
    return roundDown(v + unit - 1, unit);
}

}  // namespace

void FileOutput::AlignedBuffer::Free::operator()(std::uint8_t* p) const {
    std::free(p);
}

FileOutput::AlignedBuffer FileOutput::allocate(std::size_t size) {
    AlignedBuffer buffer;
    buffer.memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(blockSize, size)));
    buffer.size = buffer.memory ? size : 0;
    return buffer;
}

std::unique_ptr<FileOutput> FileOutput::create(const std::filesystem::path& path, int& failure) {
    // Reading is needed to change part of a block once the cache is switched off.
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        failure = errno;
        return nullptr;
    }
    // A new file may have the inode number of a deleted one.
    BufferCachePolicy::forgetDescriptor(descriptor);
    return std::unique_ptr<FileOutput>(new FileOutput(descriptor));
}

FileOutput::FileOutput(int descriptor)
    : descriptor_(descriptor), policyGeneration_(bufferCachePolicyGeneration()) {}

FileOutput::~FileOutput() {
    // Gives back what was allocated beyond the end. A failure costs space, not content.
    struct stat status {};
    if (allocated_ > position_ && ::fstat(descriptor_, &status) == 0)
        static_cast<void>(::ftruncate(descriptor_, status.st_size) == 0);
    BufferCachePolicy::forgetDescriptor(descriptor_);
    ::close(descriptor_);
}

bool FileOutput::failed(int number) {
    lastError_ = number;
    return false;
}

bool FileOutput::append(std::span<const Bytes> parts) {
    if (!followPolicy()) return false;
    if (mode_ == Mode::Direct)
        return std::ranges::all_of(parts, [this](Bytes part) { return appendDirect(part); });
    return appendCached(parts) && (mode_ == Mode::Cached || dropWritten(false));
}

/// Finding blocks for many pages at once saves about a quarter of the cost of writing through the cache. The
/// file's size stays that of its content.
void FileOutput::allocateAhead(std::uint64_t end) {
    if (!allocatesAhead_ || end <= allocated_) return;
    const std::uint64_t start = std::max(allocated_, position_);
    const std::uint64_t more =
        std::clamp(roundUp(end / 2, smallestAllocation), smallestAllocation, largestAllocation);
    allocatesAhead_ = ::fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(start),
                                  static_cast<off_t>(end + more - start)) == 0;
    allocated_ = end + more;
}

bool FileOutput::appendCached(std::span<const Bytes> parts) {
    std::uint64_t end = position_;
    for (const Bytes part : parts) end += part.size();
    allocateAhead(end);
    std::array<iovec, partsPerCall> vectors;
    std::size_t next = 0;    // the first part that is not written whole
    std::size_t within = 0;  // what of it is written
    while (next < parts.size()) {
        std::size_t count = 0;
        for (std::size_t i = next; i < parts.size() && count < vectors.size(); ++i) {
            const Bytes rest = i == next ? parts[i].subspan(within) : parts[i];
            vectors[count++] = {const_cast<std::uint8_t*>(rest.data()), rest.size()};
        }
        const ssize_t written =
            ::pwritev(descriptor_, vectors.data(), static_cast<int>(count), static_cast<off_t>(position_));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return failed(errno);
        if (written == 0 && !std::ranges::all_of(parts.subspan(next), &Bytes::empty)) return failed(ENOSPC);
        position_ += static_cast<std::uint64_t>(written);
        for (auto left = static_cast<std::size_t>(written) + within;; within = 0, ++next) {
            if (next == parts.size()) break;
            if (left < parts[next].size()) {
                within = left;
                break;
            }
            left -= parts[next].size();
        }
    }
    return true;
}

bool FileOutput::writeAt(std::uint64_t offset, Bytes bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return failed(errno);
        // A direct write that ends inside a block has met the end of the space.
        const auto done = static_cast<std::size_t>(written);
        if (mode_ == Mode::Direct && done < bytes.size() && done % offsetAlignment_ != 0)
            return failed(ENOSPC);
        if (done == 0) return failed(ENOSPC);
        offset += done;
        bytes = bytes.subspan(done);
    }
    return true;
}

bool FileOutput::readAt(std::uint64_t offset, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = ::pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failed(errno);
        if (got == 0) {  // beyond the end: reads as zeros, as a hole would
            std::ranges::fill(bytes, std::uint8_t{0});
            return true;
        }
        offset += static_cast<std::uint64_t>(got);
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
    return true;
}

// ---- past the cache

bool FileOutput::followPolicy() {
    const std::uint64_t generation = bufferCachePolicyGeneration();
    if (generation == policyGeneration_) return true;
    policyGeneration_ = generation;
    return mode_ != Mode::Cached || !BufferCachePolicy::isDisabledForDescriptor(descriptor_) || leaveCache();
}

bool FileOutput::setDirect(bool on) {
    const int flags = ::fcntl(descriptor_, F_GETFL);
    if (flags < 0) return failed(errno);
    if (::fcntl(descriptor_, F_SETFL, on ? flags | O_DIRECT : flags & ~O_DIRECT) != 0) return failed(errno);
    return true;
}

/// Drops what was written through the cache so far and goes on past it. An open block at the end is taken
/// back into the staging buffer, because direct writes start at whole blocks.
bool FileOutput::leaveCache() {
    staging_ = allocate(stagingSize);
    if (!staging_.memory) return failed(ENOMEM);
    stagedStart_ = roundDown(position_, blockSize);
    staged_ = static_cast<std::size_t>(position_ - stagedStart_);
    tailIsWritten_ = true;
    mode_ = Mode::Dropping;
    if (!readAt(stagedStart_, {staging_.memory.get(), staged_}) || !dropWritten(true)) return false;
    // Pages that somebody else is writing out at this moment stay; the next flush drops them.
    dropsAgain_ = true;
    if (!setDirect(true)) {
        staging_ = {};
        return true;  // such file systems are written through the cache, and their pages dropped
    }
#ifdef STATX_DIOALIGN
    struct statx status {};
    if (::statx(descriptor_, "", AT_EMPTY_PATH, STATX_DIOALIGN, &status) == 0 &&
        status.stx_dio_offset_align != 0) {
        memoryAlignment_ = std::max<std::size_t>(status.stx_dio_mem_align, 1);
        offsetAlignment_ = status.stx_dio_offset_align;
    }
#endif
    mode_ = Mode::Direct;
    return true;
}

bool FileOutput::canGoStraight(Bytes part) const {
    return part.size() >= smallestStraightWrite && staged_ % offsetAlignment_ == 0 &&
           reinterpret_cast<std::uintptr_t>(part.data()) % memoryAlignment_ == 0;
}

bool FileOutput::appendDirect(Bytes part) {
    while (!part.empty()) {
        if (!canGoStraight(part)) {
            if (!stage(part)) return false;
            continue;
        }
        if (!writeStagedBlocks()) return false;
        const Bytes blocks = part.first(roundDown(part.size(), offsetAlignment_));
        allocateAhead(position_ + blocks.size());
        if (!writeAt(position_, blocks)) return false;
        position_ += blocks.size();
        stagedStart_ = position_;
        part = part.subspan(blocks.size());
    }
    return true;
}

/// Copies as much of @p part as fits, or as is needed to reach the end of a block from which the rest can go
/// straight.
bool FileOutput::stage(Bytes& part) {
    std::size_t count = std::min(part.size(), staging_.size - staged_);
    const std::size_t toBlock = roundUp(staged_, offsetAlignment_) - staged_;
    if (toBlock != 0 && toBlock < count && part.size() - toBlock >= smallestStraightWrite &&
        reinterpret_cast<std::uintptr_t>(part.data() + toBlock) % memoryAlignment_ == 0) {
        count = toBlock;
    }
    std::memcpy(staging_.memory.get() + staged_, part.data(), count);
    staged_ += count;
    position_ += count;
    tailIsWritten_ = false;
    part = part.subspan(count);
    return staged_ < staging_.size || writeStagedBlocks();
}

/// Writes the whole blocks of the staging buffer and keeps the open one at the end.
bool FileOutput::writeStagedBlocks() {
    const std::size_t whole = roundDown(staged_, offsetAlignment_);
    if (whole == 0) return true;
    if (!writeAt(stagedStart_, {staging_.memory.get(), whole})) return false;
    std::memmove(staging_.memory.get(), staging_.memory.get() + whole, staged_ - whole);
    stagedStart_ += whole;
    staged_ -= whole;
    return true;
}

/// Writes the open block at the end through the cache, because the file must not become longer than its
/// content.
bool FileOutput::writeStagedTail() {
    if (staged_ == 0 || tailIsWritten_) return true;
    if (!setDirect(false)) return false;
    const bool written = writeAt(stagedStart_, {staging_.memory.get(), staged_});
    const int failure = lastError_;
    dropped_ = std::min(dropped_, stagedStart_);
    const bool dropped = written && dropWritten(true);
    if (!setDirect(true)) return false;
    tailIsWritten_ = dropped;
    return written ? dropped : failed(failure);
}

bool FileOutput::flush() {
    if (!followPolicy()) return false;
    switch (mode_) {
        case Mode::Cached:
            return true;
        case Mode::Dropping:
            return dropWritten(true);
        case Mode::Direct:
            return writeStagedBlocks() && writeStagedTail() && dropAgain();
    }
    return true;
}

bool FileOutput::dropAgain() {
    if (!std::exchange(dropsAgain_, false)) return true;
    dropped_ = 0;
    return dropWritten(true);
}

int FileOutput::synchronise() const {
    return ::fdatasync(descriptor_) == 0 ? 0 : errno;
}

/// Pushes written pages out and drops them one window behind, so that the disk works while the next window
/// fills.
bool FileOutput::dropWritten(bool all) {
    if (!all && position_ - pushed_ < dropWindow) return true;
    const auto range = [this](std::uint64_t from, std::uint64_t to, unsigned flags) {
        return ::sync_file_range(descriptor_, static_cast<off_t>(from), static_cast<off_t>(to - from),
                                 flags) == 0 ||
               failed(errno);
    };
    constexpr unsigned wait =
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    if (!all && !range(pushed_, position_, SYNC_FILE_RANGE_WRITE)) return false;
    const std::uint64_t end = all ? position_ : pushed_;
    if (end > dropped_) {
        if (!range(dropped_, end, wait)) return false;
        // Pages that hold only part of the range are kept by the kernel, hence the round numbers.
        const std::uint64_t from = roundDown(dropped_, blockSize);
        const std::uint64_t to = all ? roundUp(end, blockSize) : roundDown(end, blockSize);
        if (to > from)
            ::posix_fadvise(descriptor_, static_cast<off_t>(from), static_cast<off_t>(to - from),
                            POSIX_FADV_DONTNEED);
        dropped_ = end;
    }
    pushed_ = position_;
    return true;
}

// ---- changes behind the position

bool FileOutput::patch(std::uint64_t offset, Bytes bytes) {
    if (!followPolicy()) return false;
    if (mode_ == Mode::Direct) return patchStaged(offset, bytes) && patchDirect(offset, bytes);
    if (!writeAt(offset, bytes)) return false;
    if (mode_ == Mode::Cached) return true;
    dropped_ = std::min(dropped_, offset);
    return dropWritten(true);
}

/// Changes what is still in the staging buffer and leaves the rest to be changed in the file.
bool FileOutput::patchStaged(std::uint64_t& offset, Bytes& bytes) {
    const std::uint64_t end = offset + bytes.size();
    if (end <= stagedStart_) return true;
    const std::uint64_t from = std::max(offset, stagedStart_);
    const Bytes inside = bytes.subspan(static_cast<std::size_t>(from - offset));
    std::memcpy(staging_.memory.get() + (from - stagedStart_), inside.data(), inside.size());
    tailIsWritten_ = false;
    bytes = bytes.first(bytes.size() - inside.size());
    return true;
}

bool FileOutput::patchDirect(std::uint64_t offset, Bytes bytes) {
    if (bytes.empty()) return true;
    const std::uint64_t from = roundDown(offset, offsetAlignment_);
    const std::uint64_t to = roundUp(offset + bytes.size(), offsetAlignment_);
    const AlignedBuffer buffer = allocate(roundUp(to - from, blockSize));
    if (!buffer.memory) return failed(ENOMEM);
    const std::span<std::uint8_t> blocks(buffer.memory.get(), static_cast<std::size_t>(to - from));
    if (blocks.size() != bytes.size() && !readAt(from, blocks)) return false;
    std::memcpy(blocks.data() + (offset - from), bytes.data(), bytes.size());
    return writeAt(from, blocks);
}

bool FileOutput::truncate(std::uint64_t size) {
    if (::ftruncate(descriptor_, static_cast<off_t>(size)) != 0) return failed(errno);
    dropped_ = std::min(dropped_, size);
    pushed_ = std::min(pushed_, size);
    position_ = size;
    allocated_ = size;
    if (mode_ != Mode::Direct) return true;
    const std::uint64_t start = roundDown(size, blockSize);
    if (!setDirect(false)) return false;
    stagedStart_ = start;
    staged_ = static_cast<std::size_t>(size - start);
    tailIsWritten_ = true;
    const bool read = readAt(start, {staging_.memory.get(), staged_});
    dropped_ = std::min(dropped_, start);
    return dropWritten(true) && setDirect(true) && read;
}

}  // namespace zenquor::platform::detail
