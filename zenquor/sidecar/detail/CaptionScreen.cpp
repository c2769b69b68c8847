#include "zenquor/sidecar/detail/CaptionScreen.h"

#include <algorithm>

namespace zenquor::detail {

bool CaptionScreen::rowIsEmpty(int row, int fromColumn) const {
    const Row& cells = this->row(row);
    return std::none_of(cells.begin() + fromColumn, cells.end(), [](const Cell& c) { return c.isVisible(); });
}

bool CaptionScreen::looksLike(const CaptionScreen& other) const {
    if (visibleCells_ != other.visibleCells_) return false;
    const auto alike = [](const Cell& a, const Cell& b) { return a.looksLike(b); };
    return std::equal(cells_.begin(), cells_.end(), other.cells_.begin(), [&](const Row& a, const Row& b) {
        return std::equal(a.begin(), a.end(), b.begin(), alike);
    });
}

void CaptionScreen::put(int row, int column, const Cell& cell) {
    Cell& place = at(row)[static_cast<std::size_t>(column)];
    visibleCells_ += int{cell.isVisible()} - int{place.isVisible()};
    place = cell;
}

void CaptionScreen::eraseRow(int row, int fromColumn) {
    for (int column = fromColumn; column < columns; ++column) put(row, column, {});
}

void CaptionScreen::roll(int top, int bottom) {
    eraseRow(top);
    std::rotate(cells_.begin() + (top - 1), cells_.begin() + top, cells_.begin() + bottom);
}

void CaptionScreen::moveRows(int count, int from, int to) {
    const CaptionScreen before = *this;
    clear();
    for (int i = 0; i < count; ++i) {
        for (int column = 0; column < columns; ++column) put(to - i, column, before.cell(from - i, column));
    }
}

}  // namespace zenquor::detail
