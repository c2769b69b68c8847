#pragma once
// The headers in front of an MPEG-2 picture's slices (ISO/IEC 13818-2, 6.2).

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "zenquor/mxf/detail/GOPStatistics.h"
#include "zenquor/mxf/detail/PictureDescription.h"

namespace zenquor::mxf::detail {

struct MPEG2Sequence {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint8_t aspectCode = 0;  // 1 square pixels, 2 4:3, 3 16:9, 4 2.21:1
    std::uint32_t bitRate = 0;    // bits per second
    std::uint8_t profileAndLevel = 0;
    bool isProgressive = false;
    std::uint8_t chromaFormat = 1;  // 1 4:2:0, 2 4:2:2, 3 4:4:4
    bool isLowDelay = false;
    ColorCodes color;
};

struct MPEG2Picture {
    std::optional<MPEG2Sequence> sequence;
    bool startsGroup = false;    // a group header stands in front
    bool isClosedGroup = false;  // as that header says
    std::uint16_t temporalReference = 0;
    PictureType type = PictureType::I;
    bool isFramePicture = true;
    bool isTopFieldFirst = true;
    bool isProgressiveFrame = false;

    /// Reads up to the first slice; of two field pictures the first. @return nothing when there is no picture
    /// with a slice,
    /// @p why then tells in a sentence.
    static std::optional<MPEG2Picture> read(std::span<const std::uint8_t> sample, std::string& why);
};

}  // namespace zenquor::mxf::detail
