#pragma once
// What a picture descriptor says, gathered from the coded picture, and its way into the descriptor.

#include <cstdint>
#include <optional>
#include <string_view>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/mxf/detail/HeaderMetadata.h"

namespace zenquor::mxf::detail {

/// Colours by their numbers in ISO/IEC 23091-2 (H.273); 2 is not told.
struct ColorCodes {
    static constexpr std::uint32_t notTold = 2;

    std::uint32_t primaries = notTold;
    std::uint32_t transfer = notTold;
    std::uint32_t equations = notTold;

    friend bool operator==(const ColorCodes&, const ColorCodes&) = default;
};

/// The interface lines that the first line of each field lies on; the second is 0 for progressive pictures.
struct LineMap {
    std::int32_t first = 0;
    std::int32_t second = 0;

    friend bool operator==(const LineMap&, const LineMap&) = default;
};

/// A picture as it is coded. Heights are in lines of a frame; the descriptor tells those of a field where
/// fields are coded apart.
struct PictureDescription {
    static constexpr std::uint8_t sitedTogether = 0;
    static constexpr std::uint8_t sitedLineAlternating = 5;
    static constexpr std::uint8_t sitedBetweenLines = 6;

    std::uint32_t storedWidth = 0;
    std::uint32_t storedHeight = 0;   // whole coding blocks
    std::uint32_t sampledHeight = 0;  // 0: as displayHeight
    std::uint32_t displayWidth = 0;   // 0: as storedWidth
    std::uint32_t displayHeight = 0;
    std::int32_t displayYOffset = 0;  // lines of a field or frame as stored
    bool isInterlaced = false;
    bool isBottomFieldFirst = false;
    std::uint32_t aspectX = 0;  // of the whole picture; 0 not told
    std::uint32_t aspectY = 0;
    std::uint32_t depth = 8;
    std::uint32_t horizontalSubsampling = 2;
    std::uint32_t verticalSubsampling = 1;
    std::uint32_t alphaDepth = 0;  // 0: no alpha
    std::optional<std::uint8_t> siting = sitedTogether;
    bool isFullRange = false;
    ColorCodes color;
    std::optional<LineMap> lineMap;  // where it differs from the raster's own

    /// Tells the aspect of pictures of @p width by @p height, in the shape of their samples, in smallest
    /// numbers; what is within 4 % of 16:9 or 4:3 is meant to be that. Nothing is told where a number is 0 or
    /// above 32,767.
    void setAspect(std::uint32_t width, std::uint32_t height, std::uint32_t sampleX = 1,
                   std::uint32_t sampleY = 1);
    /// Width and height of the format where the coded picture told none.
    void fallBackTo(const StreamFormat& format);
    LineMap lines() const;
    std::uint8_t signalStandard() const;
    /// The format's aspect ratio when it has one, else the coded picture's, else 16:9 above 608 lines and 4:3
    /// below.
    Rational aspectRatio(const StreamFormat& format) const;
    /// The colours told; those not told are 709 above 608 lines, else 601 with 625 or 525 lines.
    ColorCodes fullColor() const;
    /// Every picture property of @p descriptor, which is a CDCIEssenceDescriptor or extends it.
    void describe(MetadataSet& descriptor, const StreamFormat& format) const;

private:
    void describeSizes(MetadataSet& descriptor) const;
    void describeComponents(MetadataSet& descriptor) const;
    void describeColor(MetadataSet& descriptor) const;
};

}  // namespace zenquor::mxf::detail
