#pragma once
// Edit rates as exact numbers.

#include <cstdint>
#include <optional>

#include "zenquor/mxf/FileReport.h"

namespace zenquor::mxf::detail {

/// The exact rate behind edit units per second in floating point: 23.976 and 23.98 are 24000/1001, 29.97 is
/// 30000/1001, 25 is 25/1; others are told in thousandths. @return nothing for a rate that is not positive or
/// beyond 1000.
std::optional<Rational> exactEditRate(double unitsPerSecond);

/// Labels of one second: 24, 25, 30, 50, 60; the rate rounded up.
std::uint16_t timecodeBase(Rational editRate);

}  // namespace zenquor::mxf::detail
