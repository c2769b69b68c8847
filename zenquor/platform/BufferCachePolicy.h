#pragma once
// Which files are written past the page cache.

#include <sys/stat.h>

namespace zenquor::platform {

/// Remembers, for the files that this process writes, whether the page cache is switched off. Linux keeps that choice
/// per open file, while callers know only the path; so it is kept here by device and inode and asked by the writers.
///
/// Thread-safety: Safe.
class BufferCachePolicy {
public:
    /// Switches the cache off for the file behind @p descriptor. @return false when the file cannot be looked at or does
    /// not lie on a file system that can do without the cache (errno says why).
    static bool disableForDescriptor(int descriptor);
    /// Whether the file's cache is switched off.
    static bool isDisabledForDescriptor(int descriptor);
    /// Forgets the file; its writer calls this when it closes.
    static void forgetDescriptor(int descriptor);
};

}  // namespace zenquor::platform
