#pragma once
// Sums of times in different scales, without rounding.

#include <cstdint>
#include <numeric>

#include "zenquor/platform/MediaTime.h"

namespace zenquor::platform::quicktime {

/// Numerator / denominator seconds. A denominator of 0 is "before all".
struct ExactTime {
    std::int64_t numerator = 0;
    std::int64_t denominator = 0;

    /// @p start + @p length; an invalid length counts as 0.
    static ExactTime sum(const MediaTime& start, const MediaTime& length) {
        if (!start.isValid()) return {};
        if (!length.isValid()) return {start.value, start.timescale};
        const std::int64_t common = std::lcm(std::int64_t{start.timescale}, std::int64_t{length.timescale});
        return {start.value * (common / start.timescale) + length.value * (common / length.timescale),
                common};
    }

    friend bool operator<(const ExactTime& a, const ExactTime& b) {
        __extension__ using Wide = __int128;
        if (a.denominator == 0 || b.denominator == 0) return a.denominator == 0 && b.denominator != 0;
        return static_cast<Wide>(a.numerator) * b.denominator <
               static_cast<Wide>(b.numerator) * a.denominator;
    }
};

}  // namespace zenquor::platform::quicktime
