#pragma once
// Keeps a recording out of the system's buffer cache.

#include <filesystem>

#include "zenquor/core/ZQError.h"

namespace zenquor {

/// Domain: -666 the file cannot be opened, -667 its cache cannot be switched off.
inline constexpr const char* ZQUBCErrorDomain = "ZQUBCErrorDomain";

/// Switches the buffer cache off for one file: a recording is written once and not read back, and would only
/// push useful pages out.
///
/// Linux keeps that choice per open file, so it is noted for the file (platform::BufferCachePolicy) and
/// heeded by this library's file writers.
///
/// Thread-safety: Safe; no state of its own.
class ZQUBCController {
public:
    ZQUBCController() = delete;

    /// For a file name as a writer keeps it: a plain path.
    static bool disableUBCForFileURL(const std::filesystem::path& url, ZQErrorPtr* error = nullptr);
    /// @return false with a ZQUBCErrorDomain error when the file cannot be opened, cannot do without the
    ///         cache or cannot be closed.
    static bool disableUBCForFilePath(const std::filesystem::path& path, ZQErrorPtr* error = nullptr);
};

}  // namespace zenquor
