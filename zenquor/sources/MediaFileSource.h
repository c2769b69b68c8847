#pragma once
// Plays a media file as if it came from a capture card.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "zenquor/sources/FrameSource.h"

namespace zenquor {

/// A media file in a recording's format: pictures scaled with black bars where the display aspect differs,
/// the frame rate made by repeating and leaving out pictures at exact times, sound at 48 kHz cut into the
/// rate's cadence.
///
/// The programme begins with the first picture. The channels of all audio tracks in order become channels 1,
/// 2, 3 …; missing ones are silent. Where sound runs on after the pictures the last one stays; a file of
/// sound alone has black pictures.
///
/// Lifecycle:     create, nextFrame() until null.
/// Thread-safety: One thread at a time.
class MediaFileSource final : public FrameSource {
public:
    struct Options {
        bool loop = false;         ///< begin again at the end; timecode and times run on
        bool useTimecode = true;   ///< take the start timecode from the file when it has one
        bool passCaptions = true;  ///< the file's captions become ancillary packets of the frames
        std::optional<ZQCKTimecode>
            startTimecode{};  ///< when the file's is not used or absent; else 00:00:00:00
        std::optional<std::uint64_t> maximumFrames{};
        std::size_t pictureLimit = 96;  ///< pictures in memory at once
        /// How long nextFrame() waits while all of them are in use.
        std::chrono::milliseconds pictureWait{5000};
    };

    /// @return null with frameSourceErrorInvalidFormat, frameSourceErrorNoTracks or the asset's error.
    static std::shared_ptr<MediaFileSource> sourceWithURL(const std::filesystem::path& url,
                                                          const SourceFormat& format, Options options,
                                                          ZQErrorPtr* error = nullptr);
    ~MediaFileSource() override;

    ZQRFramePtr nextFrame() override;
    const SourceFormat& format() const override;
    /// What the container promises; nothing when it does not say or the file is repeated without an end.
    std::optional<std::uint64_t> durationFrames() const override;
    ZQCKTimecode startTimecode() const override;
    ZQErrorPtr error() const override;
    bool hasVideo() const;
    bool hasAudio() const;
    bool hasCaptions() const;
    /// Whether startTimecode() came out of the file.
    bool hasFileTimecode() const;

private:
    MediaFileSource();
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zenquor
