#include <gtest/gtest.h>

#include <map>

#include "../media/LogCapture.h"
#include "MuxRig.h"

namespace zenquor::mxf::test {
namespace {

/// What the file says at a moment: the duration of the first sequence found behind a partition's pack.
std::vector<std::int64_t> durations(const MemoryFile& file, const FileWalk::Partition& partition) {
    std::vector<std::string> faults;
    const auto bytes = std::span(file.bytes).subspan(partition.offset);
    const auto pack = detail::KLVHeader::read(bytes);
    const auto metadata =
        detail::HeaderMetadata::read(bytes.subspan(pack->totalBytes(), partition.headerBytes + 512), faults);
    std::vector<std::int64_t> found;
    for (const auto& set : metadata.sets()) {
        if (set.kind() == detail::SetKind::Sequence)
            found.push_back(set.integer(detail::Property::Duration).value_or(-2));
    }
    return found;
}

enum class Essence { Constant, Variable, Reordered };

void record(Rig& rig, const MuxSettings& settings, Essence essence, int units) {
    ScriptedTrack::Properties image = essence == Essence::Reordered ? reordered() : picture();
    if (essence == Essence::Constant) image.constantBytes = 40000;
    ASSERT_EQ(rig.open(settings), StatusOK);
    TestStream& images = rig.add(image);
    TestStream& sounds = rig.add(sound(1920));
    for (int n = 0; n < units; ++n) {
        if (images.send(sample(essence == Essence::Constant ? 40000 : 33000 + static_cast<std::size_t>(n), 1),
                        stamp(n)) != 0)
            return;
        if (sounds.send(sample(1920, 2), stamp(n)) != 0) return;
    }
}

MuxSettings shortPartitions() {
    MuxSettings settings;
    settings.partitionSeconds = 0.4;  // ten units
    settings.headerReserveBytes = 1024;
    return settings;
}

/// Looks at the file behind every write.
void lookAtGrowingFile(MemoryFile& file) {
    const FileWalk walk(file.bytes);
    EXPECT_EQ(walk.faults, std::vector<std::string>()) << file.writes;
    ASSERT_FALSE(walk.partitions.empty());
    std::int64_t packages = 0;
    std::size_t pending = 0;
    for (const auto& p : walk.partitions) {
        if (p.kind != 4 && walk.partitions.back().kind != 4) {
            EXPECT_TRUE(p.state == 1 || p.state == 3);
            EXPECT_EQ(p.footer, 0u);
        }
        pending = p.bodySID != 0 ? p.elements : pending;
        if (p.indexSID != 0) pending = 0;
    }
    packages = static_cast<std::int64_t>(walk.packages().size());
    // All essence in front of the last index partition is indexed.
    const auto indexed = static_cast<std::int64_t>(walk.index.size());
    EXPECT_TRUE(walk.constantBytes != 0 || indexed + 13 >= packages) << indexed << " of " << packages;
    EXPECT_TRUE(walk.constantBytes != 0 || pending != 0 || indexed == packages)
        << indexed << " of " << packages;
}

TEST(MuxGrowing, CanBeReadBehindEveryWrite) {
    for (const auto essence : {Essence::Constant, Essence::Variable, Essence::Reordered}) {
        for (const int update : {0, 7}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(essence) << " " << update);
            Rig rig;
            rig.file.onWrite = lookAtGrowingFile;
            MuxSettings settings = shortPartitions();
            settings.headerUpdateFrames = update;
            record(rig, settings, essence, 33);
            ASSERT_EQ(rig.muxer->close(), StatusOK);
            const FileWalk walk = rig.walk();
            expectClosed(walk);
            EXPECT_EQ(walk.packages().size(), 33u);
            // Groups of six units: partitions of six, since twelve are more than ten.
            const std::size_t bodies = essence == Essence::Reordered ? 6 : 4;
            EXPECT_EQ(walk.partitions.size(), 2 + bodies * (essence == Essence::Constant ? 1 : 2));
            for (const std::size_t i : {std::size_t{0}, walk.partitions.size() - 1}) {
                for (const std::int64_t duration : durations(rig.file, walk.partitions[i]))
                    EXPECT_EQ(duration, 33);
            }
        }
    }
}

TEST(MuxGrowing, EndsAPartitionWithoutKeyFramesAfterTwiceItsLength) {
    ScriptedTrack::Properties endless;
    endless.script = {{0, 0xC0, 0}};
    for (int n = 1; n < 100; ++n) endless.script.push_back({n, 0x22, -n});
    Rig rig;
    ASSERT_EQ(rig.open(shortPartitions()), StatusOK);
    TestStream& images = rig.add(endless);
    for (int n = 0; n < 45; ++n) images.send(sample(100, 1), n);
    ASSERT_EQ(rig.muxer->close(), StatusOK);
    const FileWalk walk = rig.walk();
    expectClosed(walk);
    std::vector<std::size_t> units;
    for (const auto& p : walk.partitions) {
        if (p.bodySID != 0) units.push_back(p.elements / 3);
    }
    EXPECT_EQ(units, (std::vector<std::size_t>{20, 20, 5}));
}

TEST(MuxGrowing, RefreshesTheHeaderInOneWriteOfItsSize) {
    Rig rig;
    MuxSettings settings = shortPartitions();
    settings.headerUpdateFrames = 5;
    settings.headerRule = MuxSettings::headerRuleNoSeek;  // concerns the end alone
    record(rig, settings, Essence::Variable, 14);
    const FileWalk walk = rig.walk();
    EXPECT_EQ(walk.partitions[0].state, 3);
    EXPECT_EQ(walk.faults, std::vector<std::string>());
    const auto found = durations(rig.file, walk.partitions[0]);
    ASSERT_FALSE(found.empty());
    for (const std::int64_t duration : found) EXPECT_EQ(duration, 10);
    EXPECT_EQ(rig.file.seeks, 4);  // there and back, twice
    rig.muxer.reset();
    EXPECT_FALSE(rig.file.isOpen);
    EXPECT_EQ(rig.walk().partitions.back().kind, 3);
}

TEST(MuxGrowing, NeverGoesBackUnderTheRuleAgainstIt) {
    Rig rig;
    MuxSettings settings = shortPartitions();
    settings.headerRule = MuxSettings::headerRuleNoSeek;
    record(rig, settings, Essence::Reordered, 14);
    ASSERT_EQ(rig.muxer->close(), StatusOK);
    EXPECT_EQ(rig.file.seeks, 0);
    const FileWalk walk = rig.walk();
    expectWhole(walk);
    EXPECT_EQ(walk.partitions[0].state, 1);
    EXPECT_EQ(walk.partitions[0].footer, 0u);
    EXPECT_EQ(walk.partitions.back().state, 4);
    EXPECT_EQ(walk.index.size(), 14u);
    for (const std::int64_t duration : durations(rig.file, walk.partitions[0])) EXPECT_EQ(duration, -1);
    for (const std::int64_t duration : durations(rig.file, walk.partitions.back())) EXPECT_EQ(duration, 14);
}

TEST(MuxGrowing, FailsCleanlyAtEveryWriteAndLeavesWhatCanBeRead) {
    Rig whole;
    MuxSettings settings = shortPartitions();
    settings.headerUpdateFrames = 6;
    record(whole, settings, Essence::Reordered, 20);
    ASSERT_EQ(whole.muxer->close(), StatusOK);
    ASSERT_GT(whole.file.writes, 60);
    for (std::int64_t n = 1; n <= whole.file.writes; ++n) {
        SCOPED_TRACE(n);
        LogCapture log(ZLGLevel::Default);
        Rig rig;
        rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
        rig.file.failsAtWrite = n;
        record(rig, settings, Essence::Reordered, 20);
        EXPECT_EQ(rig.muxer->close(), StatusWriteFailed);
        EXPECT_EQ(log.take().size(), 1u);
        EXPECT_EQ(rig.file.writes, n);  // nothing is tried after a failure
        EXPECT_FALSE(rig.file.isOpen);
        const FileWalk walk = rig.walk();
        // Only a write in place that stops half-way may tear a header; all else stays as it was.
        if (rig.file.seeks % 2 == 0) {
            EXPECT_EQ(walk.faults, std::vector<std::string>());
        }
    }
}

TEST(MuxGrowing, TellsFailuresOfSeekingAndClosing) {
    Rig seeks;
    seeks.file.failsToSeek = true;
    record(seeks, shortPartitions(), Essence::Variable, 3);
    EXPECT_EQ(seeks.muxer->close(), StatusWriteFailed);
    expectWhole(seeks.walk());  // the footer stands already
    Rig closes;
    closes.file.failsToClose = true;
    record(closes, shortPartitions(), Essence::Variable, 3);
    EXPECT_EQ(closes.muxer->close(), StatusWriteFailed);
    expectClosed(closes.walk());
}

/// A file that keeps small writes only, at whatever offset.
struct SparseFile {
    std::map<std::uint64_t, Bytes> kept;
    std::uint64_t position = 0, end = 0;

