#pragma once
// Sequence and picture parameter sets of AVC (ITU-T H.264, 7.3.2, E.1).

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/mxf/detail/BitReader.h"
#include "zenquor/mxf/detail/PictureDescription.h"

namespace zenquor::mxf::detail {

/// The payload of a NAL unit behind its first byte without emulation prevention; at most @p most bytes of it.
std::vector<std::uint8_t> unescaped(std::span<const std::uint8_t> nal, std::size_t most);

struct AVCSequence {
    std::uint8_t profile = 0;
    std::uint8_t constraints = 0;  // the byte behind the profile: constraint flags, first on top
    std::uint8_t level = 0;
    std::uint32_t id = 0;
    std::uint32_t chromaFormat = 1;  // 0 monochrome, 1 4:2:0, 2 4:2:2, 3 4:4:4
    bool hasSeparatePlanes = false;
    std::uint32_t depth = 8;
    unsigned frameNumberBits = 4;
    std::uint32_t orderType = 0;
    unsigned orderLowBits = 4;
    bool hasNoOrderDeltas = false;  // type 1
    std::int32_t offsetForNonReference = 0;
    std::int32_t offsetForBottom = 0;
    std::vector<std::int32_t> cycleOffsets;
    std::uint32_t mostReferences = 0;
    std::uint32_t codedWidth = 0;  // whole macroblocks
    std::uint32_t codedHeight = 0;
    bool hasFramesOnly = true;
    bool isMacroblockAdaptive = false;
    std::uint32_t width = 0;  // cropped
    std::uint32_t height = 0;
    std::uint32_t sampleAspectX = 0;  // 0 not told
    std::uint32_t sampleAspectY = 0;
    bool isFullRange = false;
    ColorCodes color;
    std::uint64_t bitRate = 0;  // of the hypothetical decoder, bits per second; 0 not told
    std::optional<std::uint32_t> mostReordered;

    /// Profiles that know I pictures only, by profile or constraint flag.
    bool isIntraProfile() const;
    /// @param nal  from the NAL unit's first byte on. @return nothing when it is broken or beyond any level.
    static std::optional<AVCSequence> read(std::span<const std::uint8_t> nal);
};

struct AVCPictureParameters {
    std::uint32_t id = 0;
    std::uint32_t sequenceID = 0;
    bool hasBottomOrder = false;  // slices of frames tell the bottom field's order

    static std::optional<AVCPictureParameters> read(std::span<const std::uint8_t> nal);
};

}  // namespace zenquor::mxf::detail
