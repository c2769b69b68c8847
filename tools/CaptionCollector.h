#pragma once
// Collects the captions of passing frames in an SCC or MCC file.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TimeMapping.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRMCCSidecar.h"

namespace zenquor::tools {

class CaptionCollector {
public:
    /// @param path      ends in .scc or .mcc; the file is replaced.
    /// @param timebase  of the frames. An SCC file is 29.97 drop-frame whatever this is: frames go to the same
    /// time there.
    /// @param field     whose pairs go into an SCC file, 1 or 2.
    /// @return null with an error when the file cannot be written.
    static std::unique_ptr<CaptionCollector> create(const std::filesystem::path& path, ZQCKTimebase timebase,
                                                    int field, ZQErrorPtr* error);

    /// Takes the caption packets of one frame; frames come in the order of their timecodes.
    void add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    /// @return false with an error when anything could not be written.
    bool close(ZQErrorPtr* error);

    const std::filesystem::path& path() const { return path_; }
    /// What was done to the times, and what the file does not hold of what passed, for a person.
    std::vector<std::string> notes() const;

private:
    void addPairs(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);

    std::filesystem::path path_;
    bool isScenarist_ = false;
    int field_ = 1;
    std::uint64_t pairsOfOtherField_ = 0, digitalPackets_ = 0;
    ZQCKTimebase timebase_;
    std::shared_ptr<ZQRMCCSidecar> sidecar_;
    ZQRSidecarOutputFilePtr file_;
    std::optional<TimeMapping> mapping_;
};

}  // namespace zenquor::tools