    FileFunctions functions() {
        FileFunctions table;
        table.open = [](FileHandle* file, const char*, void* context) { return *file = context, 0; };
        table.seek = [](FileHandle, std::int64_t offset, void* context) {
            static_cast<SparseFile*>(context)->position = static_cast<std::uint64_t>(offset);
            return 0;
        };
        table.close = [](FileHandle*, void*) { return 0; };
        table.write = [](FileHandle, const std::uint8_t* bytes, std::int64_t count, void* context) {
            auto& file = *static_cast<SparseFile*>(context);
            if (count < (1 << 20)) file.kept[file.position] = Bytes(bytes, bytes + count);
            file.position += static_cast<std::uint64_t>(count);
            file.end = std::max(file.end, file.position);
            return count;
        };
        table.context = this;
        return table;
    }
};

/// A stream whose sample is half a gibibyte that nobody touched.
class HugeStream final : public InputStream {
public:
    static constexpr std::size_t bytes = std::size_t{1} << 29;

    HugeStream() {
        memory_.memory = std::unique_ptr<std::uint8_t[]>(new std::uint8_t[bytes]);
        memory_.memory[0] = 1;
        memory_.capacity = memory_.count = bytes;
    }
    std::int32_t Write(std::span<const std::uint8_t>) override { return 0; }
    std::int32_t Control(std::int32_t, const SampleRecord::Bytes& record) override {
        return listener_->onSample(*this, SampleRecord::read(record));
    }
    void setListener(SampleListener* listener) override { listener_ = listener; }
    SampleMemory takeSample(SampleMemory spare) override {
        if (memory_.memory == nullptr) std::swap(memory_, spare);
        return std::exchange(memory_, std::move(spare));
    }

private:
    SampleMemory memory_;
    SampleListener* listener_ = nullptr;
};

TEST(MuxGrowing, HoldsFourHundredGibibytes) {
    SparseFile file;
    HugeStream stream;
    Muxer muxer(nullptr);
    MuxSettings settings;
    settings.usesFileFunctions = 1;
    settings.file = file.functions();
    settings.partitionSeconds = 4;
    ASSERT_EQ(muxer.open("sparse", settings), StatusOK);
    ASSERT_EQ(muxer.addTrack(&stream, std::make_unique<ScriptedTrack>(picture()), {25, 1}), StatusOK);
    constexpr std::uint64_t units = 810, unitBytes = 512 + HugeStream::bytes + 512;
    for (std::uint64_t n = 0; n < units; ++n)
        ASSERT_EQ(stream.Control(1, SampleRecord{static_cast<std::int64_t>(n), 0, HugeStream::bytes}.bytes()),
                  0);
    ASSERT_EQ(muxer.close(), StatusOK);
    ASSERT_GT(file.end, std::uint64_t{400} << 30);

    // The random index pack was written last and leads to packs that know where they are.
    const Bytes& last = file.kept.rbegin()->second;
    std::uint64_t bodies = 0;
    for (std::size_t at = 20; at + 12 < last.size(); at += 12) {
        const auto number = [](const Bytes& from, std::size_t start, int count) {
            std::uint64_t v = 0;
            for (int i = 0; i < count; ++i) v = v << 8 | from[start + static_cast<std::size_t>(i)];
            return v;
        };
        const std::uint64_t offset = number(last, at + 4, 8);
        ASSERT_TRUE(file.kept.contains(offset)) << offset;
        const Bytes& pack = file.kept[offset];
        EXPECT_EQ(number(pack, 28, 8), offset);
        if (number(last, at, 4) == 0) continue;
        EXPECT_EQ(number(pack, 20 + 52, 8), 100 * bodies++ * unitBytes);
    }
    EXPECT_EQ(bodies, 9u);
}

}  // namespace
}  // namespace zenquor::mxf::test
