#include "zenquor/platform/detail/PlanarPicture.h"

#include <algorithm>

#include "zenquor/platform/detail/PixelKernels.h"
#include "zenquor/platform/detail/ScalerColorspace.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t firstHighDefinitionHeight = 720;
constexpr std::size_t planeAlignment = 64;

std::uint32_t roundUp(std::uint32_t value, std::uint32_t step) {
    return (value + step - 1) / step * step;
}

// Chroma rows of a frame lie between its luma rows; those of a field a quarter of a row nearer to the other
// field's (H.264 figure 6-2).
constexpr int chromaRowOfFrame = 128;
constexpr int chromaRowOfField[] = {64, 192};

bool isRGB(AVPixelFormat format) {
    return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

bool sharesChromaRows(AVPixelFormat format) {
    return !isRGB(format) && av_pix_fmt_desc_get(format)->log2_chroma_h == 1;
}

}  // namespace

PlanarPicture PlanarPicture::fieldView(std::uint32_t field) const {
    PlanarPicture view = *this;
    for (std::size_t plane = 0; plane < data.size(); ++plane) {
        if (data[plane] && field == 1) view.data[plane] += stride[plane];
        view.stride[plane] = stride[plane] * 2;
    }
    view.height = (height + 1 - field) / 2;
    return view;
}

FramePool::FramePool(AVPixelFormat format, std::uint32_t width, std::uint32_t height)
    : format_(format), width_(width), height_(height) {
    std::array<std::ptrdiff_t, 4> wideStrides{};
    std::array<std::size_t, 4> sizes{};
    const auto paddedRows = static_cast<int>(roundUp(height, 32));
    av_image_fill_linesizes(strides_.data(), format, static_cast<int>(roundUp(width, 128)));
    std::copy(strides_.begin(), strides_.end(), wideStrides.begin());
    av_image_fill_plane_sizes(sizes.data(), format, paddedRows, wideStrides.data());
    std::size_t total = 0;
    for (std::size_t plane = 0; plane < sizes.size(); ++plane) {
        offsets_[plane] = total;
        total += (sizes[plane] + planeAlignment - 1) / planeAlignment * planeAlignment;
    }
    pool_.reset(av_buffer_pool_init(total + planeAlignment, nullptr));
}

Status FramePool::take(AVFrame& frame) {
    AVBufferRef* const memory = pool_ ? av_buffer_pool_get(pool_.get()) : nullptr;
    if (!memory) return memFullErr;
    frame.buf[0] = memory;
    auto* const first = reinterpret_cast<std::uint8_t*>(
        (reinterpret_cast<std::uintptr_t>(memory->data) + planeAlignment - 1) / planeAlignment *
        planeAlignment);
    for (std::size_t plane = 0; plane < strides_.size(); ++plane) {
        frame.data[plane] = strides_[plane] ? first + offsets_[plane] : nullptr;
        frame.linesize[plane] = strides_[plane];
    }
    frame.format = format_;
    frame.width = static_cast<int>(width_);
    frame.height = static_cast<int>(height_);
    return noErr;
}

PlanarPicture FramePool::view(const AVFrame& frame) {
    PlanarPicture view;
    std::copy_n(frame.data, view.data.size(), view.data.begin());
    std::copy_n(frame.linesize, view.stride.size(), view.stride.begin());
    view.format = static_cast<AVPixelFormat>(frame.format);
    view.width = static_cast<std::uint32_t>(frame.width);
    view.height = static_cast<std::uint32_t>(frame.height);
    return view;
}

AVPixelFormat libavPixelFormat(FourCC pixelFormat) {
    switch (pixelFormat) {
        case pixelFormat2vuy:
            return AV_PIX_FMT_UYVY422;
        case pixelFormat32ARGB:
            return AV_PIX_FMT_ARGB;
        case pixelFormat32BGRA:
            return AV_PIX_FMT_BGRA;
        default:
            return AV_PIX_FMT_NONE;
    }
}

PlanarPicture viewOfPixelBuffer(const PixelBuffer& picture) {
    PlanarPicture view;
    // Views serve sources and destinations alike; a source is only read.
    view.data[0] = const_cast<std::uint8_t*>(picture.baseAddress());
    view.stride[0] = static_cast<int>(picture.bytesPerRow());
    view.format = libavPixelFormat(picture.pixelFormat());
    view.width = picture.width();
    view.height = picture.height();
    return view;
}

