#pragma once
// The parts of a movie's structure that libavformat keeps to itself.

#include <cstdint>
#include <optional>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/platform/reader/FileView.h"

namespace zenquor::platform::detail {

/// A stretch of a track's edit list.
struct MovieEdit {
    std::uint64_t duration = 0;   // movie time scale
    std::int64_t mediaTime = -1;  // track time scale; -1: nothing is shown
};

/// Flags of a 'trun' box: which fields and columns it has.
enum RunFlag : std::uint32_t {
    runHasDataOffset = 0x001,
    runHasFirstFlags = 0x004,
    runHasDurations = 0x100,
    runHasSizes = 0x200,
    runHasFlags = 0x400,
    runHasOffsets = 0x800
};

/// What one 'trun' box says of the samples of a fragment.
struct MovieFragmentRun {
    std::uint64_t dataOffset = 0;  // of the first sample, in the file
    std::uint64_t decodeTime = 0;  // of the first sample
    std::uint32_t count = 0;
    std::uint32_t flags = 0;
    std::uint32_t defaultDuration = 0;
    std::uint32_t defaultSize = 0;
    ZQData rows;  // at least count rows of the columns in the order of their flags
    std::size_t rowSize() const;
};

/// One track's description and sample tables, as slices of the movie box.
struct MovieTrackTables {
    std::uint32_t trackID = 0;
    FourCC handler = 0;
    std::uint32_t timeScale = 0;
    ZQData sampleEntry;            // the first sample description, with its header
    bool isSelfContained = true;   // the samples lie in this file
    std::vector<MovieEdit> edits;  // empty: the media as it is
    std::vector<std::uint32_t> timecodeTrackIDs;
    ZQData stts, ctts, stsc, stsz, stco;  // without box header and version
    bool has64BitOffsets = false;
    std::uint32_t defaultDuration = 0;  // of 'trex'
    std::uint32_t defaultSize = 0;
    std::vector<MovieFragmentRun> runs;

    FourCC sampleEntryType() const;
    std::uint64_t sampleCount() const;
};

/// A QuickTime or MPEG-4 movie's tracks with the tables of those whose samples are handed out as they lie in
/// the file: timecode and captions.
///
/// libavformat rewrites caption samples on their way and does not tell which timecode track belongs to which
/// picture track, so this much is read beside it. Broken boxes are left out, never an error.
///
/// Thread-safety: Safe; immutable after reading.
/// Standards:     QuickTime File Format, ISO/IEC 14496-12.
struct MovieTables {
    std::uint32_t movieTimeScale = 0;
    std::vector<MovieTrackTables> tracks;
    bool isFragmented = false;
    /// Where the file ends for a reader: before a fragment that is not yet complete.
    std::uint64_t readableSize = 0;

    /// @return nothing when the file does not begin like a movie or has no movie box.
    static std::optional<MovieTables> read(const FileView& file);
    const MovieTrackTables* track(std::uint32_t trackID) const;
};

}  // namespace zenquor::platform::detail
