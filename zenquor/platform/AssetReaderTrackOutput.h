#pragma once
// One track of a movie, sample by sample.

#include <memory>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/Asset.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/SampleBuffer.h"

namespace zenquor::platform {

/// One track as a reader hands it out.
///
/// Lifecycle:     create, add to one reader, let the reader start, copy samples until null.
/// Thread-safety: Confined to the thread that reads; outputs of one reader share that thread.
class AssetReaderTrackOutput final {
public:
    /// Pictures decoded into @p pixelFormat: pixelFormat2vuy, pixelFormatV210 or pixelFormat32ARGB. Y'CbCr
    /// pictures keep their matrix and come in video range; the picture's attachments say what its numbers
    /// mean. 4:2:0 chroma of interlaced pictures is raised field by field.
    static std::shared_ptr<AssetReaderTrackOutput> forVideo(const AssetTrack& track, FourCC pixelFormat);
    /// Interleaved PCM in @p format (packed or high-aligned integers, 16, 24 or 32 bit containers, or 32-bit
    /// float, little-endian); rate and channel count are the track's own.
    static std::shared_ptr<AssetReaderTrackOutput> forAudio(const AssetTrack& track,
                                                            const AudioStreamBasicDescription& format);
    /// Samples as they lie in the file: for captions the "cdat", "cdt2" and "ccdp" atoms, for timecode the
    /// frame number.
    static std::shared_ptr<AssetReaderTrackOutput> undecoded(const AssetTrack& track);
    ~AssetReaderTrackOutput();

    /// Sound comes in @p sampleRateHz instead of the track's own rate. Before the reader starts.
    void setSampleRate(std::uint32_t sampleRateHz);
    const AssetTrack& track() const;
    /// The next sample of this track in presentation order for pictures, file order otherwise; null at the
    /// end, after a failure or before startReading(). A growing file's end is where it ended when it was
    /// opened.
    SampleBufferPtr copyNextSampleBuffer();

    struct Implementation;
    /// For the reader.
    Implementation& implementation() { return *implementation_; }

private:
    AssetReaderTrackOutput();
    std::unique_ptr<Implementation> implementation_;
};

using AssetReaderTrackOutputPtr = std::shared_ptr<AssetReaderTrackOutput>;

}  // namespace zenquor::platform
