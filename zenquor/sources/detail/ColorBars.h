#pragma once
// The colours of the eight bars.

#include <array>

#include "zenquor/platform/ColorTags.h"
#include "zenquor/sources/detail/PictureRow.h"

namespace zenquor::detail {

/// What red and blue weigh in luma; green has the rest.
struct LumaWeights {
    double red, blue;
};
LumaWeights lumaWeights(platform::YCbCrMatrix matrix);

/// R'G'B' between 0 and 1 as video levels of a matrix.
/// @param bits  8 or 10: what the levels are rounded to; either way they are counted at 10 bits.
VideoColor videoColor(double red, double green, double blue, platform::YCbCrMatrix matrix, int bits);

/// White, yellow, cyan, green, magenta, red, blue, black.
/// @param white   amplitude of the white bar, 0 to 1.
/// @param colors  amplitude of the others.
std::array<VideoColor, 8> colorBars(double white, double colors, platform::YCbCrMatrix matrix, int bits);

}  // namespace zenquor::detail
