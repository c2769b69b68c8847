#include "zenquor/sidecar/ZQRSidecarInputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

constexpr std::size_t bufferBytes = std::size_t{64} << 10;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::string errorText(int error) {
    return std::generic_category().message(error);
}

/// Looks at every byte rather than stopping at the first: that is what compilers vectorise.
bool isASCII(std::string_view line) {
    unsigned char bits = 0;
    for (const char c : line) bits |= static_cast<unsigned char>(c);
    return bits < 0x80;
}

}  // namespace

ZQRSidecarInputFilePtr ZQRSidecarInputFile::initWithURL(const std::filesystem::path& url) {
    ZQRSidecarInputFilePtr file(new ZQRSidecarInputFile(url));
    file->open();
    return file;
}

ZQRSidecarInputFile::~ZQRSidecarInputFile() {
    close();
}

void ZQRSidecarInputFile::open() {
    descriptor_ = ::open(url_.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    const bool isKnown = descriptor_ >= 0 && ::fstat(descriptor_, &status) == 0;
    if (!isKnown) {
        ZLGGetHandle().error("ZQRSidecarInputFile {}: could not open {} with error {}", *this, url_.string(),
                             errorText(errno));
        close();
    } else if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode)) {
        ZLGGetHandle().error("ZQRSidecarInputFile {}: {} is no file", *this, url_.string());
        close();
    }
}

void ZQRSidecarInputFile::close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
    begin_ = end_ = 0;
}

bool ZQRSidecarInputFile::fill() {
    if (descriptor_ < 0) return false;
    if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(bufferBytes);
    if (begin_ == end_) {
        begin_ = end_ = 0;
        hasOnlyASCII_ = hasOnlyLinefeeds_ = true;
    }
    if (end_ == bufferBytes) return true;
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.get() + end_, bufferBytes - end_);
    } while (count < 0 && errno == EINTR);
    if (count < 0 && !failed_) {
        ZLGGetHandle().error("ZQRSidecarInputFile {}: could not read {} with error {}", *this, url_.string(),
                             errorText(errno));
    }
    failed_ = count < 0;
    if (count <= 0) return false;
    const std::string_view bytes(buffer_.get() + end_, static_cast<std::size_t>(count));
    hasOnlyASCII_ = hasOnlyASCII_ && isASCII(bytes);
    hasOnlyLinefeeds_ = hasOnlyLinefeeds_ && bytes.find('\r') == bytes.npos;
    end_ += static_cast<std::size_t>(count);
    return true;
}

void ZQRSidecarInputFile::skipByteOrderMark() {
    started_ = true;
    while (available() < byteOrderMark.size() && fill()) {
    }
    const std::string_view start(buffer_.get() + begin_, std::min(available(), byteOrderMark.size()));
    if (start == byteOrderMark) begin_ += byteOrderMark.size();
    const std::string_view utf16 = start.substr(0, 2);
    if (utf16 == "\xFF\xFE" || utf16 == "\xFE\xFF") {
        ZLGGetHandle().error("ZQRSidecarInputFile {}: {} is UTF-16, save it as UTF-8", *this, url_.string());
    }
}

std::optional<std::string> ZQRSidecarInputFile::readLine() {
    const auto line = readLineInPlace();
    return line ? std::optional<std::string>(*line) : std::nullopt;
}

std::optional<std::string_view> ZQRSidecarInputFile::readLineInPlace() {
    if (line_ < std::numeric_limits<std::int32_t>::max()) ++line_;
    if (!started_) skipByteOrderMark();
    for (;;) {
        std::string_view line;
        const bool hasEnd = readRawLine(line);
        if (isValidLine(line)) return decoded(line);
        if (!hasEnd) return std::nullopt;
    }
}

std::string_view ZQRSidecarInputFile::decoded(std::string_view line) {
    // A line that was assembled from several fills was checked fill by fill, and only the last is known.
    if (line.data() != assembled_.data() ? hasOnlyASCII_ : isASCII(line)) return line;
    std::string text = utf8FromUTF16(utf16FromUTF8(line));
    if (text == line) return line;
    if (!loggedIllFormed_) {
        ZLGGetHandle().error(
            "ZQRSidecarInputFile {}: line {} of {} is not UTF-8, what is unreadable is replaced", *this,
            line_, url_.string());
        loggedIllFormed_ = true;
    }
    assembled_ = std::move(text);
    return assembled_;
}

bool ZQRSidecarInputFile::readRawLine(std::string_view& line) {
    assembled_.clear();
    while (available() > 0 || fill()) {
        const std::string_view rest(buffer_.get() + begin_, available());
        const std::size_t linefeed = std::min(rest.find('\n'), rest.size());
        if (needLinefeed_) {
            needLinefeed_ = linefeed == rest.size();
            begin_ += linefeed + (needLinefeed_ ? 0 : 1);
            continue;
        }
        const std::size_t length =
            hasOnlyLinefeeds_ ? linefeed : std::min(rest.substr(0, linefeed).find('\r'), linefeed);
        const bool hasEnd = length < rest.size();
        if (hasEnd && assembled_.empty() && length <= maximumLineBytes) {
            line = rest.substr(0, length);
            begin_ += length;
        } else {
            append(length);
            line = assembled_;
        }
        if (!hasEnd) continue;
        needLinefeed_ = rest[length] == '\r';
        ++begin_;
        return true;
    }
    return false;
}

void ZQRSidecarInputFile::append(std::size_t count) {
    const std::size_t kept = std::min(count, maximumLineBytes - assembled_.size());
    assembled_.append(buffer_.get() + begin_, kept);
    begin_ += count;
    if (kept < count && !loggedLongLine_) {
        ZLGGetHandle().error("ZQRSidecarInputFile {}: a line of {} is longer than {} bytes, cut", *this,
                             url_.string(), maximumLineBytes);
        loggedLongLine_ = true;
    }
}

bool ZQRSidecarInputFile::isValidLine(std::string_view line) const {
    return !(line.empty() && skipEmptyLines_) && line.substr(0, 2) != "//";
}

std::ptrdiff_t ZQRSidecarInputFile::read(std::span<std::uint8_t> buffer) {
    started_ = true;
    std::size_t count = 0;
    while (count < buffer.size() && (available() > 0 || fill())) {
        const std::size_t step = std::min(available(), buffer.size() - count);
        std::memcpy(buffer.data() + count, buffer_.get() + begin_, step);
        begin_ += step;
        count += step;
    }
    return count == 0 && failed_ ? -1 : static_cast<std::ptrdiff_t>(count);
}

}  // namespace zenquor
