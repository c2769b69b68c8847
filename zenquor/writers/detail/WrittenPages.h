#pragma once
// Keeps the pages of a file that grows out of the system's buffer cache.

#include <cstdint>

namespace zenquor::detail {

/// Pushes the written pages of a file to the disk and drops them, one block behind the writing, once the file's buffer
/// cache is switched off (platform::BufferCachePolicy); until then it does nothing.
///
/// Thread-safety: One thread at a time.
class WrittenPages {
public:
    /// @return 0, or the errno of bytes that the disk did not take. A file system that knows no such push is left alone.
    int noteWritten(int descriptor, std::int64_t start, std::int64_t end);
    /// Waits until everything is on the disk and drops all pages. @return as above.
    int finish(int descriptor);

private:
    std::int64_t dropFrom_ = 0;  // everything before is dropped
    std::int64_t dropTo_ = 0;    // up to here the push to the disk was started
};

}  // namespace zenquor::detail
