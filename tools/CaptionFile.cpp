#include "CaptionFile.h"

#include <array>
#include <fstream>
#include <string>

#include "MXFFile.h"

namespace zenquor::tools {
namespace {

struct Kind {
    CaptionFileKind kind;
    std::string_view extension;
    std::string_view name;
};
constexpr Kind kinds[] = {
    {CaptionFileKind::SubRip, ".srt", "SubRip"},
    {CaptionFileKind::EBUSTL, ".stl", "EBU STL"},
    {CaptionFileKind::Scenarist, ".scc", "Scenarist SCC"},
    {CaptionFileKind::MacCaption, ".mcc", "MacCaption MCC"},
    {CaptionFileKind::MXF, ".mxf", "MXF"},
    {CaptionFileKind::Movie, "", "movie"},
};

std::string startOf(const std::filesystem::path& path) {
    std::string start(1024, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start;
}

}  // namespace

CaptionFileKind captionFileKind(const std::filesystem::path& path) {
    const std::string start = startOf(path);
    const auto firstLine = std::string_view(start).substr(0, start.find_first_of("\r\n"));
    if (firstLine.find("Scenarist_SCC") != std::string_view::npos) return CaptionFileKind::Scenarist;
    if (firstLine.find("MacCaption_MCC") != std::string_view::npos) return CaptionFileKind::MacCaption;
    if (std::string_view(start).substr(0, 6).ends_with("STL")) return CaptionFileKind::EBUSTL;
    if (isMXF(path)) return CaptionFileKind::MXF;
    return captionFileKindByName(path);
}

CaptionFileKind captionFileKindByName(const std::filesystem::path& path) {
    std::string extension = path.extension().string();
    for (char& c : extension) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    for (const auto& entry : kinds) {
        if (extension == entry.extension && !extension.empty()) return entry.kind;
    }
    return CaptionFileKind::Movie;
}

std::string_view nameOfKind(CaptionFileKind kind) {
    for (const auto& entry : kinds) {
        if (entry.kind == kind) return entry.name;
    }
    return "";
}

}  // namespace zenquor::tools
