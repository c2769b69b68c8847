#pragma once
// A muxer with essence of the test's own over a file in memory, and what is expected of every file.

#include <gtest/gtest.h>

#include "FileWalk.h"
#include "Support.h"
#include "zenquor/mxf/detail/Muxer.h"

namespace zenquor::mxf::test {

/// One muxer over a file in memory with a picture, sounds and data of the test's own.
struct Rig {
    MemoryFile file;
    std::vector<std::unique_ptr<TestStream>> streams;
    std::unique_ptr<Muxer> muxer = std::make_unique<Muxer>(nullptr);
    Rational editRate{25, 1};

    Status open(MuxSettings settings = {}) {
        settings.usesFileFunctions = 1;
        settings.file = file.functions();
        return muxer->open("memory", settings);
    }
    TestStream& add(ScriptedTrack::Properties properties) {
        streams.push_back(std::make_unique<TestStream>());
        EXPECT_EQ(muxer->addTrack(streams.back().get(),
                                  std::make_unique<ScriptedTrack>(std::move(properties)), editRate),
                  StatusOK);
        return *streams.back();
    }
    FileWalk walk() const { return FileWalk(file.bytes); }
};

inline ScriptedTrack::Properties picture() {
    return {};
}
inline ScriptedTrack::Properties sound(std::uint32_t bytes) {
    ScriptedTrack::Properties p;
    p.item = 0x16;
    p.element = 0x01;
    p.constantBytes = bytes;
    p.empty = Bytes(bytes);
    return p;
}
inline ScriptedTrack::Properties data() {
    ScriptedTrack::Properties p;
    p.item = 0x17;
    p.element = 0x02;
    p.empty = Bytes{0, 0};
    return p;
}
/// I B B P B B, closed, as an encoder stores it: I0 P3 B1 B2 P5 B4.
inline ScriptedTrack::Properties reordered() {
    ScriptedTrack::Properties p;
    p.isReordered = true;
    p.script = {{0, 0xC0, 0}, {3, 0x22, -1}, {1, 0x33, -2}, {2, 0x33, -3}, {5, 0x22, -4}, {4, 0x33, -5}};
    return p;
}

inline Bytes sample(std::size_t size, std::uint8_t value) {
    return Bytes(size, value);
}

/// The time stamp that a recording gives frame @p n: half a tick too late in every frame, cut.
inline std::int64_t stamp(std::int64_t n) {
    return static_cast<std::int64_t>(static_cast<double>(n) * 1080000.5);
}

inline void expectWhole(const FileWalk& walk) {
    EXPECT_EQ(walk.faults, std::vector<std::string>());
    EXPECT_FALSE(walk.isCut);
    ASSERT_FALSE(walk.partitions.empty());
    EXPECT_EQ(walk.partitions.back().kind, 4);
    std::vector<std::pair<std::uint32_t, std::uint64_t>> places;
    for (const auto& p : walk.partitions) places.emplace_back(p.bodySID, p.offset);
    EXPECT_EQ(walk.randomIndex, places);
}

inline void expectClosed(const FileWalk& walk) {
    expectWhole(walk);
    for (const auto& p : walk.partitions) {
        EXPECT_EQ(p.state, 4) << p.offset;
        EXPECT_EQ(p.footer, walk.partitions.back().offset) << p.offset;
    }
}

}  // namespace zenquor::mxf::test
