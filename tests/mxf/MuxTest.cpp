#include <gtest/gtest.h>
#include <malloc.h>

#include "../media/LogCapture.h"
#include "MuxRig.h"

namespace zenquor::mxf::test {
namespace {

TEST(Mux, WritesPicturesSoundsAndDataInThatOrderWhateverTheOrderOfTheStreams) {
    Rig rig;
    ASSERT_EQ(rig.open(), StatusOK);
    TestStream& anc = rig.add(data());
    TestStream& left = rig.add(sound(1920));
    TestStream& images = rig.add(picture());
    TestStream& right = rig.add(sound(1920));
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(right.send(sample(1920, 3), stamp(n)), 0);
        EXPECT_EQ(anc.send(sample(2 + n, 4), stamp(n)), 0);
        EXPECT_EQ(images.send(sample(40000 + n, 1), stamp(n)), 0);
        EXPECT_EQ(left.send(sample(1920, 2), stamp(n)), 0);
    }
    EXPECT_EQ(rig.muxer->close(), StatusOK);
    EXPECT_FALSE(rig.file.isOpen);
    const FileWalk walk = rig.walk();
    expectClosed(walk);
    const auto packages = walk.packages();
    ASSERT_EQ(packages.size(), 3u);
    const std::vector<std::uint32_t> numbers{0x04010100, 0x15010500, 0x16020100, 0x16020101, 0x17010201};
    for (std::size_t n = 0; n < 3; ++n) {
        ASSERT_EQ(packages[n].size(), 5u);
        for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(packages[n][i].number, numbers[i]);
        EXPECT_EQ(packages[n][1].value.size(), 40000 + n);
        for (std::size_t i = 1; i < 5; ++i) EXPECT_EQ(packages[n][i].value[0], i);
        EXPECT_EQ(packages[n][4].value.size(), 2 + n);
    }
    EXPECT_EQ(walk.index.size(), 3u);
    EXPECT_EQ(walk.deltas.size(), 5u);
    EXPECT_EQ(walk.deltas[4], (FileWalk::Delta{0, 1, 2 * 2048}));
}

TEST(Mux, KeepsUnitsOfOneSizeWhateverTheCadenceOfTheSoundAndIndexesThemInTheHeader) {
    Rig rig;
    rig.editRate = {30000, 1001};
    ASSERT_EQ(rig.open(), StatusOK);
    ScriptedTrack::Properties constant = picture();
    constant.constantBytes = 120000;
    TestStream& images = rig.add(constant);
    TestStream& left = rig.add(sound(1602 * 3));
    TestStream& tight = rig.add(sound(487));  // with its key and length just under a step of the grid
    const std::size_t cadence[] = {1602, 1601, 1602, 1601, 1602};
    for (int n = 0; n < 10; ++n) {
        images.send(sample(n == 7 ? 119990 : 120000, 1), n);
        left.send(sample(cadence[n % 5] * 3, 2), n);
        tight.send(sample(487 - static_cast<std::size_t>(n), 3), n);
    }
    EXPECT_EQ(FileWalk(rig.file.bytes).constantDuration, 0);
    ASSERT_EQ(rig.muxer->close(), StatusOK);
    const FileWalk walk = rig.walk();
    expectClosed(walk);
    EXPECT_EQ(walk.constantBytes, 512u + 120320u + 5120u + 1024u);
    EXPECT_EQ(walk.constantDuration, 10);
    EXPECT_NE(walk.partitions[0].indexSID, 0u);
    EXPECT_TRUE(walk.index.empty());
    EXPECT_EQ(walk.packages().size(), 10u);
}

TEST(Mux, HasTheSizesThatD10FilesAreKnownFor) {
    ScriptedTrack::Properties image, sounds;
    image.item = 0x05, image.element = 0x01, image.constantBytes = 250000;
    sounds.item = 0x06, sounds.element = 0x10, sounds.constantBytes = 4 + 1920 * 32;
    ScriptedTrack a(image), b(sounds);
    detail::EssenceTrack* tracks[] = {&a, &b};
    const detail::SystemItem systemItem({25, 1}, {}, {true, true, false}, {});
    const detail::ContentPackage package(tracks, {25, 1}, systemItem);
    EXPECT_EQ(package.indexLayout().editUnitBytes, 312832u);
    const std::vector<detail::DeltaEntry> deltas{{0, 0, 0}, {0, 0, 512}, {0, 0, 250880}};
    EXPECT_EQ(package.indexLayout().deltas, deltas);
    const auto keys = detail::elementKeys(tracks);
    EXPECT_EQ(keys[0].text(), "060e2b34.01020101.0d010301.05010100");
    EXPECT_EQ(keys[1].text(), "060e2b34.01020101.0d010301.06011000");
}

TEST(Mux, WritesValuesAboveSixteenMebibytesWithLongLengthsAndWithoutCopies) {
    Rig rig;
    ASSERT_EQ(rig.open(), StatusOK);
    TestStream& images = rig.add(picture());
    const std::size_t sizes[] = {0xFFFFFF, 0x1000000, 100};
    for (int n = 0; n < 3; ++n) images.send(sample(sizes[n], 7), n);
    ASSERT_EQ(rig.muxer->close(), StatusOK);
    const FileWalk walk = rig.walk();
    expectClosed(walk);
    const auto packages = walk.packages();
    ASSERT_EQ(packages.size(), 3u);
    for (int n = 0; n < 3; ++n) EXPECT_EQ(packages[n][1].value.size(), sizes[n]);
    // Header, body pack, three writes of a large unit, one of a small one, index, footer and its index, random
    // index pack, header again, two packs.
    EXPECT_EQ(rig.file.writes, 1 + 1 + 3 + 3 + 1 + 1 + 2 + 1 + 1 + 2);
}

struct Gap {
    const char* name;
    bool isReordered;
    int missingStream;  // 0 picture, 1 sound, 2 data
    int missingUnit;
    std::vector<int> pictures;  // the first bytes of the pictures that are stored, unit by unit
    bool isTold;
};

TEST(Mux, ClosesGapsSoThatPictureSoundAndTimecodeStayTogether) {
    const Gap gaps[] = {
        {"data", false, 2, 2, {0, 1, 2, 3}, false},
        {"sound", false, 1, 2, {0, 1, 2, 3}, true},
        {"an intra picture", false, 0, 2, {0, 1, 1, 3}, true},
        {"the first picture", false, 0, 0, {1, 2, 3}, true},
        {"the last picture", false, 0, 3, {0, 1, 2, 2}, true},
        {"a picture of a group", true, 0, 2, {0, 1, 3}, true},
    };
    for (const Gap& gap : gaps) {
        SCOPED_TRACE(gap.name);
        LogCapture log(ZLGLevel::Default);
        Rig rig;
        rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
        ASSERT_EQ(rig.open(), StatusOK);
        TestStream* streams[] = {&rig.add(gap.isReordered ? reordered() : picture()), &rig.add(sound(1920)),
                                 &rig.add(data())};
        for (int n = 0; n < 4; ++n) {
            for (int i = 0; i < 3; ++i) {
                if (i == gap.missingStream && n == gap.missingUnit) continue;
                EXPECT_EQ(streams[i]->send(sample(1920, static_cast<std::uint8_t>(n)), stamp(n)), 0);
            }
        }
        ASSERT_EQ(rig.muxer->close(), StatusOK);
        const FileWalk walk = rig.walk();
        expectClosed(walk);
        std::vector<int> stored;
        for (const auto& package : walk.packages()) stored.push_back(package[1].value[0]);
        EXPECT_EQ(stored, gap.pictures);
        const auto unit = walk.packages()[2];
        EXPECT_EQ(unit[2].value.size(), 1920u);
        EXPECT_EQ(unit[2].value[0], gap.missingStream == 1 ? 0 : gap.pictures.size() == 4 ? 2 : 3);
        EXPECT_EQ(unit[3].value.size(), gap.missingStream == 2 ? 2u : 1920u);
        EXPECT_EQ(log.take().size(), gap.isTold ? 1u : 0u);
    }
}

TEST(Mux, StoresWhatIsLargerThanPromisedWhereTheIndexAllowsIt) {
    for (const bool hasData : {true, false}) {
        SCOPED_TRACE(hasData);
        LogCapture log(ZLGLevel::Default);
        Rig rig;
        rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
        ASSERT_EQ(rig.open(), StatusOK);
        ScriptedTrack::Properties promised = picture();
        promised.constantBytes = 1000;
        TestStream& images = rig.add(promised);
        TestStream& sounds = rig.add(sound(1920));
        if (hasData) rig.add(data());
        const std::size_t sizes[] = {1000, 5000, 900};
        for (int n = 0; n < 3; ++n) {
            images.send(sample(sizes[n], 1), n);
            sounds.send(sample(n == 0 ? 1920 : 4000, 2), n);
        }
        // Units of one size cannot hold a larger one.
        EXPECT_EQ(rig.muxer->close(), hasData ? StatusOK : StatusBadSample);
        const auto lines = log.take();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0].second,
                  "NabletMXF Warning: Sound has 2080 bytes more than edit unit 1 lasts; they are left out");
        EXPECT_EQ(lines.size(), hasData ? 1u : 2u);
        const FileWalk walk = rig.walk();
        EXPECT_EQ(walk.faults, std::vector<std::string>());
        if (!hasData) continue;
        expectClosed(walk);
        for (std::size_t n = 0; n < 3; ++n) {
            EXPECT_EQ(walk.packages()[n][1].value.size(), sizes[n]);
            EXPECT_EQ(walk.packages()[n][2].value.size(), 1920u);
        }
    }
}

