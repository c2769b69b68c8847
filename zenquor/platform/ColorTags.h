#pragma once
// How the numbers of a picture become light: primaries, transfer function, Y'CbCr matrix, field order, geometry.

#include <cstdint>

namespace zenquor::platform {

enum class ColorPrimaries { ITU_R_709_2, EBU_3213, SMPTE_C, P22, DCI_P3, P3_D65, ITU_R_2020 };

enum class TransferFunction {
    ITU_R_709_2,
    EBU_3213,
    SMPTE_C,
    SMPTE_240M_1995,
    UseGamma,
    sRGB,
    ITU_R_2020,
    SMPTE_ST_428_1,
    SMPTE_ST_2084_PQ,
    ITU_R_2100_HLG,
    Linear
};

enum class YCbCrMatrix { ITU_R_709_2, ITU_R_601_4, SMPTE_240M_1995, ITU_R_2020 };

/// How the two fields of an interleaved picture lie: which of them is displayed first.
enum class FieldDetail { SpatialFirstLineEarly, SpatialFirstLineLate };

/// The part of the picture meant for display, in pixels; offsets of its centre from the picture's centre.
struct CleanAperture {
    double width = 0;
    double height = 0;
    double horizontalOffset = 0;
    double verticalOffset = 0;
    friend constexpr bool operator==(const CleanAperture&, const CleanAperture&) = default;
};

struct PixelAspectRatio {
    std::uint32_t horizontalSpacing = 1;
    std::uint32_t verticalSpacing = 1;
    friend constexpr bool operator==(const PixelAspectRatio&, const PixelAspectRatio&) = default;
};

/// The tags' names, such as "ITU_R_709_2".
const char* nameOf(ColorPrimaries primaries);
const char* nameOf(TransferFunction function);
const char* nameOf(YCbCrMatrix matrix);
const char* nameOf(FieldDetail detail);

}  // namespace zenquor::platform
