#include "zenquor/mxf/detail/LocalSet.h"

#include <limits>

namespace zenquor::mxf::detail {

std::uint64_t LocalSetReader::nextBERLength() {
    const std::uint8_t first = in_.get8();
    if (first < 0x80) return first;
    const std::size_t count = first & 0x7F;
    if (count == 0 || count > 8) return std::numeric_limits<std::uint64_t>::max();
    std::uint64_t length = 0;
    for (std::size_t i = 0; i < count; ++i) length = length << 8 | in_.get8();
    return length;
}

std::uint64_t LocalSetReader::nextLength() {
    switch (coding_ & 0x60) {
        case 0x20:
            return in_.get8();
        case 0x40:
            return in_.get16();
        case 0x60:
            return in_.get32();
        default:
            return nextBERLength();
    }
}

std::optional<LocalSetReader::Item> LocalSetReader::next() {
    if (broken_ || in_.left() == 0) return std::nullopt;
    Item item;
    item.tag = in_.get16();
    const std::uint64_t length = nextLength();
    if (in_.isBroken() || length > in_.left()) {
        broken_ = true;
        return std::nullopt;
    }
    item.value = in_.get(static_cast<std::size_t>(length));
    return item;
}

}  // namespace zenquor::mxf::detail
