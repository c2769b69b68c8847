#pragma once
// A file as it was when it was opened.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "zenquor/core/ZQData.h"

namespace zenquor::platform::detail {

/// The first bytes of a file, up to a limit that later growth does not move.
///
/// Thread-safety: Safe; reads name their position.
class FileView {
public:
    /// @return null when the file cannot be opened or is not a regular file; errno says why.
    static std::shared_ptr<FileView> open(const std::filesystem::path& url);
    /// A view of bytes in memory.
    static std::shared_ptr<FileView> wrapping(ZQData bytes);
    ~FileView();
    FileView(const FileView&) = delete;
    FileView& operator=(const FileView&) = delete;

    std::uint64_t size() const { return size_; }
    /// Lowers the limit; before the view is shared.
    void limitTo(std::uint64_t size);
    /// Reads what there is, at most bytes.size(). @return bytes read; 0 at the end and on an error.
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
    /// Exactly @p size bytes, or no bytes when they are not all there.
    ZQData data(std::uint64_t offset, std::size_t size) const;
    /// The errno of the first read that failed; 0 when none did.
    int failure() const { return failure_.load(std::memory_order_relaxed); }

private:
    FileView(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    int descriptor_;  // below 0 for bytes in memory
    ZQData memory_;
    std::uint64_t size_;
    mutable std::atomic<int> failure_{0};
};

using FileViewPtr = std::shared_ptr<FileView>;

}  // namespace zenquor::platform::detail
