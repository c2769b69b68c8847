#include "zenquor/writers/detail/RecordingPath.h"

#include <algorithm>
#include <cctype>

namespace zenquor::detail {
namespace {

constexpr std::string_view startTimecodeMark = "<StartTimecode>";

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

std::filesystem::path recordingPath(const std::filesystem::path& path, std::string_view extension,
                                    const std::string& timecode) {
    if (!path.has_filename()) return path;
    std::string name =
        (equalIgnoringCase(path.extension().string(), extension) ? path.stem() : path.filename()).string();
    for (auto at = name.find(startTimecodeMark); at != std::string::npos; at = name.find(startTimecodeMark)) {
        name.replace(at, startTimecodeMark.size(), timecode);
    }
    return path.parent_path() / (name + std::string(extension));
}

}  // namespace zenquor::detail
