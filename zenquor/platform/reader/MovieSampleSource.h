#pragma once
// A track's samples as they lie in the movie file.

#include <cstdint>
#include <memory>
#include <vector>

#include "zenquor/platform/reader/FileView.h"
#include "zenquor/platform/reader/MovieSampleCursor.h"
#include "zenquor/platform/reader/MovieTables.h"
#include "zenquor/platform/reader/SampleSource.h"

namespace zenquor::platform::detail {

/// Hands out the bytes of timecode and caption samples at the times that the edit list gives them.
///
/// A sample that an edit begins or ends within keeps its own time and duration, so that frames can be counted
/// from it.
class MovieSampleSource final : public SampleSource {
public:
    /// @param trackID  a track of @p tables.
    /// @param start    samples that end before it, or at it, are passed over.
    MovieSampleSource(FileViewPtr file, std::shared_ptr<const MovieTables> tables, std::uint32_t trackID,
                      FormatDescriptionPtr format, MediaTime start);

    SampleBufferPtr next() override;

private:
    struct Span {
        std::int64_t movieStart = 0;  // where the edit lies in the movie, track time scale
        std::int64_t mediaStart = 0;  // what of the media it shows
        std::int64_t mediaEnd = 0;
    };
    static std::vector<Span> spansOf(const MovieTrackTables& track, std::uint32_t movieTimeScale);
    bool isShown(const MovieSample& sample) const;
    SampleBufferPtr sampleBuffer(const MovieSample& sample) const;

    FileViewPtr file_;
    std::shared_ptr<const MovieTables> tables_;
    const MovieTrackTables& track_;
    FormatDescriptionPtr format_;
    MediaTime start_;
    std::vector<Span> spans_;
    std::size_t span_ = 0;
    MovieSampleCursor cursor_;
    std::uint64_t stepsLeft_;  // bounds what a broken edit list can cost
};

}  // namespace zenquor::platform::detail
