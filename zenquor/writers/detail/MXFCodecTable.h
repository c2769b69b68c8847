#pragma once
// Which MXF profile and essence each video codec is written as.

#include <cstdint>
#include <optional>

#include "zenquor/core/FourCC.h"

namespace zenquor::detail {

struct MXFCodec {
    std::int32_t wrappingKind = 0;   // a value of mxf::wrapping
    std::int32_t essenceType = 0;    // a value of mxf::codec
    bool isXDCAMHD = false;          // 1440 pixels wide
    std::uint32_t imxFrameSize = 0;  // bytes of a D-10 frame; 0 for any other codec

    friend bool operator==(const MXFCodec&, const MXFCodec&) = default;
};

/// Nothing for a codec that does not go into MXF.
std::optional<MXFCodec> mxfCodecForComponent(FourCC component);

/// Whether the codec is one of the six of D-10.
bool componentIsQuickTimeIMX(FourCC component);

/// The engine's flags for a frame store's frameType(); 0 for a type that does not exist.
std::uint64_t mxfSampleFlagsForFrameType(std::uint32_t frameType);

}  // namespace zenquor::detail
