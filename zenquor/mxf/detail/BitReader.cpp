#include "zenquor/mxf/detail/BitReader.h"

#include <algorithm>

namespace zenquor::mxf::detail {

std::uint32_t BitReader::bits(unsigned count) {
    if (count > bytes_.size() * 8 - position_) {
        position_ = bytes_.size() * 8;
        broken_ = true;
        return 0;
    }
    std::uint64_t value = 0;
    for (unsigned left = count; left > 0;) {
        const unsigned offset = position_ % 8;
        const unsigned taken = std::min(left, 8 - offset);
        const unsigned byte = bytes_[position_ / 8];
        value = value << taken | ((byte >> (8 - offset - taken)) & ((1u << taken) - 1));
        position_ += taken;
        left -= taken;
    }
    return static_cast<std::uint32_t>(value);
}

void BitReader::skip(std::size_t count) {
    const std::size_t left = bytes_.size() * 8 - position_;
    broken_ = broken_ || count > left;
    position_ += std::min(count, left);
}

std::uint32_t BitReader::unsignedGolomb() {
    unsigned zeros = 0;
    while (!broken_ && !bit()) ++zeros;
    if (broken_ || zeros > 31) {
        broken_ = true;
        return 0;
    }
    return ((1u << zeros) - 1) + bits(zeros);
}

std::int32_t BitReader::signedGolomb() {
    const std::int64_t code = unsignedGolomb();
    return static_cast<std::int32_t>(code % 2 == 0 ? -(code / 2) : (code + 1) / 2);
}

}  // namespace zenquor::mxf::detail
