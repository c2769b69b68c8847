#pragma once
// The lines of a text file, numbered as an editor numbers them.

#include <cstdint>
#include <optional>
#include <string_view>

namespace zenquor::detail {

struct TextLine {
    std::string_view text;    // without its end
    std::int64_t number = 0;  // from 1, comments and empty lines included
    bool loneCarriageReturn = false;
};

/// Takes lines off a text one by one. LF, CR LF and CR end a line.
class TextLines {
public:
    explicit TextLines(std::string_view text) : rest_(text) {}

    /// Nothing at the end.
    std::optional<TextLine> next();
    /// How many were read.
    std::int64_t count() const { return count_; }

private:
    std::string_view rest_;
    std::int64_t count_ = 0;
};

inline bool startsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}
/// Such lines are skipped in every sidecar file.
inline bool isComment(std::string_view line) {
    return startsWith(line, "//");
}
inline bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
/// Without spaces and tabs at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace zenquor::detail
