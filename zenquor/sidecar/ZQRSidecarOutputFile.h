#pragma once
// Line by line into a subtitle or caption file.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// The two line ends that sidecars are written with.
inline constexpr std::string_view ZQRESidecarFile_LF = "\n";
inline constexpr std::string_view ZQRESidecarFile_CRLF = "\r\n";

/// Writes a text file; every line is in the file when writeLine() returns.
///
/// Lifecycle:     open from initWithURL() on; closed by close() or destruction.
/// Thread-safety: One thread at a time.
class ZQRSidecarOutputFile final : public ZQObject {
public:
    /// Creates the file or empties it. A file that cannot be opened is logged; isOpen() is then false.
    static std::shared_ptr<ZQRSidecarOutputFile> initWithURL(const std::filesystem::path& url);
    ~ZQRSidecarOutputFile() override;

    bool isOpen() const { return descriptor_ >= 0; }
    /// Writes UTF-8 @p text and @p newlines times @p newline.
    /// @return whether every byte was written; a failure is logged.
    bool writeLine(std::string_view text, std::string_view newline, int newlines);
    void close();

    /// Whether the file could not be opened or any line could not be written whole, also after close().
    bool hasFailed() const { return hasFailed_; }
    /// How many times writeLine() was called; a line too big for memory does not count.
    std::int32_t line() const { return line_; }

private:
    explicit ZQRSidecarOutputFile(std::filesystem::path url) : url_(std::move(url)) {}

    void open();
    bool writeAll(std::string_view bytes);

    std::filesystem::path url_;
    int descriptor_ = -1;
    std::int32_t line_ = 0;
    bool hasFailed_ = false;
};

using ZQRSidecarOutputFilePtr = std::shared_ptr<ZQRSidecarOutputFile>;

}  // namespace zenquor
