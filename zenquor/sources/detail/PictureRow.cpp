#include "zenquor/sources/detail/PictureRow.h"

#include <algorithm>

#include "zenquor/platform/PixelBuffer.h"

namespace zenquor::detail {
namespace {

constexpr std::size_t v210GroupPixels = 6;
constexpr std::size_t v210GroupBytes = 16;

void writeLE32(std::uint8_t* out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// 8 bits of a 10-bit level, rounded.
std::uint8_t eightBits(std::uint16_t level) {
    return static_cast<std::uint8_t>(std::min(255, (level + 2) >> 2));
}

}  // namespace

PictureRow::PictureRow(std::size_t width)
    : y_(width, videoBlack.y), cb_((width + 1) / 2, videoBlack.cb), cr_((width + 1) / 2, videoBlack.cr) {}

void PictureRow::fill(std::size_t from, std::size_t to, VideoColor color) {
    to = std::min(to, width());
    for (std::size_t x = from; x < to; ++x) {
        y_[x] = color.y;
        if (x % 2 == 1) continue;
        cb_[x / 2] = color.cb;
        cr_[x / 2] = color.cr;
    }
}

void PictureRow::blendLuma(std::size_t x, std::uint16_t y, std::uint32_t coverage) {
    if (x >= width()) return;
    y_[x] = static_cast<std::uint16_t>((y_[x] * (256 - coverage) + y * coverage + 128) >> 8);
}

std::vector<std::uint8_t> PictureRow::packed(FourCC pixelFormat) const {
    if (pixelFormat == platform::pixelFormat2vuy) {
        std::vector<std::uint8_t> bytes((width() + 1) / 2 * 4);
        for (std::size_t x = 0; x < width(); ++x) {
            bytes[x * 2] = eightBits(x % 2 == 0 ? cb_[x / 2] : cr_[x / 2]);
            bytes[x * 2 + 1] = eightBits(y_[x]);
        }
        return bytes;
    }
    std::vector<std::uint8_t> bytes((width() + v210GroupPixels - 1) / v210GroupPixels * v210GroupBytes);
    // The stream of samples is Cb Y Cr Y …, three to a 32-bit word from its lowest bits up.
    const auto sample = [&](std::size_t i) -> std::uint32_t {
        const std::size_t x = i / 2;
        if (x >= width()) return 0;
        return i % 2 == 1 ? y_[x] : x % 2 == 0 ? cb_[x / 2] : cr_[x / 2];
    };
    for (std::size_t word = 0; word < bytes.size() / 4; ++word) {
        const std::size_t first = word * 3;
        writeLE32(bytes.data() + word * 4, sample(first) | sample(first + 1) << 10 | sample(first + 2) << 20);
    }
    return bytes;
}

}  // namespace zenquor::detail
