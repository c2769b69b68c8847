#include "zenquor/platform/PixelTransferSession.h"

#include <cstring>

#include "zenquor/platform/detail/PixelKernels.h"
#include "zenquor/platform/detail/PlanarPicture.h"

namespace zenquor::platform {

using namespace detail;

struct PixelTransferSession::Implementation {
    bool interlaced = false;
    PictureScaler scaler;

    Status convert(const PixelBuffer& from, PixelBuffer& to);
};

namespace {

using RowKernel = void (*)(const std::uint8_t*, std::uint8_t*, std::size_t);

// The kernel between two formats of the same size; null when swscale has to do it.
RowKernel rowKernel(FourCC from, FourCC to) {
    if (from == pixelFormatV210 && to == pixelFormat2vuy) return pixelKernels().v210To2vuy;
    if (from == pixelFormat2vuy && to == pixelFormatV210) return pixelKernels().uyvyToV210;
    return nullptr;
}

// v210 rows end on 128 bytes; what lies behind the last group is kept black-free and repeatable: zero.
void clearRowEnd(PixelBuffer& picture, std::uint32_t y) {
    if (picture.pixelFormat() != pixelFormatV210) return;
    const std::size_t used = (std::size_t{picture.width()} + 5) / 6 * 16;
    const std::size_t rowBytes = rowBytesForPixelFormat(pixelFormatV210, picture.width());
    if (rowBytes > used) std::memset(picture.mutableRow(y) + used, 0, rowBytes - used);
}

void copyRows(const PixelBuffer& from, PixelBuffer& to) {
    const std::size_t rowBytes = rowBytesForPixelFormat(from.pixelFormat(), from.width());
    for (std::uint32_t y = 0; y < from.height(); ++y) std::memcpy(to.mutableRow(y), from.row(y), rowBytes);
}

void packV210(const PlanarPicture& planes, PixelBuffer& to) {
    for (std::uint32_t y = 0; y < to.height(); ++y) {
        pixelKernels().planar10ToV210(planes.row16(0, y), planes.row16(1, y), planes.row16(2, y),
                                      to.mutableRow(y), to.width());
        clearRowEnd(to, y);
    }
}

}  // namespace

PixelTransferSession::PixelTransferSession() : implementation_(std::make_unique<Implementation>()) {}
PixelTransferSession::~PixelTransferSession() = default;

void PixelTransferSession::setInterlaced(bool interlaced) {
    implementation_->interlaced = interlaced;
}

Status PixelTransferSession::transferImage(const PixelBuffer& from, PixelBuffer& to) {
    if (from.width() == to.width() && from.height() == to.height()) {
        if (from.pixelFormat() == to.pixelFormat()) {
            copyRows(from, to);
            return noErr;
        }
        if (const RowKernel kernel = rowKernel(from.pixelFormat(), to.pixelFormat())) {
            for (std::uint32_t y = 0; y < from.height(); ++y) {
                kernel(from.row(y), to.mutableRow(y), from.width());
                clearRowEnd(to, y);
            }
            return noErr;
        }
    }
    return implementation_->convert(from, to);
}

Status PixelTransferSession::Implementation::convert(const PixelBuffer& from, PixelBuffer& to) {
    const auto isKnown = [](const PixelBuffer& picture) {
        return picture.pixelFormat() == pixelFormatV210 ||
               libavPixelFormat(picture.pixelFormat()) != AV_PIX_FMT_NONE;
    };
    if (!isKnown(from) || !isKnown(to)) return pixelTransferNotSupportedErr;
    Libav<AVFrame> unpacked;
    PlanarPicture in = viewOfPixelBuffer(from);
    if (from.pixelFormat() == pixelFormatV210) {
        if (const Status status = unpackV210(from, unpacked); status != noErr) return status;
        in = FramePool::view(*unpacked);
    }
    if (to.pixelFormat() != pixelFormatV210) {
        return scaler.scale(in, viewOfPixelBuffer(to), interlaced, matrixOfPicture(from));
    }
    Libav<AVFrame> packed;
    if (const Status status = makePlanes10(to.width(), to.height(), packed); status != noErr) return status;
    const PlanarPicture out = FramePool::view(*packed);
    const Status status = scaler.scale(in, out, interlaced, matrixOfPicture(from));
    if (status == noErr) packV210(out, to);
    return status;
}

}  // namespace zenquor::platform
