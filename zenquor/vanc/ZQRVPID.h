#pragma once
// The colour description that a frame carries.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/core.h>

#include "zenquor/platform/ColorTags.h"

namespace zenquor {

/// Transfer characteristics, colorimetry and signal range of a frame, as codes.
///
/// Transfer: 0 ITU_R_709_2, 1 EBU_3213, 2 SMPTE_C, 3 SMPTE_240M_1995, 4 UseGamma, 5 sRGB, 6 ITU_R_2020,
/// 7 SMPTE_ST_428_1, 8 SMPTE_ST_2084_PQ, 9 ITU_R_2100_HLG, 10 Linear, 11 unknown. Colorimetry: 0 ITU_R_709_2,
/// 1 EBU_3213, 2 SMPTE_C, 3 P22, 4 DCI_P3, 5 P3_D65, 6 ITU_R_2020, 7 unknown.
///
/// Thread-safety: Safe; an immutable value.
/// Standards:     SMPTE ST 352 (payload identifier), CEA-861 (EOTF codes).
class ZQRVPID {
public:
    static constexpr std::uint32_t unknownTransferCharacteristics = 11;
    static constexpr std::uint32_t unknownColorimetry = 7;

    /// Everything unknown, narrow range.
    static constexpr ZQRVPID defaultVPID() {
        return {unknownTransferCharacteristics, unknownColorimetry, false};
    }
    static constexpr ZQRVPID initWithTransferCharacteristics(std::uint32_t transfer,
                                                             std::uint32_t colorimetry,
                                                             bool colorHasFullRange) {
        return {transfer, colorimetry, colorHasFullRange};
    }

    constexpr std::uint32_t transferCharacteristics() const { return transfer_; }
    constexpr std::uint32_t colorimetry() const { return colorimetry_; }
    constexpr bool colorHasFullRange() const { return fullRange_; }

    /// The tags of this description; absent where a code maps to none.
    std::optional<platform::ColorPrimaries> colorPrimaries() const {
        return colorPrimariesForColorimetry(colorimetry_);
    }
    std::optional<platform::TransferFunction> transferFunction() const {
        return transferFunctionForCharacteristics(transfer_);
    }
    std::optional<platform::YCbCrMatrix> yCbCrMatrix() const {
        return yCbCrMatrixForCharacteristics(transfer_);
    }

    constexpr bool isEqualToVPID(const ZQRVPID& other) const { return *this == other; }
    /// "VPID xfer=… colo=… rng=…".
    std::string description() const;

    static std::optional<platform::ColorPrimaries> colorPrimariesForColorimetry(std::uint32_t code);
    static std::optional<platform::TransferFunction> transferFunctionForCharacteristics(std::uint32_t code);
    /// Only the transfer codes 0, 3 and 6 have a matrix.
    static std::optional<platform::YCbCrMatrix> yCbCrMatrixForCharacteristics(std::uint32_t code);
    static std::string_view nameForTransferCharacteristics(std::uint32_t code);
    static std::string_view nameForColorimetry(std::uint32_t code);
    static std::string_view nameForColorHasFullRange(bool fullRange);
    /// The transfer code of a CEA-861 EOTF code: 0 gives 0, 1 HLG, 2 PQ, others unknown.
    static constexpr std::uint32_t transferCharacteristicsFromCEA861(std::uint32_t eotf) {
        return eotf == 0 ? 0 : eotf == 1 ? 9 : eotf == 2 ? 8 : unknownTransferCharacteristics;
    }

    friend constexpr bool operator==(const ZQRVPID&, const ZQRVPID&) = default;

private:
    constexpr ZQRVPID(std::uint32_t transfer, std::uint32_t colorimetry, bool fullRange)
        : fullRange_(fullRange), transfer_(transfer), colorimetry_(colorimetry) {}

    bool fullRange_;
    std::uint32_t transfer_;
    std::uint32_t colorimetry_;
};

}  // namespace zenquor

template <>
struct fmt::formatter<zenquor::ZQRVPID> : fmt::formatter<fmt::string_view> {
    template <typename Context>
    auto format(const zenquor::ZQRVPID& vpID, Context& context) const {
        return fmt::formatter<fmt::string_view>::format(vpID.description(), context);
    }
};
