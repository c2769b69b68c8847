#include "zenquor/sources/detail/TestPicture.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "zenquor/sources/detail/BitmapFont.h"

namespace zenquor::detail {
namespace {

// The pixels that v210 packs together; chroma pairs fit as well.
constexpr std::uint32_t groupPixels = 6;
constexpr std::uint32_t secondsPerPass = 4;
constexpr std::size_t timecodeCharacters = 11;

std::uint32_t even(std::uint32_t value) {
    return value & ~1U;
}

std::size_t byteOffset(FourCC pixelFormat, std::uint32_t x) {
    return pixelFormat == platform::pixelFormatV210 ? std::size_t{x} / groupPixels * 16 : std::size_t{x} * 2;
}

}  // namespace

TestPicture::TestPicture(const SourceFormat& format, const std::array<VideoColor, 8>& bars, std::string title)
    : format_(format), title_(std::move(title)) {
    PictureRow row(format.width);
    for (std::uint32_t x = 0; x < format.width; ++x)
        row.fill(x, x + 1, bars[std::size_t{x} * 8 / format.width]);
    barsRow_ = row.packed(format.pixelFormat);
    row.fill(0, format.width, videoBlack);
    blackRow_ = row.packed(format.pixelFormat);
    bandTop_ = even(format.height * 4 / 5);
    bandBottom_ = even(format.height * 9 / 10);

    // Dots of the timecode: three for small pictures, six to the 540 lines of the others.
    const std::uint32_t small = std::max(1U, format.height / 540) * 3;
    const std::uint32_t widest = format.width / ((timecodeCharacters + 2) * BitmapFont::advance);
    const std::uint32_t dot = std::max(1U, std::min(small * 2, widest));
    const std::uint32_t half = std::max(1U, dot / 2);
    const auto lineHeight = static_cast<std::uint32_t>(BitmapFont::height);
    const auto advance = static_cast<std::uint32_t>(BitmapFont::advance);
    const auto characters =
        static_cast<std::uint32_t>(std::max(timecodeCharacters * 2, title_.size())) / 2 + 1;
    const std::uint32_t wanted = (characters * advance * dot + groupPixels - 1) / groupPixels * groupPixels;
    boxWidth_ = std::min(wanted, format.width / groupPixels * groupPixels);
    boxLeft_ = (format.width - boxWidth_) / 2 / groupPixels * groupPixels;
    boxTop_ = even(format.height * 2 / 5);
    std::uint32_t y = boxTop_ + dot;
    titleLine_ = {y, half};
    if (!title_.empty()) y += lineHeight * half + dot;
    timecodeLine_ = {y, dot};
    y += lineHeight * dot + dot;
    frameLine_ = {y, half};
    boxBottom_ = std::min(even(y + lineHeight * half + dot + 1), bandTop_);
    blackBoxRow_ = PictureRow(boxWidth_).packed(format.pixelFormat);
}

void TestPicture::copyIntoBox(platform::PixelBuffer& picture, std::uint32_t y,
                              const std::vector<std::uint8_t>& row) const {
    if (y < boxBottom_) {
        std::memcpy(picture.mutableRow(y) + byteOffset(format_.pixelFormat, boxLeft_), row.data(),
                    row.size());
    }
}

void TestPicture::prepare(platform::PixelBuffer& picture) const {
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        const bool isBand = y >= bandTop_ && y < bandBottom_;
        const auto& row = isBand ? blackRow_ : barsRow_;
        std::memcpy(picture.mutableRow(y), row.data(), row.size());
        std::memset(picture.mutableRow(y) + row.size(), 0, picture.bytesPerRow() - row.size());
        if (y >= boxTop_) copyIntoBox(picture, y, blackBoxRow_);
    }
    if (!title_.empty()) drawText(picture, titleLine_, title_);
}

/// One row of dots of a text, centred in the box.
PictureRow TestPicture::boxRow(std::string_view text, std::size_t dotRow, std::uint32_t dot) const {
    PictureRow row(boxWidth_);
    const std::size_t textWidth = text.size() * BitmapFont::advance * dot;
    std::size_t x = textWidth < boxWidth_ ? (boxWidth_ - textWidth + dot) / 2 / 2 * 2 : 0;
    for (const char character : text) {
        const auto dots = BitmapFont::glyph(character)[dotRow];
        for (std::size_t column = 0; column < BitmapFont::width; ++column) {
            if (dots >> (BitmapFont::width - 1 - column) & 1) {
                row.fill(x + column * dot, x + (column + 1) * dot, videoWhite);
            }
        }
        x += BitmapFont::advance * dot;
    }
    return row;
}

void TestPicture::drawText(platform::PixelBuffer& picture, const Line& line, std::string_view text) const {
    for (std::uint32_t dotRow = 0; dotRow < BitmapFont::height; ++dotRow) {
        const auto bytes = boxRow(text, dotRow, line.dot).packed(format_.pixelFormat);
        for (std::uint32_t y = 0; y < line.dot; ++y)
            copyIntoBox(picture, line.top + dotRow * line.dot + y, bytes);
    }
}

std::uint64_t TestPicture::blockPosition(std::uint64_t field) const {
    const std::uint64_t fieldsPerPass =
        std::uint64_t{format_.timebase().nominalFramesPerSecond()} * fieldsPerFrame() * secondsPerPass;
    return field % fieldsPerPass * format_.width * 256 / fieldsPerPass;
}

/// Draws the block into every row of the band, or into those of one field.
void TestPicture::drawBlock(platform::PixelBuffer& picture, std::uint32_t parity, std::uint64_t field) const {
    PictureRow row(format_.width);
    const std::uint64_t left = blockPosition(field);
    const std::uint64_t right = left + std::uint64_t{format_.width} * 256 / 24;
    for (std::uint64_t x = left / 256; x * 256 < right; ++x) {
        const std::uint64_t from = std::max(left, x * 256);
        const std::uint64_t to = std::min(right, x * 256 + 256);
        row.blendLuma(static_cast<std::size_t>(x % format_.width), videoWhite.y,
                      static_cast<std::uint32_t>(to - from));
    }
    const auto bytes = row.packed(format_.pixelFormat);
    for (std::uint32_t y = bandTop_ + parity; y < bandBottom_; y += fieldsPerFrame()) {
        std::memcpy(picture.mutableRow(y), bytes.data(), bytes.size());
    }
}

void TestPicture::draw(platform::PixelBuffer& picture, std::uint64_t index,
                       const ZQCKTimecode& timecode) const {
    drawText(picture, timecodeLine_, timecode.description());
    drawText(picture, frameLine_, fmt::format("FRAME {:08}", index));
    if (!format_.interlaced) {
        drawBlock(picture, 0, index);
        return;
    }
    const std::uint32_t earlier = format_.topFieldFirst() ? 0 : 1;
    drawBlock(picture, earlier, index * 2);
    drawBlock(picture, 1 - earlier, index * 2 + 1);
}

}  // namespace zenquor::detail
