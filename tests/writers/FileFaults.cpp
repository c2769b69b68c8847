#include "writers/FileFaults.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

extern "C" {
ssize_t __real_write(int fd, const void* bytes, std::size_t count);
ssize_t __real_read(int fd, void* bytes, std::size_t count);
off_t __real_lseek(int fd, off_t offset, int whence);
}

namespace zenquor::test {
namespace {

std::atomic<FileFaults*> plan{nullptr};

FileFaults* planFor(int fd) {
    FileFaults* const current = plan.load(std::memory_order_acquire);
    return current && current->concerns(fd) ? current : nullptr;
}

}  // namespace

FileFaults::FileFaults(std::string path) : path_(std::move(path)) {
    plan.store(this, std::memory_order_release);
}

FileFaults::~FileFaults() {
    plan.store(nullptr, std::memory_order_release);
}

std::vector<FileFaults::Write> FileFaults::writes() const {
    const std::lock_guard lock(mutex_);
    return writes_;
}

int FileFaults::seeks() const {
    const std::lock_guard lock(mutex_);
    return seeks_;
}

ssize_t FileFaults::write(int fd, const void* bytes, std::size_t count) {
    return __real_write(fd, bytes, count);
}
ssize_t FileFaults::read(int fd, void* bytes, std::size_t count) {
    return __real_read(fd, bytes, count);
}
off_t FileFaults::seek(int fd, off_t offset, int whence) {
    return __real_lseek(fd, offset, whence);
}

bool FileFaults::concerns(int fd) const {
    const int kept = errno;
    struct stat wanted {
    }, given{};
    const bool same = ::stat(path_.c_str(), &wanted) == 0 && ::fstat(fd, &given) == 0 &&
                      wanted.st_dev == given.st_dev && wanted.st_ino == given.st_ino;
    errno = kept;
    return same;
}

ssize_t FileFaults::wrapWrite(int fd, const void* bytes, std::size_t count) {
    {
        const std::lock_guard lock(mutex_);
        writes_.push_back({__real_lseek(fd, 0, SEEK_CUR), count});
    }
    const auto result = onWrite ? onWrite(fd, bytes, count) : std::nullopt;
    return result ? *result : __real_write(fd, bytes, count);
}

ssize_t FileFaults::wrapRead(int fd, void* bytes, std::size_t count) {
    const auto result = onRead ? onRead(fd, bytes, count) : std::nullopt;
    return result ? *result : __real_read(fd, bytes, count);
}

off_t FileFaults::wrapSeek(int fd, off_t offset, int whence) {
    if (whence == SEEK_SET) {
        const std::lock_guard lock(mutex_);
        ++seeks_;
    }
    const auto result = onSeek ? onSeek(fd, offset, whence) : std::nullopt;
    return result ? *result : __real_lseek(fd, offset, whence);
}

}  // namespace zenquor::test

extern "C" {
ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
    auto* const faults = zenquor::test::planFor(fd);
    return faults ? faults->wrapWrite(fd, bytes, count) : __real_write(fd, bytes, count);
}
ssize_t __wrap_read(int fd, void* bytes, std::size_t count) {
    auto* const faults = zenquor::test::planFor(fd);
    return faults ? faults->wrapRead(fd, bytes, count) : __real_read(fd, bytes, count);
}
off_t __wrap_lseek(int fd, off_t offset, int whence) {
    auto* const faults = zenquor::test::planFor(fd);
    return faults ? faults->wrapSeek(fd, offset, whence) : __real_lseek(fd, offset, whence);
}
}
