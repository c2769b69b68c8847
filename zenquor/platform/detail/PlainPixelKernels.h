#pragma once
// The row kernels as plain loops: they define the results and finish the rows of the vector kernels.

#include "zenquor/platform/detail/PixelKernels.h"

namespace zenquor::platform::detail::plain {

void v210To2vuy(const std::uint8_t* v210, std::uint8_t* uyvy, std::size_t width);
void uyvyToV210(const std::uint8_t* uyvy, std::uint8_t* v210, std::size_t width);
void v210ToPlanar10(const std::uint8_t* v210, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width);
void uyvyToPlanar10(const std::uint8_t* uyvy, std::uint16_t* y, std::uint16_t* cb, std::uint16_t* cr,
                    std::size_t width);
void planar10ToV210(const std::uint16_t* y, const std::uint16_t* cb, const std::uint16_t* cr,
                    std::uint8_t* v210, std::size_t width);
void uyvyToSemiPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                      std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cbcr, std::size_t width);
void uyvyToPlanar(const std::uint8_t* first, const std::uint8_t* second, ChromaWeight weight,
                  std::uint8_t* firstY, std::uint8_t* secondY, std::uint8_t* cb, std::uint8_t* cr,
                  std::size_t width);
void uyvyToPlanar422(const std::uint8_t* uyvy, std::uint8_t* y, std::uint8_t* cb, std::uint8_t* cr,
                     std::size_t width);
void argbToPlanarRGB10(const std::uint8_t* argb, std::uint16_t* red, std::uint16_t* green,
                       std::uint16_t* blue, std::size_t width);

}  // namespace zenquor::platform::detail::plain
