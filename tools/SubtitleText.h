#pragma once
// What a host does to the text of subtitles before it sends them.

#include <cstddef>
#include <string>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::tools {

/// Takes tags for slanted, bold and underlined text and for places on the screen out of the lines. Blocks with
/// colours keep them: the colours are counted in characters.
/// @return how many were taken out.
std::size_t removeUnsupportedMarkup(const ZQRSubtitleBlockList& blocks);

/// Turns teletext control codes into the spaces that they are shown as, and those at the ends of a line into
/// nothing; lines that are empty then go.
void removeTeletextCodes(ZQRSubtitleBlock& block);

/// Replaces what the character sets of CEA-608 lack.
/// @return what became of characters whose replacement a viewer notices, for a person; empty when none.
std::string fitCharacters(const ZQRSubtitleBlockList& blocks, bool allowWestEuropean);

}  // namespace zenquor::tools
