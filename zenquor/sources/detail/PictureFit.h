#pragma once
// Where a file's picture goes in a recording's.

#include <cstdint>

#include "zenquor/platform/ColorTags.h"
#include "zenquor/sources/SourceFormat.h"

namespace zenquor::detail {

/// The geometry of a file's pictures.
struct PictureGeometry {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    platform::PixelAspectRatio pixelAspect;  // 1:1 also stands for unknown
    bool interlaced = false;
    bool topFieldFirst = true;
    friend bool operator==(const PictureGeometry&, const PictureGeometry&) = default;
};

/// Lines of the file's picture and the rectangle of the recording's that they fill.
///
/// The display aspect is kept: black goes above and below, or left and right. 480 and 486 lines are set into
/// each other without scaling. An interlaced picture whose fields come in the other order is moved by a line.
struct PictureFit {
    std::uint32_t sourceTop = 0;
    std::uint32_t sourceHeight = 0;
    std::uint32_t left = 0;
    std::uint32_t top = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool byField = false;  // scaled field by field

    static PictureFit of(const PictureGeometry& source, const SourceFormat& format);
    /// Whether the file's picture is the recording's, pixel for pixel.
    bool isIdentity(const PictureGeometry& source, const SourceFormat& format) const;
    friend bool operator==(const PictureFit&, const PictureFit&) = default;
};

}  // namespace zenquor::detail
