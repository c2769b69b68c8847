#pragma once
// The codecs of broadcast recorders: what their codes fix beside the encoder.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "zenquor/core/ZQData.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

enum class BroadcastKind : std::uint8_t {
    D10,       // SMPTE ST 356: intra MPEG-2 in frames of one size, lines of the blanking interval above
    DV,        // IEC 61834, SMPTE ST 314, ST 370
    AVCIntra,  // SMPTE RP 2027 and its descendants: intra H.264 in frames of one size
    AVCLong,   // predicted H.264, 10 bits 4:2:2, in the order of display
    JPEG
};

struct RasterSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// What a code says. Zero leaves a field to the session.
struct BroadcastCodec {
    BroadcastKind kind;
    RasterSize raster{};           // of the coded picture
    AVRational frameRate{0, 1};    // the only one
    std::uint32_t fullHeight = 0;  // rows of a picture that is placed, not scaled, into the raster
    std::int32_t firstRow = 0;     // row of the raster that its first row goes to; may lie above the raster
    std::optional<FieldDetail> fieldDetail{};  // of interlaced pictures
    std::uint32_t frameBytes = 0;              // D-10: of every coded frame
    std::int64_t bitRate = 0;
    int intraClass = 0;     // of AVC-Intra, as libx264 counts them
    int intraClassUHD = 0;  // the same above 1080 rows
};

/// The coded raster for pictures of a size.
RasterSize codedRaster(const BroadcastCodec& codec, RasterSize picture);
/// The class for a coded height.
int intraClassForHeight(const BroadcastCodec& codec, std::uint32_t height);
/// Bits per second of predicted pictures.
std::int64_t longGroupBitRate(RasterSize raster, AVRational frameRate);

/// A D-10 frame as movies and the MXF road carry it: the key of the picture element and a 4-byte length, then
/// the frame brought to its size with the zero bytes that MPEG-2 allows between pictures.
/// @return empty when @p coded is larger than the size.
ZQData frameWithElementHeader(std::span<const std::uint8_t> coded, std::uint32_t frameBytes);

}  // namespace zenquor::platform::detail
