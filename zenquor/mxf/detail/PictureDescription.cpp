#include "zenquor/mxf/detail/PictureDescription.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

// Rasters by their displayed lines: SMPTE ST 377-1 (VideoLineMap, SignalStandard).
struct RasterRow {
    std::uint32_t lines;
    bool isInterlaced;
    LineMap map;
    std::uint8_t standard;
};
constexpr std::uint8_t standard601 = 1, standard1358 = 2, standard274 = 4, standard296 = 5;
constexpr RasterRow rasterRows[] = {
    {1080, true, {21, 584}, standard274}, {1080, false, {42, 0}, standard274},
    {720, false, {26, 0}, standard296},   {576, true, {23, 336}, standard601},
    {576, false, {45, 0}, standard1358},  {480, true, {20, 283}, standard601},
    {480, false, {43, 0}, standard1358},  {486, true, {20, 283}, standard601},
};
constexpr std::uint32_t mostLinesOf525 = 512;
constexpr std::uint32_t mostLinesOfStandardDefinition = 608;

const RasterRow* rasterOf(const PictureDescription& picture) {
    for (const RasterRow& row : rasterRows) {
        if (row.lines == picture.displayHeight && row.isInterlaced == picture.isInterlaced) return &row;
    }
    return nullptr;
}

ColorCodes usualColor(std::uint32_t lines) {
    if (lines > mostLinesOfStandardDefinition) return {1, 1, 1};
    if (lines > mostLinesOf525) return {5, 6, 5};
    return {6, 6, 6};
}

void setLabel(MetadataSet& set, Property property, const std::optional<UL>& label) {
    if (label) set.set(property, *label);
}

}  // namespace

void PictureDescription::setAspect(std::uint32_t width, std::uint32_t height, std::uint32_t sampleX,
                                   std::uint32_t sampleY) {
    constexpr std::uint32_t largest = 32767;
    if (std::max({width, height, sampleX, sampleY}) > largest) return;
    const std::uint32_t x = width * sampleX, y = height * sampleY;
    if (x == 0 || y == 0) return;
    const std::uint32_t divisor = std::gcd(x, y);
    aspectX = x / divisor;
    aspectY = y / divisor;
    for (const Rational& usual : {Rational{16, 9}, Rational{4, 3}}) {
        const double ratio = double{1} * x * usual.denominator / (double{1} * y * usual.numerator);
        if (ratio < 0.96 || ratio > 1.04) continue;
        aspectX = static_cast<std::uint32_t>(usual.numerator);
        aspectY = static_cast<std::uint32_t>(usual.denominator);
    }
}

void PictureDescription::fallBackTo(const StreamFormat& format) {
    if (storedWidth == 0) storedWidth = format.width;
    if (storedHeight == 0) storedHeight = format.height;
    if (displayWidth == 0) displayWidth = storedWidth;
    if (displayHeight == 0) displayHeight = storedHeight;
    if (sampledHeight == 0) sampledHeight = displayHeight;
}

LineMap PictureDescription::lines() const {
    if (lineMap) return *lineMap;
    if (const RasterRow* row = rasterOf(*this)) return row->map;
    if (!isInterlaced) return {1, 0};
    return {1, static_cast<std::int32_t>(displayHeight / 2 + 1)};
}

std::uint8_t PictureDescription::signalStandard() const {
    const RasterRow* row = rasterOf(*this);
    return row == nullptr ? 0 : row->standard;
}

Rational PictureDescription::aspectRatio(const StreamFormat& format) const {
    if (format.aspectX != 0 && format.aspectY != 0) {
        return {static_cast<std::int32_t>(format.aspectX), static_cast<std::int32_t>(format.aspectY)};
    }
    if (aspectX != 0 && aspectY != 0)
        return {static_cast<std::int32_t>(aspectX), static_cast<std::int32_t>(aspectY)};
    return displayHeight > mostLinesOfStandardDefinition ? Rational{16, 9} : Rational{4, 3};
}

ColorCodes PictureDescription::fullColor() const {
    const ColorCodes usual = usualColor(displayHeight);
    ColorCodes full = color;
    if (!labels::primariesForCode(full.primaries)) full.primaries = usual.primaries;
    if (!labels::transferForCode(full.transfer)) full.transfer = usual.transfer;
    if (!labels::equationsForCode(full.equations)) full.equations = usual.equations;
    return full;
}

void PictureDescription::describe(MetadataSet& descriptor, const StreamFormat& format) const {
    describeSizes(descriptor);
    descriptor.set(Property::AspectRatio, aspectRatio(format));
    describeComponents(descriptor);
    describeColor(descriptor);
}

void PictureDescription::describeSizes(MetadataSet& descriptor) const {
    const std::uint32_t fields = isInterlaced ? 2 : 1;
    const LineMap map = lines();
    descriptor.set(Property::SignalStandard, signalStandard())
        .set(Property::FrameLayout, isInterlaced ? 1 : 0)
        .set(Property::StoredWidth, storedWidth)
        .set(Property::StoredHeight, storedHeight / fields)
        .set(Property::SampledWidth, displayWidth)
        .set(Property::SampledHeight, sampledHeight / fields)
        .set(Property::SampledXOffset, 0)
        .set(Property::SampledYOffset, 0)
        .set(Property::DisplayWidth, displayWidth)
        .set(Property::DisplayHeight, displayHeight / fields)
        .set(Property::DisplayXOffset, 0)
        .set(Property::DisplayYOffset, displayYOffset)
        .setIntegers(Property::VideoLineMap, std::array<std::int32_t, 2>{map.first, map.second});
    if (isInterlaced) descriptor.set(Property::FieldDominance, isBottomFieldFirst ? 2 : 1);
}

void PictureDescription::describeComponents(MetadataSet& descriptor) const {
    const std::uint32_t shift = depth > 8 ? depth - 8 : 0;
    descriptor.set(Property::ComponentDepth, depth)
        .set(Property::HorizontalSubsampling, horizontalSubsampling)
        .set(Property::VerticalSubsampling, verticalSubsampling)
        .set(Property::BlackRefLevel, isFullRange ? 0 : 16 << shift)
        .set(Property::WhiteReflevel, isFullRange ? (256 << shift) - 1 : 235 << shift)
        .set(Property::ColorRange, isFullRange ? 256 << shift : (224 << shift) + 1);
    if (siting) descriptor.set(Property::ColorSiting, *siting);
    if (alphaDepth != 0) descriptor.set(Property::AlphaSampleDepth, alphaDepth);
}

void PictureDescription::describeColor(MetadataSet& descriptor) const {
    const ColorCodes codes = fullColor();
    setLabel(descriptor, Property::ColorPrimaries, labels::primariesForCode(codes.primaries));
    setLabel(descriptor, Property::CaptureGamma, labels::transferForCode(codes.transfer));
    setLabel(descriptor, Property::CodingEquations, labels::equationsForCode(codes.equations));
}

}  // namespace zenquor::mxf::detail
