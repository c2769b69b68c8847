#pragma once
// Row kernels between the pixel formats of the recording road, each with a plain twin that says what it
// computes.

#include <cstddef>
#include <cstdint>

namespace zenquor::platform::detail {

/// How the two luma rows that share a 4:2:0 chroma row weigh, in quarters. Frames take the mean. The chroma
/// of the top field lies nearer to its upper row, that of the bottom field nearer to its lower row (H.264
/// figure 6-2).
enum class ChromaWeight : std::uint8_t { Even, ThreeToOne, OneToThree };

/// Every kernel reads and writes the samples of @p width pixels, an odd width counting as the next even one
/// where luma and chroma share a group, and nothing beyond them; v210 rows are whole groups of 6 pixels in 16
/// bytes. 10 bits become 8 by rounding, 8 bits become 10 by two zero bits, so that 8 → 10 → 8 is lossless.
struct PixelKernels {
    void (*v210To2vuy)(const std::uint8_t* v210, std::uint8_t* uyvy, std::size_t width);
    /// Samples of the last group beyond the width are 0.
    void (*uyvyToV210)(const std::uint8_t* uyvy, std::uint8_t* v210, std::size_t width);
    void (*v210ToPlanar10)(const std::uint8_t* v210, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                           std::size_t width);
    void (*uyvyToPlanar10)(const std::uint8_t* uyvy, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                           std::size_t width);
    void (*planar10ToV210)(const std::uint16_t* y, const std::uint16_t* cb, const std::uint16_t* cr,
                           std::uint8_t* v210, std::size_t width);
    /// Two rows to 4:2:0 with Cb and Cr interleaved (NV12).
    void (*uyvyToSemiPlanar)(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                             std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cbcr,
                             std::size_t width);
    /// Two rows to 4:2:0 with Cb and Cr apart.
    void (*uyvyToPlanar)(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                         std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cb, std::uint8_t* cr,
                         std::size_t width);
    /// One row to 8-bit 4:2:2 planes.
    void (*uyvyToPlanar422)(const std::uint8_t* uyvy, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                            std::size_t width);
    /// One row of 32-bit A R G B to 10-bit planes of full range, 255 becoming 1023; alpha is dropped.
    void (*argbToPlanarRGB10)(const std::uint8_t* argb, std::uint16_t* red, std::uint16_t* green,
                              std::uint16_t* blue, std::size_t width);
};

/// The fastest kernels of this build.
const PixelKernels& pixelKernels();
/// The same results by plain loops, for machines without SSSE3 and for comparison.
const PixelKernels& plainPixelKernels();

}  // namespace zenquor::platform::detail