TEST(Mux, TellsAGapOnceHoweverLongItIs) {
    LogCapture log(ZLGLevel::Default);
    Rig rig;
    rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
    ASSERT_EQ(rig.open(), StatusOK);
    TestStream& images = rig.add(picture());
    TestStream& sounds = rig.add(sound(1920));
    const bool hasSound[] = {true, false, false, false, true, false, true};
    for (int n = 0; n < 7; ++n) {
        images.send(sample(9, 1), n);
        if (hasSound[n]) sounds.send(sample(1920, 1), n);
    }
    ASSERT_EQ(rig.muxer->close(), StatusOK);
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].second,
              "NabletMXF Warning: Sound has no sample in edit unit 1 (time stamp 1): silence is stored");
    EXPECT_EQ(lines[1].second,
              "NabletMXF Warning: Sound has no sample in edit unit 5 (time stamp 5): silence is stored");
}

TEST(Mux, TellsWhichOfSeveralSoundsIsMeantAndWhichFileCannotBeWritten) {
    LogCapture log(ZLGLevel::Default);
    Rig rig;
    rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
    ASSERT_EQ(rig.open(), StatusOK);
    TestStream& images = rig.add(picture());
    TestStream& first = rig.add(sound(1920));
    rig.add(sound(1920));
    images.send(sample(9, 1), 0);
    first.send(sample(1920, 1), 0);
    images.send(sample(9, 1), 1);
    rig.file.failsAtWrite = rig.file.writes + 1;
    EXPECT_EQ(rig.muxer->close(), StatusWriteFailed);
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].second.find("Sound 2 has no sample in edit unit 0"), std::string::npos)
        << lines[0].second;
    EXPECT_NE(lines[1].second.find("Sound 1 has no sample in edit unit 1"), std::string::npos)
        << lines[1].second;
    EXPECT_EQ(
        lines[2].second,
        "NabletMXF Error: An edit unit of memory cannot be written; its disk may be full or out of reach. "
        "What was recorded before can be read");
}

