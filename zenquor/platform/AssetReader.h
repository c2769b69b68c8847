#pragma once
// Reads the samples of a movie: decoded pictures and sound, undecoded timecode and captions.

#include <memory>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/Asset.h"
#include "zenquor/platform/AssetReaderTrackOutput.h"
#include "zenquor/platform/MediaTime.h"

namespace zenquor::platform {

enum class AssetReaderStatus { Unknown = 0, Reading = 1, Completed = 2, Failed = 3, Cancelled = 4 };

/// Reads an asset from a start time on.
///
/// The file is read up to where it ended when the asset was opened. Outputs may be drained in any order: each
/// keeps what the others leave behind, and one that is left far behind reads the file again on its own.
///
/// Lifecycle:     create, add outputs, startReading(), copy samples until null, drop. Outputs may outlive the
/// reader. Thread-safety: One thread at a time, the outputs included; cancelReading() and status() from
/// anywhere.
class AssetReader final : public ZQObject {
public:
    /// @return null with an error when the file can no longer be opened.
    static std::shared_ptr<AssetReader> assetReaderWithAsset(AssetPtr asset, ZQErrorPtr* error = nullptr);
    ~AssetReader() override;

    /// Before startReading(); later calls and null do nothing.
    void addOutput(AssetReaderTrackOutputPtr output);
    /// The first picture handed out is the one shown at @p start and PCM begins with the sample frame heard
    /// then; other tracks begin with the sample that covers @p start, with its own time and bytes. Undecoded
    /// pictures begin where decoding can start.
    void setStartTime(MediaTime start);
    /// @return false with status Failed and an error when a decoder is missing.
    bool startReading();
    /// Outputs give no more samples from now on.
    void cancelReading();
    /// Completed once every output has given its last sample; Failed when a track could not be decoded at
    /// all.
    AssetReaderStatus status() const;
    /// Why the status is Failed; null otherwise.
    ZQErrorPtr error() const;

    struct Implementation;

private:
    AssetReader();
    std::shared_ptr<Implementation> implementation_;
};

using AssetReaderPtr = std::shared_ptr<AssetReader>;

}  // namespace zenquor::platform
