#pragma once
// Brings submitted pictures into the form that an encoder takes.

#include <optional>
#include <vector>

#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/codec/EncoderSettings.h"
#include "zenquor/platform/codec/PicturePlacer.h"
#include "zenquor/platform/detail/PlanarPicture.h"

namespace zenquor::platform::detail {

/// Converts pictures into frames from a pool: the usual pairs of formats in one pass with the row kernels when
/// the picture has the coded size, anything else with swscale.
///
/// Thread-safety: One thread at a time; frames may be released anywhere.
class PictureConverter {
public:
    PictureConverter(const EncoderSettings& settings, AVPixelFormat format);

    /// Fills the empty @p frame with the picture, its colour and its fields.
    Status convert(const PixelBuffer& picture, AVFrame& frame);

private:
    using Conversion = void (PictureConverter::*)(const PixelBuffer&, const PlanarPicture&);
    struct Road {
        FourCC from;
        AVPixelFormat to;
        Conversion conversion;
    };
    static const Road roads[];

    void toSubsampled(const PixelBuffer& picture, const PlanarPicture& to);
    void toPlanes8(const PixelBuffer& picture, const PlanarPicture& to);
    void toPlanesRGB10(const PixelBuffer& picture, const PlanarPicture& to);
    void toPlanes10(const PixelBuffer& picture, const PlanarPicture& to);
    Status fill(const PixelBuffer& picture, const PlanarPicture& to);
    Status throughScaler(const PixelBuffer& picture, const PlanarPicture& to);
    YCbCrMatrix matrixFor(const PixelBuffer& picture) const;
    bool hasCodedSize(const PixelBuffer& picture) const;
    void tagFrame(AVFrame& frame) const;

    const EncoderSettings& settings_;
    AVPixelFormat format_;
    bool chromaByField_;
    FramePool pool_;
    std::optional<PicturePlacer> placer_;
    PictureScaler scaler_;
    std::vector<std::uint8_t> lines_;  // two 2vuy rows of a v210 picture
};

}  // namespace zenquor::platform::detail
