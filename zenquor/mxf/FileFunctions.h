#pragma once
// The file that the engine reads or writes, as a table of functions that a host may replace.

#include <cstdint>

namespace zenquor::mxf {

using FileHandle = void*;

/// One file behind functions. Offsets and counts are in bytes; every function gets @p context of the table last.
///
/// Thread-safety: all calls come from the thread that drives the muxer or demuxer.
struct FileFunctions {
    /// Opens for reading and writing, creates when absent. @return 0, or -1 with a null handle.
    std::int32_t (*open)(FileHandle* file, const char* utf8Path, void* context) = nullptr;
    std::int32_t (*openWide)(FileHandle* file, const char32_t* path, void* context) = nullptr;
    /// Absolute offset. @return 0 or -1.
    std::int32_t (*seek)(FileHandle file, std::int64_t offset, void* context) = nullptr;
    /// @return bytes read, 0 at the end, -1 on a failure.
    std::int64_t (*read)(FileHandle file, std::uint8_t* bytes, std::int64_t count, void* context) = nullptr;
    /// Writes what is pending, closes and clears the handle. @return 0 or -1.
    std::int32_t (*close)(FileHandle* file, void* context) = nullptr;
    /// @return bytes, -1 on a failure. The position stays.
    std::int64_t (*size)(FileHandle file, void* context) = nullptr;
    /// @return @p count, anything else is a failure.
    std::int64_t (*write)(FileHandle file, const std::uint8_t* bytes, std::int64_t count,
                          void* context) = nullptr;
    void* context = nullptr;

    /// Plain unbuffered files of the system; opens read-only where writing is not allowed.
    static const FileFunctions& system();
    /// The same, but a file is only read: one that is not there is not created, and write fails.
    static const FileFunctions& systemReadOnly();
};

}  // namespace zenquor::mxf
