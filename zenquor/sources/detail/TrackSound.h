#pragma once
// The sound of one track by position.

#include <cstddef>
#include <cstdint>
#include <span>

#include "zenquor/platform/AssetReaderTrackOutput.h"

namespace zenquor::detail {

/// Puts a track's PCM on a time line of 48 kHz samples that begins with the programme: gaps are silent,
/// overlaps and what lies before the beginning are left out.
///
/// Thread-safety: One thread at a time.
class TrackSound {
public:
    /// @param output       gives interleaved PCM at 48 kHz.
    /// @param channels     of the track.
    /// @param sampleBytes  of one channel: 2 or 4.
    /// @param zero         the programme's beginning in the file's time.
    TrackSound(platform::AssetReaderTrackOutputPtr output, std::uint32_t channels, std::uint32_t sampleBytes,
               platform::MediaTime zero);

    std::uint32_t channels() const { return channels_; }
    /// Whether there is sound at @p position or after it.
    bool hasSoundFrom(std::int64_t position);
    /// Copies the sound from @p position on into @p out, silent samples as they are.
    /// @param out           interleaved samples of all tracks, zeroed.
    /// @param outChannels   channels in @p out.
    /// @param firstChannel  where this track's channels go; those beyond @p outChannels are left out.
    void mixInto(std::span<std::uint8_t> out, std::int64_t position, std::uint32_t outChannels,
                 std::uint32_t firstChannel);

private:
    bool loadNext();

    platform::AssetReaderTrackOutputPtr output_;
    std::uint32_t channels_;
    std::uint32_t sampleBytes_;
    platform::MediaTime zero_;
    platform::SampleBufferPtr block_;
    std::int64_t blockStart_ = 0;
    std::int64_t nextStart_ = 0;
    bool hasBegun_ = false;
    bool hasEnded_ = false;
};

}  // namespace zenquor::detail
