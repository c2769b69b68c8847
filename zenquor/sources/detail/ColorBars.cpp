#include "zenquor/sources/detail/ColorBars.h"

#include <cmath>

namespace zenquor::detail {
namespace {

std::uint16_t level(double value, int bits) {
    const long steps = bits == 8 ? 1 : 4;
    return static_cast<std::uint16_t>(std::lround(value * static_cast<double>(steps)) * 4 / steps);
}

}  // namespace

LumaWeights lumaWeights(platform::YCbCrMatrix matrix) {
    switch (matrix) {
        case platform::YCbCrMatrix::ITU_R_601_4:
            return {0.299, 0.114};
        case platform::YCbCrMatrix::ITU_R_709_2:
            return {0.2126, 0.0722};
        case platform::YCbCrMatrix::SMPTE_240M_1995:
            return {0.212, 0.087};
        case platform::YCbCrMatrix::ITU_R_2020:
            return {0.2627, 0.0593};
    }
    return {0.2126, 0.0722};
}

VideoColor videoColor(double red, double green, double blue, platform::YCbCrMatrix matrix, int bits) {
    const auto [kr, kb] = lumaWeights(matrix);
    const double luma = kr * red + (1 - kr - kb) * green + kb * blue;
    const double cb = (blue - luma) / (2 * (1 - kb));
    const double cr = (red - luma) / (2 * (1 - kr));
    return {level(16 + 219 * luma, bits), level(128 + 224 * cb, bits), level(128 + 224 * cr, bits)};
}

std::array<VideoColor, 8> colorBars(double white, double colors, platform::YCbCrMatrix matrix, int bits) {
    std::array<VideoColor, 8> bars;
    bars[0] = videoColor(white, white, white, matrix, bits);
    for (std::size_t bar = 1; bar < bars.size(); ++bar) {
        const double red = bar & 2 ? 0 : colors;
        const double green = bar & 4 ? 0 : colors;
        const double blue = bar & 1 ? 0 : colors;
        bars[bar] = videoColor(red, green, blue, matrix, bits);
    }
    return bars;
}

}  // namespace zenquor::detail
