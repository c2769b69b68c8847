#pragma once
// Errors of caption files in sentences that say what to do.

#include <filesystem>
#include <string>

#include "zenquor/core/ZQError.h"

namespace zenquor::tools {

/// Fills @p error. @return false.
bool failCaption(ZQErrorPtr* error, std::string sentence);

/// Whether there is a file that can be read, and read again.
/// @return false with an error for what is missing, a folder, a pipe or a device, or not allowed.
bool canBeRead(const std::filesystem::path& path, ZQErrorPtr* error);

/// Fills @p error with why a file could not be written, as far as that can still be seen. @return false.
bool failToWrite(const std::filesystem::path& path, ZQErrorPtr* error);

/// What makes the text of a subtitle file hard to read, and the command that mends it; empty when nothing does.
std::string adviceOnEncoding(const std::filesystem::path& path);

}  // namespace zenquor::tools
