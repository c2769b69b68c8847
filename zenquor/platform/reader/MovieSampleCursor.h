#pragma once
// Walks the samples of one track through its tables.

#include <cstddef>
#include <cstdint>
#include <optional>

#include "zenquor/platform/reader/MovieTables.h"

namespace zenquor::platform::detail {

/// Where a sample lies and when it is decoded and shown, in units of its track.
struct MovieSample {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::uint32_t duration = 0;
    std::int64_t decodeTime = 0;
    std::int64_t presentationTime = 0;
};

/// Gives a track's samples one by one, first those of the movie box, then those of the fragments. Nothing is
/// expanded: the tables may claim any number of samples.
///
/// Thread-safety: One thread at a time. The tables must outlive the cursor.
class MovieSampleCursor {
public:
    /// @param fileSize  samples beyond it end the walk.
    MovieSampleCursor(const MovieTrackTables& track, std::uint64_t fileSize);

    std::optional<MovieSample> next();
    void rewind();

private:
    /// A table of run lengths, walked one unit at a time.
    struct Runs {
        std::size_t row = 0;      // of the next run
        std::uint32_t left = 0;   // units left in the current one
        std::uint32_t value = 0;  // of the current one
        std::uint32_t next(const ZQData& table);
    };

    std::optional<MovieSample> nextFromTables();
    std::optional<MovieSample> nextFromFragments();
    bool enterNextChunk();
    std::uint32_t sampleSize(std::uint64_t index) const;

    const MovieTrackTables* track_;
    std::uint64_t fileSize_;
    std::uint64_t sampleCount_;  // of the movie box

    std::uint64_t sample_ = 0;
    std::uint64_t decodeTime_ = 0;
    Runs durations_;
    Runs offsets_;
    std::uint64_t chunk_ = 0;           // the next one, from 0
    std::size_t chunkRow_ = 0;          // the row of 'stsc' that it belongs to
    std::uint32_t samplesInChunk_ = 0;  // left in the current one
    std::uint64_t offset_ = 0;

    std::size_t run_ = 0;
    std::uint32_t runSample_ = 0;
};

}  // namespace zenquor::platform::detail
