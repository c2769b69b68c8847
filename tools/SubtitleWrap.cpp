#include "SubtitleWrap.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace zenquor::tools {
namespace {

using Rows = std::vector<std::u16string>;

constexpr char16_t endBox = 0x0A, startBox = 0x0B, white = 7;
constexpr int boxCodes = 2;

bool isColour(char16_t c) {
    return c <= white;
}

bool isSeparator(char16_t c) {
    return c == u' ' || isColour(c);
}

bool isBox(char16_t c) {
    return c == startBox || c == endBox;
}

std::u16string withoutBoxes(std::u16string text) {
    std::erase_if(text, isBox);
    return text;
}

/// Fills rows word by word. A colour code is a space that has a colour, and takes a column like one.
class RowFiller {
public:
    explicit RowFiller(std::size_t columns) : columns_(columns) {}

    void addLine(std::u16string_view line) {
        colour_ = white;
        for (std::size_t at = 0; at < line.size();) {
            if (isColour(line[at])) colour_ = line[at];
            if (isSeparator(line[at])) {
                ++at;
                continue;
            }
            std::size_t end = at;
            while (end < line.size() && !isSeparator(line[end])) ++end;
            addWord(line.substr(at, end - at));
            at = end;
        }
    }
    void endRow() {
        if (!row_.empty()) rows_.push_back(std::move(row_));
        row_.clear();
    }
    const Rows& rows() const { return rows_; }

private:
    void addWord(std::u16string_view word) {
        if (!row_.empty() && row_.size() + 1 + word.size() > columns_) endRow();
        if (row_.empty()) shown_ = white;
        if (colour_ != shown_) {
            row_ += colour_;
        } else if (!row_.empty()) {
            row_ += u' ';
        }
        shown_ = colour_;
        while (row_.size() + word.size() > columns_) {
            const std::size_t taken = columns_ - row_.size();
            row_ += word.substr(0, taken);
            word.remove_prefix(taken);
            endRow();
            if (colour_ != white) row_ += colour_;
        }
        row_ += word;
    }

    std::size_t columns_;
    Rows rows_;
    std::u16string row_;
    char16_t colour_ = white;  // of the text
    char16_t shown_ = white;   // of the row so far
};

Rows fill(const ZQRSubtitleLineList& lines, std::size_t columns, bool runsOn) {
    RowFiller filler(columns);
    for (const auto& line : lines) {
        if (!runsOn) filler.endRow();
        filler.addLine(withoutBoxes(line->string()));
    }
    filler.endRow();
    return filler.rows();
}

ZQRSubtitleLineList linesOf(const Rows& rows, bool boxed) {
    ZQRSubtitleLineList lines;
    for (const auto& row : rows) {
        auto text = row;
        if (boxed) {
            text = ZQRSubtitleLine::prependControlCharacter(startBox, boxCodes, text);
            text = ZQRSubtitleLine::appendControlCharacter(endBox, boxCodes, text);
        }
        lines.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    }
    return lines;
}

}  // namespace

void wrapRows(const ZQRSubtitleBlockList& blocks, std::int32_t columns, std::int32_t rows) {
    // A row holds a code and a character at least.
    const auto width = static_cast<std::size_t>(std::max(columns, 2));
    for (const auto& block : blocks) {
        const auto lines = block->lines();
        const auto isTooLong = [&](const auto& line) { return withoutBoxes(line->string()).size() > width; };
        if (!std::ranges::any_of(lines, isTooLong)) continue;
        Rows filled = fill(lines, width, false);
        if (filled.size() > static_cast<std::size_t>(std::max(rows, 0))) filled = fill(lines, width, true);
        const auto gained = static_cast<std::int32_t>(filled.size()) - block->numberOfLines();
        block->setLines(linesOf(filled, lines[0]->containsCharacter(startBox)));
        block->setVerticalPosition(std::max(1, block->verticalPosition() - gained));
    }
}

}  // namespace zenquor::tools
