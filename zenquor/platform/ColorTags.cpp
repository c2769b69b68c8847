#include "zenquor/platform/ColorTags.h"

namespace zenquor::platform {

const char* nameOf(ColorPrimaries primaries) {
    switch (primaries) {
        case ColorPrimaries::ITU_R_709_2:
            return "ITU_R_709_2";
        case ColorPrimaries::EBU_3213:
            return "EBU_3213";
        case ColorPrimaries::SMPTE_C:
            return "SMPTE_C";
        case ColorPrimaries::P22:
            return "P22";
        case ColorPrimaries::DCI_P3:
            return "DCI_P3";
        case ColorPrimaries::P3_D65:
            return "P3_D65";
        case ColorPrimaries::ITU_R_2020:
            return "ITU_R_2020";
    }
    return "";
}

const char* nameOf(TransferFunction function) {
    switch (function) {
        case TransferFunction::ITU_R_709_2:
            return "ITU_R_709_2";
        case TransferFunction::EBU_3213:
            return "EBU_3213";
        case TransferFunction::SMPTE_C:
            return "SMPTE_C";
        case TransferFunction::SMPTE_240M_1995:
            return "SMPTE_240M_1995";
        case TransferFunction::UseGamma:
            return "UseGamma";
        case TransferFunction::sRGB:
            return "sRGB";
        case TransferFunction::ITU_R_2020:
            return "ITU_R_2020";
        case TransferFunction::SMPTE_ST_428_1:
            return "SMPTE_ST_428_1";
        case TransferFunction::SMPTE_ST_2084_PQ:
            return "SMPTE_ST_2084_PQ";
        case TransferFunction::ITU_R_2100_HLG:
            return "ITU_R_2100_HLG";
        case TransferFunction::Linear:
            return "Linear";
    }
    return "";
}

const char* nameOf(YCbCrMatrix matrix) {
    switch (matrix) {
        case YCbCrMatrix::ITU_R_709_2:
            return "ITU_R_709_2";
        case YCbCrMatrix::ITU_R_601_4:
            return "ITU_R_601_4";
        case YCbCrMatrix::SMPTE_240M_1995:
            return "SMPTE_240M_1995";
        case YCbCrMatrix::ITU_R_2020:
            return "ITU_R_2020";
    }
    return "";
}

const char* nameOf(FieldDetail detail) {
    switch (detail) {
        case FieldDetail::SpatialFirstLineEarly:
            return "SpatialFirstLineEarly";
        case FieldDetail::SpatialFirstLineLate:
            return "SpatialFirstLineLate";
    }
    return "";
}

}  // namespace zenquor::platform
