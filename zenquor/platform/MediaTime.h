#pragma once
// Exact times: a count of units of a time scale.

#include <cstdint>

#include <fmt/core.h>

namespace zenquor::platform {

/// Wide enough for the product of a time and a time scale.
__extension__ typedef __int128 WideProduct;

/// value / timescale seconds, as an exact rational. A time scale of 0 is the invalid time, which compares before all.
///
/// Thread-safety: Safe; a value.
struct MediaTime {
    std::int64_t value = 0;
    std::int32_t timescale = 0;

    static constexpr MediaTime invalid() { return {}; }
    static constexpr MediaTime zero() { return {0, 1}; }

    constexpr bool isValid() const { return timescale > 0; }
    constexpr double seconds() const { return isValid() ? static_cast<double>(value) / timescale : 0.0; }
    /// The same time counted in @p scale, rounded to the nearest unit, halves away from zero.
    constexpr MediaTime converted(std::int32_t scale) const {
        if (!isValid() || scale == timescale) return *this;
        const WideProduct product = static_cast<WideProduct>(value) * scale * 2;
        const WideProduct half = value < 0 ? -static_cast<WideProduct>(timescale) : timescale;
        return {static_cast<std::int64_t>((product + half) / (2 * static_cast<WideProduct>(timescale))), scale};
    }
    /// -1, 0 or 1 as this time is before, at or after @p other.
    constexpr int compare(const MediaTime& other) const {
        if (!isValid() || !other.isValid()) return static_cast<int>(isValid()) - static_cast<int>(other.isValid());
        const WideProduct a = static_cast<WideProduct>(value) * other.timescale;
        const WideProduct b = static_cast<WideProduct>(other.value) * timescale;
        return a < b ? -1 : a > b ? 1 : 0;
    }
    friend constexpr bool operator==(const MediaTime& a, const MediaTime& b) { return a.compare(b) == 0; }
    friend constexpr bool operator<(const MediaTime& a, const MediaTime& b) { return a.compare(b) < 0; }
    friend constexpr bool operator>(const MediaTime& a, const MediaTime& b) { return a.compare(b) > 0; }
    friend constexpr bool operator<=(const MediaTime& a, const MediaTime& b) { return a.compare(b) <= 0; }
    friend constexpr bool operator>=(const MediaTime& a, const MediaTime& b) { return a.compare(b) >= 0; }

    /// Sums and differences are exact when the time scales agree or one divides the other; otherwise they are counted
    /// in the larger scale and rounded.
    friend constexpr MediaTime operator+(const MediaTime& a, const MediaTime& b) {
        if (!a.isValid() || !b.isValid()) return invalid();
        const std::int32_t scale = a.timescale > b.timescale ? a.timescale : b.timescale;
        return {a.converted(scale).value + b.converted(scale).value, scale};
    }
    friend constexpr MediaTime operator-(const MediaTime& a, const MediaTime& b) {
        return a + MediaTime{-b.value, b.timescale};
    }
};

}  // namespace zenquor::platform

template <>
struct fmt::formatter<zenquor::platform::MediaTime> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(const zenquor::platform::MediaTime& time, Context& context) const {
        return time.isValid() ? fmt::format_to(context.out(), "{}/{}", time.value, time.timescale)
                              : fmt::format_to(context.out(), "invalid");
    }
};
