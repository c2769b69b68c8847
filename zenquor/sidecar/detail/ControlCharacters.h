#pragma once
// Control characters in texts for people.

#include <string>
#include <string_view>

namespace zenquor::detail {

/// UTF-8 text in which each code unit below 0x20 stands as its number in brackets: "[0D]Hello".
std::string readableText(std::u16string_view text);

}  // namespace zenquor::detail
