#pragma once
// Pictures as libav sees them: planes with line lengths.

#include <array>
#include <cstddef>
#include <cstdint>

#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

/// A view of a picture's planes; owns nothing.
struct PlanarPicture {
    std::array<std::uint8_t*, 4> data{};
    std::array<int, 4> stride{};  // bytes from row to row of each plane
    AVPixelFormat format = AV_PIX_FMT_NONE;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    std::uint8_t* row(std::size_t plane, std::uint32_t y) const {
        return data[plane] + static_cast<std::ptrdiff_t>(y) * stride[plane];
    }
    std::uint16_t* row16(std::size_t plane, std::uint32_t y) const {
        return reinterpret_cast<std::uint16_t*>(row(plane, y));
    }
    /// Every second row, from row @p field on.
    PlanarPicture fieldView(std::uint32_t field) const;
};

/// Frames of one size whose memory goes round. A frame returns to the pool when its last user lets go of it.
///
/// Thread-safety: frames may be released on any thread; the rest one thread at a time.
class FramePool {
public:
    /// Planes have rows of whole 64 bytes and room for whole macroblock rows.
    FramePool(AVPixelFormat format, std::uint32_t width, std::uint32_t height);

    /// Gives @p frame the memory of an unused picture. @return memFullErr when memory is short.
    Status take(AVFrame& frame);
    static PlanarPicture view(const AVFrame& frame);

private:
    AVPixelFormat format_;
    std::uint32_t width_;
    std::uint32_t height_;
    std::array<int, 4> strides_{};
    std::array<std::size_t, 4> offsets_{};
    Libav<AVBufferPool> pool_;
};

/// The pixel format under which libav knows a packed format; AV_PIX_FMT_NONE for v210, which it takes for a
/// codec.
AVPixelFormat libavPixelFormat(FourCC pixelFormat);

/// Scales and converts pictures with swscale, bicubic, field by field when asked.
///
/// Thread-safety: One thread at a time.
class PictureScaler {
public:
    /// @param matrix  of the Y'CbCr side; used only between R'G'B' and Y'CbCr.
    Status scale(const PlanarPicture& from, const PlanarPicture& to, bool interlaced, YCbCrMatrix matrix);

private:
    struct Shape {
        AVPixelFormat fromFormat = AV_PIX_FMT_NONE;
        std::uint32_t fromWidth = 0, fromHeight = 0;
        AVPixelFormat toFormat = AV_PIX_FMT_NONE;
        std::uint32_t toWidth = 0, toHeight = 0;
        YCbCrMatrix matrix = YCbCrMatrix::ITU_R_709_2;
        int chromaRow = 0;  // where the first chroma row of 4:2:0 lies, in 256ths of a luma row
        friend bool operator==(const Shape&, const Shape&) = default;
    };
    struct Field {
        Libav<SwsContext> context;
        Shape shape;
    };
    static Status prepare(Field& field, const Shape& shape);
    static Status scaleField(Field& field, const PlanarPicture& from, const PlanarPicture& to,
                             YCbCrMatrix matrix, int chromaRow);

    std::array<Field, 2> fields_;
};

/// The matrix that a picture is tagged with; ITU-R 709 for high definition and 601 below when it is not.
YCbCrMatrix matrixOfPicture(const PixelBuffer& picture);

/// A view of a packed picture; its format is AV_PIX_FMT_NONE when libav does not know it.
PlanarPicture viewOfPixelBuffer(const PixelBuffer& picture);
/// A frame of 10-bit 4:2:2 planes of a size.
Status makePlanes10(std::uint32_t width, std::uint32_t height, Libav<AVFrame>& frame);
/// The 10-bit planes of a v210 picture.
Status unpackV210(const PixelBuffer& picture, Libav<AVFrame>& planes);
/// A view of any picture; that of a v210 picture is of its @p planes, which it needs.
/// @return pixelTransferNotSupportedErr for a format that libav does not know.
Status viewOfPicture(const PixelBuffer& picture, Libav<AVFrame>& planes, PlanarPicture& view);
/// Whether luma runs from 0 instead of 16.
bool isFullRange(AVPixelFormat format);

}  // namespace zenquor::platform::detail
