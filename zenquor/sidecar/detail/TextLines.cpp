#include "zenquor/sidecar/detail/TextLines.h"

#include <algorithm>

namespace zenquor::detail {

std::optional<TextLine> TextLines::next() {
    if (rest_.empty()) return std::nullopt;
    const std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
    TextLine line{rest_.substr(0, end), ++count_, false};
    rest_.remove_prefix(end);
    if (startsWith(rest_, "\r\n")) {
        rest_.remove_prefix(2);
    } else if (!rest_.empty()) {
        line.loneCarriageReturn = rest_.front() == '\r' && rest_.size() > 1;
        rest_.remove_prefix(1);
    }
    return line;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

}  // namespace zenquor::detail
