#include "zenquor/sidecar/detail/CaptionWindow.h"

#include <fmt/core.h>

namespace zenquor::detail {
namespace {

/// More than this at once is against the standard, and some receivers show no more.
constexpr std::size_t maximumRows = 4;

constexpr const char* colourNames[] = {"FFFFFF", "00FF00", "0000FF", "00FFFF",
                                       "FF0000", "FFFF00", "FF00FF", "000000"};

/// Collects lines, their places and their colours.
class BlockBuilder {
public:
    explicit BlockBuilder(const CaptionScreen& screen) : block_(ZQRScreenBlock::screenBlock()) {
        for (int row = 1; row <= CaptionScreen::rows; ++row) {
            if (!screen.rowIsEmpty(row)) addRow(row, screen.row(row));
        }
        block_->setVerticalPosition(rows_.front().row);
        block_->setLines(std::move(lines_));
        block_->setRows(std::move(rows_));
    }
    const ZQRScreenBlockPtr& block() const { return block_; }

private:
    void addRow(int row, const CaptionScreen::Row& cells) {
        std::u16string text;
        std::size_t first = 0;
        std::size_t visibleEnd = 0;  // of text
        for (std::size_t column = 0; column < cells.size(); ++column) {
            const auto& cell = cells[column];
            if (text.empty() && !cell.isVisible()) continue;
            if (text.empty()) first = column;
            if (cell.isVisible()) colourChanges(cell.colour, offset_ + text.size(), offset_ + visibleEnd);
            text += cell.character == 0 ? u' ' : cell.character;
            if (cell.isVisible()) visibleEnd = text.size();
        }
        text.resize(visibleEnd);
        offset_ += visibleEnd;
        colourChanges(CaptionColour::White, offset_, offset_);
        rows_.push_back({row, static_cast<std::int32_t>(first), false});
        lines_.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    }
    /// Ends the run of the colour before, where it was another, and opens the next.
    void colourChanges(CaptionColour colour, std::size_t begin, std::size_t endBefore) {
        constexpr std::int32_t type = ZQRSubtitleFormatting::typeColour;
        if (colour == colour_) return;
        if (colour_ != CaptionColour::White) block_->popFormatting(type, endBefore);
        colour_ = colour;
        if (colour == CaptionColour::White) return;
        block_->pushFormatting(ZQRSubtitleFormatting::formatting(
            type, colourNames[static_cast<std::size_t>(colour)], {static_cast<std::uint32_t>(begin), 0}));
    }

    ZQRScreenBlockPtr block_;
    ZQRSubtitleLineList lines_;
    std::vector<ZQRScreenBlock::Row> rows_;
    std::size_t offset_ = 0;
    CaptionColour colour_ = CaptionColour::White;
};

}  // namespace

void CaptionWindow::put(int row, int column, const CaptionScreen::Cell& cell, const Now& now) {
    const auto& before = screen_.cell(row, column);
    const bool changes = !before.looksLike(cell);
    const bool empties = changes && !cell.isVisible() && screen_.visibleCells() == 1;
    if (empties || (changes && dividesAtNextChange_)) end(now);
    screen_.put(row, column, cell);
    isWritten_ = isWritten_ || changes;
    beginIfVisible(now);
}

void CaptionWindow::erase(const Now& now) {
    end(now);
    screen_.clear();
}

void CaptionWindow::beginIfVisible(const Now& now) {
    if (isOpen_ || screen_.isEmpty()) return;
    isOpen_ = true;
    in_ = now.timecode;
    mode_ = now.mode;
}

void CaptionWindow::end(const Now& now) {
    dividesAtNextChange_ = false;
    isWritten_ = false;
    if (!isOpen_) return;
    isOpen_ = false;
    if (in_ == now.timecode) return;  // no viewer saw it
    const ZQRScreenBlockPtr block = BlockBuilder(screen_).block();
    block->setTimecodeIn(in_);
    block->setTimecodeOut(now.timecode);
    block->setMode(mode_);
    block->setService(now.service);
    block->setSubtitleNumber(static_cast<std::int32_t>(++now.report.blockCount));
    const std::size_t count = block->rows().size();
    if (count > maximumRows && mode_ != Mode::Text) {
        now.report.remark(
            ZQRCaptionRemark::Kind::SafeArea, in_,
            fmt::format(
                "{} rows at once on CC{}; more than {} are against the standard and may not be shown.", count,
                now.service, maximumRows));
    }
    if (now.report.blocks) now.report.blocks(block);
}

}  // namespace zenquor::detail
