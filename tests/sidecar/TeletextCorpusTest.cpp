// Teletext as broadcast: pages of other makers' recordings, read as a viewer saw them.

#include <fmt/format.h>

#include <map>

#include "SharedData.h"
#include "Support.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor {
namespace {

using test::pal;
using testing::ElementsAre;
using Teletext = ZQRVANCTeletextPacket;
using Bytes = std::vector<std::uint8_t>;

struct Unit {
    std::int64_t pts = 0;
    Teletext packet;
};

Teletext packetOf(std::span<const std::uint8_t> packetBytes) {
    std::array<std::uint8_t, 45> bytes = {0x55, 0x55, 0x27};
    std::copy_n(packetBytes.begin(), 42, bytes.begin() + 3);
    return Teletext::initWithBytes(bytes);
}

std::uint8_t turned(std::uint8_t byte) {
    std::uint8_t result = 0;
    for (int bit = 0; bit < 8; ++bit) result |= static_cast<std::uint8_t>((byte >> bit & 1) << (7 - bit));
    return result;
}

/// The data units of a DVB teletext PES packet (ETSI EN 300 472), which come most significant bit first.
void readPES(const Bytes& pes, std::vector<Unit>& units) {
    if (pes.size() < 9 || pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || pes[3] != 0xBD) return;
    std::size_t at = 9U + pes[8];
    if (pes.size() <= at || pes[at] < 0x10 || pes[at] > 0x1F) return;
    std::int64_t pts = -1;
    if ((pes[7] & 0x80) != 0 && pes[8] >= 5) {
        pts = std::int64_t{pes[9] >> 1 & 7} << 30 | pes[10] << 22 | (pes[11] >> 1) << 15 | pes[12] << 7 |
              pes[13] >> 1;
    }
    for (++at; at + 46 <= pes.size() && pes[at + 1] == 44; at += 46) {
        if (pes[at] != 0x02 && pes[at] != 0x03) continue;
        Bytes bytes(pes.begin() + static_cast<std::ptrdiff_t>(at) + 4,
                    pes.begin() + static_cast<std::ptrdiff_t>(at) + 46);
        std::transform(bytes.begin(), bytes.end(), bytes.begin(), turned);
        units.push_back({pts, packetOf(bytes)});
    }
}

std::vector<Unit> readTransportStream(const std::string& stream) {
    std::vector<Unit> units;
    std::map<int, Bytes> open;
    for (std::size_t at = 0; at + 188 <= stream.size(); at += 188) {
        const auto* const ts = reinterpret_cast<const std::uint8_t*>(stream.data()) + at;
        if (ts[0] != 0x47 || (ts[3] & 0x10) == 0) continue;
        const int pid = (ts[1] & 0x1F) << 8 | ts[2];
        const std::size_t begin = 4U + ((ts[3] & 0x20) != 0 ? 1U + ts[4] : 0U);
        if (begin >= 188) continue;
        Bytes& pes = open[pid];
        if ((ts[1] & 0x40) != 0) {
            readPES(pes, units);
            pes.clear();
        }
        pes.insert(pes.end(), ts + begin, ts + 188);
    }
    for (const auto& [pid, pes] : open) readPES(pes, units);
    return units;
}

struct Reading {
    std::vector<std::string> texts;
    std::vector<std::int32_t> subtitlePages;
    ZQRTeletextPageReader::Statistics statistics;
};

Reading read(const std::vector<Unit>& units, std::optional<std::int32_t> page) {
    const test::LogCapture log;
    Reading reading;
    ZQRTeletextPageReader reader({page, {}}, [&](const ZQRScreenBlockPtr& block) {
        const auto in = block->timecodeIn().framesSinceMidnight();
        reading.texts.push_back(
            fmt::format("{}+{} {}", in, block->timecodeOut().framesSinceMidnight() - in, block->text()));
        EXPECT_NE(block->timecodeIn(), block->timecodeOut());
    });
    ZQCKTimecode last = ZQCKTimecode::zeroTimeWithTimebase(pal);
    std::int64_t first = -1;
    for (const Unit& unit : units) {
        if (unit.pts >= 0) {
            if (first < 0) first = unit.pts;
            const auto now = ZQCKTimecode::timecodeWithFrames((unit.pts - first) / 3600 + 25, pal);
            if (now.framesSinceMidnight() > last.framesSinceMidnight()) last = now;
        }
        reader.addTeletextPacket(unit.packet, last);
    }
    reader.finish(last.addingFrames(1));
    reading.subtitlePages = reader.subtitlePages();
    reading.statistics = reader.statistics();
    return reading;
}

std::string textOf(const std::string& block) {
    return block.substr(block.find(' ') + 1);
}

TEST(TeletextCorpus, SubtitlesOfAWholeServiceComeOutPageByPage) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const auto units =
        readTransportStream(test::readSharedData("op47/subtitleedit_sample_TS_with_teletext.ts"));
    ASSERT_EQ(units.size(), 3672U);
    const Reading german = read(units, {});
    EXPECT_THAT(german.texts,
                ElementsAre("52+113 Für diese Klassenstufe ist er nicht\ngeeignet. Stufen Sie ihn zurück!"));
    EXPECT_THAT(german.subtitlePages, ElementsAre(0x150, 0x799));
    // The Swedish set of its header has no "æ" and "ø": they come in a packet X/26.
    EXPECT_THAT(read(units, 0x799).texts,
                ElementsAre("59+75 Han er ikke egnet\ntil dette klassetrin.",
                            "147+31 Så sæt ham et år ned, så han kan\nindhente det forsømte."));
}

TEST(TeletextCorpus, AMalformedStreamGivesWhatCanBeReadOfIt) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const auto units = readTransportStream(test::readSharedData("op47/tsduck_test-143_teletext.ts"));
    const Reading swedish = read(units, 0x691);
    std::string expected = test::readSharedData("op47/tsduck_test-143.expect.srt");
    ASSERT_EQ(swedish.texts.size(), 1U);
    std::erase(expected, '\r');
    EXPECT_THAT(expected, testing::HasSubstr(textOf(swedish.texts[0])));
    EXPECT_EQ(swedish.statistics.parityErrors, 2U);
    EXPECT_EQ(swedish.statistics.badTeletextPackets, 3U);
    EXPECT_THAT(swedish.subtitlePages, ElementsAre(0x691, 0x692, 0x693, 0x695));
    const Reading dutch = read(units, 0x695);
    ASSERT_EQ(dutch.texts.size(), 1U);
    EXPECT_EQ(textOf(dutch.texts[0]), "Hij zei dat ze de stad uit was\nvoor haar werk.");
}

}  // namespace
}  // namespace zenquor
