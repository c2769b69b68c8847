#include "zenquor/sidecar/ZQRSidecarOutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>
#include <string>
#include <system_error>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

constexpr mode_t everybodyReadsAndWrites = 0666;  // less the process's umask

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace

ZQRSidecarOutputFilePtr ZQRSidecarOutputFile::initWithURL(const std::filesystem::path& url) {
    ZQRSidecarOutputFilePtr file(new ZQRSidecarOutputFile(url));
    file->open();
    return file;
}

ZQRSidecarOutputFile::~ZQRSidecarOutputFile() {
    close();
}

void ZQRSidecarOutputFile::open() {
    descriptor_ = ::open(url_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, everybodyReadsAndWrites);
    hasFailed_ = descriptor_ < 0;
    if (!hasFailed_) return;
    ZLGGetHandle().error("ZQRSidecarOutputFile {}: could not open {} with error {}", *this, url_.string(),
                         errorText(errno));
}

void ZQRSidecarOutputFile::close() {
    // Network file systems report a full disk only here.
    if (descriptor_ >= 0 && ::close(descriptor_) != 0) {
        hasFailed_ = true;
        ZLGGetHandle().error("ZQRSidecarOutputFile {}: could not close {} with error {}", *this,
                             url_.string(), errorText(errno));
    }
    descriptor_ = -1;
}

bool ZQRSidecarOutputFile::writeLine(std::string_view text, std::string_view newline, int newlines) {
    std::string bytes;
    try {
        bytes = text;
        for (int i = 0; i < newlines; ++i) bytes += newline;
    } catch (const std::bad_alloc&) {
        hasFailed_ = true;
        return false;
    }
    if (line_ < std::numeric_limits<std::int32_t>::max()) ++line_;
    const bool written = writeAll(bytes);
    if (!written) hasFailed_ = true;
    return written;
}

bool ZQRSidecarOutputFile::writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            ZLGGetHandle().error("ZQRSidecarOutputFile could not write line with error {}", errorText(errno));
            return false;
        }
        if (count == 0) {
            ZLGGetHandle().error("ZQRSidecarOutputFile could not write line, unexpected error");
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace zenquor
