#pragma once
// The video encoders of this machine.

#include <string>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

struct VideoEncoderInfo {
    FourCC codecType = 0;
    std::string name;  // libavcodec's
    bool isHardwareAccelerated = false;
};

/// Lists what a CompressionSession can really open here, software before hardware for each codec.
/// @return noErr, or what kept the list from being made; @p out is then empty.
Status copyVideoEncoderList(std::vector<VideoEncoderInfo>& out);

}  // namespace zenquor::platform
