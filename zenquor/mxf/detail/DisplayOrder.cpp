#include "zenquor/mxf/detail/DisplayOrder.h"

#include <algorithm>

namespace zenquor::mxf::detail {

std::int64_t DisplayOrder::take(std::int64_t wished) {
    const bool isReachable = wished >= lowest_ && wished < lowest_ + reach;
    const std::int64_t place =
        isReachable && !taken_[static_cast<std::size_t>(wished - lowest_)] ? wished : lowest_;
    taken_.set(static_cast<std::size_t>(place - lowest_));
    while (taken_[0]) {
        taken_ >>= 1;
        ++lowest_;
    }
    end_ = std::max(end_, place + 1);
    return place;
}

void DisplayOrder::startGroup() {
    lowest_ = end_;
    taken_.reset();
}

}  // namespace zenquor::mxf::detail
