#pragma once
// What libavformat and the movie's own tables say of a track.

#include "zenquor/platform/Asset.h"
#include "zenquor/platform/reader/MovieTables.h"

struct AVFormatContext;
struct AVStream;

namespace zenquor::platform::detail {

/// Describes one stream. Times are in the track's scale; @p origin is libav's time, in that scale, of time 0.
/// @param tables  the movie's tables; null for other containers.
AssetTrack describeStream(AVFormatContext& container, const AVStream& stream, std::int64_t origin,
                          const MovieTables* tables);

/// The description of a timecode sample entry (with its header); null when it is broken.
FormatDescriptionPtr timecodeDescription(const ZQData& sampleEntry);

}  // namespace zenquor::platform::detail
