#pragma once
// What is wrong with a caption file, for a person or a program.

#include <filesystem>

#include "CaptionSettings.h"

namespace zenquor::tools {

/// Prints the report on a caption file or the captions of a movie.
/// @return the exit status: success only when there is nothing to remark.
int checkCaptions(const std::filesystem::path& path, const CaptionSettings& settings, bool json);

}  // namespace zenquor::tools
