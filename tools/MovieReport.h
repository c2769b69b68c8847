#pragma once
// Everything that the inspect command tells about a movie.

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/Asset.h"

namespace zenquor::tools {

struct MovieReport {
    struct Timecode {
        std::string first;
        std::string last;
        std::string rate;
        bool dropFrame = false;
        std::string reel;
        std::int64_t frames = 0;
    };

    std::filesystem::path file;
    std::string container;
    std::uint64_t size = 0;
    double duration = 0;  // seconds
    bool isFragmented = false;
    std::uint64_t fragments = 0;
    std::vector<platform::AssetTrack> tracks;
    std::optional<Timecode> timecode;
    std::map<std::string, std::uint64_t> captions;  // packets by kind
    ZQDictionary metadata;
    std::vector<std::string> faults;

    /// @return nothing with an error when the file cannot be opened.
    static std::optional<MovieReport> ofFile(const std::filesystem::path& file, ZQErrorPtr* error);
};

}  // namespace zenquor::tools
