#include "zenquor/platform/codec/PicturePlacer.h"

#include <cstring>

#include "zenquor/platform/detail/PixelKernels.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t wholeRows525 = 486;
constexpr std::uint32_t croppedRows525 = 480;
constexpr std::int32_t rowsCroppedAbove = 4;

void fillBlack(std::uint8_t* row, std::uint32_t width) {
    constexpr std::uint8_t black[4] = {0x80, 0x10, 0x80, 0x10};
    for (std::uint32_t x = 0; x + 1 < width; x += 2)
        std::memcpy(row + std::size_t{2} * x, black, sizeof black);
}

}  // namespace

bool isPlacedAsItIs(std::uint32_t height, std::uint32_t fullHeight) {
    return height == fullHeight || (fullHeight == wholeRows525 && height == croppedRows525);
}

bool PicturePlacer::isNeededFor(const PixelBuffer& picture) const {
    return picture.width() != place_.raster.width || picture.height() != place_.raster.height ||
           firstRowOf(picture) != 0;
}

std::int32_t PicturePlacer::firstRowOf(const PixelBuffer& picture) const {
    const bool isCropped = place_.fullHeight == wholeRows525 && picture.height() == croppedRows525;
    return place_.firstRow + (isCropped ? rowsCroppedAbove : 0);
}

Status PicturePlacer::place(const PixelBuffer& picture, YCbCrMatrix matrix, PixelBufferPtr& placed) {
    if (!placed_) {
        const Status status =
            PixelBuffer::create(place_.raster.width, place_.raster.height, pixelFormat2vuy, placed_);
        if (status != noErr) return status;
    }
    placed = placed_;
    const FourCC format = picture.pixelFormat();
    const bool isReady = picture.width() == place_.raster.width &&
                         isPlacedAsItIs(picture.height(), place_.fullHeight) &&
                         (format == pixelFormat2vuy || format == pixelFormatV210);
    if (!isReady) {
        if (const Status status = scaleToWhole(picture, matrix); status != noErr) return status;
    }
    placeRows(isReady ? picture : *whole_);
    return noErr;
}

Status PicturePlacer::scaleToWhole(const PixelBuffer& picture, YCbCrMatrix matrix) {
    const bool keepsHeight = isPlacedAsItIs(picture.height(), place_.fullHeight);
    const std::uint32_t height = keepsHeight ? picture.height() : place_.fullHeight;
    if (!whole_ || whole_->height() != height) {
        const Status status = PixelBuffer::create(place_.raster.width, height, pixelFormat2vuy, whole_);
        if (status != noErr) return status;
    }
    Libav<AVFrame> unpacked;
    PlanarPicture from;
    if (const Status status = viewOfPicture(picture, unpacked, from); status != noErr) return status;
    return scaler_.scale(from, viewOfPixelBuffer(*whole_), isInterlaced_, matrix);
}

void PicturePlacer::placeRows(const PixelBuffer& picture) {
    const bool hasBlankingLines = place_.raster.height > place_.fullHeight;
    const std::int32_t first = firstRowOf(picture);
    const auto rows = static_cast<std::int32_t>(picture.height());
    for (std::uint32_t y = 0; y < place_.raster.height; ++y) {
        std::int32_t row = static_cast<std::int32_t>(y) - first;
        std::uint8_t* const to = placed_->mutableRow(y);
        if (hasBlankingLines && (row < 0 || row >= rows)) {
            fillBlack(to, place_.raster.width);
            continue;
        }
        while (row < 0) row += 2;
        while (row >= rows) row -= 2;
        placeRow(picture, row, to);
    }
}

void PicturePlacer::placeRow(const PixelBuffer& picture, std::int32_t row, std::uint8_t* to) const {
    const std::uint32_t width = place_.raster.width;
    const std::uint8_t* const from = picture.row(static_cast<std::uint32_t>(row));
    if (picture.pixelFormat() == pixelFormatV210) return pixelKernels().v210To2vuy(from, to, width);
    std::memcpy(to, from, rowBytesForPixelFormat(pixelFormat2vuy, width));
}

}  // namespace zenquor::platform::detail
