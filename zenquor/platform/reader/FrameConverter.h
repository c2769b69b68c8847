#pragma once
// Decoded pictures in the packed formats of a recording.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/PixelBufferPool.h"
#include "zenquor/platform/detail/PlanarPicture.h"

namespace zenquor::platform::detail {

/// Turns libav's frames into '2vuy', v210 or 32-bit ARGB pictures of the same size.
///
/// Y'CbCr stays in its matrix and comes out in video range. R'G'B' becomes Y'CbCr by ITU-R 709 (601 below 720
/// lines), or 2020 when the frame says so. Chroma that two lines share is raised field by field in interlaced
/// frames.
///
/// Thread-safety: One thread at a time; pictures may be dropped on any thread.
class FrameConverter {
public:
    explicit FrameConverter(FourCC pixelFormat) : pixelFormat_(pixelFormat) {}

    /// @return null when the frame's format is beyond swscale or memory is short.
    PixelBufferPtr convert(const AVFrame& frame);

private:
    struct Shape {
        AVPixelFormat from = AV_PIX_FMT_NONE;
        AVPixelFormat to = AV_PIX_FMT_NONE;
        int width = 0;
        int height = 0;
        bool fullRange = false;
        YCbCrMatrix matrix = YCbCrMatrix::ITU_R_709_2;
        int horizontalChroma = 0;  // position in 1/256 of a luma sample
        int verticalChroma = 0;
        friend bool operator==(const Shape&, const Shape&) = default;
    };
    struct Scaler {
        Libav<SwsContext> context;
        Shape shape;
    };

    PixelBufferPtr takePicture(const AVFrame& frame);
    bool scale(const AVFrame& frame, const PlanarPicture& to);
    bool scaleField(Scaler& scaler, const Shape& shape, const PlanarPicture& from, const PlanarPicture& to);
    static Libav<SwsContext> makeScaler(const Shape& shape);
    bool convertPacked(const AVFrame& frame, PixelBuffer& picture);
    bool convertPlanar(const AVFrame& frame, PixelBuffer& picture);
    void packRow(const PlanarPicture& planes, std::uint32_t y, PixelBuffer& picture);

    FourCC pixelFormat_;
    std::unique_ptr<PixelBufferPool> pictures_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::array<Scaler, 2> scalers_;
    std::optional<FramePool> planes_;
    AVPixelFormat planesFormat_ = AV_PIX_FMT_NONE;
    std::vector<std::uint8_t> row_;
};

}  // namespace zenquor::platform::detail
