#pragma once
// What a host does to the text of subtitles before it sends them.

#include <cstddef>
#include <string>
#include <string_view>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::tools {

/// The text as it is shown: a teletext control code stands where a space is. Several spaces are one, and none
/// stands at the ends.
std::u16string textWithoutCodes(std::u16string_view text);

/// Turns teletext control codes into the spaces that they are shown as, and those at the ends of a line into
/// nothing; lines that are empty then go.
void removeTeletextCodes(ZQRSubtitleBlock& block);

/// Joins letters and the accents that follow them as characters of their own, as some systems write text.
void composeAccents(const ZQRSubtitleBlockList& blocks);

/// Replaces what the character sets of CEA-608 lack.
/// @return what became of characters whose replacement a viewer notices, for a person; empty when none.
std::string fitCharacters(const ZQRSubtitleBlockList& blocks, bool allowWestEuropean);

}  // namespace zenquor::tools
