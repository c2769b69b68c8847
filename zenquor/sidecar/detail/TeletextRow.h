#pragma once
// One row of a teletext page, with its spacing attributes carried out.

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "zenquor/sidecar/detail/TeletextPage.h"

namespace zenquor::detail {

/// In the place of a character that arrived with wrong parity; shown as a space.
inline constexpr std::uint8_t teletextDamaged = 0x80;

/// What a row of a page shows.
///
/// Standards: ETSI EN 300 706, 12.2.
class TeletextRow {
public:
    using Codes = std::array<std::uint8_t, TeletextPage::columnCount>;
    using Characters = std::array<char16_t, TeletextPage::columnCount>;

    /// @param enhancements  characters that stand over those of @p codes, 0 for none.
    TeletextRow(const Codes& codes, const Characters& enhancements, bool boxesOnly,
                std::uint32_t characterSet);

    bool isBlank() const;
    bool isDoubleHeight() const { return doubleHeight_; }
    bool hasTextOutsideBoxes() const { return textOutsideBoxes_; }
    /// The visible text with its place. A run of spaces of which control codes are a part becomes one space.
    TeletextPicture::Row text(int row) const;

private:
    struct Attributes {
        std::uint8_t colour = 7;
        bool boxed = false;
        bool concealed = false;
        bool mosaics = false;
        bool doubleHeight = false;
        bool doubleWidth = false;
    };

    static void applyAtCode(std::uint8_t code, Attributes& attributes);
    static void applyAfterCode(std::uint8_t code, Attributes& attributes);
    void show(std::size_t column, char16_t character, const Attributes& attributes, bool boxesOnly);

    Characters shown_;
    std::array<std::uint8_t, TeletextPage::columnCount> colours_{};
    std::array<bool, TeletextPage::columnCount> isControl_{};
    std::array<bool, TeletextPage::columnCount> isCovered_{};  // by the right half of the character before
    bool doubleHeight_ = false;
    bool textOutsideBoxes_ = false;
};

}  // namespace zenquor::detail
