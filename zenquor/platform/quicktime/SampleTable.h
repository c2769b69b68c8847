#pragma once
// The sample tables of one track, kept in memory until the movie is finished.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "zenquor/platform/detail/BoxWriter.h"

namespace zenquor::platform::quicktime {

/// One sample as the tables see it; times in the track's time scale.
struct Sample {
    std::int64_t decodeTime = 0;
    std::int64_t compositionOffset = 0;  // presentation minus decode time
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    bool notSync = false;
    bool partialSync = false;
};

/// Collects samples and chunks, and writes them as stts, ctts, stss, stps, stsc, stsz and stco or co64.
///
/// Equal neighbours share an entry, so that most tracks cost a few bytes per chunk; the worst case, long-GOP
/// video of a variable rate, costs 28 bytes per sample.
///
/// Thread-safety: One thread at a time.
/// Standards:     QuickTime File Format; ISO/IEC 14496-12, 8.6 and 8.7.
class SampleTable {
public:
    void add(const Sample& sample);
    /// PCM: @p count samples of @p size bytes, one unit of time long each. @p decodeTime may lie behind the
    /// end of those before: the sample before then lasts longer.
    void addFrames(std::int64_t decodeTime, std::uint32_t count, std::uint32_t size);
    /// The next @p sampleCount samples that lie in no chunk yet start at @p offset.
    void addChunk(std::uint64_t offset, std::uint32_t sampleCount);

    std::uint64_t sampleCount() const { return sampleCount_; }
    /// Room for that many more samples; the formats count in 32 bits.
    bool hasRoomFor(std::uint64_t samples) const {
        return samples <= std::numeric_limits<std::uint32_t>::max() - sampleCount_;
    }
    bool empty() const { return sampleCount_ == 0; }
    std::int64_t firstDecodeTime() const { return firstDecodeTime_; }
    /// Decode time of the next sample if it follows without a gap.
    std::int64_t endDecodeTime() const { return lastDecodeTime_ + lastDuration_; }
    std::int64_t lastDecodeTime() const { return lastDecodeTime_; }
    /// Of all decode durations.
    std::uint64_t duration() const {
        return empty() ? 0 : static_cast<std::uint64_t>(endDecodeTime() - firstDecodeTime_);
    }
    std::int64_t firstPresentationTime() const { return firstPresentationTime_; }
    std::int64_t endPresentationTime() const { return endPresentationTime_; }

    /// The table boxes that follow stsd in stbl.
    void write(detail::BoxWriter& out) const;
    /// The tables of a movie whose samples lie in fragments.
    static void writeEmpty(detail::BoxWriter& out);

private:
    template <typename Value>
    struct Run {
        std::uint32_t count;
        Value value;
    };
    template <typename Value>
    static void extend(std::vector<Run<Value>>& runs, std::uint32_t count, Value value);

    void addSize(std::uint32_t size, std::uint32_t count);
    void writeTimes(detail::BoxWriter& out) const;
    void writeCompositionOffsets(detail::BoxWriter& out) const;
    void writeSyncSamples(detail::BoxWriter& out) const;
    void writeChunkSizes(detail::BoxWriter& out) const;
    void writeSizes(detail::BoxWriter& out) const;
    void writeOffsets(detail::BoxWriter& out) const;

    struct Chunk {
        std::uint64_t offset;
        std::uint32_t sampleCount;
    };

    std::uint64_t sampleCount_ = 0;
    std::int64_t firstDecodeTime_ = 0;
    std::int64_t lastDecodeTime_ = 0;  // of the last sample, which is not in durations_ yet
    std::int64_t lastDuration_ = 0;
    std::int64_t firstPresentationTime_ = 0;
    std::int64_t endPresentationTime_ = 0;
    std::vector<Run<std::uint32_t>> durations_;
    std::vector<Run<std::int32_t>> compositionOffsets_;
    std::vector<std::uint32_t> syncSamples_;  // numbers from 1, kept from the first sample that is not one
    std::vector<std::uint32_t> partialSyncSamples_;  // numbers from 1
    bool allSync_ = true;
    std::uint32_t commonSize_ = 0;
    std::vector<std::uint32_t> sizes_;  // empty while all are equal
    std::vector<Chunk> chunks_;
};

}  // namespace zenquor::platform::quicktime
