#pragma once
// What became of subtitles on their way to the screen.

#include <string>
#include <vector>

#include "CaptionStream.h"

namespace zenquor::tools {

/// Compares the subtitles that were to be shown with the blocks that a viewer saw, in order.
struct CaptionComparison {
    std::size_t wanted = 0;
    std::size_t shownAsWritten = 0;
    double worstIn = 0, meanIn = 0;        // seconds after the time asked for
    double worstOut = 0, meanOut = 0;      // likewise, when it left the screen
    std::vector<std::string> differences;  // a sentence each

    static CaptionComparison of(const std::vector<CaptionStream::Wanted>& wanted,
                                const ZQRScreenBlockList& seen);
};

}  // namespace zenquor::tools
