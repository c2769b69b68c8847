#pragma once
// The memory of a teletext decoder for one page, and what it shows.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor::detail {

/// What is to be seen of a page.
struct TeletextPicture {
    struct Row {
        ZQRScreenBlock::Row place;
        std::u16string text;                ///< without control codes and outer spaces
        std::vector<std::uint8_t> colours;  ///< 0 to 7, one for each code unit of the text
        friend bool operator==(const Row&, const Row&) = default;
    };
    std::vector<Row> rows;  ///< those that show something, top to bottom

    bool empty() const { return rows.empty(); }
    friend bool operator==(const TeletextPicture&, const TeletextPicture&) = default;
};

/// Rows 1 to 24 of a page with the attributes of its header.
///
/// Standards: ETSI EN 300 706, 12.2 (spacing attributes), 9.3.1.3 (control bits).
class TeletextPage {
public:
    static constexpr int rowCount = 24;
    static constexpr int columnCount = 40;

    /// Takes the control bits of the page's header; C4 empties the rows.
    void setHeader(const ZQRVANCTeletextPacket& header);
    struct RowResult {
        int parityErrors = 0;
        bool changed = false;  ///< another good character than before
    };
    /// @param row  1 to 24.
    RowResult setRow(int row, std::span<const std::uint8_t> payload);
    /// Places a character over what the row has there. Those of earlier transmissions of the row go.
    void setEnhancement(int row, int column, char16_t character);

    /// Whether both show the same as far as can be told: characters with wrong parity fit any other, unless
    /// they are the greater part.
    bool fits(const TeletextPage& other) const;
    /// Takes from @p other what is damaged here and good there. @return whether that was anything.
    bool repairFrom(const TeletextPage& other);

    TeletextPicture picture(std::uint32_t characterSet) const;
    std::uint32_t characterSet() const { return characterSet_; }
    /// Whether there is text that stands outside the boxes of a page that shows boxes only.
    bool hasTextOutsideBoxes() const;

private:
    using Codes = std::array<std::uint8_t, columnCount>;
    using Characters = std::array<char16_t, columnCount>;
    struct Row {
        Codes codes;
        Characters enhancements{};
        std::uint32_t enhancedIn = 0;  // the transmission of which they are
        Row() { codes.fill(0x20); }
    };

    bool attributesEqual(const TeletextPage& other) const;
    const Row& at(int row) const { return rows_[static_cast<std::size_t>(row - 1)]; }
    Row& at(int row) { return rows_[static_cast<std::size_t>(row - 1)]; }

    std::array<Row, rowCount> rows_;
    std::uint32_t transmission_ = 0;
    std::uint32_t characterSet_ = 0;
    bool boxesOnly_ = false;
    bool inhibited_ = false;
};

}  // namespace zenquor::detail
