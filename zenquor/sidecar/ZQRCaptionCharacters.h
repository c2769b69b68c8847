#pragma once
// What text CEA-608 captions can carry, and what is sent in the place of the rest.

#include <optional>
#include <string>
#include <string_view>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor {

/// Fits text to the character sets of CEA-608.
///
/// The basic and North American sets know a few accented letters only and no straight apostrophe. What they
/// lack is replaced by its nearest text: the letter without its accent, both letters of a ligature, the plain
/// form of a quotation mark, dash, space, currency or arrow, for the languages of West and Central Europe.
/// Where a viewer's decoder knows the West European sets too, what they hold stays as it is.
///
/// Characters beyond the basic set are codes, and a receiver takes a code that comes twice in succession for
/// one. Two equal ones therefore get a space between them: two notes go out as note, space, note.
///
/// Thread-safety: Safe; no state.
/// Standards:     CEA-608-E (character sets).
class ZQRCaptionCharacters {
public:
    /// What is sent for a character that the sets lack.
    struct Replacement {
        std::u16string_view text;  ///< characters of the sets; empty for marks that are left out
        bool looksAlike = false;   ///< a viewer would not notice: quotation marks, dashes, spaces
    };

    /// Whether the text can be sent as it is.
    static bool fits(std::u16string_view text, bool allowWestEuropean = false);
    /// The nearest text of a character; nothing for one that can be sent as it is or has no neighbour.
    static std::optional<Replacement> replacementFor(char16_t character, bool allowWestEuropean = false);
    /// The text with every character replaced that has a neighbour, and a space between two equal codes.
    /// Others stay; the caption output leaves them out or sends its filler.
    static std::u16string fitted(std::u16string_view text, bool allowWestEuropean = false);
    /// Fits every line of the blocks.
    static void fitBlocks(const ZQRSubtitleBlockList& blocks, bool allowWestEuropean = false);
};

}  // namespace zenquor