Status makePlanes10(std::uint32_t width, std::uint32_t height, Libav<AVFrame>& frame) {
    frame.reset(av_frame_alloc());
    if (!frame) return memFullErr;
    return FramePool(AV_PIX_FMT_YUV422P10, width, height).take(*frame);
}

Status unpackV210(const PixelBuffer& picture, Libav<AVFrame>& planes) {
    if (const Status status = makePlanes10(picture.width(), picture.height(), planes); status != noErr)
        return status;
    const PlanarPicture view = FramePool::view(*planes);
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        pixelKernels().v210ToPlanar10(picture.row(y), view.row16(0, y), view.row16(1, y), view.row16(2, y),
                                      picture.width());
    }
    return noErr;
}

YCbCrMatrix matrixOfPicture(const PixelBuffer& picture) {
    return picture.attachments().yCbCrMatrix.value_or(
        picture.height() < firstHighDefinitionHeight ? YCbCrMatrix::ITU_R_601_4 : YCbCrMatrix::ITU_R_709_2);
}

Status viewOfPicture(const PixelBuffer& picture, Libav<AVFrame>& planes, PlanarPicture& view) {
    view = viewOfPixelBuffer(picture);
    if (picture.pixelFormat() == pixelFormatV210) {
        if (const Status status = unpackV210(picture, planes); status != noErr) return status;
        view = FramePool::view(*planes);
    }
    return view.format == AV_PIX_FMT_NONE ? pixelTransferNotSupportedErr : noErr;
}

bool isFullRange(AVPixelFormat format) {
    return isRGB(format) || format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P;
}

Status PictureScaler::scale(const PlanarPicture& from, const PlanarPicture& to, bool interlaced,
                            YCbCrMatrix matrix) {
    if (!interlaced || from.height < 2 || to.height < 2)
        return scaleField(fields_[0], from, to, matrix, chromaRowOfFrame);
    for (std::uint32_t field = 0; field < 2; ++field) {
        const Status status = scaleField(fields_[field], from.fieldView(field), to.fieldView(field), matrix,
                                         chromaRowOfField[field]);
        if (status != noErr) return status;
    }
    return noErr;
}

Status PictureScaler::prepare(Field& field, const Shape& shape) {
    constexpr int flags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
    constexpr int unity = 1 << 16;  // contrast and saturation in 16.16
    if (field.context && field.shape == shape) return noErr;
    field.context.reset(sws_alloc_context());
    if (!field.context) return memFullErr;
    const auto set = [&](const char* name, std::int64_t value) {
        av_opt_set_int(field.context.get(), name, value, 0);
    };
    set("srcw", shape.fromWidth);
    set("srch", shape.fromHeight);
    set("src_format", shape.fromFormat);
    set("dstw", shape.toWidth);
    set("dsth", shape.toHeight);
    set("dst_format", shape.toFormat);
    set("sws_flags", flags);
    if (sharesChromaRows(shape.fromFormat)) set("src_v_chr_pos", shape.chromaRow);
    if (sharesChromaRows(shape.toFormat)) set("dst_v_chr_pos", shape.chromaRow);
    if (sws_init_context(field.context.get(), nullptr, nullptr) < 0) {
        field.context.reset();
        return pixelTransferNotSupportedErr;
    }
    field.shape = shape;
    const int* const table = sws_getCoefficients(scalerColorspace(shape.matrix));
    sws_setColorspaceDetails(field.context.get(), table, isFullRange(shape.fromFormat), table,
                             isFullRange(shape.toFormat), 0, unity, unity);
    return noErr;
}

Status PictureScaler::scaleField(Field& field, const PlanarPicture& from, const PlanarPicture& to,
                                 YCbCrMatrix matrix, int chromaRow) {
    const Shape shape{from.format, from.width, from.height, to.format,
                      to.width,    to.height,  matrix,      chromaRow};
    if (const Status status = prepare(field, shape); status != noErr) return status;
    const int rows = sws_scale(field.context.get(), from.data.data(), from.stride.data(), 0,
                               static_cast<int>(from.height), to.data.data(), to.stride.data());
    return rows > 0 ? noErr : pixelTransferNotSupportedErr;
}

}  // namespace zenquor::platform::detail
