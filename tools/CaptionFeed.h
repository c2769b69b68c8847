#pragma once
// Puts captions on the frames of a recording.

#include <cstdint>
#include <filesystem>
#include <memory>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/sidecar/ZQRSidecar.h"

namespace zenquor::tools {

/// Gives every frame exactly one caption packet of the wanted kind: from a subtitle file, from the frame
/// itself, or an empty one. A caption track wants one sample a frame, and takes its kind from the first.
class CaptionFeed {
public:
    /// Captions from a subtitle file, on @p channel 1 to 4.
    /// @return null with an error when the file cannot be read or holds no subtitle.
    static std::unique_ptr<CaptionFeed> fromFile(const std::filesystem::path& path, std::int32_t channel,
                                                 FourCC track, ZQCKTimebase timebase, ZQErrorPtr* error);
    /// The captions that come with the frames.
    static std::unique_ptr<CaptionFeed> fromFrames(FourCC track);

    /// @param index  of the frame in the recording, from 0.
    void apply(const ZQRFramePtr& frame, std::uint64_t index);

private:
    ZQRVANCPacketList packetsFor(const ZQRFramePtr& frame, std::uint64_t index);

    std::shared_ptr<ZQRSidecar> sidecar_;
    FourCC track_ = 0;
    ZQCKTimebase timebase_;
};

}  // namespace zenquor::tools
