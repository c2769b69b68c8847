#include "zenquor/platform/PixelBuffer.h"

#include <cstdlib>
#include <utility>

#include <fmt/format.h>

namespace zenquor::platform {
namespace {

// Pictures go to disk past the page cache straight from here, which asks for whole pages.
constexpr std::size_t pageSize = 4096;

}  // namespace

std::size_t rowBytesForPixelFormat(FourCC format, std::uint32_t width) {
    switch (format) {
        case pixelFormat2vuy:
            return (std::size_t{width} + 1) / 2 * 4;
        case pixelFormatV210:
            return (std::size_t{width} + 47) / 48 * 128;
        case pixelFormat32ARGB:
        case pixelFormat32BGRA:
            return std::size_t{width} * 4;
        default:
            return 0;
    }
}

PixelBuffer::PixelBuffer(std::uint32_t width, std::uint32_t height, FourCC format, std::uint8_t* bytes,
                         std::size_t bytesPerRow, std::function<void()> release)
    : width_(width),
      height_(height),
      format_(format),
      bytes_(bytes),
      bytesPerRow_(bytesPerRow),
      release_(std::move(release)) {}

PixelBuffer::~PixelBuffer() {
    if (release_) release_();
}

Status PixelBuffer::create(std::uint32_t width, std::uint32_t height, FourCC format, PixelBufferPtr& out) {
    const std::size_t rowBytes = rowBytesForPixelFormat(format, width);
    if (rowBytes == 0 || height == 0) return parameterErr;
    const std::size_t size = (rowBytes * height + pageSize - 1) / pageSize * pageSize;
    auto* const bytes = static_cast<std::uint8_t*>(std::aligned_alloc(pageSize, size));
    if (!bytes) return memFullErr;
    out = PixelBufferPtr(
        new PixelBuffer(width, height, format, bytes, rowBytes, [bytes] { std::free(bytes); }));
    return noErr;
}

Status PixelBuffer::createWithBytes(std::uint32_t width, std::uint32_t height, FourCC format,
                                    std::uint8_t* bytes, std::size_t bytesPerRow,
                                    std::function<void()> release, PixelBufferPtr& out) {
    const std::size_t rowBytes = rowBytesForPixelFormat(format, width);
    if (!bytes || rowBytes == 0 || height == 0 || bytesPerRow < rowBytes) return parameterErr;
    out = PixelBufferPtr(new PixelBuffer(width, height, format, bytes, bytesPerRow, std::move(release)));
    return noErr;
}

ZQData PixelBuffer::data() const {
    return ZQData::adopting(std::shared_ptr<const std::uint8_t>(shared_from_this(), bytes_), dataSize());
}

std::string PixelBuffer::description() const {
    return fmt::format("<PixelBuffer {}x{} {}>", width_, height_,
                       format_ == pixelFormat32ARGB ? "ARGB" : fourCCString(format_));
}

}  // namespace zenquor::platform
