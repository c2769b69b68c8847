#include "zenquor/platform/detail/PlainPixelKernels.h"

#include <algorithm>

namespace zenquor::platform::detail {
namespace plain {
namespace {

// v210 words are little-endian on every machine.
inline std::uint32_t readWord(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
inline void writeWord(std::uint8_t* p, std::uint32_t word) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(word >> (8 * i));
}
// Sample @p i of a row in the order Cb Y Cr Y.
inline std::uint32_t sampleAt(const std::uint8_t* v210, std::size_t i) {
    return readWord(v210 + i / 3 * 4) >> (10 * (i % 3)) & 0x3FF;
}
inline std::uint8_t toEightBits(std::uint32_t sample) {
    return static_cast<std::uint8_t>(std::min<std::uint32_t>((sample + 2) >> 2, 255));
}
inline std::uint8_t mix(std::uint32_t first, std::uint32_t second, ChromaWeight weight) {
    switch (weight) {
        case ChromaWeight::ThreeToOne:
            return static_cast<std::uint8_t>((3 * first + second + 2) >> 2);
        case ChromaWeight::OneToThree:
            return static_cast<std::uint8_t>((first + 3 * second + 2) >> 2);
        default:
            return static_cast<std::uint8_t>((first + second + 1) >> 1);
    }
}
// Writes a row of words, asking @p sample for each of the row's samples in the order Cb Y Cr Y.
template <typename Sample>
void writeV210(std::uint8_t* v210, std::size_t width, const Sample& sample) {
    const std::size_t samples = (width + 1) / 2 * 4;
    const std::size_t words = (samples + 11) / 12 * 4;
    for (std::size_t word = 0; word < words; ++word) {
        std::uint32_t value = 0;
        for (std::size_t part = 0; part < 3; ++part) {
            const std::size_t i = word * 3 + part;
            if (i < samples) value |= static_cast<std::uint32_t>(sample(i)) << (10 * part);
        }
        writeWord(v210 + word * 4, value);
    }
}
void copyLuma(const std::uint8_t* uyvy, std::uint8_t* y, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) y[i] = uyvy[i * 2 + 1];
}

}  // namespace

void v210To2vuy(const std::uint8_t* v210, std::uint8_t* uyvy, std::size_t width) {
    const std::size_t samples = (width + 1) / 2 * 4;
    for (std::size_t i = 0; i < samples; ++i) uyvy[i] = toEightBits(sampleAt(v210, i));
}

void uyvyToV210(const std::uint8_t* uyvy, std::uint8_t* v210, std::size_t width) {
    writeV210(v210, width, [&](std::size_t i) { return uyvy[i] << 2; });
}

void v210ToPlanar10(const std::uint8_t* v210, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width) {
    for (std::size_t x = 0; x < width; ++x) y[x] = static_cast<std::uint16_t>(sampleAt(v210, x * 2 + 1));
    for (std::size_t x = 0; x < (width + 1) / 2; ++x) {
        cb[x] = static_cast<std::uint16_t>(sampleAt(v210, x * 4));
        cr[x] = static_cast<std::uint16_t>(sampleAt(v210, x * 4 + 2));
    }
}

void uyvyToPlanar10(const std::uint8_t* uyvy, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width) {
    for (std::size_t x = 0; x < width; ++x) y[x] = static_cast<std::uint16_t>(uyvy[x * 2 + 1] << 2);
    for (std::size_t x = 0; x < (width + 1) / 2; ++x) {
        cb[x] = static_cast<std::uint16_t>(uyvy[x * 4] << 2);
        cr[x] = static_cast<std::uint16_t>(uyvy[x * 4 + 2] << 2);
    }
}

void planar10ToV210(const std::uint16_t* y, const std::uint16_t* cb, const std::uint16_t* cr,
                    std::uint8_t* v210, std::size_t width) {
    writeV210(v210, width, [&](std::size_t i) -> std::uint32_t {
        if (i % 2 == 1) return i / 2 < width ? y[i / 2] & 0x3FF : 0;
        const std::uint16_t* const chroma = i % 4 == 0 ? cb : cr;
        return chroma[i / 4] & 0x3FF;
    });
}

void uyvyToSemiPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                      std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cbcr, std::size_t width) {
    copyLuma(first, firstY, width);
    copyLuma(second, secondY, width);
    for (std::size_t i = 0; i < (width + 1) / 2 * 2; ++i) cbcr[i] = mix(first[i * 2], second[i * 2], weight);
}

void uyvyToPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                  std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cb, std::uint8_t* cr,
                  std::size_t width) {
    copyLuma(first, firstY, width);
    copyLuma(second, secondY, width);
    for (std::size_t i = 0; i < (width + 1) / 2; ++i) {
        cb[i] = mix(first[i * 4], second[i * 4], weight);
        cr[i] = mix(first[i * 4 + 2], second[i * 4 + 2], weight);
    }
}

void uyvyToPlanar422(const std::uint8_t* uyvy, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                     std::size_t width) {
    copyLuma(uyvy, y, width);
    for (std::size_t i = 0; i < (width + 1) / 2; ++i) {
        cb[i] = uyvy[i * 4];
        cr[i] = uyvy[i * 4 + 2];
    }
}

void argbToPlanarRGB10(const std::uint8_t* argb, std::uint16_t* red, std::uint16_t* green,
                       std::uint16_t* blue, std::size_t width) {
    const auto widen = [](std::uint32_t v) { return static_cast<std::uint16_t>(v << 2 | v >> 6); };
    for (std::size_t i = 0; i < width; ++i, argb += 4) {
        red[i] = widen(argb[1]);
        green[i] = widen(argb[2]);
        blue[i] = widen(argb[3]);
    }
}

}  // namespace plain

const PixelKernels& plainPixelKernels() {
    static constexpr PixelKernels kernels = {
        plain::v210To2vuy,     plain::uyvyToV210,      plain::v210ToPlanar10,
        plain::uyvyToPlanar10, plain::planar10ToV210,  plain::uyvyToSemiPlanar,
        plain::uyvyToPlanar,   plain::uyvyToPlanar422, plain::argbToPlanarRGB10};
    return kernels;
}

}  // namespace zenquor::platform::detail
