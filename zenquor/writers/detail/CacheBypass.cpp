#include "zenquor/writers/detail/CacheBypass.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "zenquor/platform/BufferCachePolicy.h"

namespace zenquor::detail {
namespace {

using platform::BufferCachePolicy;

/// Below this a straight write costs more than the cache does.
constexpr std::size_t smallestStraightWrite = std::size_t{64} << 10;
constexpr unsigned startPush = SYNC_FILE_RANGE_WRITE;
constexpr unsigned waitForPush =
    SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;

/// A file system that knows no such push is left alone.
/// @param end  0 for the end of the file.
int push(int descriptor, std::int64_t start, std::int64_t end, unsigned how) {
    if (::sync_file_range(descriptor, start, end == 0 ? 0 : end - start, how) == 0) return 0;
    const bool isLoss = errno == EIO || errno == ENOSPC || errno == EDQUOT;
    return isLoss ? errno : 0;
}

}  // namespace

void CacheBypass::begin(int descriptor) {
    descriptor_ = descriptor;
    isUncached_ = BufferCachePolicy::isDisabledForDescriptor(descriptor);
}

std::size_t CacheBypass::prepare(std::int64_t offset, std::span<const std::uint8_t> bytes) {
    if (!isUncached_ || !canGoStraight_ || offset < 0) return bytes.size();
    const std::size_t into = static_cast<std::size_t>(offset) % pageBytes;
    const std::size_t memoryInto = reinterpret_cast<std::uintptr_t>(bytes.data()) % pageBytes;
    const std::size_t toPage = into == 0 ? 0 : pageBytes - into;
    if (into != memoryInto || bytes.size() < toPage + smallestStraightWrite) {
        release();
        return bytes.size();
    }
    if (toPage != 0) {
        release();
        return toPage;
    }
    if (!setDirect(true)) return bytes.size();
    return bytes.size() / pageBytes * pageBytes;
}

bool CacheBypass::setDirect(bool on) {
    if (isDirect_ == on) return true;
    const int flags = ::fcntl(descriptor_, F_GETFL);
    canGoStraight_ =
        flags >= 0 && ::fcntl(descriptor_, F_SETFL, on ? flags | O_DIRECT : flags & ~O_DIRECT) == 0;
    if (canGoStraight_) isDirect_ = on;
    return canGoStraight_;
}

void CacheBypass::release() {
    setDirect(false);
}

bool CacheBypass::refused(int number) {
    if (!isDirect_ || number != EINVAL) return false;
    release();
    canGoStraight_ = false;
    return !isDirect_;
}

int CacheBypass::end(std::int64_t start, std::int64_t end) {
    release();
    if (!isUncached_ || canGoStraight_ || end <= start) return 0;
    int failure = push(descriptor_, start, end, startPush);
    if (failure == 0 && dropTo_ > dropFrom_) {
        failure = push(descriptor_, dropFrom_, dropTo_, waitForPush);
        // Only whole pages within the range go.
        ::posix_fadvise(descriptor_, dropFrom_, dropTo_ - dropFrom_, POSIX_FADV_DONTNEED);
    }
    dropFrom_ = std::min(dropTo_, start);
    dropTo_ = end;
    return failure;
}

int CacheBypass::finish(int descriptor) {
    if (!BufferCachePolicy::isDisabledForDescriptor(descriptor)) return 0;
    const int failure = push(descriptor, 0, 0, waitForPush);
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
    return failure;
}

}  // namespace zenquor::detail
