#pragma once
// One track of a movie under construction.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/MediaTime.h"
#include "zenquor/platform/quicktime/SampleTable.h"

namespace zenquor::platform::quicktime {

/// A track's samples in the open fragment.
struct FragmentRun {
    struct Entry {
        std::uint32_t duration;
        std::uint32_t size;
        std::int32_t compositionOffset;
        bool notSync;
    };
    std::vector<Entry> entries;
    std::vector<std::uint8_t> bytes;  // empty for the track that is streamed to the file
    std::uint64_t byteCount = 0;
    std::uint32_t sampleCount = 0;  // as the sample table counts: PCM frames, else entries
    std::int64_t firstDecodeTime = 0;

    bool empty() const { return entries.empty(); }
    /// Keeps the memory.
    void clear();
};

/// What samples carry besides their bytes; times of the source.
struct SampleTimes {
    MediaTime decodeTime;
    MediaTime presentationTime;
    MediaTime duration;  // of one sample
};

/// A track: what its samples are, its tables, and its part of the open fragment.
///
/// Thread-safety: One thread at a time.
class TrackState {
public:
    /// PCM in fragments is told in pieces of this part of a second: an entry per frame would cost the reader
    /// of a long recording more memory than the sound itself.
    static constexpr std::int64_t pcmPiecesPerSecond = 10;

    /// @param streamed  the samples' bytes go to the file as they come instead of into the run.
    TrackState(std::uint32_t number, FourCC type, FormatDescriptionPtr description, bool streamed);

    /// Takes a coded sample, whose bytes are gathered unless the track is streamed.
    /// @param problem  why it was refused: times that go back, sizes beyond the tables.
    bool addSample(std::span<const std::uint8_t> bytes, const SampleTimes& times, bool notSync,
                   bool partialSync, std::string& problem);
    /// Takes @p bytes of PCM, whole frames that start at @p time.
    bool addFrames(std::span<const std::uint8_t> bytes, MediaTime time, std::string& problem);

    /// Hands out the open fragment's run; @p empty, cleared, takes its place.
    FragmentRun exchangeRun(FragmentRun empty);

    bool isPCM() const { return bytesPerFrame_ != 0; }
    std::uint32_t bytesPerFrame() const { return bytesPerFrame_; }
    MediaTime toTimescale(MediaTime time) const { return time.converted(timescale); }
    /// Times shown, in the track's time scale: without the priming of coded sound.
    std::int64_t presentationStart() const;
    std::int64_t presentationEnd() const;

    const std::uint32_t trackID;
    const FourCC mediaType;
    const bool isStreamed;
    FormatDescriptionPtr format;  // null until the encoder has told it
    std::int32_t timescale = 0;   // 0 until the first sample
    std::string languageCode;
    std::vector<std::uint32_t> timecodeTrackIDs;
    SampleTable table;
    FragmentRun run;
    /// Bytes of the first sample, for entries that repeat what the coded picture says.
    std::array<std::uint8_t, 64> firstBytes{};
    std::size_t firstByteCount = 0;
    /// Coded sound: what is heard, in the track's time scale; without it, all samples are.
    std::optional<std::int64_t> heardFrom, heardTo;

private:
    void remember(std::span<const std::uint8_t> bytes);
    void adoptTimescale(const SampleTimes& times);
    void correctLastDuration(std::int64_t decodeTime);

    std::uint32_t bytesPerFrame_ = 0;  // PCM only
};

}  // namespace zenquor::platform::quicktime