TEST(Mux, TakesNoMoreStreamsThanKeysCanCount) {
    Rig rig;
    ASSERT_EQ(rig.open(), StatusOK);
    rig.add(picture());
    for (int i = 0; i < 127; ++i) rig.add(sound(192));
    TestStream one;
    EXPECT_EQ(rig.muxer->addTrack(&one, std::make_unique<ScriptedTrack>(sound(192)), rig.editRate),
              StatusBadArgument);
    rig.add(data());
    rig.streams.front()->send(sample(9, 1), 0);
    EXPECT_EQ(rig.muxer->close(), StatusOK);
    expectClosed(rig.walk());
}

TEST(Mux, EndsARecordingWithTheFirstSampleThatDoesNotFitAndTellsItOnce) {
    const struct {
        const char* name;
        void (*send)(TestStream& images, TestStream& sounds);
    } cases[] = {
        {"two of one time", [](TestStream&, TestStream& s) { s.send(sample(1920, 1), stamp(1)); }},
        {"going back", [](TestStream&, TestStream& s) { s.send(sample(1920, 1), stamp(0)); }},
        {"refused", [](TestStream& i, TestStream&) { i.send(sample(9, ScriptedTrack::refused), stamp(2)); }},
        {"of another size than told",
         [](TestStream& i, TestStream&) {
             i.Write(sample(9, 1));
             i.Control(MemoryStream::commandSampleReady, SampleRecord{stamp(2), 0, 8}.bytes());
         }},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        LogCapture log(ZLGLevel::Default);
        Rig rig;
        rig.muxer = std::make_unique<Muxer>(ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding));
        ASSERT_EQ(rig.open(), StatusOK);
        TestStream& images = rig.add(picture());
        TestStream& sounds = rig.add(sound(1920));
        for (int n = 0; n < 2; ++n) {
            EXPECT_EQ(images.send(sample(9, 1), stamp(n)), 0);
            EXPECT_EQ(sounds.send(sample(1920, 1), stamp(n)), 0);
        }
        each.send(images, sounds);
        EXPECT_EQ(images.send(sample(9, 1), stamp(5)), StatusBadSample);
        EXPECT_EQ(rig.muxer->close(), StatusBadSample);
        EXPECT_EQ(log.take().size(), 1u);
        EXPECT_FALSE(rig.file.isOpen);
        EXPECT_FALSE(images.isAttached());
        EXPECT_EQ(rig.walk().faults, std::vector<std::string>());
    }
}

