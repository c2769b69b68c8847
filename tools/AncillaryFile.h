#pragma once
// All ancillary packets of passing frames in an MCC file.

#include <filesystem>
#include <memory>
#include <string>

#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRMCCSidecar.h"

namespace zenquor::tools {

/// Writes captions, OP-47 subtitles and cue messages alike, a line each; the sidecar of the format writes
/// captions alone.
class AncillaryFile {
public:
    /// @return null with an error when the file cannot be written.
    static std::unique_ptr<AncillaryFile> create(const std::filesystem::path& path, ZQCKTimebase timebase,
                                                 ZQErrorPtr* error);

    void add(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    /// @return false with an error when anything could not be written.
    bool close(ZQErrorPtr* error);

private:
    std::filesystem::path path_;
    std::shared_ptr<ZQRMCCSidecar> sidecar_;
    ZQRSidecarOutputFilePtr file_;
    ZQRSidecarCaptionPtr line_ = ZQRSidecarCaption::init();
    std::string text_;
};

}  // namespace zenquor::tools
