#include "zenquor/vanc/ZQRVANCOP47Packet.h"

#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

using namespace zenquor;
using testing::ElementsAre;
using OP47 = ZQRVANCOP47Packet;
using Teletext = ZQRVANCTeletextPacket;

namespace {

std::shared_ptr<OP47> received(const ZQData& data) {
    return OP47::initWithDID(0x43, 0x02, 12, data);
}

/// A packet of rows 20 and on.
std::shared_ptr<OP47> sent(std::int32_t line, int rows) {
    auto packet = OP47::beginOP47PacketWithLine(line);
    for (int row = 20; row < 20 + rows; ++row) {
        EXPECT_TRUE(packet->appendPacket(Teletext::initSubtitleWithLine(row, u'?', 0, u"text")));
    }
    return packet;
}

template <typename T>
std::vector<std::uint32_t> each(const OP47& packet, T (Teletext::*field)() const) {
    std::vector<std::uint32_t> values;
    for (const Teletext& teletext : packet.packets()) values.push_back((teletext.*field)());
    return values;
}

}  // namespace

TEST(ZQRVANCOP47Packet, EmptyPacketsAreHeaderAndFooter) {
    const auto packet = sent(12, 0);
    EXPECT_TRUE(received(packet->sdiData())->valid());
    packet->setSequenceNumber(0x0102);
    EXPECT_EQ(hex(packet->sdiData()), "51 15 0d 02 00 00 00 00 00 74 01 02 14");
    EXPECT_EQ(OP47::crcForBytes(bytes("51")), 0);
    EXPECT_EQ(OP47::crcForBytes(bytes("51 00")), 0xAF);
    EXPECT_EQ(packet->debugDescription(), "OP47 VANC DID:67 SDID:2 line:12 sequence: 258 packets: 0");
}

TEST(ZQRVANCOP47Packet, AppendedPacketsGetTheirLinesAndField) {
    for (const std::int32_t line : {12, 575}) {
        const auto packet = sent(line, 4);
        EXPECT_FALSE(packet->appendPacket({}));
        EXPECT_THAT(each(*packet, &Teletext::packetNumber), ElementsAre(20, 21, 22, 23));
        EXPECT_EQ(hex(packet->sdiData().span().subspan(2, 7)),
                  line == 12 ? "c1 02 8a 8b 8c 8d 00" : "c1 02 0a 0b 0c 0d 00");
        EXPECT_EQ(OP47::finishOP47Packet(packet)->packets().size(), 4U);
        EXPECT_EQ(sent(line, 0)->sequenceNumber(), packet->sequenceNumber() + 1);
    }
    EXPECT_EQ(OP47::finishOP47Packet(nullptr), nullptr);
}

TEST(ZQRVANCOP47Packet, PacketsComeBackAsTheyWereSent) {
    const auto original = sent(12, 3);
    original->setSequenceNumber(0x1F0E0D);
    const ZQData data = original->sdiData();
    ASSERT_EQ(data.size(), 148U);
    const ZQRVANCPacketPtr made = ZQRVANCHelper::vancPacketWithLine(571, 0x43, 0x02, data);
    const auto packet = std::dynamic_pointer_cast<OP47>(made);
    ASSERT_NE(packet, nullptr);
    EXPECT_TRUE(packet->valid());
    EXPECT_EQ(packet->lineNumber(), 571);
    EXPECT_EQ(packet->sequenceNumber(), 0x0E0D);
    EXPECT_THAT(each(*packet, &Teletext::lineNumber), ElementsAre(10, 11, 12));
    EXPECT_THAT(each(*packet, &Teletext::oddField), ElementsAre(1, 1, 1));
    EXPECT_EQ(packet->sdiData(), data);
    EXPECT_EQ(packet->originalData(), data);
    EXPECT_THAT(packet->debugDescription(), testing::HasSubstr("packets: 3\nTeletext magazine:8 packet:20"));
}

