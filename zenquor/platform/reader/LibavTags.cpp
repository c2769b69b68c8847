#include "zenquor/platform/reader/LibavTags.h"

#include <algorithm>
#include <array>

namespace zenquor::platform::detail {
namespace {

template <typename From, typename To>
struct Pair {
    From from;
    To to;
};
template <typename From, typename To>
Pair(From, To) -> Pair<From, To>;

template <typename From, typename To, std::size_t size>
std::optional<To> lookUp(const std::array<Pair<From, To>, size>& table, From value) {
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const auto& pair) { return pair.from == value; });
    return found == table.end() ? std::nullopt : std::optional<To>(found->to);
}

constexpr std::array primariesTable{
    Pair{AVCOL_PRI_BT709, ColorPrimaries::ITU_R_709_2}, Pair{AVCOL_PRI_BT470BG, ColorPrimaries::EBU_3213},
    Pair{AVCOL_PRI_SMPTE170M, ColorPrimaries::SMPTE_C}, Pair{AVCOL_PRI_SMPTE240M, ColorPrimaries::SMPTE_C},
    Pair{AVCOL_PRI_BT2020, ColorPrimaries::ITU_R_2020}, Pair{AVCOL_PRI_SMPTE431, ColorPrimaries::DCI_P3},
    Pair{AVCOL_PRI_SMPTE432, ColorPrimaries::P3_D65},   Pair{AVCOL_PRI_EBU3213, ColorPrimaries::P22},
};

constexpr std::array transferTable{
    Pair{AVCOL_TRC_BT709, TransferFunction::ITU_R_709_2},
    Pair{AVCOL_TRC_SMPTE170M, TransferFunction::ITU_R_709_2},
    Pair{AVCOL_TRC_SMPTE240M, TransferFunction::SMPTE_240M_1995},
    Pair{AVCOL_TRC_GAMMA22, TransferFunction::UseGamma},
    Pair{AVCOL_TRC_GAMMA28, TransferFunction::UseGamma},
    Pair{AVCOL_TRC_IEC61966_2_1, TransferFunction::sRGB},
    Pair{AVCOL_TRC_BT2020_10, TransferFunction::ITU_R_2020},
    Pair{AVCOL_TRC_BT2020_12, TransferFunction::ITU_R_2020},
    Pair{AVCOL_TRC_SMPTE428, TransferFunction::SMPTE_ST_428_1},
    Pair{AVCOL_TRC_SMPTE2084, TransferFunction::SMPTE_ST_2084_PQ},
    Pair{AVCOL_TRC_ARIB_STD_B67, TransferFunction::ITU_R_2100_HLG},
    Pair{AVCOL_TRC_LINEAR, TransferFunction::Linear},
};

constexpr std::array matrixTable{
    Pair{AVCOL_SPC_BT709, YCbCrMatrix::ITU_R_709_2},
    Pair{AVCOL_SPC_BT470BG, YCbCrMatrix::ITU_R_601_4},
    Pair{AVCOL_SPC_SMPTE170M, YCbCrMatrix::ITU_R_601_4},
    Pair{AVCOL_SPC_SMPTE240M, YCbCrMatrix::SMPTE_240M_1995},
    Pair{AVCOL_SPC_BT2020_NCL, YCbCrMatrix::ITU_R_2020},
};

constexpr std::array codecTable{
    Pair{AV_CODEC_ID_H264, fourCC("avc1")},       Pair{AV_CODEC_ID_HEVC, fourCC("hvc1")},
    Pair{AV_CODEC_ID_MPEG2VIDEO, fourCC("mp2v")}, Pair{AV_CODEC_ID_DNXHD, fourCC("AVdn")},
    Pair{AV_CODEC_ID_V210, fourCC("v210")},       Pair{AV_CODEC_ID_MJPEG, fourCC("jpeg")},
    Pair{AV_CODEC_ID_AAC, fourCC("aac ")},
};

// libav's ProRes profiles in order: proxy, LT, standard, HQ, 4444, 4444 XQ.
constexpr std::array proResCodes{fourCC("apco"), fourCC("apcs"), fourCC("apcn"),
                                 fourCC("apch"), fourCC("ap4h"), fourCC("ap4x")};

}  // namespace

std::optional<ColorPrimaries> colorPrimariesFromLibav(AVColorPrimaries primaries) {
    return lookUp(primariesTable, primaries);
}
std::optional<TransferFunction> transferFunctionFromLibav(AVColorTransferCharacteristic transfer) {
    return lookUp(transferTable, transfer);
}
std::optional<YCbCrMatrix> yCbCrMatrixFromLibav(AVColorSpace matrix) {
    return lookUp(matrixTable, matrix);
}

YCbCrMatrix matrixForHeight(int height) {
    return height < 720 ? YCbCrMatrix::ITU_R_601_4 : YCbCrMatrix::ITU_R_709_2;
}

FourCC codecCode(const AVCodecParameters& parameters) {
    const auto profile = static_cast<std::size_t>(std::max(parameters.profile, 0));
    if (parameters.codec_id == AV_CODEC_ID_PRORES && profile < proResCodes.size())
        return proResCodes[profile];
    if (parameters.codec_id == AV_CODEC_ID_RAWVIDEO && parameters.format == AV_PIX_FMT_UYVY422)
        return fourCC("2vuy");
    if (parameters.codec_id == AV_CODEC_ID_DVVIDEO)
        return parameters.height == 480 ? fourCC("dvc ") : fourCC("dvcp");
    if (const auto code = lookUp(codecTable, parameters.codec_id)) return *code;
    // The tag's first character lies in its lowest byte.
    return __builtin_bswap32(parameters.codec_tag);
}

}  // namespace zenquor::platform::detail
