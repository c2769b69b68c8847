#include "zenquor/mxf/detail/UL.h"

#include <algorithm>

namespace zenquor::mxf::detail {

UL UL::read(const std::uint8_t* p) {
    UL label;
    std::copy_n(p, label.bytes.size(), label.bytes.begin());
    return label;
}

std::string UL::text() const {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size() + 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i != 0 && i % 4 == 0) text.push_back('.');
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 15]);
    }
    return text;
}

}  // namespace zenquor::mxf::detail
