#include "zenquor/sources/detail/MatrixConversion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "zenquor/sources/detail/ColorBars.h"

namespace zenquor::detail {
namespace {

constexpr int fractionBits = 14;
constexpr double lumaRange = 219;
constexpr double chromaRange = 224;

std::int32_t fixedPoint(double value) {
    return static_cast<std::int32_t>(std::lround(value * (1 << fractionBits)));
}

}  // namespace

MatrixConversion::MatrixConversion(platform::YCbCrMatrix from, platform::YCbCrMatrix to) {
    const auto [fromRed, fromBlue] = lumaWeights(from);
    const auto [toRed, toBlue] = lumaWeights(to);
    const double fromGreen = 1 - fromRed - fromBlue;
    const double toGreen = 1 - toRed - toBlue;
    // What one unit of Cb or Cr adds to R', G' and B' …
    const double redOfCr = 2 * (1 - fromRed);
    const double blueOfCb = 2 * (1 - fromBlue);
    const double greenOfCb = -fromBlue * blueOfCb / fromGreen;
    const double greenOfCr = -fromRed * redOfCr / fromGreen;
    // … and those to the new luma, from which the new chroma follows.
    const double yOfCb = toGreen * greenOfCb + toBlue * blueOfCb;
    const double yOfCr = toRed * redOfCr + toGreen * greenOfCr;
    yFromCb_ = fixedPoint(yOfCb * lumaRange / chromaRange);
    yFromCr_ = fixedPoint(yOfCr * lumaRange / chromaRange);
    cbFromCb_ = fixedPoint((blueOfCb - yOfCb) / (2 * (1 - toBlue)));
    cbFromCr_ = fixedPoint(-yOfCr / (2 * (1 - toBlue)));
    crFromCb_ = fixedPoint(-yOfCb / (2 * (1 - toRed)));
    crFromCr_ = fixedPoint((redOfCr - yOfCr) / (2 * (1 - toRed)));
}

MatrixConversion::Pair MatrixConversion::convert(Pair pair, std::int32_t chromaZero,
                                                 std::int32_t largest) const {
    constexpr std::int32_t half = 1 << (fractionBits - 1);
    const std::int32_t cb = pair.cb - chromaZero;
    const std::int32_t cr = pair.cr - chromaZero;
    const std::int32_t lift = (yFromCb_ * cb + yFromCr_ * cr + half) >> fractionBits;
    const std::int32_t least = largest == 255 ? 1 : 4;  // the codes at either end belong to the interface
    const auto inside = [&](std::int32_t value) { return std::clamp(value, least, largest - least); };
    return {inside(pair.y0 + lift), inside(pair.y1 + lift),
            inside(chromaZero + ((cbFromCb_ * cb + cbFromCr_ * cr + half) >> fractionBits)),
            inside(chromaZero + ((crFromCb_ * cb + crFromCr_ * cr + half) >> fractionBits))};
}

void MatrixConversion::applyToV210(std::uint8_t* row, std::uint32_t width) const {
    for (std::uint32_t x = 0; x < width; x += 6, row += 16) {
        std::array<std::uint32_t, 4> words;
        std::memcpy(words.data(), row, 16);
        std::array<std::int32_t, 12> samples;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = static_cast<std::int32_t>(words[i / 3] >> (10 * (i % 3)) & 0x3FF);
        }
        for (std::size_t i = 0; i < samples.size(); i += 4) {
            const Pair pair =
                convert({samples[i + 1], samples[i + 3], samples[i], samples[i + 2]}, 512, 1023);
            samples[i] = pair.cb;
            samples[i + 1] = pair.y0;
            samples[i + 2] = pair.cr;
            samples[i + 3] = pair.y1;
        }
        words = {};
        for (std::size_t i = 0; i < samples.size(); ++i)
            words[i / 3] |= static_cast<std::uint32_t>(samples[i]) << (10 * (i % 3));
        std::memcpy(row, words.data(), 16);
    }
}

void MatrixConversion::apply(platform::PixelBuffer& picture, std::uint32_t top, std::uint32_t bottom) const {
    for (std::uint32_t y = top; y < std::min(bottom, picture.height()); ++y) {
        std::uint8_t* row = picture.mutableRow(y);
        if (picture.pixelFormat() == platform::pixelFormatV210) {
            applyToV210(row, picture.width());
            continue;
        }
        for (std::uint32_t x = 0; x < picture.width(); x += 2, row += 4) {
            const Pair pair = convert({row[1], row[3], row[0], row[2]}, 128, 255);
            row[0] = static_cast<std::uint8_t>(pair.cb);
            row[1] = static_cast<std::uint8_t>(pair.y0);
            row[2] = static_cast<std::uint8_t>(pair.cr);
            row[3] = static_cast<std::uint8_t>(pair.y1);
        }
    }
}

}  // namespace zenquor::detail
