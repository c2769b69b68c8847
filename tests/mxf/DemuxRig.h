#pragma once
// A demuxer on a file in memory, and what comes out of it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mxf/FileRecipe.h"
#include "zenquor/mxf/Demux.h"

namespace zenquor::mxf::test {

/// Takes samples; fails when told to.
class SampleCollector final : public MemoryStream {
public:
    using Bytes = FileRecipe::Bytes;

    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        const std::size_t count = std::min(bytes.size(), room);
        pending_.insert(pending_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<std::int32_t>(count);
    }
    std::int32_t Control(std::int32_t command, const SampleRecord::Bytes& record) override {
        if (command != commandSampleReady) return -100;
        records.push_back(SampleRecord::read(record));
        samples.push_back(std::exchange(pending_, {}));
        return answer;
    }

    std::vector<Bytes> samples;
    std::vector<SampleRecord> records;
    std::size_t room = ~std::size_t{0};
    std::int32_t answer = 0;

private:
    Bytes pending_;
};

/// The file and the demuxer on it. The bytes may change between calls.
class DemuxRig {
public:
    using Bytes = FileRecipe::Bytes;

    explicit DemuxRig(Bytes content) : bytes(std::move(content)), demuxer(mxfDemuxNew()) {
        functions_.context = this;
        functions_.open = [](FileHandle* file, const char*, void* context) {
            *file = context;
            return 0;
        };
        functions_.seek = [](FileHandle file, std::int64_t offset, void*) {
            of(file).position_ = static_cast<std::size_t>(offset);
            return 0;
        };
        functions_.read = [](FileHandle file, std::uint8_t* to, std::int64_t count, void*) {
            return of(file).read(to, static_cast<std::size_t>(count));
        };
        functions_.close = [](FileHandle* file, void*) {
            *file = nullptr;
            return 0;
        };
        functions_.size = [](FileHandle file, void*) {
            return static_cast<std::int64_t>(of(file).bytes.size());
        };
        parameters_.file = &functions_;
    }
    ~DemuxRig() { mxfDemuxFree(demuxer); }
    DemuxRig(const DemuxRig&) = delete;
    DemuxRig& operator=(const DemuxRig&) = delete;

    std::int32_t open() { return mxfDemuxOpen(demuxer, "memory.mxf", parameters_, nullptr); }
    FileInfo info() {
        FileInfo info;
        mxfDemuxGetFileInfo(demuxer, info);
        return info;
    }
    const FileReport& report() { return *mxfDemuxGetReport(demuxer); }
    /// Everything of one stream; -1 as the last status means that no parser could be made.
    std::vector<Bytes> samplesOf(std::int32_t stream) {
        SampleCollector sink;
        std::int32_t parser = -1;
        if (mxfDemuxCreateParser(demuxer, stream, parser) != StatusOK) return {};
        mxfDemuxAddStream(demuxer, parser, stream, &sink);
        while (mxfDemuxPush(demuxer, parser) == StatusOK) {
        }
        mxfDemuxFreeParser(demuxer, parser);
        return std::move(sink.samples);
    }

    Bytes bytes;
    mxf::Demuxer* demuxer;
    std::size_t bytesRead = 0;

private:
    static DemuxRig& of(void* file) { return *static_cast<DemuxRig*>(file); }
    std::int64_t read(std::uint8_t* to, std::size_t count) {
        if (position_ >= bytes.size()) return 0;
        count = std::min(count, bytes.size() - position_);
        std::memcpy(to, bytes.data() + position_, count);
        position_ += count;
        bytesRead += count;
        return static_cast<std::int64_t>(count);
    }

    FileFunctions functions_;
    DemuxParameters parameters_;
    std::size_t position_ = 0;
};

}  // namespace zenquor::mxf::test
