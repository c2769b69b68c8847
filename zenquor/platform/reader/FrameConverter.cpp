#include "zenquor/platform/reader/FrameConverter.h"

#include <algorithm>
#include <cstring>

#include "zenquor/platform/detail/PixelKernels.h"
#include "zenquor/platform/detail/ScalerColorspace.h"
#include "zenquor/platform/reader/LibavTags.h"

namespace zenquor::platform::detail {
namespace {

const AVPixFmtDescriptor* descriptor(AVPixelFormat format) {
    return av_pix_fmt_desc_get(format);
}

bool isRGB(AVPixelFormat format) {
    return (descriptor(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

/// The format without libav's older way of saying full range.
AVPixelFormat plainFormat(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        default:
            return format;
    }
}

bool isFullRange(const AVFrame& frame) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    return plainFormat(format) != format || frame.color_range == AVCOL_RANGE_JPEG;
}

/// The matrix of the Y'CbCr side of a conversion.
YCbCrMatrix matrixOfFrame(const AVFrame& frame) {
    if (const auto matrix = yCbCrMatrixFromLibav(frame.colorspace)) return *matrix;
    if (frame.color_primaries == AVCOL_PRI_BT2020) return YCbCrMatrix::ITU_R_2020;
    return matrixForHeight(frame.height);
}

PlanarPicture viewOfFrame(const AVFrame& frame) {
    PlanarPicture view;
    std::copy_n(frame.data, 4, view.data.begin());
    std::copy_n(frame.linesize, 4, view.stride.begin());
    view.format = static_cast<AVPixelFormat>(frame.format);
    view.width = static_cast<std::uint32_t>(frame.width);
    view.height = static_cast<std::uint32_t>(frame.height);
    return view;
}

/// Planes of 4:2:2 with as many bits as the frame has.
AVPixelFormat planarFormat(AVPixelFormat format) {
    return descriptor(format)->comp[0].depth > 8 ? AV_PIX_FMT_YUV422P10 : AV_PIX_FMT_YUV422P;
}

void interleave(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, std::uint8_t* uyvy,
                std::size_t pairs) {
    for (std::size_t i = 0; i < pairs; ++i) {
        uyvy[i * 4] = cb[i];
        uyvy[i * 4 + 1] = y[i * 2];
        uyvy[i * 4 + 2] = cr[i];
        uyvy[i * 4 + 3] = y[i * 2 + 1];
    }
}

PixelBuffer::Attachments attachmentsOf(const AVFrame& frame) {
    PixelBuffer::Attachments tags;
    const AVRational aspect = frame.sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) {
        tags.pixelAspectRatio =
            PixelAspectRatio{static_cast<std::uint32_t>(aspect.num), static_cast<std::uint32_t>(aspect.den)};
    }
    tags.colorPrimaries = colorPrimariesFromLibav(frame.color_primaries);
    tags.transferFunction = transferFunctionFromLibav(frame.color_trc);
    tags.yCbCrMatrix = yCbCrMatrixFromLibav(frame.colorspace);
    if (isRGB(static_cast<AVPixelFormat>(frame.format))) tags.yCbCrMatrix = matrixOfFrame(frame);
    return tags;
}

}  // namespace

Libav<SwsContext> FrameConverter::makeScaler(const Shape& shape) {
    Libav<SwsContext> scaler(sws_alloc_context());
    if (!scaler) return nullptr;
    SwsContext* const context = scaler.get();
    av_opt_set_int(context, "srcw", shape.width, 0);
    av_opt_set_int(context, "srch", shape.height, 0);
    av_opt_set_pixel_fmt(context, "src_format", shape.from, 0);
    av_opt_set_int(context, "dstw", shape.width, 0);
    av_opt_set_int(context, "dsth", shape.height, 0);
    av_opt_set_pixel_fmt(context, "dst_format", shape.to, 0);
    const bool toRGB = isRGB(shape.to);
    const int detail = isRGB(shape.from) ? SWS_FULL_CHR_H_INP : toRGB ? SWS_FULL_CHR_H_INT : 0;
    av_opt_set_int(context, "sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND | detail, 0);
    if (descriptor(shape.from)->log2_chroma_w > 0)
        av_opt_set_int(context, "src_h_chr_pos", shape.horizontalChroma, 0);
    if (descriptor(shape.from)->log2_chroma_h > 0)
        av_opt_set_int(context, "src_v_chr_pos", shape.verticalChroma, 0);
    // Studio 4:2:2 has its chroma on the even luma samples.
    if (!toRGB) av_opt_set_int(context, "dst_h_chr_pos", 0, 0);
    const int* const coefficients = sws_getCoefficients(scalerColorspace(shape.matrix));
    const bool fromFullRange = isRGB(shape.from) || shape.fullRange;
    sws_setColorspaceDetails(context, coefficients, fromFullRange, coefficients, toRGB, 0, 1 << 16, 1 << 16);
    return sws_init_context(context, nullptr, nullptr) >= 0 ? std::move(scaler) : nullptr;
}

bool FrameConverter::scaleField(Scaler& scaler, const Shape& shape, const PlanarPicture& from,
                                const PlanarPicture& to) {
    if (!scaler.context || !(scaler.shape == shape)) {
        scaler.context = makeScaler(shape);
        scaler.shape = shape;
    }
    return scaler.context && sws_scale(scaler.context.get(), from.data.data(), from.stride.data(), 0,
                                       shape.height, to.data.data(), to.stride.data()) == shape.height;
}

bool FrameConverter::scale(const AVFrame& frame, const PlanarPicture& to) {
    const PlanarPicture from = viewOfFrame(frame);
    Shape shape;
    shape.from = plainFormat(from.format);
    shape.to = to.format;
    shape.width = frame.width;
    shape.height = frame.height;
    shape.fullRange = isFullRange(frame);
    shape.matrix = matrixOfFrame(frame);
    const bool isTopLeft = frame.chroma_location == AVCHROMA_LOC_TOPLEFT;
    shape.horizontalChroma = frame.chroma_location == AVCHROMA_LOC_CENTER ? 128 : 0;
    shape.verticalChroma = isTopLeft ? 0 : 128;
    const bool byField =
        frame.interlaced_frame && descriptor(shape.from)->log2_chroma_h > 0 && frame.height % 2 == 0;
    if (!byField) return scaleField(scalers_[0], shape, from, to);
    shape.height /= 2;
    // A chroma line of the top field lies a quarter of a field line below its first luma line, one of the
    // bottom field three quarters below its own.
    constexpr std::array fieldPositions{64, 192};
    for (std::uint32_t field = 0; field < 2; ++field) {
        if (!isTopLeft) shape.verticalChroma = fieldPositions[field];
        if (!scaleField(scalers_[field], shape, from.fieldView(field), to.fieldView(field))) return false;
    }
    return true;
}

/// Formats that are packed on both sides.
bool FrameConverter::convertPacked(const AVFrame& frame, PixelBuffer& picture) {
    if (pixelFormat_ == pixelFormat32ARGB) {
        PlanarPicture to;
        to.data[0] = picture.mutableBaseAddress();
        to.stride[0] = static_cast<int>(picture.bytesPerRow());
        to.format = AV_PIX_FMT_ARGB;
        to.width = picture.width();
        to.height = picture.height();
        return scale(frame, to);
    }
    const std::size_t rowBytes = rowBytesForPixelFormat(pixelFormat2vuy, picture.width());
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        const std::uint8_t* const from = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        if (pixelFormat_ == pixelFormat2vuy)
            std::memcpy(picture.mutableRow(y), from, rowBytes);
        else
            pixelKernels().uyvyToV210(from, picture.mutableRow(y), picture.width());
    }
    return true;
}

void FrameConverter::packRow(const PlanarPicture& planes, std::uint32_t y, PixelBuffer& picture) {
    const std::size_t width = picture.width();
    std::uint8_t* const to = picture.mutableRow(y);
    const bool isV210 = pixelFormat_ == pixelFormatV210;
    if (planes.format == AV_PIX_FMT_YUV422P10) {
        std::uint8_t* const packed = isV210 ? to : row_.data();
        pixelKernels().planar10ToV210(planes.row16(0, y), planes.row16(1, y), planes.row16(2, y), packed,
                                      width);
        if (!isV210) pixelKernels().v210To2vuy(packed, to, width);
    } else {
        std::uint8_t* const packed = isV210 ? row_.data() : to;
        interleave(planes.row(0, y), planes.row(1, y), planes.row(2, y), packed, (width + 1) / 2);
        if (isV210) pixelKernels().uyvyToV210(packed, to, width);
    }
}

bool FrameConverter::convertPlanar(const AVFrame& frame, PixelBuffer& picture) {
    const auto format = plainFormat(static_cast<AVPixelFormat>(frame.format));
    const AVPixelFormat wanted = planarFormat(format);
    PlanarPicture planes = viewOfFrame(frame);
    Libav<AVFrame> scaled;
    if (format != wanted || isFullRange(frame)) {
        if (planesFormat_ != wanted) planes_.emplace(wanted, picture.width(), picture.height());
        planesFormat_ = wanted;
        scaled.reset(av_frame_alloc());
        if (!scaled || planes_->take(*scaled) != noErr) return false;
        planes = FramePool::view(*scaled);
        if (!scale(frame, planes)) return false;
    }
    for (std::uint32_t y = 0; y < picture.height(); ++y) packRow(planes, y, picture);
    return true;
}

PixelBufferPtr FrameConverter::takePicture(const AVFrame& frame) {
    const auto width = static_cast<std::uint32_t>(frame.width);
    const auto height = static_cast<std::uint32_t>(frame.height);
    if (!pictures_ || width != width_ || height != height_) {
        // The end of a v210 row behind its last group is written once and stays.
        const auto clear = [](PixelBuffer& fresh) {
            std::memset(fresh.mutableBaseAddress(), 0, fresh.dataSize());
        };
        pictures_ = std::make_unique<PixelBufferPool>(width, height, pixelFormat_, 0, clear);
        width_ = width;
        height_ = height;
        planes_.reset();
        planesFormat_ = AV_PIX_FMT_NONE;
        row_.assign(
            rowBytesForPixelFormat(pixelFormatV210, width) + rowBytesForPixelFormat(pixelFormat2vuy, width),
            0);
    }
    return pictures_->pixelBuffer();
}

PixelBufferPtr FrameConverter::convert(const AVFrame& frame) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    if (!descriptor(format) || frame.width <= 0 || frame.height <= 0) return nullptr;
    if (frame.hw_frames_ctx || !sws_isSupportedInput(format)) return nullptr;
    const auto picture = takePicture(frame);
    if (!picture) return nullptr;
    picture->setAttachments(attachmentsOf(frame));
    const bool isPacked = pixelFormat_ == pixelFormat32ARGB ||
                          (format == AV_PIX_FMT_UYVY422 && !isFullRange(frame) && frame.width % 2 == 0);
    const bool done = isPacked ? convertPacked(frame, *picture) : convertPlanar(frame, *picture);
    return done ? picture : nullptr;
}

}  // namespace zenquor::platform::detail
