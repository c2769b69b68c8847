#pragma once
// Which kind of caption file a path names.

#include <filesystem>
#include <string_view>

namespace zenquor::tools {

enum class CaptionFileKind { SubRip, EBUSTL, Scenarist, MacCaption, MXF, Movie };

/// By what stands in the file, and by its name where that does not tell.
CaptionFileKind captionFileKind(const std::filesystem::path& path);
/// By the name alone, for files to be written; a movie for any name that is no caption file's.
CaptionFileKind captionFileKindByName(const std::filesystem::path& path);
/// "SubRip", "EBU STL", "Scenarist SCC", "MacCaption MCC", "MXF", "movie".
std::string_view nameOfKind(CaptionFileKind kind);

}  // namespace zenquor::tools
