#pragma once
// Reads the samples of a movie: decoded pictures and sound, undecoded timecode and captions.

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/Asset.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/SampleBuffer.h"

namespace zenquor::platform {

enum class AssetReaderStatus { Unknown = 0, Reading = 1, Completed = 2, Failed = 3, Cancelled = 4 };

/// One track as a reader hands it out.
///
/// Thread-safety: Confined to the thread that reads; outputs of one reader share that thread.
class AssetReaderTrackOutput final {
public:
    /// Pictures decoded into @p pixelFormat: pixelFormat2vuy, pixelFormatV210 or pixelFormat32ARGB.
    static std::shared_ptr<AssetReaderTrackOutput> forVideo(const AssetTrack& track, FourCC pixelFormat);
    /// Interleaved PCM in @p format (packed or high-aligned integers, 16, 24 or 32 bit containers, little-endian);
    /// rate and channel count are the track's own.
    static std::shared_ptr<AssetReaderTrackOutput> forAudio(const AssetTrack& track,
                                                            const AudioStreamBasicDescription& format);
    /// Samples as they lie in the file: for captions the "cdat", "cdt2" and "ccdp" atoms, for timecode the frame number.
    static std::shared_ptr<AssetReaderTrackOutput> undecoded(const AssetTrack& track);
    ~AssetReaderTrackOutput();

    const AssetTrack& track() const;
    /// The next sample of this track in presentation order for pictures, file order otherwise; null at the end, after a
    /// failure or before startReading(). A growing file's end is where it ended when it was opened.
    SampleBufferPtr copyNextSampleBuffer();

    struct Implementation;
    Implementation& implementation() { return *implementation_; }

private:
    AssetReaderTrackOutput();
    std::unique_ptr<Implementation> implementation_;
};

using AssetReaderTrackOutputPtr = std::shared_ptr<AssetReaderTrackOutput>;

/// Reads an asset from a start time on.
///
/// Lifecycle:     create, add outputs, startReading(), copy samples until null, drop.
/// Thread-safety: One thread at a time.
class AssetReader final : public ZQObject {
public:
    /// @return null with an error when the file can no longer be opened.
    static std::shared_ptr<AssetReader> assetReaderWithAsset(AssetPtr asset, ZQErrorPtr* error = nullptr);
    ~AssetReader() override;

    void addOutput(AssetReaderTrackOutputPtr output);
    /// The first picture handed out is the one shown at @p start; other tracks begin with the sample that covers it.
    void setStartTime(MediaTime start);
    /// @return false with status Failed and an error when a decoder is missing.
    bool startReading();
    void cancelReading();
    AssetReaderStatus status() const;
    ZQErrorPtr error() const;

    struct Implementation;

private:
    AssetReader();
    std::shared_ptr<Implementation> implementation_;
};

using AssetReaderPtr = std::shared_ptr<AssetReader>;

}  // namespace zenquor::platform
