#include "zenquor/mxf/detail/StartCode.h"

#include <cstring>

namespace zenquor::mxf::detail {

std::size_t nextStartCode(std::span<const std::uint8_t> bytes, std::size_t from) {
    std::size_t at = from + 2;  // of the 01 that is looked for
    while (at + 1 < bytes.size()) {
        const void* hit = std::memchr(bytes.data() + at, 1, bytes.size() - 1 - at);
        if (hit == nullptr) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - bytes.data());
        if (bytes[at - 1] == 0 && bytes[at - 2] == 0) return at + 1;
        ++at;
    }
    return bytes.size();
}

}  // namespace zenquor::mxf::detail
