#pragma once
// The file that is written, behind the host's functions.

#include <cstdint>
#include <span>

#include "zenquor/mxf/FileFunctions.h"
#include "zenquor/mxf/Status.h"

namespace zenquor::mxf::detail {

/// Appends to a file and writes over what stands in it. The first failure is kept: nothing is written after it.
///
/// Lifecycle:     open(), append() and overwrite(), close(); a destructor closes what is open.
/// Thread-safety: One thread at a time.
class FileOutput {
public:
    FileOutput() = default;
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;
    ~FileOutput() { close(); }

    /// Opens a file that is empty or absent.
    /// @return StatusBadArgument when a function is missing, StatusCannotOpen when the file cannot be opened or holds
    /// something.
    Status open(const FileFunctions& functions, const char* utf8Path);
    bool isOpen() const { return open_; }

    /// Writes behind everything written so far, in one call of the file's function.
    bool append(std::span<const std::uint8_t> bytes);
    /// Writes over bytes that stand in the file, in one call; the next append() goes on at the end.
    bool overwrite(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    /// Lets everything written so far reach the file, where the host's functions gather it: asking for the size does that.
    bool settle();
    /// Bytes appended.
    std::uint64_t size() const { return size_; }
    bool hasFailed() const { return failed_; }

    /// @return false when the file could not be closed cleanly; it is closed all the same.
    bool close();

private:
    bool seek(std::uint64_t offset);
    bool write(std::span<const std::uint8_t> bytes);

    FileFunctions functions_;
    FileHandle file_ = nullptr;
    std::uint64_t size_ = 0;
    bool open_ = false;
    bool atEnd_ = true;
    bool failed_ = false;
};

}  // namespace zenquor::mxf::detail
