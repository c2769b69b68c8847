#pragma once
// The compression IDs of VC-3 and what libavcodec's encoder needs to make each.

#include <cstdint>

#include "zenquor/platform/DNX.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

/// One compression ID. Zero width stands for any raster (DNxHR).
struct DNXCompression {
    std::uint32_t compressionID;
    std::uint32_t width;      // coded
    std::uint32_t height;     // of the frame
    std::uint32_t fullWidth;  // of the picture that the coded one stands for
    bool isInterlaced;
    AVPixelFormat pixelFormat;  // of the coded samples
    int profile;                // FF_PROFILE_DNXHR_… or FF_PROFILE_DNXHD
    std::int64_t bitRate;       // one of those by which libavcodec tells the DNxHD IDs apart
    std::uint32_t frameBytes;   // DNxHD: of a coded frame; DNxHR: bytes of 255 macroblocks
    Status refusal;             // why it cannot be made; DNX_NoError when it can

    bool isResolutionIndependent() const { return width == 0; }
    bool isRGB() const { return pixelFormat == AV_PIX_FMT_GBRP10; }
};

/// Null for an unknown ID.
const DNXCompression* findDNXCompression(std::uint32_t compressionID);
/// Bytes of every coded frame of a raster.
std::uint32_t dnxFrameBytes(const DNXCompression& compression, std::uint32_t width, std::uint32_t height);

}  // namespace zenquor::platform::detail
