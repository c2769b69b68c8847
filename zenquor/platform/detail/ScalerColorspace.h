#pragma once
// The Y'CbCr matrices by libswscale's numbers.

extern "C" {
#include <libswscale/swscale.h>
}

#include "zenquor/platform/ColorTags.h"

namespace zenquor::platform::detail {

constexpr int scalerColorspace(YCbCrMatrix matrix) {
    switch (matrix) {
        case YCbCrMatrix::ITU_R_709_2:
            return SWS_CS_ITU709;
        case YCbCrMatrix::ITU_R_601_4:
            return SWS_CS_ITU601;
        case YCbCrMatrix::SMPTE_240M_1995:
            return SWS_CS_SMPTE240M;
        case YCbCrMatrix::ITU_R_2020:
            return SWS_CS_BT2020;
    }
    return SWS_CS_ITU709;
}

}  // namespace zenquor::platform::detail
