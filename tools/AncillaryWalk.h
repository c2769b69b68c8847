#pragma once
// Every ancillary packet of a file, one after the other.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor::tools {

class MXFFile;

struct AncillaryPacket {
    std::int64_t frame = 0;  // from 0 at the start of the file
    std::optional<ZQCKTimecode> timecode;
    ZQCKTimecode time;  // the timecode, or where there is none the frame counted from midnight
    std::string kind;   // "c608", "c708", "436M", "SCC", "MCC"
    ZQRVANCPacketPtr packet;
};

/// What was read, and what could not be.
struct AncillaryWalk {
    using Visit = std::function<void(const AncillaryPacket&)>;

    std::int64_t packets = 0;
    std::vector<std::string> faults;  // a sentence each; a fault that repeats is counted in one

    /// Reads a movie's caption tracks, the ancillary data of an MXF file, or an SCC or MCC file line by line; lines
    /// that cannot be read are passed over.
    /// @return nothing with an error when the file cannot be opened or is of no known format.
    static std::optional<AncillaryWalk> ofFile(const std::filesystem::path& path, const Visit& visit,
                                               ZQErrorPtr* error);
    /// Reads an MXF file that is open already.
    static AncillaryWalk ofMXF(const MXFFile& file, const Visit& visit);
};

}  // namespace zenquor::tools
