#pragma once
// Makes a recording's pictures out of a file's.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/PixelBufferPool.h"
#include "zenquor/platform/PixelTransferSession.h"
#include "zenquor/sources/SourceFormat.h"
#include "zenquor/sources/detail/MatrixConversion.h"
#include "zenquor/sources/detail/PictureFit.h"

namespace zenquor::detail {

/// Scales, frames and re-codes pictures into a bounded number of pictures of the recording's format. A
/// picture that fits as it is goes through without a copy.
///
/// Thread-safety: One thread at a time; pictures may be dropped on any thread.
class PictureFitter {
public:
    PictureFitter(const SourceFormat& format, std::size_t pictureLimit);

    /// @param picture  in the recording's pixel format.
    /// @return null with an error when all pictures stay in use for as long as @p wait, or the picture cannot
    /// be scaled.
    platform::PixelBufferPtr fit(const platform::PixelBufferPtr& picture, const PictureGeometry& geometry,
                                 std::chrono::milliseconds wait, ZQErrorPtr* error);
    /// A black picture; null as above.
    platform::PixelBufferPtr black(std::chrono::milliseconds wait, ZQErrorPtr* error);

private:
    bool draw(const platform::PixelBuffer& source, platform::PixelBuffer& target);
    bool drawThroughCopy(const platform::PixelBuffer& source, platform::PixelBuffer& target);
    void adapt(const PictureGeometry& geometry);
    void prepareConversion(const platform::PixelBuffer& source);

    SourceFormat format_;
    std::size_t pictureLimit_;
    platform::PixelBuffer::Attachments attachments_;
    std::optional<PictureGeometry> geometry_;
    PictureFit fit_;
    std::unique_ptr<platform::PixelBufferPool> pool_;
    platform::PixelTransferSession session_;
    platform::PixelBufferPtr copy_;  // of the size of the rectangle, where rows cannot be written in place
    std::optional<MatrixConversion> conversion_;
    std::optional<platform::YCbCrMatrix> convertedFrom_;
};

}  // namespace zenquor::detail
