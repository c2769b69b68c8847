// Whole MXF files: opened, described, every stream walked and sought, looked at again after they have grown.

#include <algorithm>
#include <cstring>

#include "Check.h"
#include "zenquor/mxf/Demux.h"

using namespace zenquor;
using namespace zenquor::mxf;

namespace {

/// The input as a file that can grow.
struct Input {
    const std::uint8_t* bytes;
    std::size_t size;  // so far
    std::size_t position = 0;

    static Input& of(void* handle) { return *static_cast<Input*>(handle); }
    std::int64_t read(std::uint8_t* to, std::size_t count) {
        if (position >= size) return 0;
        count = std::min(count, size - position);
        std::memcpy(to, bytes + position, count);
        position += count;
        return static_cast<std::int64_t>(count);
    }

    FileFunctions functions() {
        FileFunctions table;
        table.open = [](FileHandle* file, const char*, void* context) {
            *file = context;
            return 0;
        };
        table.seek = [](FileHandle file, std::int64_t offset, void*) {
            FUZZ_CHECK(offset >= 0);
            of(file).position = static_cast<std::size_t>(offset);
            return 0;
        };
        table.read = [](FileHandle file, std::uint8_t* to, std::int64_t count, void*) {
            return of(file).read(to, static_cast<std::size_t>(count));
        };
        table.close = [](FileHandle* file, void*) {
            *file = nullptr;
            return 0;
        };
        table.size = [](FileHandle file, void*) { return static_cast<std::int64_t>(of(file).size); };
        table.context = this;
        return table;
    }
};

/// Counts; a sample has at most the file's bytes, and the record tells how many.
class CountingSink final : public MemoryStream {
public:
    explicit CountingSink(std::size_t largest) : largest_(largest) {}

    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        pending_ += bytes.size();
        FUZZ_CHECK(pending_ <= largest_);
        return static_cast<std::int32_t>(bytes.size());
    }
    std::int32_t Control(std::int32_t, const SampleRecord::Bytes& bytes) override {
        FUZZ_CHECK(SampleRecord::read(bytes).byteCount == pending_);
        pending_ = 0;
        return 0;
    }

private:
    std::size_t largest_;
    std::size_t pending_ = 0;
};

void walk(Demuxer* demuxer, std::int32_t stream, std::size_t size) {
    constexpr int enough = 300;
    StreamFormat format;
    FUZZ_CHECK(mxfDemuxGetStreamFormat(demuxer, stream, format) == StatusOK);
    CountingSink sink(size);
    std::int32_t parser = -1;
    if (mxfDemuxCreateParser(demuxer, stream, parser) != StatusOK) return;
    FUZZ_CHECK(mxfDemuxAddStream(demuxer, parser, stream, &sink) == StatusOK);
    int pushed = 0;
    while (pushed < enough && mxfDemuxPush(demuxer, parser) == StatusOK) ++pushed;
    if (pushed > 0) {
        for (const SeekMode mode : {SeekModeKeyFrame, SeekModeExact}) {
            FUZZ_CHECK(mxfDemuxSeek(demuxer, parser, pushed - 1, mode) == StatusOK);
            FUZZ_CHECK(mxfDemuxPush(demuxer, parser) == StatusOK);
        }
    }
    FUZZ_CHECK(mxfDemuxFreeParser(demuxer, parser) == StatusOK);
}

void use(Demuxer* demuxer, std::size_t size) {
    FileInfo info;
    FUZZ_CHECK(mxfDemuxGetFileInfo(demuxer, info) == StatusOK);
    const FileReport* report = mxfDemuxGetReport(demuxer);
    FUZZ_CHECK(report && report->streams.size() == static_cast<std::size_t>(info.streamCount));
    FUZZ_CHECK(!report->partitions.empty() && report->fileBytes == size);
    for (std::int32_t stream = 0; stream < std::min(info.streamCount, 20); ++stream)
        walk(demuxer, stream, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input{bytes, size};
    const FileFunctions functions = input.functions();
    const DemuxParameters parameters{&functions};
    Demuxer* const demuxer = mxfDemuxNew();
    if (mxfDemuxOpen(demuxer, "memory.mxf", parameters, nullptr) == StatusOK) use(demuxer, size);
    mxfDemuxClose(demuxer);

    input.size = size / 4 * 3;
    if (mxfDemuxOpen(demuxer, "memory.mxf", parameters, nullptr) == StatusOK) {
        use(demuxer, input.size);
        input.size = size;
        FUZZ_CHECK(mxfDemuxRefresh(demuxer) == StatusOK);
        use(demuxer, size);
    }
    mxfDemuxFree(demuxer);
    return 0;
}
