#pragma once
// One run through a media file, frame by frame of a recording.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/AssetReader.h"
#include "zenquor/sources/SourceFormat.h"
#include "zenquor/sources/detail/TrackSound.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor::detail {

/// What of a file is played.
struct FileTracks {
    std::optional<platform::AssetTrack> video;
    std::vector<platform::AssetTrack> audio;
    std::optional<platform::AssetTrack> captions;
    /// The file's time at which the programme begins: that of the first picture, or of the first sound.
    platform::MediaTime zero() const;
};

/// Gives what belongs to frame 0, 1, 2 … of the recording, once each and in order.
///
/// Thread-safety: One thread at a time.
class FilePass {
public:
    /// @return null with an error when the file can no longer be read.
    static std::unique_ptr<FilePass> start(const platform::AssetPtr& asset, const FileTracks& tracks,
                                           const SourceFormat& format, ZQErrorPtr* error);

    /// Whether anything is left for frame @p frame, whose sound begins at @p soundPosition.
    bool hasFrame(std::uint64_t frame, std::int64_t soundPosition);
    /// The picture shown at a frame; null in a file without pictures.
    platform::SampleBufferPtr pictureAt(std::uint64_t frame);
    /// Adds the sound from @p position on; @p out is zeroed.
    void soundInto(std::span<std::uint8_t> out, std::int64_t position);
    /// The caption packets of a frame: one, none, or several where the file has more frames than the
    /// recording.
    ZQRVANCPacketList captionsAt(std::uint64_t frame);
    /// Why reading ended; null when the file simply ended.
    ZQErrorPtr error() const { return reader_->error(); }

private:
    FilePass(const FileTracks& tracks, const SourceFormat& format);
    void addOutputs(const FileTracks& tracks);
    bool hasPictureAt(std::uint64_t frame);
    /// Whether something that begins at @p time has begun at a frame, give or take what containers round.
    bool hasBegunAt(platform::MediaTime time, std::uint64_t frame) const;

    SourceFormat format_;
    platform::MediaTime zero_;
    platform::AssetReaderPtr reader_;
    platform::AssetReaderTrackOutputPtr pictures_;
    platform::SampleBufferPtr picture_;
    platform::SampleBufferPtr nextPicture_;
    platform::AssetReaderTrackOutputPtr captions_;
    platform::SampleBufferPtr caption_;
    platform::SampleBufferPtr nextCaption_;
    std::uint64_t captionFrame_ = 0;  // the frame on which caption_ began
    std::vector<TrackSound> sounds_;
};

}  // namespace zenquor::detail
