#include "zenquor/mxf/FileFunctions.h"

#include <cerrno>
#include <cstddef>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zenquor/core/Unicode.h"

namespace zenquor::mxf {
namespace {

// A handle is the descriptor plus one, so that null means closed.
int descriptorOf(FileHandle handle) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

int openRetrying(const char* path, int flags) {
    int descriptor;
    do descriptor = ::open(path, flags | O_CLOEXEC, 0664);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

/// A folder can be opened for reading, but it is no file.
bool isFolder(int descriptor) {
    struct stat facts;
    return ::fstat(descriptor, &facts) == 0 && S_ISDIR(facts.st_mode);
}

std::int32_t adopt(FileHandle* file, int descriptor) {
    if (descriptor >= 0 && isFolder(descriptor)) {
        ::close(descriptor);
        descriptor = -1;
    }
    *file = reinterpret_cast<FileHandle>(static_cast<std::intptr_t>(descriptor) + 1);
    return *file ? 0 : -1;
}

bool forbidsWriting(int error) {
    return error == EACCES || error == EROFS || error == EPERM || error == ETXTBSY;
}

std::int32_t openForBoth(FileHandle* file, const char* path, void*) {
    int descriptor = openRetrying(path, O_RDWR | O_CREAT);
    if (descriptor < 0 && forbidsWriting(errno)) descriptor = openRetrying(path, O_RDONLY);
    return adopt(file, descriptor);
}

std::int32_t openForReading(FileHandle* file, const char* path, void*) {
    // Opening a pipe without a writer would wait for one; files do not care.
    return adopt(file, openRetrying(path, O_RDONLY | O_NONBLOCK));
}

std::int32_t openWideForBoth(FileHandle* file, const char32_t* path, void* context) {
    return openForBoth(file, utf8FromUTF32(path).c_str(), context);
}

std::int32_t openWideForReading(FileHandle* file, const char32_t* path, void* context) {
    return openForReading(file, utf8FromUTF32(path).c_str(), context);
}

std::int32_t seekTo(FileHandle file, std::int64_t offset, void*) {
    if (offset < 0) return -1;
    return ::lseek(descriptorOf(file), static_cast<off_t>(offset), SEEK_SET) == offset ? 0 : -1;
}

/// Short counts of the system are continued; what came before a failure counts.
std::int64_t readBytes(FileHandle file, std::uint8_t* bytes, std::int64_t count, void*) {
    std::int64_t done = 0;
    while (done < count) {
        const ssize_t now = ::read(descriptorOf(file), bytes + done, static_cast<std::size_t>(count - done));
        if (now == 0) break;
        if (now > 0)
            done += now;
        else if (errno != EINTR)
            return done > 0 ? done : -1;
    }
    return done;
}

std::int64_t writeBytes(FileHandle file, const std::uint8_t* bytes, std::int64_t count, void*) {
    std::int64_t done = 0;
    while (done < count) {
        const ssize_t now = ::write(descriptorOf(file), bytes + done, static_cast<std::size_t>(count - done));
        if (now > 0)
            done += now;
        else if (now == 0 || errno != EINTR)
            return done > 0 ? done : -1;
    }
    return done;
}

std::int64_t refuseToWrite(FileHandle, const std::uint8_t*, std::int64_t, void*) {
    return -1;
}

std::int64_t sizeOf(FileHandle file, void*) {
    struct stat facts;
    return ::fstat(descriptorOf(file), &facts) == 0 ? static_cast<std::int64_t>(facts.st_size) : -1;
}

std::int32_t closeFile(FileHandle* file, void*) {
    if (!*file) return -1;
    const int result = ::close(descriptorOf(*file));
    *file = nullptr;
    // The descriptor is gone even when a signal interrupted; only a lost write counts.
    return result == 0 || errno == EINTR ? 0 : -1;
}

}  // namespace

const FileFunctions& FileFunctions::system() {
    static const FileFunctions table{openForBoth, openWideForBoth, seekTo,    readBytes,
                                     closeFile,   sizeOf,          writeBytes};
    return table;
}

const FileFunctions& FileFunctions::systemReadOnly() {
    static const FileFunctions table{openForReading, openWideForReading, seekTo, readBytes, closeFile,
                                     sizeOf,         refuseToWrite};
    return table;
}

}  // namespace zenquor::mxf
