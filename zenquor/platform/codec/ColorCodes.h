#pragma once
// Colour tags as the code points of ITU-T H.273, under FFmpeg's names.

#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

inline AVColorPrimaries libavColor(ColorPrimaries primaries) {
    constexpr AVColorPrimaries codes[] = {AVCOL_PRI_BT709,   AVCOL_PRI_BT470BG,  AVCOL_PRI_SMPTE170M,
                                          AVCOL_PRI_EBU3213, AVCOL_PRI_SMPTE431, AVCOL_PRI_SMPTE432,
                                          AVCOL_PRI_BT2020};
    return codes[static_cast<std::size_t>(primaries)];
}

/// The curves of EBU Tech 3213 and SMPTE C are that of ITU-R 709 in use; a bare gamma has no code point.
inline AVColorTransferCharacteristic libavColor(TransferFunction function) {
    constexpr AVColorTransferCharacteristic codes[] = {
        AVCOL_TRC_BT709,       AVCOL_TRC_BT709,        AVCOL_TRC_SMPTE170M, AVCOL_TRC_SMPTE240M,
        AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_IEC61966_2_1, AVCOL_TRC_BT2020_10, AVCOL_TRC_SMPTE428,
        AVCOL_TRC_SMPTE2084,   AVCOL_TRC_ARIB_STD_B67, AVCOL_TRC_LINEAR};
    return codes[static_cast<std::size_t>(function)];
}

inline AVColorSpace libavColor(YCbCrMatrix matrix) {
    constexpr AVColorSpace codes[] = {AVCOL_SPC_BT709, AVCOL_SPC_SMPTE170M, AVCOL_SPC_SMPTE240M,
                                      AVCOL_SPC_BT2020_NCL};
    return codes[static_cast<std::size_t>(matrix)];
}

}  // namespace zenquor::platform::detail
