#include "zenquor/vanc/ZQRVPID.h"

#include <gtest/gtest.h>

using namespace zenquor;
using platform::ColorPrimaries;
using platform::TransferFunction;
using platform::YCbCrMatrix;

TEST(ZQRVPID, MapsCodesToTagsAndNames) {
    const auto hlg = ZQRVPID::initWithTransferCharacteristics(9, 6, false);
    EXPECT_EQ(hlg.transferFunction(), TransferFunction::ITU_R_2100_HLG);
    EXPECT_EQ(hlg.colorPrimaries(), ColorPrimaries::ITU_R_2020);
    EXPECT_EQ(hlg.yCbCrMatrix(), std::nullopt);
    EXPECT_EQ(fmt::format("{}", hlg), "VPID xfer=ITU_R_2100_HLG colo=ITU_R_2020 rng=Narrow");
    for (std::uint32_t code = 0; code < 13; ++code) {
        const auto matrix = ZQRVPID::yCbCrMatrixForCharacteristics(code);
        EXPECT_EQ(matrix.has_value(), code == 0 || code == 3 || code == 6) << code;
        EXPECT_EQ(ZQRVPID::transferFunctionForCharacteristics(code).has_value(), code < 11) << code;
        EXPECT_EQ(ZQRVPID::colorPrimariesForColorimetry(code).has_value(), code < 7) << code;
    }
    EXPECT_EQ(ZQRVPID::yCbCrMatrixForCharacteristics(3), YCbCrMatrix::SMPTE_240M_1995);
    EXPECT_EQ(ZQRVPID::nameForColorimetry(5), "P3_D65");
    EXPECT_EQ(ZQRVPID::nameForTransferCharacteristics(7), "SMPTE_ST_428_1");
}

TEST(ZQRVPID, KnowsNothingByDefaultAndTellsRangesApart) {
    EXPECT_EQ(ZQRVPID::defaultVPID().description(), "VPID xfer=Unknown colo=Unknown rng=Narrow");
    EXPECT_FALSE(ZQRVPID::initWithTransferCharacteristics(0, 0, true)
                     .isEqualToVPID(ZQRVPID::initWithTransferCharacteristics(0, 0, false)));
    constexpr std::uint32_t codes[] = {0, 9, 8, 11};
    for (std::uint32_t eotf = 0; eotf < 4; ++eotf) {
        EXPECT_EQ(ZQRVPID::transferCharacteristicsFromCEA861(eotf), codes[eotf]);
    }
}
