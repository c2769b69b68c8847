#pragma once
// The video formats of television by the names that people use for them.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace zenquor {

/// The picture size, scanning and rate that a format name such as 1080i50 stands for.
///
/// Thread-safety: Safe; a value over constant tables.
/// Standards:     ITU-R BT.601 (525, 625), SMPTE ST 296 (720), ST 274 (1080), ST 2036-1 (2160, 4320).
struct ZHLVideoFormat {
    std::string_view name;  ///< "1080i50"; the number of an interlaced format is its field rate
    std::uint32_t lines;    ///< as in the name: 525, 625, 720, 1080, 2160, 4320
    std::uint32_t width;    ///< pixels
    std::uint32_t height;   ///< active lines: 486, 576, 720 …
    std::uint32_t
        tvNorm;  ///< 0 625-line, 1 525-line, 2/3 HD, 5/6 UHD, 7/8 8K (first: 25/50 frames, second: others)
    std::uint32_t framerate;  ///< frames (not fields) per second times 100
    bool interlaced;
    std::uint32_t aspectRatio;  ///< 0 = 16:9, 1 = 4:3

    /// The format of a name, upper or lower case, with or without a dot in the rate. Interlaced formats may
    /// also be named by their frame rate (1080i25 = 1080i50), and standard definition by its active lines
    /// (576i50).
    /// @return nothing when there is no such format.
    static std::optional<ZHLVideoFormat> formatNamed(std::string_view name);
    /// All formats, smallest picture first.
    static std::span<const ZHLVideoFormat> allFormats();
};

}  // namespace zenquor
