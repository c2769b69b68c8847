#pragma once
// What each XDCAM code prescribes.

#include <array>
#include <cstdint>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/MPEG2Encoder.h"

namespace zenquor::detail {

/// One XDCAM code.
///
/// Standards: SMPTE RDD 9 (rasters, GOPs), ISO/IEC 13818-2.
struct XDCAMFormat {
    FourCC code;
    std::uint32_t width;  // coded
    std::uint32_t height;
    std::array<std::uint32_t, 2>
        framerates;  // frames per second times 100 that go under this code; the second may be 0
    bool isInterlaced;
    platform::MPEG2Chroma chroma;
    std::int64_t bitRate;   // bits per second
    std::uint32_t gopSize;  // pictures from one I picture to the next

    bool hasFramerate(std::uint32_t framerate) const {
        return framerate != 0 && (framerate == framerates[0] || framerate == framerates[1]);
    }
};

/// Null for a code that is not XDCAM.
const XDCAMFormat* findXDCAMFormat(FourCC code);

}  // namespace zenquor::detail
