#include "zenquor/platform/quicktime/SampleTable.h"

#include <algorithm>
#include <numeric>

namespace zenquor::platform::quicktime {

template <typename Value>
void SampleTable::extend(std::vector<Run<Value>>& runs, std::uint32_t count, Value value) {
    if (count == 0) return;
    if (!runs.empty() && runs.back().value == value) {
        runs.back().count += count;
    } else {
        runs.push_back({count, value});
    }
}

void SampleTable::add(const Sample& sample) {
    const auto number = static_cast<std::uint32_t>(sampleCount_ + 1);
    const std::int64_t presentation = sample.decodeTime + sample.compositionOffset;
    if (empty()) {
        firstDecodeTime_ = sample.decodeTime;
        firstPresentationTime_ = presentation;
        endPresentationTime_ = presentation;
    } else {
        extend(durations_, 1, static_cast<std::uint32_t>(sample.decodeTime - lastDecodeTime_));
    }
    lastDecodeTime_ = sample.decodeTime;
    lastDuration_ = sample.duration;
    firstPresentationTime_ = std::min(firstPresentationTime_, presentation);
    endPresentationTime_ = std::max(endPresentationTime_, presentation + sample.duration);
    extend(compositionOffsets_, 1, static_cast<std::int32_t>(sample.compositionOffset));
    if (sample.notSync && allSync_) {
        allSync_ = false;
        syncSamples_.resize(static_cast<std::size_t>(sampleCount_));
        std::iota(syncSamples_.begin(), syncSamples_.end(), 1U);
    }
    if (!sample.notSync && !allSync_) syncSamples_.push_back(number);
    if (sample.partialSync) partialSyncSamples_.push_back(number);
    addSize(sample.size, 1);
    ++sampleCount_;
}

void SampleTable::addFrames(std::int64_t decodeTime, std::uint32_t count, std::uint32_t size) {
    if (count == 0) return;
    add({.decodeTime = decodeTime, .duration = 1, .size = size});
    extend(durations_, count - 1, 1U);
    extend(compositionOffsets_, count - 1, 0);
    addSize(size, count - 1);
    sampleCount_ += count - 1;
    lastDecodeTime_ = decodeTime + count - 1;
    endPresentationTime_ = std::max(endPresentationTime_, lastDecodeTime_ + 1);
}

void SampleTable::addSize(std::uint32_t size, std::uint32_t count) {
    if (count == 0) return;
    if (sampleCount_ == 0) commonSize_ = size;
    if (sizes_.empty() && size == commonSize_ && size != 0) return;
    if (sizes_.empty()) sizes_.assign(static_cast<std::size_t>(sampleCount_), commonSize_);
    sizes_.insert(sizes_.end(), count, size);
}

void SampleTable::addChunk(std::uint64_t offset, std::uint32_t sampleCount) {
    if (sampleCount != 0) chunks_.push_back({offset, sampleCount});
}

void SampleTable::write(detail::BoxWriter& out) const {
    writeTimes(out);
    writeCompositionOffsets(out);
    writeSyncSamples(out);
    writeChunkSizes(out);
    writeSizes(out);
    writeOffsets(out);
}

void SampleTable::writeEmpty(detail::BoxWriter& out) {
    SampleTable().write(out);
}

void SampleTable::writeTimes(detail::BoxWriter& out) const {
    auto runs = durations_;
    if (!empty()) extend(runs, 1, static_cast<std::uint32_t>(lastDuration_));
    out.fullBox(fourCC("stts"), 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(runs.size()));
        for (const auto& run : runs) {
            out.u32(run.count);
            out.u32(run.value);
        }
    });
}

/// Offsets are signed (version 1), so that the first picture shows at the decode time of the first sample.
void SampleTable::writeCompositionOffsets(detail::BoxWriter& out) const {
    const auto isZero = [](const auto& run) { return run.value == 0; };
    if (std::ranges::all_of(compositionOffsets_, isZero)) return;
    out.fullBox(fourCC("ctts"), 1, 0, [&] {
        out.u32(static_cast<std::uint32_t>(compositionOffsets_.size()));
        for (const auto& run : compositionOffsets_) {
            out.u32(run.count);
            out.i32(run.value);
        }
    });
}

void SampleTable::writeSyncSamples(detail::BoxWriter& out) const {
    const auto writeNumbers = [&](FourCC type, const std::vector<std::uint32_t>& numbers) {
        out.fullBox(type, 0, 0, [&] {
            out.u32(static_cast<std::uint32_t>(numbers.size()));
            for (const std::uint32_t number : numbers) out.u32(number);
        });
    };
    if (!allSync_) writeNumbers(fourCC("stss"), syncSamples_);
    if (!partialSyncSamples_.empty()) writeNumbers(fourCC("stps"), partialSyncSamples_);
}

void SampleTable::writeChunkSizes(detail::BoxWriter& out) const {
    struct Entry {
        std::uint32_t firstChunk;
        std::uint32_t samplesPerChunk;
    };
    std::vector<Entry> entries;
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
        if (entries.empty() || entries.back().samplesPerChunk != chunks_[i].sampleCount)
            entries.push_back({static_cast<std::uint32_t>(i + 1), chunks_[i].sampleCount});
    }
    out.fullBox(fourCC("stsc"), 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(entries.size()));
        for (const Entry& entry : entries) {
            out.u32(entry.firstChunk);
            out.u32(entry.samplesPerChunk);
            out.u32(1);
        }
    });
}

void SampleTable::writeSizes(detail::BoxWriter& out) const {
    out.fullBox(fourCC("stsz"), 0, 0, [&] {
        out.u32(sizes_.empty() ? commonSize_ : 0);
        out.u32(static_cast<std::uint32_t>(sampleCount_));
        for (const std::uint32_t size : sizes_) out.u32(size);
    });
}

void SampleTable::writeOffsets(detail::BoxWriter& out) const {
    const bool wide = !chunks_.empty() && chunks_.back().offset > std::numeric_limits<std::uint32_t>::max();
    out.fullBox(wide ? fourCC("co64") : fourCC("stco"), 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(chunks_.size()));
        for (const Chunk& chunk : chunks_) out.sized(chunk.offset, wide);
    });
}

}  // namespace zenquor::platform::quicktime
