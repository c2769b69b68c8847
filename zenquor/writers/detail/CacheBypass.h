#pragma once
// Writes a file past the system's buffer cache, once that was switched off for it.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zenquor::detail {

/// How a file's blocks are written when its buffer cache is switched off (platform::BufferCachePolicy): whole pages go
/// from memory straight to the disk, what does not fill a page goes through the cache. Where the file system refuses
/// that, or the memory does not lie like the file, everything goes through the cache, and written pages are pushed out
/// and dropped one block behind the writing. As long as the cache is on it does nothing.
///
/// Lifecycle:     per block begin(), before each write prepare(), end() when it is written; finish() once.
/// Thread-safety: One thread at a time.
class CacheBypass {
public:
    /// Memory and file offset of bytes that are to go straight agree in their distance to a page of this size.
    static constexpr std::size_t pageBytes = 4096;

    /// Looks the policy up, which may change at any time.
    void begin(int descriptor);
    /// Makes the next write go the right way.
    /// @param offset  where @p bytes will be written.
    /// @return how many of the bytes that write may take.
    std::size_t prepare(std::int64_t offset, std::span<const std::uint8_t> bytes);
    /// Lets the descriptor be used for anything; prepare() comes again before the next write.
    void release();
    /// Whether a write failed with @p number because it went straight; it has to be tried again.
    bool refused(int number);
    /// @return 0, or the errno of bytes that the disk did not take.
    int end(std::int64_t start, std::int64_t end);
    /// Waits until everything is on the disk and drops all pages. @return as above.
    int finish(int descriptor);

private:
    bool setDirect(bool on);

    int descriptor_ = -1;
    bool isUncached_ = false;
    bool canGoStraight_ = true;
    bool isDirect_ = false;
    std::int64_t dropFrom_ = 0;  // everything before is dropped
    std::int64_t dropTo_ = 0;    // up to here the push to the disk was started
};

}  // namespace zenquor::detail
