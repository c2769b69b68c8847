#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

#include <numeric>
#include <thread>

#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ByteOrder.h"
#include "zenquor/vanc/ZQRCaptionSampleParser.h"

using namespace zenquor;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

ZQData cdpAround(const std::string& pairs, std::uint32_t sequence, std::uint32_t flags) {
    return Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(bytes(pairs), sequence, flags).value();
}
int sum(const ZQData& data) {
    return std::accumulate(data.begin(), data.end(), 0) & 0xFF;
}
std::string pairsIn(const ZQData& cdp, int fields) {
    const auto pairs = Caption::extract608CaptionsFromSMPTE334CDP708Packet(cdp, fields);
    return pairs ? hex(*pairs) : "none";
}
std::string triplets(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += " fa 00 00";
    return text;
}

}  // namespace

TEST(ZQRVANCClosedCaptionPacket, BuildsBothKindsOfCDP) {
    const ZQData sdi = cdpAround("94 2c", 0x51234, 1);
    EXPECT_EQ(hex(sdi.slice(0, 88)), "96 69 59 4f 67 12 34 72 f4 fc 94 2c fd 80 80" + triplets(18) +
                                         " 73 f2 e0 20 20 20 7e 3f ff e1 65 6e 67 c1 3f ff 74 12 34");
    EXPECT_EQ(sum(sdi), 0);
    const ZQData plain = cdpAround("94 2c 15 2d", 7, 2);
    EXPECT_EQ(hex(plain.slice(0, 81)), "96 69 52 4f 67 00 07 72 f4 fc 94 2c fd 15 2d" + triplets(18) +
                                           " 73 91 e1 00 00 00 c1 3f ff 74 00 07");
    EXPECT_EQ(sum(plain), 0);
    for (const char* wrong : {"", "94", "94 2c 80", "94 2c 80 80 80 80"}) {
        EXPECT_FALSE(Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(bytes(wrong), 0, 1));
    }
}

