#pragma once
// A file behind its table of functions, read at any place; small reads come from a buffer.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/mxf/FileFunctions.h"
#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

/// An item of the file and where it stands.
struct PlacedItem {
    std::uint64_t position = 0;  // of the key
    KLVHeader header;

    std::uint64_t valuePosition() const { return position + header.headerBytes; }
    std::uint64_t end() const { return position + header.totalBytes(); }
};

/// One open file. Positions count from the origin, which is the first byte of the header partition once that is found.
///
/// Thread-safety: One thread at a time.
class FileView {
public:
    explicit FileView(const FileFunctions& functions) : functions_(functions) {}
    ~FileView();
    FileView(const FileView&) = delete;
    FileView& operator=(const FileView&) = delete;

    bool open(const char* utf8Path);
    /// Asks for the size again and forgets what is buffered.
    void update();
    void setOrigin(std::uint64_t fileOffset) { origin_ = fileOffset; }
    std::uint64_t origin() const { return origin_; }
    /// Bytes from the origin on.
    std::uint64_t size() const { return fileSize_ > origin_ ? fileSize_ - origin_ : 0; }
    std::uint64_t fileSize() const { return fileSize_; }

    /// @return bytes read: fewer than asked for at the end of the file and behind a failure.
    std::size_t read(std::uint64_t position, std::span<std::uint8_t> bytes);
    /// At most @p count bytes; fewer at the end of the file.
    std::vector<std::uint8_t> bytes(std::uint64_t position, std::uint64_t count);
    /// The start of an item; nothing where none stands. Its length is as it says, also past the end of the file.
    std::optional<PlacedItem> item(std::uint64_t position);
    /// Whether the system has refused a read since the last update().
    bool hasFailed() const { return failed_; }

private:
    static constexpr std::size_t bufferBytes = 16384;

    std::size_t readThrough(std::uint64_t fileOffset, std::span<std::uint8_t> bytes);

    const FileFunctions functions_;
    FileHandle handle_ = nullptr;
    std::uint64_t fileSize_ = 0;
    std::uint64_t origin_ = 0;
    std::uint64_t filePosition_ = 0;  // of the handle
    std::uint64_t bufferOffset_ = 0;
    std::size_t buffered_ = 0;
    bool failed_ = false;
    std::array<std::uint8_t, bufferBytes> buffer_;
};

}  // namespace zenquor::mxf::detail
