#pragma once
// The name of a recording's file.

#include <filesystem>
#include <string>
#include <string_view>

namespace zenquor::detail {

/// The path with exactly one @p extension (".mov"), and the start timecode where its name says "<StartTimecode>".
std::filesystem::path recordingPath(const std::filesystem::path& path, std::string_view extension,
                                    const std::string& timecode);

}  // namespace zenquor::detail