TEST(ZQRVANCOP47Packet, BrokenPacketsAreNotValid) {
    const ZQData data = sent(12, 3)->sdiData();
    const struct {
        std::size_t offset;
        int value;
        std::size_t packets;
    } cases[] = {
        {0, 0x52, 0},
        {1, 0x16, 0},
        {2, 0x95, 0},
        {3, 0x03, 0},  // identifiers, length, format
        {5, 0x00, 0},
        {7, 0x0D, 0},             // too few and too many descriptors
        {144, 0x75, 3},           // footer
        {147, data[147] - 1, 3},  // all bytes sum up to 255, as some devices do
    };
    for (const auto& row : cases) {
        std::vector<std::uint8_t> broken(data.begin(), data.end());
        broken[row.offset] = static_cast<std::uint8_t>(row.value);
        if (row.offset != 147) broken[147] = OP47::crcForBytes(broken);
        const auto packet = received(ZQData::copying(broken));
        EXPECT_FALSE(packet->valid()) << row.offset;
        EXPECT_EQ(packet->packets().size(), row.packets) << row.offset;
        EXPECT_TRUE(received(packet->sdiData())->valid()) << "what is written is always sound";
    }
    for (std::size_t size = 0; size < data.size(); ++size) {
        EXPECT_TRUE(received(data.slice(0, size))->packets().empty()) << size;
    }
    const auto packet = received(data);
    packet->setSdiData(bytes("51"));
    EXPECT_TRUE(!packet->valid() && packet->packets().empty()) << "what was there before is forgotten";
}

TEST(ZQRVANCOP47Packet, GapsBetweenDescriptorsCloseAndLineZeroOfTheEvenFieldIsLeftOut) {
    std::vector<Teletext> packets(6);
    for (std::uint32_t i = 0; i < 6; ++i) packets[i].setLineNumber(32 + i);
    const auto packet = sent(575, 0);
    packet->setPackets(packets);
    EXPECT_EQ(packet->packets().size(), 5U);
    const ZQData data = packet->sdiData();
    EXPECT_EQ(data.size(), 13U + 4 * 45);
    EXPECT_EQ(hex(data.span().subspan(4, 5)), "01 02 03 04 00");

    std::vector<std::uint8_t> gap(data.begin(), data.end());
    std::swap(gap[4], gap[8]);  // the first slot is free
    gap[5] |= 0x60;             // spare bits
    gap.back() = OP47::crcForBytes(gap);
    const auto again = received(ZQData::copying(gap));
    EXPECT_TRUE(again->valid());
    EXPECT_THAT(each(*again, &Teletext::lineNumber), ElementsAre(2, 3, 4, 1));
}

TEST(ZQRVANCOP47Packet, ClearingSubtitlesSendsAnErasingHeaderAndFillers) {
    const auto list = ZQRVANCHelper::clearPackets({sent(12, 3)}, ZQRVANCFlagOP47);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]->lineNumber(), 12);
    EXPECT_EQ(list[1]->lineNumber(), 575);
    const auto odd = std::dynamic_pointer_cast<OP47>(list[0]);
    EXPECT_THAT(each(*odd, &Teletext::packetNumber), ElementsAre(0, 31, 31));
    EXPECT_EQ(odd->packets()[0], [] {
        auto header = Teletext::initSubtitleHeaderWithColour(7, 63, 0);
        header.setLineNumber(10);
        header.setOddField(true);
        return header;
    }());
    const auto even = std::dynamic_pointer_cast<OP47>(list[1]);
    EXPECT_THAT(each(*even, &Teletext::packetNumber), ElementsAre(31, 31, 31));
}

TEST(ZQRVANCOP47Packet, ThreadsDrawFromOneGeneratorAndWriteOnePacket) {
    const auto shared = sent(12, 1);
    std::array<std::uint8_t, 180> seen;
    const auto run = [&](std::size_t from) {
        for (std::size_t i = from; i < from + 90; i += 3) {
            const auto filled = OP47::finishOP47Packet(OP47::beginOP47PacketWithLine(575));
            for (std::size_t k = 0; k < 3; ++k) seen[i + k] = filled->packets()[k].rawPayload()[3];
            EXPECT_TRUE(received(shared->sdiData())->valid());
        }
    };
    std::thread other(run, 90);
    run(0);
    other.join();
    EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), seen.size()) << "continuity bytes";
}
