#include "zenquor/writers/detail/WrittenPages.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "zenquor/platform/BufferCachePolicy.h"

namespace zenquor::detail {
namespace {

using platform::BufferCachePolicy;

constexpr unsigned startPush = SYNC_FILE_RANGE_WRITE;
constexpr unsigned waitForPush =
    SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;

/// @param end  0 for the end of the file.
int push(int descriptor, std::int64_t start, std::int64_t end, unsigned how) {
    if (::sync_file_range(descriptor, start, end == 0 ? 0 : end - start, how) == 0) return 0;
    const bool isLoss = errno == EIO || errno == ENOSPC || errno == EDQUOT;
    return isLoss ? errno : 0;
}

}  // namespace

int WrittenPages::noteWritten(int descriptor, std::int64_t start, std::int64_t end) {
    if (end <= start || !BufferCachePolicy::isDisabledForDescriptor(descriptor)) return 0;
    int failure = push(descriptor, start, end, startPush);
    if (failure == 0 && dropTo_ > dropFrom_) {
        failure = push(descriptor, dropFrom_, dropTo_, waitForPush);
        // Only whole pages within the range go.
        ::posix_fadvise(descriptor, dropFrom_, dropTo_ - dropFrom_, POSIX_FADV_DONTNEED);
    }
    dropFrom_ = std::min(dropTo_, start);
    dropTo_ = end;
    return failure;
}

int WrittenPages::finish(int descriptor) {
    if (!BufferCachePolicy::isDisabledForDescriptor(descriptor)) return 0;
    const int failure = push(descriptor, 0, 0, waitForPush);
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
    return failure;
}

}  // namespace zenquor::detail
