// Packets that other makers' programs wrote, read where they lie.
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "Bytes.h"
#include "sidecar/SharedData.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

using namespace zenquor;

namespace {

struct Found {
    std::int32_t line;
    int did, sdid;
    ZQData data;
};

ZQRVANCHelper::PacketBlock into(std::vector<Found>& list) {
    return [&list](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
        list.push_back({line, did, sdid, data});
    };
}

/// The bytes of each line of a file of hexadecimal pairs; what follows ";" is a note.
std::vector<ZQData> lines(const std::string& file) {
    std::vector<ZQData> result;
    std::istringstream text(test::readSharedData(file));
    for (std::string line; std::getline(text, line);) {
        if (!line.empty() && line[0] != '#') result.push_back(bytes(line.substr(0, line.find(';'))));
    }
    return result;
}

/// The 10-bit words of an ST 2038 packet, which follow 30 bits of its own, in containers of 16 bits.
ZQData wordsOfST2038(const ZQData& packet) {
    auto stream = ZQRDataStream::initWithData(packet);
    stream.beginReadBits();
    for (int skipped = 0; skipped < 30; skipped += 6) stream.skipBits(6);
    std::vector<std::uint8_t> words;
    std::uint8_t high = 0, low = 0;
    while (stream.readBits(2, high) && stream.readBits(8, low)) words.insert(words.end(), {high, low});
    const std::size_t whole = (3 + words[5] + 1) * std::size_t{2};  // identifiers, count, data, checksum
    words.resize(std::min(whole, words.size()));
    return ZQData::copying(words);
}

}  // namespace

TEST(PacketsOfOthers, AreReadAsTheirMakersSay) {
    ZENQUOR_NEEDS_SHARED_DATA();
    std::vector<Found> found;
    const auto elements = lines("anc436/bmx_st436_frames.hex");
    ASSERT_EQ(elements.size(), 2U);
    for (const ZQData& element : elements) {
        auto stream = ZQRDataStream::initWithData(element);
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(stream, into(found));
    }
    // The second element holds a line of the blanking interval, no packet.
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].line, 9);
    EXPECT_EQ(found[0].did, 0x45);
    EXPECT_EQ(found[0].sdid, 0x04);
    EXPECT_EQ(hex(found[0].data), "21 22 23 24");

    found.clear();
    for (const ZQData& packet : lines("anc436/gstrs_st2038_packets.hex")) {
        auto stream = ZQRDataStream::initWithData(wordsOfST2038(packet));
        ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(stream, 9, 3, into(found));
    }
    ASSERT_EQ(found.size(), 2U) << "checksums 427 and 683";
    for (const Found& packet : found) {
        EXPECT_EQ(packet.did, 97);
        EXPECT_EQ(packet.sdid, 1);
        EXPECT_EQ(packet.data.size(), 73U);
    }
}

TEST(PacketsOfOthers, GoOutAsTheyCameIn) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const auto vectors = lines("cdp/subtitleedit_cea708_vectors.hex");
    ASSERT_EQ(vectors.size(), 3U);
    std::vector<Found> found;
    auto stream = ZQRDataStream::initWithData(vectors[2]);
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(stream, 9, 1, into(found));
    ASSERT_EQ(found.size(), 1U);
    const auto packet = ZQRVANCHelper::vancPacketWithLine(9, found[0].did, found[0].sdid, found[0].data);
    ASSERT_TRUE(packet);
    EXPECT_EQ(hex(ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, 1, true)), hex(vectors[2]));
    const auto captions = ZQRVANCHelper::closedCaptionPacket({packet});
    ASSERT_TRUE(captions);
    EXPECT_EQ(hex(captions->dataFor608Fields(2).value_or(ZQData())), "94 2f 80 80");
}
