#include "zenquor/mxf/detail/EditRate.h"

#include <cmath>

namespace zenquor::mxf::detail {

std::optional<Rational> exactEditRate(double unitsPerSecond) {
    if (!(unitsPerSecond > 0) || unitsPerSecond > 1000) return std::nullopt;
    const double whole = std::round(unitsPerSecond);
    if (whole >= 1 && std::abs(unitsPerSecond - whole) < 1e-4)
        return Rational{static_cast<std::int32_t>(whole), 1};
    // Rates written with two digits are up to 0.005 off; the next fraction that means something else is farther.
    const double nominal = std::ceil(unitsPerSecond);
    if (std::abs(unitsPerSecond * 1.001 - nominal) < 0.01)
        return Rational{static_cast<std::int32_t>(nominal) * 1000, 1001};
    const auto thousandths = static_cast<std::int32_t>(std::round(unitsPerSecond * 1000));
    if (thousandths < 1) return std::nullopt;
    return Rational{thousandths, 1000};
}

std::uint16_t timecodeBase(Rational editRate) {
    if (editRate.numerator <= 0 || editRate.denominator <= 0) return 0;
    return static_cast<std::uint16_t>((editRate.numerator + editRate.denominator - 1) / editRate.denominator);
}

}  // namespace zenquor::mxf::detail
