#pragma once
// The raster of one caption memory: 15 rows of 32 columns.

#include <array>
#include <cstdint>

#include "zenquor/sidecar/detail/CaptionCode.h"

namespace zenquor::detail {

/// Characters with their colours. Rows count from 1, columns from 0; callers keep both on the raster.
///
/// Two pictures are the same when a viewer could not tell them apart: spaces and empty cells look alike.
class CaptionScreen {
public:
    static constexpr int rows = 15;
    static constexpr int columns = 32;

    struct Cell {
        char16_t character = 0;  ///< 0 for none
        CaptionColour colour = CaptionColour::White;

        constexpr bool isVisible() const { return character != 0 && character != u' '; }
        constexpr bool looksLike(const Cell& other) const {
            return isVisible() == other.isVisible() &&
                   (!isVisible() || (character == other.character && colour == other.colour));
        }
    };
    using Row = std::array<Cell, columns>;

    const Row& row(int number) const { return cells_[static_cast<std::size_t>(number - 1)]; }
    const Cell& cell(int row, int column) const { return this->row(row)[static_cast<std::size_t>(column)]; }
    /// How many cells show something.
    int visibleCells() const { return visibleCells_; }
    bool isEmpty() const { return visibleCells_ == 0; }
    bool rowIsEmpty(int row, int fromColumn = 0) const;
    bool looksLike(const CaptionScreen& other) const;

    void put(int row, int column, const Cell& cell);
    void eraseRow(int row, int fromColumn = 0);
    void clear() { *this = CaptionScreen(); }
    /// Moves the rows @p top to @p bottom one up; the first falls out, the last becomes empty.
    void roll(int top, int bottom);
    /// Moves the @p count rows that end with row @p from so that they end with row @p to.
    void moveRows(int count, int from, int to);

private:
    Row& at(int number) { return cells_[static_cast<std::size_t>(number - 1)]; }

    std::array<Row, rows> cells_{};
    int visibleCells_ = 0;
};

}  // namespace zenquor::detail
