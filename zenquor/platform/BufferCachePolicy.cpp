#include "zenquor/platform/BufferCachePolicy.h"

#include <atomic>
#include <cerrno>
#include <set>
#include <utility>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

#include "zenquor/core/Guarded.h"
#include "zenquor/platform/detail/CachePolicy.h"

namespace zenquor::platform {
namespace {

using FileKey = std::pair<dev_t, ino_t>;

Guarded<std::set<FileKey>>& uncachedFiles() {
    static Guarded<std::set<FileKey>> files;
    return files;
}

std::atomic<std::uint64_t>& generation() {
    static std::atomic<std::uint64_t> number{1};
    return number;
}

bool keyOfDescriptor(int descriptor, FileKey& key) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return false;
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    key = {status.st_dev, status.st_ino};
    return true;
}

/// A file in memory has no copy in the page cache beside itself, so there is nothing to keep out.
bool liesInMemory(const struct statfs& system) {
    return system.f_type == TMPFS_MAGIC || system.f_type == RAMFS_MAGIC;
}

/// Whether the file can be written past the cache, or its pages at least dropped after they were written.
/// File systems without blocks (/proc, /sys) can do neither; one in user space may just not tell its blocks.
bool canDoWithoutCache(int descriptor) {
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0) return false;
    if (liesInMemory(system)) return true;
    if (system.f_blocks == 0 && system.f_type != FUSE_SUPER_MAGIC) {
        errno = EOPNOTSUPP;
        return false;
    }
    const int failure = ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
    if (failure != 0) errno = failure;
    return failure == 0;
}

}  // namespace

bool BufferCachePolicy::disableForDescriptor(int descriptor) {
    FileKey key;
    if (!keyOfDescriptor(descriptor, key) || !canDoWithoutCache(descriptor)) return false;
    uncachedFiles().with([&](auto& files) { files.insert(key); });
    generation().fetch_add(1, std::memory_order_acq_rel);
    return true;
}

bool BufferCachePolicy::isDisabledForDescriptor(int descriptor) {
    FileKey key;
    if (!keyOfDescriptor(descriptor, key)) return false;
    return uncachedFiles().with([&](const auto& files) { return files.count(key) != 0; });
}

void BufferCachePolicy::forgetDescriptor(int descriptor) {
    FileKey key;
    if (!keyOfDescriptor(descriptor, key)) return;
    uncachedFiles().with([&](auto& files) { files.erase(key); });
}

std::uint64_t detail::bufferCachePolicyGeneration() {
    return generation().load(std::memory_order_acquire);
}

}  // namespace zenquor::platform
