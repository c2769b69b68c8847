#pragma once
// A movie file opened for reading: its tracks and times.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/MediaTime.h"

namespace zenquor::platform {

namespace detail {
class AssetLoader;
}

inline constexpr const char* assetErrorDomain = "ZQAssetErrorDomain";
inline constexpr int assetErrorCannotOpen = -11829;
inline constexpr int assetErrorDecodeFailed = -11821;
inline constexpr int assetErrorDecoderNotFound = -11833;

/// One track of an opened file.
struct AssetTrack {
    std::uint32_t trackID = 0;  // the container's number
    std::size_t index = 0;      // position among the asset's tracks
    FourCC mediaType = 0;  // mediaTypeVideo, mediaTypeAudio, mediaTypeTimecode, mediaTypeClosedCaption, or 0
    FormatDescriptionPtr formatDescription;  // null when the media type is 0
    MediaTime start;                         // presentation time of the first sample
    MediaTime duration;
    std::int32_t naturalTimeScale = 0;
    std::int64_t sampleCount = 0;          // 0 when the container does not say
    std::uint32_t frameRateNumerator = 0;  // video: nominal frames per second
    std::uint32_t frameRateDenominator = 1;
    std::string codecName;                        // libavcodec's, for people
    std::string languageCode;                     // ISO 639-2, empty when not said
    std::vector<std::uint32_t> timecodeTrackIDs;  // the tracks' 'tmcd' references, where the container says
};

/// An opened movie. It may still grow; open it again to see more of it.
///
/// Thread-safety: Safe; immutable after opening.
class Asset final : public ZQObject {
public:
    /// @return null with an error (assetErrorCannotOpen) when the file is missing, unreadable, of no known
    /// kind, or
    ///         without tracks.
    static std::shared_ptr<const Asset> assetWithURL(const std::filesystem::path& url,
                                                     ZQErrorPtr* error = nullptr);

    const std::filesystem::path& url() const { return url_; }
    const std::string& containerName() const { return containerName_; }
    MediaTime duration() const { return duration_; }
    const std::vector<AssetTrack>& tracks() const { return tracks_; }
    std::vector<AssetTrack> tracksWithMediaType(FourCC mediaType) const;
    /// What the container says of the programme, text by libavformat's key: "title", "timecode" and so on.
    const ZQDictionary& metadata() const { return metadata_; }
    /// Bytes of the file that the tracks lie in: its size at opening, without a fragment that was not yet
    /// complete.
    std::uint64_t readableSize() const { return readableSize_; }
    /// Whether the movie consists of fragments, as one that is still being recorded does.
    bool isFragmented() const { return isFragmented_; }

private:
    friend class detail::AssetLoader;
    Asset() = default;

    std::filesystem::path url_;
    std::string containerName_;
    MediaTime duration_;
    std::vector<AssetTrack> tracks_;
    ZQDictionary metadata_;
    std::uint64_t readableSize_ = 0;
    bool isFragmented_ = false;
};

using AssetPtr = std::shared_ptr<const Asset>;

}  // namespace zenquor::platform
