#pragma once
// Standard-definition pictures put where a broadcast codec has them, without scaling.

#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/codec/BroadcastCodec.h"
#include "zenquor/platform/detail/PlanarPicture.h"

namespace zenquor::platform::detail {

/// A place in a raster.
struct PicturePlace {
    RasterSize raster;
    std::uint32_t fullHeight = 0;  // rows of a whole picture: 486 or 576
    std::int32_t firstRow = 0;     // of the raster, for the first row of a whole picture
};

/// Whether a picture of @p height rows is placed as it is: a whole one, or the 480 rows of a 486-row one that
/// begin with line 285.
bool isPlacedAsItIs(std::uint32_t height, std::uint32_t fullHeight);

/// Puts pictures into a raster: rows outside of it are lost, rows without picture are black where the format
/// has lines of the blanking interval and repeat the nearest row of their field where it has none.
///
/// Thread-safety: One thread at a time.
class PicturePlacer {
public:
    PicturePlacer(const PicturePlace& place, bool isInterlaced)
        : place_(place), isInterlaced_(isInterlaced) {}

    /// Whether the picture is not in its place already.
    bool isNeededFor(const PixelBuffer& picture) const;
    /// @param placed  a '2vuy' picture of the raster's size, good until the next call. Pictures of other sizes
    ///                are scaled to a whole one first, with @p matrix between R'G'B' and Y'CbCr.
    Status place(const PixelBuffer& picture, YCbCrMatrix matrix, PixelBufferPtr& placed);

private:
    Status scaleToWhole(const PixelBuffer& picture, YCbCrMatrix matrix);
    std::int32_t firstRowOf(const PixelBuffer& picture) const;
    void placeRows(const PixelBuffer& picture);
    void placeRow(const PixelBuffer& picture, std::int32_t row, std::uint8_t* to) const;

    PicturePlace place_;
    bool isInterlaced_;
    PictureScaler scaler_;
    PixelBufferPtr whole_;
    PixelBufferPtr placed_;
};

}  // namespace zenquor::platform::detail
