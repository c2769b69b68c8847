#pragma once
// Clean aperture and pixel aspect of the picture sizes of television.

#include <cstdint>

#include "zenquor/platform/ColorTags.h"

namespace zenquor::detail {

struct PictureGeometry {
    std::uint16_t width;
    std::uint16_t height;
    bool is16By9;
    platform::CleanAperture cleanAperture;
    platform::PixelAspectRatio pixelAspectRatio;
};

/// Null for an unknown size.
const PictureGeometry* pictureGeometryForSize(std::uint64_t width, std::uint64_t height, bool is16By9);

}  // namespace zenquor::detail
