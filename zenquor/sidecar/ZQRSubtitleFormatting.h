#pragma once
// A run of coloured characters in a subtitle.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// A colour over characters of a block, counted through all its lines laid end to end, without line
/// separators.
///
/// Thread-safety: the range may be read and written by several threads; type and colour never change.
class ZQRSubtitleFormatting final : public ZQObject {
public:
    static constexpr std::int32_t typeColour = 0;

    /// UTF-16 code units. Aligned so that the pair is read and written in one go.
    struct alignas(8) Range {
        std::uint32_t location = 0;
        std::uint32_t length = 0;
        friend constexpr bool operator==(const Range&, const Range&) = default;
    };

    /// @param colour  as the file names it, UTF-8.
    static std::shared_ptr<ZQRSubtitleFormatting> formatting(std::int32_t type, std::string colour,
                                                             Range range) {
        return std::shared_ptr<ZQRSubtitleFormatting>(
            new ZQRSubtitleFormatting(type, std::move(colour), range));
    }

    std::int32_t type() const { return type_; }
    const std::string& colour() const { return colour_; }
    Range range() const { return range_.load(std::memory_order_relaxed); }
    void setRange(Range range) { range_.store(range, std::memory_order_relaxed); }

private:
    ZQRSubtitleFormatting(std::int32_t type, std::string colour, Range range)
        : type_(type), colour_(std::move(colour)), range_(range) {}

    std::int32_t type_;
    std::string colour_;
    std::atomic<Range> range_;
};

using ZQRSubtitleFormattingPtr = std::shared_ptr<ZQRSubtitleFormatting>;

}  // namespace zenquor
