#pragma once
// Names for recordings that must not overwrite what is there.

#include <filesystem>
#include <string_view>

namespace zenquor {

/// Finds file names that are free.
///
/// Thread-safety: Safe; no state. Between the answer and the opening of the file somebody else may take the
///                name, so open with a mode that fails then, and ask again.
class ZHLIngestNamingHelper final {
public:
    /// The path itself when nothing has that name, otherwise with @p separator and the first free number from
    /// 1 up put before its extension: "clip.mov", "clip-1.mov", "clip-2.mov" with "-". A broken symbolic link
    /// is not free. A candidate that cannot be looked up (folder not searchable, name too long) is returned
    /// as it is: opening it says why.
    static std::filesystem::path nextFreeURL(const std::filesystem::path& url, std::string_view separator);
};

}  // namespace zenquor
