#pragma once
// What is wrong with a caption file, for a person or a program.

#include <filesystem>
#include <optional>

#include "CaptionSettings.h"
#include "zenquor/core/ZQCKTimebase.h"

namespace zenquor::tools {

/// Prints the report on a caption file or the captions of a movie.
/// @param rate  that SubRip times are played at; nothing: 29.97. Other files tell their own.
/// @return the exit status: success only when there is nothing to remark.
int checkCaptions(const std::filesystem::path& path, const CaptionSettings& settings,
                  std::optional<ZQCKTimebase> rate, bool json);

}  // namespace zenquor::tools
