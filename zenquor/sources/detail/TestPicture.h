#pragma once
// The picture of the bars-and-tone source.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/sources/SourceFormat.h"
#include "zenquor/sources/detail/PictureRow.h"

namespace zenquor::detail {

/// Colour bars with a box of text and a black band in which a white block runs from left to right.
///
/// What never changes is drawn once into each picture's memory; draw() goes over the text and the band alone.
///
/// Thread-safety: One thread at a time.
class TestPicture {
public:
    TestPicture(const SourceFormat& format, const std::array<VideoColor, 8>& bars, std::string title);

    /// Draws what stays; for fresh memory.
    void prepare(platform::PixelBuffer& picture) const;
    /// Draws what frame @p index shows, over a prepared picture or an earlier frame.
    void draw(platform::PixelBuffer& picture, std::uint64_t index, const ZQCKTimecode& timecode) const;

    /// Rows of the band, from the first up to the last but one.
    std::uint32_t bandTop() const { return bandTop_; }
    std::uint32_t bandBottom() const { return bandBottom_; }
    /// Left edge of the block in 1/256 of a pixel; @p field counts from the recording's first.
    std::uint64_t blockPosition(std::uint64_t field) const;
    std::uint32_t fieldsPerFrame() const { return format_.interlaced ? 2 : 1; }

private:
    struct Line {
        std::uint32_t top = 0;
        std::uint32_t dot = 0;  // pixels and lines of one dot
    };

    void drawText(platform::PixelBuffer& picture, const Line& line, std::string_view text) const;
    void drawBlock(platform::PixelBuffer& picture, std::uint32_t parity, std::uint64_t field) const;
    PictureRow boxRow(std::string_view text, std::size_t dotRow, std::uint32_t dot) const;
    void copyIntoBox(platform::PixelBuffer& picture, std::uint32_t y,
                     const std::vector<std::uint8_t>& row) const;

    SourceFormat format_;
    std::string title_;
    std::vector<std::uint8_t> barsRow_;
    std::vector<std::uint8_t> blackRow_;
    std::vector<std::uint8_t> blackBoxRow_;
    std::uint32_t bandTop_ = 0;
    std::uint32_t bandBottom_ = 0;
    std::uint32_t boxLeft_ = 0;  // pixels, a multiple of 6
    std::uint32_t boxWidth_ = 0;
    std::uint32_t boxTop_ = 0;
    std::uint32_t boxBottom_ = 0;
    Line titleLine_;
    Line timecodeLine_;
    Line frameLine_;
};

}  // namespace zenquor::detail
