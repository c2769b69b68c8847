#pragma once
// Frames of another source with their pictures in another pixel format.

#include <cstddef>
#include <memory>

#include "zenquor/platform/PixelBufferPool.h"
#include "zenquor/platform/PixelTransferSession.h"
#include "zenquor/sources/FrameSource.h"

namespace zenquor {

/// Gives the frames of a source as they are, but for the picture: codecs of R'G'B' pictures take '32ARGB', which no
/// other source makes.
///
/// Thread-safety: as FrameSource.
class ConvertedSource final : public FrameSource {
public:
    /// @param pixelFormat   of the frames given.
    /// @param pictureLimit  pictures in use at once.
    static FrameSourcePtr sourceWithSource(FrameSourcePtr source, FourCC pixelFormat,
                                           std::size_t pictureLimit);

    ZQRFramePtr nextFrame() override;
    const SourceFormat& format() const override { return format_; }
    std::optional<std::uint64_t> durationFrames() const override { return source_->durationFrames(); }
    ZQCKTimecode startTimecode() const override { return source_->startTimecode(); }
    /// The source's own, or frameSourceErrorNoFreePicture, or frameSourceErrorInvalidFormat when the pictures cannot be
    /// converted.
    ZQErrorPtr error() const override { return error_ ? error_ : source_->error(); }

private:
    ConvertedSource(FrameSourcePtr source, FourCC pixelFormat, std::size_t pictureLimit);
    ZQRFramePtr frameWithPicture(const ZQRFrame& frame, platform::PixelBufferPtr picture) const;
    ZQRFramePtr fail(int code, const char* text);

    FrameSourcePtr source_;
    SourceFormat format_;
    platform::PixelBufferPool pool_;
    platform::PixelTransferSession transfer_;
    ZQRFramePtr waiting_;  // taken from the source, for want of a picture not given yet
    ZQErrorPtr error_;
};

}  // namespace zenquor
