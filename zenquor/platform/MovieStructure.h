#pragma once
// What the boxes of a QuickTime or MPEG-4 file say about its state, without decoding anything.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQError.h"

namespace zenquor::platform {

/// The build of a movie file: plain or fragmented, complete or cut off, and whether its tables agree with
/// each other.
///
/// Thread-safety: Safe; a value.
/// Standards:     QuickTime File Format, ISO/IEC 14496-12.
struct MovieStructure {
    struct Track {
        std::uint32_t trackID = 0;
        FourCC handler = 0;      // 'vide', 'soun', 'tmcd', 'clcp' …
        FourCC sampleEntry = 0;  // the first sample description
        std::uint32_t timeScale = 0;
        std::uint64_t sampleCount = 0;  // of the movie box; fragments come on top
        std::uint64_t chunkCount = 0;
        std::vector<std::uint32_t> timecodeTrackIDs;
    };

    std::uint64_t fileSize = 0;
    bool isFragmented = false;  // the movie box announces fragments: the recording was not finished
    std::size_t fragmentCount = 0;
    std::vector<Track> tracks;
    std::vector<std::string> faults;  // sentences, empty for a sound file

    /// Looks at the boxes of a file; reads the movie box and the headers of the others.
    /// @return nothing with an error (assetErrorCannotOpen) when the file cannot be read or holds no boxes of
    /// a movie.
    static std::optional<MovieStructure> structureOfFile(const std::filesystem::path& url,
                                                         ZQErrorPtr* error = nullptr);
};

}  // namespace zenquor::platform
