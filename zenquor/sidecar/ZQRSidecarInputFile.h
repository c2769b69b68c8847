#pragma once
// Line by line through a subtitle or caption file.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// Reads a text file as lines that end in LF or CR LF. A CR ends its line, and what follows up to the next LF
/// is lost. Lines that start with "//" are comments and never seen. A UTF-8 byte order mark at the start is
/// skipped.
///
/// Lifecycle:     open from initWithURL() on; closed by close() or destruction.
/// Thread-safety: One thread at a time.
class ZQRSidecarInputFile final : public ZQObject {
public:
    /// Longer lines are cut to this many bytes, which is logged once.
    static constexpr std::size_t maximumLineBytes = std::size_t{1} << 20;

    /// Opens a file or pipe. A file that cannot be opened is logged; isOpen() is then false and it reads as
    /// empty.
    static std::shared_ptr<ZQRSidecarInputFile> initWithURL(const std::filesystem::path& url);
    ~ZQRSidecarInputFile() override;

    bool isOpen() const { return descriptor_ >= 0; }
    /// The next line that counts, without its end, as well-formed UTF-8: ill-formed parts become U+FFFD,
    /// which is logged once.
    /// @return nothing at the end; while empty lines are not skipped, an empty line every time.
    std::optional<std::string> readLine();
    /// The same line without a copy where possible: valid until the next call of any operation that reads.
    std::optional<std::string_view> readLineInPlace();
    /// Reads bytes as they are, from where the last read ended.
    /// @return how many, 0 at the end, −1 after an error.
    std::ptrdiff_t read(std::span<std::uint8_t> buffer);
    void close();

    /// The number of the line read last, from 0; −1 before the first. Skipped lines do not count.
    std::int32_t line() const { return line_; }
    /// True at first.
    bool skipEmptyLines() const { return skipEmptyLines_; }
    void setSkipEmptyLines(bool skip) { skipEmptyLines_ = skip; }

private:
    explicit ZQRSidecarInputFile(std::filesystem::path url) : url_(std::move(url)) {}

    void open();
    bool fill();
    void skipByteOrderMark();
    std::string_view decoded(std::string_view line);
    bool readRawLine(std::string_view& line);
    void append(std::size_t count);
    bool isValidLine(std::string_view line) const;
    std::size_t available() const { return end_ - begin_; }

    std::filesystem::path url_;
    int descriptor_ = -1;
    bool needLinefeed_ = false;
    bool skipEmptyLines_ = true;
    bool started_ = false;
    bool loggedLongLine_ = false;
    bool loggedIllFormed_ = false;
    bool failed_ = false;
    std::int32_t line_ = -1;
    bool hasOnlyASCII_ = true;      // both as far as the buffer was filled: they save looking at every line
    bool hasOnlyLinefeeds_ = true;  // no CR
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::string assembled_;  // a line that does not lie in the buffer as a whole
};

using ZQRSidecarInputFilePtr = std::shared_ptr<ZQRSidecarInputFile>;

}  // namespace zenquor
