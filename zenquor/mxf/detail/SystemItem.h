#pragma once
// The system item at the head of every content package (SMPTE ST 385, ST 331, ST 326).

#include <cstdint>

#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

/// Writes system items: what a content package holds, its number and its timecode.
class SystemItem {
public:
    struct Timecode {
        std::int64_t startFrames = 0;  // since midnight, dropped labels counted out
        bool dropsFrames = false;
    };
    /// Which items follow in each content package.
    struct Items {
        bool picture = false;
        bool sound = false;
        bool data = false;
    };
    static constexpr UL packKey = ul(0x060E2B34, 0x02050101, 0x0D010301, 0x04010100);
    static constexpr UL metadataKey = ul(0x060E2B34, 0x02430101, 0x0D010301, 0x04010200);
    /// Bytes of the pack's value.
    static constexpr std::size_t packBytes = 57;

    /// @param container  the label of the essence container.
    SystemItem(Rational editRate, const Timecode& timecode, const Items& items, const UL& container);

    /// Appends the pack and an empty package metadata set of content package @p unit.
    void put(ByteSink& out, std::int64_t unit) const;

private:
    Timecode timecode_;
    UL container_;
    std::uint16_t base_;
    std::uint8_t bitmap_;
    std::uint8_t rateCode_;
};

}  // namespace zenquor::mxf::detail
