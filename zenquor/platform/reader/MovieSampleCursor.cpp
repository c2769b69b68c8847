#include "zenquor/platform/reader/MovieSampleCursor.h"

#include <algorithm>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::platform::detail {
namespace {

/// The number at @p offset, 0 beyond the table.
std::uint32_t at32(const ZQData& table, std::uint64_t offset) {
    return table.size() >= 4 && offset <= table.size() - 4 ? readBE32(table.data() + offset) : 0;
}

/// The rows that a table of @p rowSize bytes each really has behind its count.
std::uint64_t rowCount(const ZQData& table, std::size_t rowSize) {
    if (table.size() < 4) return 0;
    return std::min<std::uint64_t>(at32(table, 0), (table.size() - 4) / rowSize);
}

}  // namespace

std::uint32_t MovieSampleCursor::Runs::next(const ZQData& table) {
    while (left == 0) {
        if (row >= rowCount(table, 8)) return value;  // a table that is too short: its last value goes on
        left = at32(table, 4 + std::uint64_t{row} * 8);
        value = at32(table, 8 + std::uint64_t{row} * 8);
        ++row;
    }
    --left;
    return value;
}

MovieSampleCursor::MovieSampleCursor(const MovieTrackTables& track, std::uint64_t fileSize)
    : track_(&track), fileSize_(fileSize) {
    const std::uint32_t constantSize = at32(track.stsz, 0);
    const std::uint64_t claimed = at32(track.stsz, 4);
    // Samples do not share bytes, so a table-less count is bounded by the file.
    sampleCount_ = constantSize > 0 ? std::min(claimed, fileSize / constantSize)
                                    : std::min<std::uint64_t>(
                                          claimed, track.stsz.size() < 8 ? 0 : (track.stsz.size() - 8) / 4);
}

void MovieSampleCursor::rewind() {
    *this = MovieSampleCursor(*track_, fileSize_);
}

std::uint32_t MovieSampleCursor::sampleSize(std::uint64_t index) const {
    const std::uint32_t constantSize = at32(track_->stsz, 0);
    return constantSize > 0 ? constantSize : at32(track_->stsz, 8 + index * 4);
}

bool MovieSampleCursor::enterNextChunk() {
    const std::size_t offsetSize = track_->has64BitOffsets ? 8 : 4;
    const std::uint64_t rows = rowCount(track_->stsc, 12);
    while (samplesInChunk_ == 0) {
        if (chunk_ >= rowCount(track_->stco, offsetSize) || rows == 0) return false;
        // Each row holds from its first chunk, counted from 1, to that of the next row.
        while (chunkRow_ + 1 < rows && at32(track_->stsc, 4 + (chunkRow_ + 1) * 12) <= chunk_ + 1)
            ++chunkRow_;
        samplesInChunk_ = at32(track_->stsc, 4 + chunkRow_ * 12 + 4);
        const std::uint64_t entry = 4 + chunk_ * offsetSize;
        offset_ = at32(track_->stco, entry);
        if (track_->has64BitOffsets) offset_ = offset_ << 32 | at32(track_->stco, entry + 4);
        ++chunk_;
    }
    return true;
}

std::optional<MovieSample> MovieSampleCursor::nextFromTables() {
    if (sample_ >= sampleCount_ || !enterNextChunk()) return std::nullopt;
    MovieSample sample;
    sample.offset = offset_;
    sample.size = sampleSize(sample_);
    sample.duration = durations_.next(track_->stts);
    sample.decodeTime = static_cast<std::int64_t>(decodeTime_);
    const auto shift = track_->ctts.empty() ? 0 : static_cast<std::int32_t>(offsets_.next(track_->ctts));
    sample.presentationTime =
        static_cast<std::int64_t>(decodeTime_ + static_cast<std::uint64_t>(std::int64_t{shift}));
    ++sample_;
    --samplesInChunk_;
    offset_ += sample.size;
    decodeTime_ += sample.duration;
    return sample;
}

std::optional<MovieSample> MovieSampleCursor::nextFromFragments() {
    if (run_ >= track_->runs.size()) return std::nullopt;
    const MovieFragmentRun& run = track_->runs[run_];
    if (runSample_ == 0) {
        offset_ = run.dataOffset;
        decodeTime_ = run.decodeTime;
    }
    std::uint64_t column = std::uint64_t{runSample_} * run.rowSize();
    const auto nextColumn = [&](std::uint32_t flag, std::uint32_t otherwise) {
        if (!(run.flags & flag)) return otherwise;
        column += 4;
        return at32(run.rows, column - 4);
    };
    MovieSample sample;
    sample.offset = offset_;
    sample.duration = nextColumn(runHasDurations, run.defaultDuration);
    sample.size = nextColumn(runHasSizes, run.defaultSize);
    nextColumn(runHasFlags, 0);
    const auto shift = static_cast<std::int32_t>(nextColumn(runHasOffsets, 0));
    sample.decodeTime = static_cast<std::int64_t>(decodeTime_);
    sample.presentationTime =
        static_cast<std::int64_t>(decodeTime_ + static_cast<std::uint64_t>(std::int64_t{shift}));
    offset_ += sample.size;
    decodeTime_ += sample.duration;
    if (++runSample_ >= run.count) {
        ++run_;
        runSample_ = 0;
    }
    return sample;
}

std::optional<MovieSample> MovieSampleCursor::next() {
    auto sample = nextFromTables();
    if (!sample) {
        sampleCount_ = 0;
        sample = nextFromFragments();
    }
    if (!sample) return std::nullopt;
    if (sample->offset > fileSize_ || sample->size > fileSize_ - sample->offset) return std::nullopt;
    return sample;
}

}  // namespace zenquor::platform::detail
