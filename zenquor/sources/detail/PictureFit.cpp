#include "zenquor/sources/detail/PictureFit.h"

#include <algorithm>

namespace zenquor::detail {
namespace {

constexpr std::uint32_t analogLines = 486;
constexpr std::uint32_t digitalLines = 480;
// Of the 486 lines, those above the 480 that DV and MPEG keep.
constexpr std::uint32_t linesAbove = 4;

struct Ratio {
    std::uint64_t numerator, denominator;
};

/// The shape of the display. Standard definition without a pixel aspect is taken for 4:3.
Ratio displayAspect(const PictureGeometry& source) {
    const auto& pixel = source.pixelAspect;
    const bool isSquare = pixel.horizontalSpacing == pixel.verticalSpacing;
    const bool isStandardSize =
        (source.width == 720 || source.width == 704) && source.height >= 480 && source.height <= 576;
    if (isSquare && isStandardSize) return {4, 3};
    return {std::uint64_t{source.width} * pixel.horizontalSpacing,
            std::uint64_t{source.height} * pixel.verticalSpacing};
}

std::uint32_t roundedTo(std::uint64_t value, std::uint32_t step, std::uint32_t largest) {
    const std::uint64_t rounded = (value + step / 2) / step * step;
    return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(rounded, step, largest));
}

/// Lays @p fit's size into the middle, on whole groups of pixels and lines of the first field.
void centre(PictureFit& fit, const SourceFormat& format) {
    const std::uint32_t group = format.pixelFormat == platform::pixelFormatV210 ? 6 : 2;
    fit.left = (format.width - fit.width) / 2 / group * group;
    fit.top = (format.height - fit.height) / 2 / 2 * 2;
}

}  // namespace

PictureFit PictureFit::of(const PictureGeometry& source, const SourceFormat& format) {
    PictureFit fit;
    fit.sourceHeight = source.height;
    fit.width = format.width;
    fit.height = format.height;
    fit.byField = source.interlaced && format.interlaced;
    if (source.width == format.width && source.height == digitalLines && format.height == analogLines) {
        fit.top = linesAbove;
        fit.height = digitalLines;
        return fit;
    }
    if (source.width == format.width && source.height == analogLines && format.height == digitalLines) {
        fit.sourceTop = linesAbove;
        fit.sourceHeight = digitalLines;
        return fit;
    }
    const Ratio from = displayAspect(source);
    const Ratio to = format.aspectRatio == 0 ? Ratio{16, 9} : Ratio{4, 3};
    const std::uint64_t wide = from.numerator * to.denominator;
    const std::uint64_t high = to.numerator * from.denominator;
    // Pixel aspects are given in several ways; a few hundredths apart is the same display.
    const bool isSame = wide * 100 < high * 103 && high * 100 < wide * 103;
    if (!isSame && wide > high) {
        fit.height = roundedTo(format.height * high / wide, format.interlaced ? 4 : 2, format.height);
    } else if (!isSame) {
        const std::uint32_t group = format.pixelFormat == platform::pixelFormatV210 ? 6 : 2;
        fit.width = roundedTo(format.width * wide / high, group, format.width / group * group);
    }
    centre(fit, format);
    if (fit.byField && source.topFieldFirst != format.topFieldFirst()) {
        if (fit.top + fit.height + 2 > format.height) fit.height -= 2;
        fit.top += 1;
    }
    return fit;
}

bool PictureFit::isIdentity(const PictureGeometry& source, const SourceFormat& format) const {
    return source.width == format.width && source.height == format.height && left == 0 && top == 0 &&
           width == format.width && height == format.height && sourceTop == 0;
}

}  // namespace zenquor::detail
