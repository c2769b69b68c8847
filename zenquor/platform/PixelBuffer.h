#pragma once
// One picture in memory.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

inline constexpr FourCC pixelFormat2vuy = fourCC("2vuy");  // 8-bit 4:2:2, bytes Cb Y Cr Y
inline constexpr FourCC pixelFormatV210 = fourCC("v210");  // 10-bit 4:2:2, 6 pixels in 16 bytes, rows of whole 128 bytes
inline constexpr FourCC pixelFormat32ARGB = 32;            // bytes A R G B
inline constexpr FourCC pixelFormat32BGRA = fourCC("BGRA");

/// The smallest row of a format: 2 or 4 bytes a pixel, for v210 whole groups of 48 pixels in 128 bytes.
/// 0 for an unknown format.
std::size_t rowBytesForPixelFormat(FourCC format, std::uint32_t width);

/// A packed picture, rows top to bottom, with what is known of its colour and geometry.
///
/// Lifecycle:     the bytes are written before the buffer is shared; from then on they are only read.
/// Thread-safety: Safe for readers. Attachments are set by the maker before the buffer is shared.
/// Ownership:     create() owns page-aligned memory; createWithBytes() wraps foreign memory and runs the release
///                function once, on the thread that drops the last reference. data() keeps the buffer alive.
class PixelBuffer final : public ZQObject, public std::enable_shared_from_this<PixelBuffer> {
public:
    /// What is known of the picture; absent means unknown.
    struct Attachments {
        std::optional<platform::CleanAperture> cleanAperture;
        std::optional<platform::PixelAspectRatio> pixelAspectRatio;
        std::optional<platform::ColorPrimaries> colorPrimaries;
        std::optional<platform::TransferFunction> transferFunction;
        std::optional<platform::YCbCrMatrix> yCbCrMatrix;
        friend bool operator==(const Attachments&, const Attachments&) = default;
    };

    /// Allocates an uninitialised picture on a page boundary.
    /// @return parameterErr for an empty size or an unknown format, memFullErr when memory is short.
    static Status create(std::uint32_t width, std::uint32_t height, FourCC format, std::shared_ptr<PixelBuffer>& out);
    /// Wraps @p bytes, which hold @p height rows of @p bytesPerRow.
    /// @return parameterErr when a row is shorter than its pixels; @p release has then not been taken.
    static Status createWithBytes(std::uint32_t width, std::uint32_t height, FourCC format, std::uint8_t* bytes,
                                  std::size_t bytesPerRow, std::function<void()> release,
                                  std::shared_ptr<PixelBuffer>& out);
    ~PixelBuffer() override;

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    FourCC pixelFormat() const { return format_; }
    std::size_t bytesPerRow() const { return bytesPerRow_; }
    std::size_t dataSize() const { return bytesPerRow_ * height_; }
    const std::uint8_t* baseAddress() const { return bytes_; }
    /// For the maker, before the buffer is shared.
    std::uint8_t* mutableBaseAddress() { return bytes_; }
    const std::uint8_t* row(std::uint32_t y) const { return bytes_ + y * bytesPerRow_; }
    std::uint8_t* mutableRow(std::uint32_t y) { return bytes_ + y * bytesPerRow_; }
    /// All rows as one run of bytes that shares the memory.
    ZQData data() const;

    const Attachments& attachments() const { return attachments_; }
    void setAttachments(const Attachments& attachments) { attachments_ = attachments; }
    std::string description() const override;

private:
    PixelBuffer(std::uint32_t width, std::uint32_t height, FourCC format, std::uint8_t* bytes, std::size_t bytesPerRow,
                std::function<void()> release);

    std::uint32_t width_;
    std::uint32_t height_;
    FourCC format_;
    std::uint8_t* bytes_;
    std::size_t bytesPerRow_;
    std::function<void()> release_;
    Attachments attachments_;
};

using PixelBufferPtr = std::shared_ptr<PixelBuffer>;

}  // namespace zenquor::platform
