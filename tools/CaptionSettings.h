#pragma once
// What a person asked of captions: as what they are sent, and how they look.

#include <cstdint>
#include <optional>

namespace zenquor::tools {

struct CaptionSettings {
    enum class Output { CEA608, OP47 };

    Output output = Output::CEA608;
    std::int32_t channel = 1;  // 1 to 4
    bool channelWasAsked = false;
    std::optional<std::int32_t> justification;  // 0 to 3; nothing: the file's own, or centred
    std::optional<std::int32_t> rows, columns;  // nothing: what the output can show
    std::int32_t overlap = 0;                   // 0 ignore, 1 merge, 2 remove
    bool doubleHeight = false;
    bool westEuropean = false;             // send the extended character sets of CEA-608
    std::optional<std::int32_t> language;  // EBU code
    bool subtractsProgrammeStart = false;  // EBU STL: count times from the start of the programme

    std::int32_t rasterRows() const { return rows.value_or(output == Output::OP47 ? 3 : 4); }
    /// A teletext row of 40 holds two codes that open a box, two that close it and one for double height.
    std::int32_t rasterColumns() const {
        return columns.value_or(output == Output::CEA608 ? 32 : doubleHeight ? 35 : 36);
    }
};

}  // namespace zenquor::tools
