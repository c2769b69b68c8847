#pragma once
// One row of a picture that is drawn.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "zenquor/core/FourCC.h"

namespace zenquor::detail {

/// A colour as 10-bit video levels.
struct VideoColor {
    std::uint16_t y = 64;
    std::uint16_t cb = 512;
    std::uint16_t cr = 512;
    friend bool operator==(const VideoColor&, const VideoColor&) = default;
};

inline constexpr VideoColor videoBlack{64, 512, 512};
inline constexpr VideoColor videoWhite{940, 512, 512};

/// Pixels of one row at 10 bits, packed into '2vuy' or v210.
///
/// Thread-safety: One thread at a time.
class PictureRow {
public:
    explicit PictureRow(std::size_t width);

    std::size_t width() const { return y_.size(); }
    /// Paints pixels @p from up to, not including, @p to; clipped to the row. Chroma goes with the even
    /// pixels.
    void fill(std::size_t from, std::size_t to, VideoColor color);
    /// Paints with the weight @p coverage (0 to 256) over what is there, one pixel, luma only.
    void blendLuma(std::size_t x, std::uint16_t y, std::uint32_t coverage);
    /// The bytes of the row's pixels; whole groups of 6 pixels for v210.
    std::vector<std::uint8_t> packed(FourCC pixelFormat) const;

private:
    std::vector<std::uint16_t> y_;
    std::vector<std::uint16_t> cb_;
    std::vector<std::uint16_t> cr_;
};

}  // namespace zenquor::detail
