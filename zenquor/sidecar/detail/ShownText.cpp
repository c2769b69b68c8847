#include "zenquor/sidecar/detail/ShownText.h"

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"

namespace zenquor::detail {

std::string shown(std::string_view text) {
    constexpr std::size_t longest = 40;
    constexpr std::size_t longestBytes = longest * 4;
    std::u16string characters = utf16FromUTF8(text.substr(0, longestBytes));
    const bool isCut = characters.size() > longest || text.size() > longestBytes;
    if (characters.size() > longest) characters.resize(longest);
    for (char16_t& character : characters) {
        if (character < 0x20) character = u'\u00B7';
    }
    return utf8FromUTF16(characters) + (isCut ? "\u2026" : "");
}

std::string counted(std::int64_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace zenquor::detail
