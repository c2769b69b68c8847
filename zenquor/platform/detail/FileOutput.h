#pragma once
// A file written from front to back, with patches, through the page cache or past it.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <span>

namespace zenquor::platform::detail {

/// Positioned sequential writer of one new file.
///
/// With the cache on, every append is one system call. With the cache switched off for the file
/// (BufferCachePolicy, asked at each append, so it may happen at any time) whole aligned blocks go from the
/// caller's memory straight to the disk; everything else passes through an aligned staging buffer and reaches
/// the file when that is full or at flush(). Where the file system refuses direct writes, written pages are
/// pushed out and dropped instead.
///
/// Lifecycle:     create(), append() and patch() in any number, flush(), close by destruction. After a false
/// result
///                lastError() holds the errno; the bytes of the failed call are then not to be relied upon.
/// Thread-safety: One thread at a time; synchronise() may run beside the others.
class FileOutput {
public:
    /// The unit in which callers should start and end large runs so that they need no copy.
    static constexpr std::size_t blockSize = 4096;

    using Bytes = std::span<const std::uint8_t>;

    /// Makes a file that does not exist yet. @return null with the reason in @p failure (an errno, EEXIST for
    /// a file that is there, which is left alone).
    static std::unique_ptr<FileOutput> create(const std::filesystem::path& path, int& failure);
    ~FileOutput();
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    /// Writes the parts one after the other at position(). Their memory is free again on return.
    bool append(std::span<const Bytes> parts);
    bool append(std::initializer_list<Bytes> parts) {
        return append(std::span<const Bytes>(parts.begin(), parts.size()));
    }
    /// Overwrites bytes before position(). Aligned whole blocks are written at once; others are read,
    /// changed, written.
    bool patch(std::uint64_t offset, Bytes bytes);
    /// Everything appended has reached the file when this returns true.
    bool flush();
    /// Waits until what reached the file is on the disk (fdatasync). Does not flush.
    /// @return 0 or an errno; lastError() does not change.
    int synchronise() const;
    /// Cuts the file off at @p size, which lies before position(), and goes on from there. Blocks that were
    /// allocated beyond the end are given back.
    bool truncate(std::uint64_t size);

    /// Where the next byte goes: all appended bytes, whether flushed or not.
    std::uint64_t position() const { return position_; }
    int descriptor() const { return descriptor_; }
    int lastError() const { return lastError_; }

private:
    enum class Mode { Cached, Direct, Dropping };
    struct AlignedBuffer {
        struct Free {
            void operator()(std::uint8_t* p) const;
        };
        std::unique_ptr<std::uint8_t[], Free> memory;
        std::size_t size = 0;
    };

    explicit FileOutput(int descriptor);
    static AlignedBuffer allocate(std::size_t size);

    bool followPolicy();
    bool leaveCache();
    bool setDirect(bool on);
    bool appendCached(std::span<const Bytes> parts);
    void allocateAhead(std::uint64_t end);
    bool appendDirect(Bytes part);
    bool canGoStraight(Bytes part) const;
    bool stage(Bytes& part);
    bool writeStagedBlocks();
    bool writeStagedTail();
    bool patchStaged(std::uint64_t& offset, Bytes& bytes);
    bool patchDirect(std::uint64_t offset, Bytes bytes);
    bool writeAt(std::uint64_t offset, Bytes bytes);
    bool readAt(std::uint64_t offset, std::span<std::uint8_t> bytes);
    bool dropWritten(bool all);
    bool dropAgain();
    bool failed(int number);

    int descriptor_;
    Mode mode_ = Mode::Cached;
    std::uint64_t policyGeneration_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t allocated_ = 0;  // up to here blocks were asked for ahead of the writing
    bool allocatesAhead_ = true;
    std::uint64_t dropped_ = 0;  // up to here pages were dropped
    bool dropsAgain_ = false;  // what was written before the cache was left
    std::uint64_t pushed_ = 0;   // up to here write-back was started
    std::size_t memoryAlignment_ = blockSize;
    std::size_t offsetAlignment_ = blockSize;
    AlignedBuffer staging_;
    std::uint64_t stagedStart_ =
        0;                       // file offset of the staging buffer's first byte, at a block of the device
    std::size_t staged_ = 0;     // bytes in the staging buffer
    bool tailIsWritten_ = true;  // the staged bytes have also reached the file
    int lastError_ = 0;
};

}  // namespace zenquor::platform::detail
