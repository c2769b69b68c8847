#include "zenquor/platform/codec/PictureConverter.h"

#include <algorithm>

#include "zenquor/platform/codec/CodecContext.h"
#include "zenquor/platform/codec/ColorCodes.h"
#include "zenquor/platform/detail/PixelKernels.h"

namespace zenquor::platform::detail {
namespace {

/// The two luma rows that share chroma row @p c, and how they weigh.
struct RowPair {
    std::uint32_t first;
    std::uint32_t second;
    ChromaWeight weight;
};
RowPair rowPair(std::uint32_t c, bool byField) {
    if (!byField) return {2 * c, 2 * c + 1, ChromaWeight::Even};
    const std::uint32_t field = c % 2;
    const std::uint32_t first = c / 2 * 4 + field;
    return {first, first + 2, field == 0 ? ChromaWeight::ThreeToOne : ChromaWeight::OneToThree};
}

}  // namespace

const PictureConverter::Road PictureConverter::roads[] = {
    {pixelFormat2vuy, AV_PIX_FMT_NV12, &PictureConverter::toSubsampled},
    {pixelFormat2vuy, AV_PIX_FMT_YUV420P, &PictureConverter::toSubsampled},
    {pixelFormatV210, AV_PIX_FMT_NV12, &PictureConverter::toSubsampled},
    {pixelFormatV210, AV_PIX_FMT_YUV420P, &PictureConverter::toSubsampled},
    {pixelFormat2vuy, AV_PIX_FMT_YUV422P, &PictureConverter::toPlanes8},
    {pixelFormatV210, AV_PIX_FMT_YUV422P, &PictureConverter::toPlanes8},
    {pixelFormat32ARGB, AV_PIX_FMT_GBRP10, &PictureConverter::toPlanesRGB10},
    {pixelFormat2vuy, AV_PIX_FMT_YUV422P10, &PictureConverter::toPlanes10},
    {pixelFormatV210, AV_PIX_FMT_YUV422P10, &PictureConverter::toPlanes10},
};

// Rows that do not come in fours leave one field a chroma row short; such pictures are subsampled as frames.
PictureConverter::PictureConverter(const EncoderSettings& settings, AVPixelFormat format)
    : settings_(settings),
      format_(format),
      chromaByField_(settings.isInterlaced() && settings.height() % 4 == 0),
      pool_(format, settings.width(), settings.height()) {
    if (const auto place = settings.placement()) placer_.emplace(*place, settings.isInterlaced());
}

Status PictureConverter::convert(const PixelBuffer& picture, AVFrame& frame) {
    if (const Status status = pool_.take(frame); status != noErr) return status;
    tagFrame(frame);
    const PlanarPicture to = FramePool::view(frame);
    if (!placer_ || !placer_->isNeededFor(picture)) return fill(picture, to);
    PixelBufferPtr placed;
    if (const Status status = placer_->place(picture, matrixFor(picture), placed); status != noErr)
        return status;
    return fill(*placed, to);
}

Status PictureConverter::fill(const PixelBuffer& picture, const PlanarPicture& to) {
    if (hasCodedSize(picture)) {
        for (const Road& road : roads) {
            if (road.from != picture.pixelFormat() || road.to != format_) continue;
            (this->*road.conversion)(picture, to);
            return noErr;
        }
    }
    return throughScaler(picture, to);
}

// An odd size becomes even in 4:2:0; that is no scaling.
bool PictureConverter::hasCodedSize(const PixelBuffer& picture) const {
    const bool isSubsampled = format_ == AV_PIX_FMT_NV12 || format_ == AV_PIX_FMT_YUV420P;
    const auto fits = [&](std::uint32_t coded, std::uint32_t given) {
        return coded == given || (isSubsampled && coded % 2 == 0 && coded == given + 1);
    };
    return fits(settings_.width(), picture.width()) && fits(settings_.height(), picture.height());
}

void PictureConverter::toSubsampled(const PixelBuffer& picture, const PlanarPicture& to) {
    const PixelKernels& kernels = pixelKernels();
    const std::uint32_t width = picture.width();
    const std::size_t lineBytes = rowBytesForPixelFormat(pixelFormat2vuy, width);
    const bool isV210 = picture.pixelFormat() == pixelFormatV210;
    if (isV210) lines_.resize(lineBytes * 2);
    const auto line = [&](std::uint32_t y, std::size_t slot) {
        const std::uint8_t* const row = picture.row(std::min(y, picture.height() - 1));
        if (!isV210) return row;
        std::uint8_t* const unpacked = lines_.data() + slot * lineBytes;
        kernels.v210To2vuy(row, unpacked, width);
        return static_cast<const std::uint8_t*>(unpacked);
    };
    for (std::uint32_t c = 0; c < to.height / 2; ++c) {
        const auto [first, second, weight] = rowPair(c, chromaByField_);
        std::uint8_t* const firstY = to.row(0, first);
        std::uint8_t* const secondY = to.row(0, second);
        if (format_ == AV_PIX_FMT_NV12) {
            kernels.uyvyToSemiPlanar(line(first, 0), line(second, 1), weight, firstY, secondY, to.row(1, c),
                                     width);
        } else {
            kernels.uyvyToPlanar(line(first, 0), line(second, 1), weight, firstY, secondY, to.row(1, c),
                                 to.row(2, c), width);
        }
        if (width < to.width) {
            firstY[width] = firstY[width - 1];
            secondY[width] = secondY[width - 1];
        }
    }
}

void PictureConverter::toPlanes8(const PixelBuffer& picture, const PlanarPicture& to) {
    const PixelKernels& kernels = pixelKernels();
    const bool isV210 = picture.pixelFormat() == pixelFormatV210;
    if (isV210) lines_.resize(rowBytesForPixelFormat(pixelFormat2vuy, picture.width()));
    for (std::uint32_t y = 0; y < to.height; ++y) {
        const std::uint8_t* row = picture.row(y);
        if (isV210) {
            kernels.v210To2vuy(row, lines_.data(), picture.width());
            row = lines_.data();
        }
        kernels.uyvyToPlanar422(row, to.row(0, y), to.row(1, y), to.row(2, y), picture.width());
    }
}

// libav's planes stand in the order G, B, R.
void PictureConverter::toPlanesRGB10(const PixelBuffer& picture, const PlanarPicture& to) {
    for (std::uint32_t y = 0; y < to.height; ++y) {
        pixelKernels().argbToPlanarRGB10(picture.row(y), to.row16(2, y), to.row16(0, y), to.row16(1, y),
                                         picture.width());
    }
}

void PictureConverter::toPlanes10(const PixelBuffer& picture, const PlanarPicture& to) {
    const auto kernel = picture.pixelFormat() == pixelFormatV210 ? pixelKernels().v210ToPlanar10
                                                                 : pixelKernels().uyvyToPlanar10;
    for (std::uint32_t y = 0; y < to.height; ++y) {
        kernel(picture.row(y), to.row16(0, y), to.row16(1, y), to.row16(2, y), picture.width());
    }
}

Status PictureConverter::throughScaler(const PixelBuffer& picture, const PlanarPicture& to) {
    PlanarPicture from;
    Libav<AVFrame> unpacked;
    if (const Status status = viewOfPicture(picture, unpacked, from); status != noErr) return status;
    return scaler_.scale(from, to, settings_.isInterlaced(), matrixFor(picture));
}

YCbCrMatrix PictureConverter::matrixFor(const PixelBuffer& picture) const {
    return settings_.format().yCbCrMatrix.value_or(matrixOfPicture(picture));
}

void PictureConverter::tagFrame(AVFrame& frame) const {
    const VideoFormat& tags = settings_.format();
    frame.interlaced_frame = settings_.codesFields();
    frame.top_field_first = settings_.isTopFieldFirst();
    frame.color_range = isFullRange(format_) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    frame.quality = jpegQuality;  // read only by encoders of a constant one
    if (tags.colorPrimaries) frame.color_primaries = libavColor(*tags.colorPrimaries);
    if (const auto transfer = settings_.codedTransferFunction()) frame.color_trc = libavColor(*transfer);
    if (tags.yCbCrMatrix) frame.colorspace = libavColor(*tags.yCbCrMatrix);
}

}  // namespace zenquor::platform::detail
