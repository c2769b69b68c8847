#include "zenquor/vanc/detail/ReadableBytes.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"

namespace zenquor::detail {
namespace {

struct Range {
    char16_t first;
    char16_t last;
};
/// Characters that would not show or would disturb a line of a log.
constexpr Range unseen[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x200B, 0x200F}, {0x2028, 0x202E},
    {0x2060, 0x206F}, {0xFDD0, 0xFDEF}, {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFF},
};

bool isSeen(char16_t unit) {
    return std::ranges::none_of(unseen,
                                [&](Range range) { return unit >= range.first && unit <= range.last; });
}

}  // namespace

std::string readableBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return "none";
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    // Ill-formed parts turn into U+FFFD, which is in the table.
    if (std::ranges::all_of(utf16FromUTF8(text), isSeen)) return fmt::format("\"{}\"", text);
    return fmt::format("0x{:02x}", fmt::join(bytes, ""));
}

}  // namespace zenquor::detail
