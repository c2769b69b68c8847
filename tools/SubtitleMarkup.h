#pragma once
// The tags of SubRip text as people write them, beyond what the library reads.

#include <cstddef>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::tools {

struct CleanedMarkup {
    std::size_t tags = 0;     // without effect, left out
    std::size_t colours = 0;  // not understood, left out
};

/// Takes the tags for slanted, bold and underlined text and for places on the screen out of the lines. Colours,
/// by name or as "#RRGGBB", become teletext colour codes in the text where @p asTeletext says so, and nothing
/// elsewhere: the caption output sends no colours. A code takes the place of the space at which the colour changes.
/// The blocks are replaced by copies without colour runs.
CleanedMarkup cleanMarkup(ZQRSubtitleBlockList& blocks, bool asTeletext);

}  // namespace zenquor::tools
