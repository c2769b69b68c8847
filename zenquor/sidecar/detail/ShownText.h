#pragma once
// Foreign text inside a sentence for a person.

#include <cstdint>
#include <string>
#include <string_view>

namespace zenquor::detail {

/// At most forty characters, as well-formed UTF-8, with control characters made visible.
std::string shown(std::string_view text);
/// "1 frame", "2 frames".
std::string counted(std::int64_t count, std::string_view noun);

}  // namespace zenquor::detail
