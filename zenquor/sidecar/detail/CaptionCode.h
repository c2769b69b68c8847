#pragma once
// What a reader of line 21 has to know about a byte pair. ZQRVANCCEA608Packet names pairs for logs and senders;
// here the two extended character sets and unassigned codes are told apart as well.

#include <cstdint>

namespace zenquor::detail {

/// The seven colours of the standard, then black of the extended attributes.
enum class CaptionColour : std::uint8_t { White, Green, Blue, Cyan, Red, Yellow, Magenta, Black };

/// A pair that is no null.
///
/// Standards: CEA-608-E.
struct CaptionCode {
    enum Kind : std::uint8_t {
        Characters,    ///< first and second are codes of the basic set; 0 is none
        ExtendedData,  ///< start, continuation or end of extended data
        Address,       ///< row, column, colour
        MidRow,        ///< first is the style, 7 for italics in the colour that is
        Background,    ///< also double size and other things without influence on the text
        BlackText,
        Tab,      ///< column is the distance
        Special,  ///< first is the index in the special set
        West,     ///< first is the index in the Spanish and French set, replaces a character
        East,     ///< first is the index in the Portuguese, German and Danish set, replaces a character
        Control,  ///< first is the code, 0 to 15
        Unknown,
    };

    Kind kind = Unknown;
    std::uint8_t first = 0;
    std::uint8_t second = 0;
    std::uint8_t row = 0;  ///< from 1
    std::uint8_t column = 0;
    CaptionColour colour = CaptionColour::White;

    /// @param pair  without parity, not 0.
    static CaptionCode codeOf(std::uint16_t pair);
};

}  // namespace zenquor::detail