TEST(ZQRVANCClosedCaptionPacket, FindsPairsInSectionsOfAnyOrderAndRefusesBrokenOnes) {
    const struct {
        const char* cdp;
        const char* field1;
        const char* both;
    } cases[] = {
        {"96 69 0e 4f 43 00 00 72 e1 fc 94 2c 00 00", "none", "none"},  // a byte 00 is no section
        {"96 69 0d 4f 43 00 00 72 e1 fc 94 2c 00", "94 2c", "none"},
        {"96 69 10 4f 43 00 00 72 e2 fd 15 2d fc 94 2c 00", "94 2c", "94 2c 15 2d"},
        {"96 69 10 4f 43 00 00 72 e2 fc 94 20 fc 94 2c 00", "94 2c", "none"},  // the later pair counts
        {"96 69 10 4f 43 00 00 72 e2 f8 94 20 fd 94 2c 00", "none", "none"},   // field 1 is not valid
        {"96 69 1e 4f 43 00 00 71 c0 80 80 80 ff 73 91 e1 20 20 20 7e 3f ff 74 00 00 72 e1 fc 94 2c 00",
         "none", "none"},
        {"96 69 1f 4f 43 00 00 71 c0 80 80 80 ff 73 91 e1 20 20 20 7e 3f ff 74 00 00 72 e1 fc 94 2c 00",
         "94 2c", "none"},
        {"96 69 0d 4f 43 00 00 72 e2 fc 94 2c 00", "none", "none"},  // more triplets than bytes
        {"96 69 0d 4f 43 00 00 75 e1 fc 94 2c 00", "none", "none"},  // unknown section
        {"96 69 0e 4f 43 00 00 72 e1 fc 94 2c 00", "none", "none"},  // longer than the data
        {"96 69 07 4f 43 00 00", "none", "none"},
        {"96 69 08 4f 43 00 00 00", "none", "none"},
        {"96 69 09 4f 43 00 00 72 00", "none", "none"},
        {"96 68 0d 4f 43 00 00 72 e1 fc 94 2c 00", "none", "none"},
        {"96 69", "none", "none"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(pairsIn(bytes(c.cdp), 1), c.field1) << c.cdp;
        EXPECT_EQ(pairsIn(bytes(c.cdp), 2), c.both) << c.cdp;
    }
    EXPECT_EQ(pairsIn(cdpAround("94 2c", 0, 1), 2), "94 2c 80 80");
    EXPECT_EQ(pairsIn(cdpAround("94 2c", 0, 1), 3), "none");
}

TEST(ZQRVANCClosedCaptionPacket, TurnsIntoACDPOnTheWireAndRemembersWhatItWas) {
    const auto packet = Caption::closedCaptionPacketWithData(bytes("94 2c"), 0);
    EXPECT_EQ(packet->lineNumber(), 9);
    EXPECT_EQ(hex(*packet->quicktimeData()), "00 00 00 0a 63 64 61 74 94 2c");
    EXPECT_EQ(hex(*packet->dataFor608Fields(1)), "94 2c");
    EXPECT_FALSE(packet->dataFor608Fields(2));
    const ZQData first = *packet->dataFor708();
    EXPECT_EQ(packet->type(), 0);
    const ZQData second = packet->sdiData();
    EXPECT_EQ(packet->type(), 1);
    EXPECT_EQ(packet->originalType(), 0);
    EXPECT_EQ(hex(packet->originalData()), "94 2c");
    for (const std::size_t counter : {5U, 86U}) {
        EXPECT_EQ(readBE16(second.data() + counter),
                  static_cast<std::uint16_t>(readBE16(first.data() + 5) + 1));
    }
    EXPECT_EQ(packet->sdiData(), second) << "converted once";
    EXPECT_EQ(packet->dataFor708(), second);
    EXPECT_EQ(hex(*packet->dataFor608Fields(2)), "94 2c 80 80");
    EXPECT_EQ(hex(packet->quicktimeData()->slice(0, 10)), "00 00 00 61 63 63 64 70 96 69");
    const auto odd = Caption::closedCaptionPacketWithData(bytes("94 2c 80"), 0);
    EXPECT_FALSE(odd->dataFor708());
    EXPECT_TRUE(odd->sdiData().empty());
}

TEST(ZQRVANCClosedCaptionPacket, ManyReadersConvertAPacketOnce) {
    for (int round = 0; round < 50; ++round) {
        const auto packet = Caption::closedCaptionPacketWithData(bytes("94 2c"), 0);
        std::vector<ZQData> seen(3);
        {
            std::vector<std::jthread> writers;
            for (auto& data : seen) writers.emplace_back([&] { data = packet->sdiData(); });
            writers.emplace_back([&] { EXPECT_EQ(hex(*packet->dataFor608Fields(1)), "94 2c"); });
        }
        EXPECT_TRUE(seen[0].size() == 89 && seen[0] == seen[1] && seen[1] == seen[2]);
    }
}

TEST(ZQRVANCClosedCaptionPacket, PatchesTheSequenceNumberBehindAnAtomHeaderToo) {
    std::vector<std::uint8_t> atom(8, 0xAA);
    const ZQData cdp = cdpAround("94 2c", 1, 0);
    atom.insert(atom.end(), cdp.begin(), cdp.end());
    Caption::setSMPTE334CDP708PacketSequenceNumber(atom, 0xBEEF, true);
    EXPECT_EQ(ZQData::copying(std::span(atom).subspan(8)), cdpAround("94 2c", 0xBEEF, 0));
    std::vector<std::uint8_t> tooShort(17, 1);
    Caption::setSMPTE334CDP708PacketSequenceNumber(tooShort, 0xBEEF, true);
    EXPECT_EQ(tooShort, std::vector<std::uint8_t>(17, 1));
    EXPECT_EQ(Caption::dataFormattedIn16Bit(bytes("61 ff")).size(), 4U);
}

TEST(ZQRCaptionSampleParser, ReadsPairsAndCDPsFromCaptionAtoms) {
    const std::string cdp = hex(cdpAround("94 2c", 3, 1));
    const std::string short12 = "96 69 0c 4f 43 00 00 74 00 00 fa 00";
    const std::string sdi = hex(cdpAround("94 2f", 3, 1));
    const struct {
        std::string sample;
        std::size_t index;
        int type;
        std::string data;
    } cases[] = {
        {"00 00 00 0a 63 64 61 74 03 01", 0, 0, "83 01"},
        {"00 00 00 0c 63 64 61 74 94 20 00 2c", 1, 0, "80 2c"},
        {"00 00 00 0a 63 64 61 74 94 2c 00 00 00 0a 63 64 74 32 15 2d", 0, 0, "94 2c 15 ad"},
        {"00 00 00 0a 63 64 74 32 15 2d", 0, 0, "80 80 15 ad"},
        {"00 00 00 0a 63 64 61 74 94 2c 00 00 00 0b 63 64 74 32 15 2d", 0, 0, "94 2c"},
        {"00 00 00 14 63 63 64 70 " + short12, 0, 1, short12},
        {"00 00 00 13 63 63 64 70 96 69 0b 4f 43 00 00 74 00 00 fa", 0, -1, ""},
        {"00 00 00 14 63 63 64 70 96 69 00 4f 43 00 00 74 00 00 fa 00", 0, -1, ""},
        {"00 00 00 14 63 63 64 70 96 69 0d 4f 43 00 00 74 00 00 fa 00", 0, -1, ""},
        {"00 00 00 14 63 63 64 70 " + short12, 1, -1, ""},
        {"00 00 00 6d 63 63 64 70 " + short12 + " " + sdi, 1, 1, sdi},
        {"00 00 00 00 66 72 65 65 00 00 00 61 63 63 64 70 " + cdp, 0, -1, ""},  // size 0 ends the walk
        {"00 00 00 0a 66 72 65 65 00 00 00 00 00 0a 63 64 61 74 94 2c", 0, 0, "94 2c"},
        {"00 00 00 08 63 64 61 74", 0, -1, ""},
        {"", 0, -1, ""},
    };
    for (const auto& c : cases) {
        const auto found = ZQRCaptionSampleParser::packetFromSampleData(bytes(c.sample), c.index);
        const auto caption = std::dynamic_pointer_cast<Caption>(found);
        EXPECT_EQ(caption ? caption->type() : -1, c.type) << c.sample;
        EXPECT_EQ(caption ? hex(caption->data()) : "", c.data) << c.sample;
    }
}

TEST(ZQRVANCClosedCaptionPacket, EnumeratesEveryPairThatCanBeRead) {
    const struct {
        const char* data;
        std::int32_t type;
        const char* pairs;
    } cases[] = {
        {"94 2c 15 2d", Caption::TypeCEA608, "1:94 2c 2:15 2d "},
        {"94", Caption::TypeCEA608, ""},
        // Three pairs at 24 frames per second, one of them invalid, and digital captions between.
        {"96 69 16 2f 43 00 00 72 e4 fc 94 2c fa 00 00 fd 15 2d f8 80 80 74 00 00", Caption::TypeCDP,
         "1:94 2c 2:15 2d "},
        {"96 69 10 2f 43 00 00 72 e2 fc 94 20 fc 94 2c 00", Caption::TypeCDP, "1:94 20 1:94 2c "},
        // Cut short: the count and the length byte promise more than there is.
        {"96 69 49 4f 43 00 00 72 f4 fc 94 2c fd", Caption::TypeCDP, "1:94 2c "},
        {"69 96 10 2f 43 00 00 72 e2 fc 94 20 fc 94 2c 00", Caption::TypeCDP, ""},
    };
    for (const auto& c : cases) {
        std::string pairs;
        Caption::closedCaptionPacketWithData(bytes(c.data), c.type)
            ->enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
                pairs += std::to_string(field) + ":" + hex(ZQData::copying(pair)) + " ";
            });
        EXPECT_EQ(pairs, c.pairs) << c.data;
    }
}
