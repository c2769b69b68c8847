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

/// R'G'B' between 0 and 1 as 10-bit video levels of a matrix.
VideoColor videoColor(double red, double green, double blue, platform::YCbCrMatrix matrix);

/// White, yellow, cyan, green, magenta, red, blue, black.
/// @param white   amplitude of the white bar, 0 to 1.
/// @param colors  amplitude of the others.
std::array<VideoColor, 8> colorBars(double white, double colors, platform::YCbCrMatrix matrix);

}  // namespace zenquor::detail
