#pragma once
// libav's names for colour and codecs in this system's terms.

#include <optional>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

/// Nothing for unspecified and unknown values.
std::optional<ColorPrimaries> colorPrimariesFromLibav(AVColorPrimaries primaries);
std::optional<TransferFunction> transferFunctionFromLibav(AVColorTransferCharacteristic transfer);
std::optional<YCbCrMatrix> yCbCrMatrixFromLibav(AVColorSpace matrix);
/// The matrix that a picture of unknown origin has: 601 below 720 lines, 709 from there.
YCbCrMatrix matrixForHeight(int height);

/// The sample entry code that movies use for a codec; the stream's own tag where there is no such entry.
FourCC codecCode(const AVCodecParameters& parameters);

}  // namespace zenquor::platform::detail
