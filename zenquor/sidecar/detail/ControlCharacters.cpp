#include "zenquor/sidecar/detail/ControlCharacters.h"

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"

namespace zenquor::detail {

std::string readableText(std::u16string_view text) {
    std::u16string readable;
    readable.reserve(text.size());
    for (const char16_t unit : text) {
        if (unit >= 0x20) {
            readable.push_back(unit);
        } else {
            const std::string name = fmt::format("[{:02X}]", static_cast<unsigned>(unit));
            readable.append(name.begin(), name.end());
        }
    }
    return utf8FromUTF16(readable);
}

}  // namespace zenquor::detail
