#pragma once
// Subtitles on rows of a screen.

#include <cstdint>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::tools {

/// Breaks lines of more than @p columns between words, into as many rows as it takes, where the library would leave
/// one row too long; a word longer than a row is cut. Lines stay apart from each other where @p rows allow it,
/// otherwise they run on. Teletext colours go on with the row, boxes are made for each. Blocks whose lines
/// fit are left as they are; others move up by the rows that they gain.
void wrapRows(const ZQRSubtitleBlockList& blocks, std::int32_t columns, std::int32_t rows);

}  // namespace zenquor::tools
