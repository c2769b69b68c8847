#include "zenquor/vanc/ZQRVPID.h"

#include <array>

#include <fmt/format.h>

namespace zenquor {
namespace {

using platform::ColorPrimaries;
using platform::TransferFunction;
using platform::YCbCrMatrix;

struct Transfer {
    std::string_view name;
    TransferFunction function;
    std::optional<YCbCrMatrix> matrix;
};
constexpr std::array<Transfer, 11> transfers = {{
    {"ITU_R_709_2", TransferFunction::ITU_R_709_2, YCbCrMatrix::ITU_R_709_2},
    {"EBU_3213", TransferFunction::EBU_3213, {}},
    {"SMPTE_C", TransferFunction::SMPTE_C, {}},
    {"SMPTE_240M_1995", TransferFunction::SMPTE_240M_1995, YCbCrMatrix::SMPTE_240M_1995},
    {"UseGamma", TransferFunction::UseGamma, {}},
    {"sRGB", TransferFunction::sRGB, {}},
    {"ITU_R_2020", TransferFunction::ITU_R_2020, YCbCrMatrix::ITU_R_2020},
    {"SMPTE_ST_428_1", TransferFunction::SMPTE_ST_428_1, {}},
    {"SMPTE_ST_2084_PQ", TransferFunction::SMPTE_ST_2084_PQ, {}},
    {"ITU_R_2100_HLG", TransferFunction::ITU_R_2100_HLG, {}},
    {"Linear", TransferFunction::Linear, {}},
}};

struct Colorimetry {
    std::string_view name;
    ColorPrimaries primaries;
};
constexpr std::array<Colorimetry, 7> colorimetries = {{
    {"ITU_R_709_2", ColorPrimaries::ITU_R_709_2},
    {"EBU_3213", ColorPrimaries::EBU_3213},
    {"SMPTE_C", ColorPrimaries::SMPTE_C},
    {"P22", ColorPrimaries::P22},
    {"DCI_P3", ColorPrimaries::DCI_P3},
    {"P3_D65", ColorPrimaries::P3_D65},
    {"ITU_R_2020", ColorPrimaries::ITU_R_2020},
}};

template <typename Table>
auto entry(const Table& table, std::uint32_t code) -> decltype(table.data()) {
    return code < table.size() ? &table[code] : nullptr;
}

}  // namespace

std::optional<ColorPrimaries> ZQRVPID::colorPrimariesForColorimetry(std::uint32_t code) {
    const auto* found = entry(colorimetries, code);
    return found ? std::optional(found->primaries) : std::nullopt;
}

std::optional<TransferFunction> ZQRVPID::transferFunctionForCharacteristics(std::uint32_t code) {
    const auto* found = entry(transfers, code);
    return found ? std::optional(found->function) : std::nullopt;
}

std::optional<YCbCrMatrix> ZQRVPID::yCbCrMatrixForCharacteristics(std::uint32_t code) {
    const auto* found = entry(transfers, code);
    return found ? found->matrix : std::nullopt;
}

std::string_view ZQRVPID::nameForTransferCharacteristics(std::uint32_t code) {
    const auto* found = entry(transfers, code);
    return found ? found->name : "Unknown";
}

std::string_view ZQRVPID::nameForColorimetry(std::uint32_t code) {
    const auto* found = entry(colorimetries, code);
    return found ? found->name : "Unknown";
}

std::string_view ZQRVPID::nameForColorHasFullRange(bool fullRange) {
    return fullRange ? "Full" : "Narrow";
}

std::string ZQRVPID::description() const {
    return fmt::format("VPID xfer={} colo={} rng={}", nameForTransferCharacteristics(transfer_),
                       nameForColorimetry(colorimetry_), nameForColorHasFullRange(fullRange_));
}

}  // namespace zenquor
