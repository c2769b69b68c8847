#pragma once
// What a person asked the record command to do.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "CaptionSettings.h"
#include "CueSheet.h"
#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/host/ZHLVideoFormat.h"

namespace zenquor::tools {

struct RecordOptions {
    std::filesystem::path input;  // empty: bars and tone
    ZHLVideoFormat format;
    FourCC codec = 0;
    std::optional<std::uint64_t> frames;  // nothing: until the input ends or the interrupt key
    bool realtime = false;
    std::optional<ZQCKTimecode> startTimecode;
    std::string reel;
    std::uint32_t audioChannels = 2;
    std::uint32_t audioBits = 16;
    std::uint32_t audioPerTrack = 1;
    std::filesystem::path captions;  // empty: none
    std::filesystem::path teletext;  // subtitles sent as teletext beside the captions; empty: none
    CaptionSettings captionSettings;
    FourCC captionTrack = 0;
    std::vector<std::filesystem::path> captionFiles;    // to be written, .scc or .mcc
    std::vector<std::filesystem::path> ancillaryFiles;  // to be written, .mcc
    CueSheet cues;
    bool keepCache = false;
    std::string speed;
    std::uint64_t blockSize = 0;  // bytes of one write to an MXF file; 0: the writer's own
    bool refreshHeader = false;   // of MXF files, while recording
    std::vector<std::filesystem::path> outputs;
};

}  // namespace zenquor::tools
