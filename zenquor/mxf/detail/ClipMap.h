#pragma once
// Clip-wrapped essence: one element holds all edit units, which are told apart by their size or by the index.

#include <cstdint>
#include <optional>
#include <vector>

#include "zenquor/mxf/detail/ElementWalk.h"
#include "zenquor/mxf/detail/IndexTable.h"

namespace zenquor::mxf::detail {

/// Bytes of the file.
struct FileRange {
    std::uint64_t position = 0;
    std::uint64_t length = 0;
};

/// Sound of a constant rate, which is cut into edit units by counting.
struct SoundSize {
    std::uint32_t blockBytes = 0;  // of one sample of all channels
    Rational sampleRate;
    Rational editRate;

    /// At least a sample in each edit unit, and rates that exist.
    bool isKnown() const;
    /// This many samples in so many edit units.
    std::uint64_t samples() const {
        return static_cast<std::uint64_t>(sampleRate.numerator) *
               static_cast<std::uint64_t>(editRate.denominator);
    }
    std::uint64_t units() const {
        return static_cast<std::uint64_t>(sampleRate.denominator) *
               static_cast<std::uint64_t>(editRate.numerator);
    }
};

/// The clip of one track.
///
/// Thread-safety: One thread at a time.
class ClipMap {
public:
    ClipMap(FileView& file, FaultList& faults) : file_(file), faults_(faults) {}

    /// @param sound  where it is known the index is not asked.
    void update(const std::vector<EssenceExtent>& extents, std::uint32_t trackNumber,
                const std::vector<const IndexSegment*>& segments, const SoundSize& sound);

    std::int64_t count() const { return count_; }
    /// Nothing for a unit that is not there.
    std::vector<FileRange> rangesOf(std::int64_t unit) const;
    const IndexEntry* entryOf(std::int64_t unit) const { return table_.entryOf(unit); }
    const IndexTable& table() const { return table_; }
    bool isFound() const { return totalBytes_ > 0; }

private:
    void countSound();
    std::uint64_t soundOffset(std::int64_t unit) const;
    std::uint64_t startOf(std::int64_t unit) const;

    FileView& file_;
    FaultList& faults_;
    std::vector<FileRange> clips_;
    std::vector<std::uint64_t> clipEnds_;  // of each, counted through all clips
    std::uint64_t totalBytes_ = 0;
    std::uint64_t firstHeaderBytes_ = 0;  // what the index counts in front of the first edit unit
    IndexTable table_;
    SoundSize sound_;
    std::int64_t count_ = 0;
};

}  // namespace zenquor::mxf::detail
