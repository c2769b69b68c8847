#pragma once
// The places of pictures in display order while they come in stored order.

#include <bitset>
#include <cstdint>

namespace zenquor::mxf::detail {

/// Gives every stored picture a display place of its own, so that damaged numbering never gives one place twice.
class DisplayOrder {
public:
    static constexpr std::int64_t reach = 120;  // an index tells offsets of -128 to 127

    /// @param wished  the place that the essence tells; the lowest free one is given when it is taken or out of
    /// reach.
    std::int64_t take(std::int64_t wished);
    /// Nothing that is stored from here on is shown before what was stored; places left out stay so.
    void startGroup();
    std::int64_t lowestFree() const { return lowest_; }
    /// One above the highest place given.
    std::int64_t end() const { return end_; }

private:
    std::int64_t lowest_ = 0;
    std::int64_t end_ = 0;
    std::bitset<reach> taken_;  // bit n: place lowest_ + n
};

}  // namespace zenquor::mxf::detail
