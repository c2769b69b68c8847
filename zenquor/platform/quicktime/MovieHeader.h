#pragma once
// The moov box, of a movie that is being recorded and of a finished one.

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "zenquor/core/ZQValue.h"
#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/quicktime/TrackState.h"

namespace zenquor::platform::quicktime {

/// What holds for the whole movie.
struct MovieSettings {
    FileType type = FileType::QuickTimeMovie;
    std::int32_t timescale = 600;
    ZQDictionary metadata;
    MediaTime sessionStart;  // the source time that is the movie's 0
    std::chrono::system_clock::time_point created;
};

using TrackList = std::vector<std::shared_ptr<TrackState>>;

/// The ftyp box.
std::vector<std::uint8_t> makeFileType(FileType type);

/// Where the media time of a track's fragments counts from: the session's start, less what of the track comes
/// before it.
std::int64_t fragmentOrigin(const TrackState& track, const MovieSettings& settings);

/// The moov box of a movie in fragments.
struct FragmentedMovieHeader {
    std::vector<std::uint8_t> box;
    std::size_t durationOffset = 0;  // within the box: 64 bits, in the movie's time scale, 0 so far
};
/// The moov box of the recording: tracks without samples, and the announcement of fragments. Tracks whose
/// format is not known are left out.
FragmentedMovieHeader makeFragmentedMovieHeader(const MovieSettings& settings, const TrackList& tracks);
/// How long the movie is so far, in its time scale.
std::uint64_t movieDuration(const MovieSettings& settings, const TrackList& tracks);
/// The moov box of the finished movie: all tables, edits from the session's start. Empty tracks are left out.
std::vector<std::uint8_t> makeMovieHeader(const MovieSettings& settings, const TrackList& tracks);

/// Movie metadata as children of moov.
void writeMetadata(detail::BoxWriter& out, FileType type, const ZQDictionary& metadata);

}  // namespace zenquor::platform::quicktime
