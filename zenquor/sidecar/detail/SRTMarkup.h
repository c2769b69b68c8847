#pragma once
// The tags inside the text lines of an SRT block.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor::detail {

/// Takes the tags of one block out of its lines and gives their meaning to the block.
class SRTMarkup {
public:
    /// @param rowsPerLine  what the row of a line tag is multiplied by: 2 for double height.
    SRTMarkup(ZQRSubtitleBlock& block, std::int32_t rowsPerLine) : block_(block), rowsPerLine_(rowsPerLine) {}

    /// Every line of the block; runs that are left open end with the block. A line keeps its first tag that
    /// is not understood, which is logged, and all that follows it.
    void apply();

private:
    void applyToLine(ZQRSubtitleLine& line);
    /// @param position  of the tag in the block.
    /// @return for a tag that is not understood what to name in the log, otherwise nothing.
    std::optional<std::string> unsupportedPartOfTag(std::u16string_view tag, std::size_t position);
    void placeBlock(std::u16string_view row);

    ZQRSubtitleBlock& block_;
    std::int32_t rowsPerLine_;
    std::size_t lineOffset_ = 0;
    bool isPlaced_ = false;
};

/// The value in double quotes after @p name and "=" in a tag; nothing without one.
std::optional<std::u16string> attributeOfTag(std::u16string_view tag, std::u16string_view name);

}  // namespace zenquor::detail
