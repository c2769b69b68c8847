#pragma once
// A picture track, decoded.

#include <cstdint>
#include <memory>

#include "zenquor/platform/Asset.h"
#include "zenquor/platform/reader/Decoder.h"
#include "zenquor/platform/reader/FrameConverter.h"
#include "zenquor/platform/reader/SampleSource.h"

namespace zenquor::platform::detail {

/// Hands out pictures in presentation order from the one shown at the start time on.
class PictureSampleSource final : public SampleSource {
public:
    PictureSampleSource(std::unique_ptr<Decoder> decoder, AssetTrack track, FourCC pixelFormat,
                        MediaTime start);

    SampleBufferPtr next() override;
    ZQErrorPtr error() const override;

private:
    Libav<AVFrame> nextTimedFrame();
    Libav<AVFrame> firstFrame();
    MediaTime timeOf(const AVFrame& frame);
    std::int64_t durationOf(const AVFrame& frame);
    SampleBufferPtr sampleBuffer(const AVFrame& frame);

    std::unique_ptr<Decoder> decoder_;
    AssetTrack track_;
    MediaTime start_;
    FrameConverter converter_;
    bool countsPictures_;  // the file's times are not those of the display
    bool hasFrame_ = false;
    bool hasBegun_ = false;
    Libav<AVFrame> ahead_;        // decoded in search of the first picture
    std::int64_t nextUnits_ = 0;  // where the next frame is expected, in units of the stream
    bool failedToConvert_ = false;
};

}  // namespace zenquor::platform::detail