TEST(Mux, LeavesAValidFileWhenNoSampleEverCame) {
    for (const bool hasStreams : {true, false}) {
        Rig rig;
        ASSERT_EQ(rig.open(), StatusOK);
        if (hasStreams) rig.add(picture()), rig.add(sound(1920));
        EXPECT_EQ(rig.muxer->close(), StatusOK);
        const FileWalk walk = rig.walk();
        expectClosed(walk);
        EXPECT_EQ(walk.partitions.size(), 2u);
        EXPECT_TRUE(walk.elements.empty());
    }
}

TEST(Mux, RefusesOperationsOutOfOrderAndFilesThatHoldSomething) {
    EXPECT_EQ(mxfMuxClose(nullptr), StatusBadArgument);
    mxfMuxFree(nullptr);
    TestStream stream, another;
    Rig rig;
    StreamFormat format;
    format.streamKind = streamKindAudio;
    format.codec = codec::pcmWave;
    format.editRate = 25;
    format.sampleRate = 48000;
    format.bitsPerSample = 16, format.bytesPerSample = 2, format.bytesPerSecond = 96000,
    format.channelCount = 1;
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &stream, format), StatusBadArgument);
    EXPECT_EQ(rig.muxer->close(), StatusBadArgument);
    rig.file.bytes = {1};
    EXPECT_EQ(rig.open(), StatusCannotOpen);
    EXPECT_FALSE(rig.file.isOpen);
    rig.file.bytes.clear();
    EXPECT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.open(), StatusBadArgument);
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &stream, format), StatusOK);
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), nullptr, format), StatusBadArgument);
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &stream, format), StatusBadArgument);  // a second time
    format.editRate = 50;
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &another, format), StatusBadArgument);
    format.editRate = 25, format.codec = 4711;
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &another, format), StatusUnknownEssence);
    EXPECT_EQ(stream.send(sample(3840, 1), 0), 0);
    format.codec = codec::pcmWave;
    EXPECT_EQ(mxfMuxAddInputStream(rig.muxer.get(), &another, format), StatusBadArgument);
    EXPECT_EQ(rig.muxer->close(), StatusOK);
    EXPECT_EQ(rig.muxer->close(), StatusBadArgument);
    expectClosed(rig.walk());
}

/// A file that forgets what it is given.
FileFunctions nowhere() {
    FileFunctions table;
    table.open = [](FileHandle*, const char*, void*) { return 0; };
    table.seek = [](FileHandle, std::int64_t, void*) { return 0; };
    table.close = [](FileHandle*, void*) { return 0; };
    table.write = [](FileHandle, const std::uint8_t*, std::int64_t count, void*) { return count; };
    return table;
}

TEST(Mux, KeepsTwentyBytesAFrame) {
    TestStream images, sounds;  // outlive the muxer
    Muxer muxer(nullptr);
    MuxSettings settings;
    settings.usesFileFunctions = 1;
    settings.file = nowhere();
    settings.partitionSeconds = 0;
    ASSERT_EQ(muxer.open("nowhere", settings), StatusOK);
    ASSERT_EQ(muxer.addTrack(&images, std::make_unique<ScriptedTrack>(picture()), {25, 1}), StatusOK);
    ASSERT_EQ(muxer.addTrack(&sounds, std::make_unique<ScriptedTrack>(sound(1920)), {25, 1}), StatusOK);
    const Bytes image = sample(3000, 1), portion = sample(1920, 2);
    const auto send = [&](std::int64_t first, std::int64_t last) {
        for (std::int64_t n = first; n < last; ++n) images.send(image, n), sounds.send(portion, n);
    };
    send(0, 100);
    const auto before = mallinfo2().uordblks;
    if (before == 0) GTEST_SKIP() << "a sanitizer's allocator does not count";
    send(100, 50100);
    const auto grown = mallinfo2().uordblks - before;
    EXPECT_GT(grown, 50000u * 19);
    EXPECT_LT(grown, 50000u * 22);
    EXPECT_EQ(muxer.close(), StatusOK);
}

}  // namespace
}  // namespace zenquor::mxf::test
