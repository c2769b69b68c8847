#pragma once
// The inside of a track output.

#include <memory>

#include "zenquor/platform/AssetReaderTrackOutput.h"
#include "zenquor/platform/reader/Container.h"
#include "zenquor/platform/reader/PacketReader.h"
#include "zenquor/platform/reader/ReaderState.h"
#include "zenquor/platform/reader/SampleSource.h"

namespace zenquor::platform {

struct AssetReaderTrackOutput::Implementation {
    enum class Kind { Pictures, Sound, Undecoded };

    AssetTrack track;
    Kind kind = Kind::Undecoded;
    FourCC pixelFormat = 0;
    AudioStreamBasicDescription audioFormat;
    std::uint32_t sampleRate = 0;  // 0: the track's own
    std::shared_ptr<detail::ReaderState> state;  // null until added to a reader
    std::unique_ptr<detail::SampleSource> source;

    /// Whether the samples come out of the movie's own tables instead of libavformat.
    bool readsTables(const detail::Container& container) const;
    /// Makes the source of samples. @return false with an error.
    bool prepare(const std::shared_ptr<detail::PacketReader>& packets, MediaTime start, ZQErrorPtr* error);
    SampleBufferPtr next();

private:
    bool preparePictures(const std::shared_ptr<detail::PacketReader>& packets, MediaTime start,
                         ZQErrorPtr* error);
    bool prepareSound(const std::shared_ptr<detail::PacketReader>& packets, MediaTime start,
                      ZQErrorPtr* error);
    void finish();
};

}  // namespace zenquor::platform
