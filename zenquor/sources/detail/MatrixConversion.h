#pragma once
// Y'CbCr of one matrix into that of another.

#include <cstdint>

#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/PixelBuffer.h"

namespace zenquor::detail {

/// Re-codes pictures between the matrices of ITU-R 601, 709 and 2020 and SMPTE 240M. R'G'B' stays what it
/// was; primaries and transfer functions are not touched.
///
/// Thread-safety: Safe; immutable.
class MatrixConversion {
public:
    MatrixConversion(platform::YCbCrMatrix from, platform::YCbCrMatrix to);

    /// Converts rows @p top up to, not including, @p bottom of a '2vuy' or v210 picture in place.
    void apply(platform::PixelBuffer& picture, std::uint32_t top, std::uint32_t bottom) const;

private:
    struct Pair {
        std::int32_t y0, y1, cb, cr;
    };
    Pair convert(Pair pair, std::int32_t chromaZero, std::int32_t largest) const;
    void applyToV210(std::uint8_t* row, std::uint32_t width) const;

    // In 1/16384; luma takes from chroma, and the chroma components from each other.
    std::int32_t yFromCb_, yFromCr_, cbFromCb_, cbFromCr_, crFromCb_, crFromCr_;
};

}  // namespace zenquor::detail
