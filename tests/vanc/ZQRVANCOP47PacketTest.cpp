#include "zenquor/vanc/ZQRVANCOP47Packet.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

using namespace zenquor;
using testing::ElementsAre;
using OP47 = ZQRVANCOP47Packet;
using Teletext = ZQRVANCTeletextPacket;

namespace {

std::shared_ptr<OP47> received(const ZQData& data) {
    return OP47::initWithDID(0x43, 0x02, 12, data);
}

Teletext row(std::int32_t line) {
    return Teletext::initSubtitleWithLine(line, u'?', 0, u"text");
}

ZQData threePackets() {
    auto packet = OP47::beginOP47PacketWithLine(12);
    packet->setSequenceNumber(0x1F0E0D);
    for (int line = 20; line < 23; ++line) packet->appendPacket(row(line));
    return packet->sdiData();
}

ZQData changed(const ZQData& data, std::size_t offset, std::uint8_t value) {
    std::vector<std::uint8_t> copy(data.begin(), data.end());
    copy.at(offset) = value;
    return ZQData::copying(copy);
}

std::vector<std::uint32_t> linesOf(const OP47& packet) {
    std::vector<std::uint32_t> lines;
    for (const Teletext& each : packet.packets()) lines.push_back(each.lineNumber());
    return lines;
}

}  // namespace

TEST(ZQRVANCOP47Packet, EmptyPacketsAreHeaderAndFooter) {
    const auto packet = OP47::beginOP47PacketWithLine(12);
    packet->setSequenceNumber(0x0102);
    EXPECT_EQ(hex(packet->sdiData()), "51 15 0d 02 00 00 00 00 00 74 01 02 14");
    EXPECT_TRUE(received(packet->sdiData())->valid());
    EXPECT_EQ(OP47::crcForBytes(bytes("51")), 0);
    EXPECT_EQ(OP47::crcForBytes(bytes("51 00")), 0xAF);
    EXPECT_EQ(packet->debugDescription(), "OP47 VANC DID:67 SDID:2 line:12 sequence: 258 packets: 0");
}

TEST(ZQRVANCOP47Packet, AppendedPacketsGetTheirLinesAndField) {
    for (const std::int32_t line : {12, 575}) {
        const auto packet = OP47::beginOP47PacketWithLine(line);
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(packet->appendPacket(row(20 + i)));
        EXPECT_FALSE(packet->appendPacket(row(24)));
        EXPECT_THAT(linesOf(*packet), ElementsAre(10, 11, 12, 13));
        const std::string descriptors = line == 12 ? "8a 8b 8c 8d 00" : "0a 0b 0c 0d 00";
        EXPECT_EQ(hex(packet->sdiData().span().subspan(2, 7)), "c1 02 " + descriptors);
        EXPECT_EQ(packet->packets()[3].packetNumber(), 23U);
    }
}

TEST(ZQRVANCOP47Packet, FinishingFillsUpToThreeWithConsecutiveFillers) {
    const auto packet = OP47::finishOP47Packet(OP47::beginOP47PacketWithLine(575));
    ASSERT_EQ(packet->packets().size(), 3U);
    const auto continuity = [&](std::size_t i) { return packet->packets()[i].rawPayload()[3]; };
    EXPECT_EQ(continuity(1), static_cast<std::uint8_t>(continuity(0) + 1));
    EXPECT_EQ(continuity(2), static_cast<std::uint8_t>(continuity(0) + 2));
    const auto next = OP47::beginOP47PacketWithLine(12);
    EXPECT_EQ(next->sequenceNumber(), packet->sequenceNumber() + 1);
    for (int i = 0; i < 4; ++i) next->appendPacket(row(20));
    EXPECT_EQ(OP47::finishOP47Packet(next)->packets().size(), 4U);
    EXPECT_EQ(OP47::finishOP47Packet(nullptr), nullptr);
}

TEST(ZQRVANCOP47Packet, PacketsComeBackAsTheyWereSent) {
    const ZQData data = threePackets();
    ASSERT_EQ(data.size(), 148U);
    const auto packet = received(data);
    EXPECT_TRUE(packet->valid());
    EXPECT_EQ(packet->sequenceNumber(), 0x0E0D);
    EXPECT_THAT(linesOf(*packet), ElementsAre(10, 11, 12));
    EXPECT_TRUE(packet->packets()[0].oddField());
    EXPECT_EQ(packet->packets()[2].packetNumber(), 22U);
    EXPECT_EQ(packet->sdiData(), data);
    EXPECT_EQ(packet->originalData(), data);

    const ZQRVANCPacketPtr made = ZQRVANCHelper::vancPacketWithLine(571, 0x43, 0x02, data);
    ASSERT_NE(std::dynamic_pointer_cast<OP47>(made), nullptr);
    EXPECT_EQ(made->lineNumber(), 571);
}

TEST(ZQRVANCOP47Packet, BrokenPacketsAreNotValid) {
    const ZQData data = threePackets();
    const struct {
        std::size_t offset;
        std::uint8_t value;
        std::size_t packets;
    } cases[] = {
        {0, 0x52, 0},
        {1, 0x16, 0},
        {2, 0x95, 0},
        {3, 0x03, 0},  // identifiers, length, format
        {5, 0x00, 0},
        {7, 0x0D, 0},                                        // too few and too many descriptors
        {144, 0x75, 3},                                      // footer
        {147, static_cast<std::uint8_t>(data[147] - 1), 3},  // all bytes sum up to 255, as some devices do
    };
    for (const auto& each : cases) {
        const auto packet = received(changed(data, each.offset, each.value));
        EXPECT_FALSE(packet->valid()) << each.offset;
        EXPECT_EQ(packet->packets().size(), each.packets) << each.offset;
    }
    for (std::size_t size = 0; size < data.size(); ++size) {
        EXPECT_TRUE(received(data.slice(0, size))->packets().empty()) << size;
    }
    // Reading again forgets what was there before, and what is written is always sound.
    const auto packet = received(data);
    packet->setSdiData(bytes("51"));
    EXPECT_TRUE(!packet->valid() && packet->packets().empty());
    EXPECT_TRUE(received(packet->sdiData())->valid());
}

TEST(ZQRVANCOP47Packet, GapsBetweenDescriptorsCloseAndLineZeroOfTheEvenFieldIsLeftOut) {
    std::vector<Teletext> packets;
    for (int i = 0; i < 6; ++i) packets.push_back(row(i + 1));
    for (std::size_t i = 0; i < packets.size(); ++i) packets[i].setLineNumber(static_cast<std::uint32_t>(i));
    const auto packet = OP47::beginOP47PacketWithLine(575);
    packet->setPackets(packets);
    EXPECT_EQ(packet->packets().size(), 5U);
    const ZQData data = packet->sdiData();
    EXPECT_EQ(data.size(), 13U + 4 * 45);
    EXPECT_EQ(hex(data.span().subspan(4, 5)), "01 02 03 04 00");

    std::vector<std::uint8_t> gap(data.begin(), data.end());
    std::swap(gap[4], gap[8]);  // the first slot is free
    const auto again = received(ZQData::copying(gap));
    EXPECT_TRUE(again->valid());
    EXPECT_THAT(linesOf(*again), ElementsAre(2, 3, 4, 1));
    EXPECT_EQ(again->packets()[0].packetNumber(), 2U);
}

TEST(ZQRVANCOP47Packet, ClearingSubtitlesSendsAnErasingHeader) {
    const ZQRVANCPacketPtr old = received(threePackets());
    const auto list = ZQRVANCHelper::clearPackets({old}, ZQRVANCFlagOP47);
    ASSERT_EQ(list.size(), 2U);
    const auto odd = std::dynamic_pointer_cast<OP47>(list[0]);
    const auto even = std::dynamic_pointer_cast<OP47>(list[1]);
    ASSERT_TRUE(odd && even);
    EXPECT_EQ(odd->lineNumber(), 12);
    EXPECT_EQ(even->lineNumber(), 575);
    ASSERT_EQ(odd->packets().size(), 3U);
    EXPECT_TRUE(odd->packets()[0].isHeader() && odd->packets()[0].controlErasePage());
    EXPECT_TRUE(odd->packets()[1].isIDL() && odd->packets()[2].isIDL());
    ASSERT_EQ(even->packets().size(), 3U);
    EXPECT_TRUE(even->packets()[0].isIDL());
    EXPECT_EQ(ZQRVANCHelper::clearPackets({old}, ZQRVANCFlagSCTE104).size(), 1U);
}

TEST(ZQRVANCOP47Packet, TwoWritersPutTheSamePacketOnTheWire) {
    const auto packet = OP47::beginOP47PacketWithLine(12);
    packet->appendPacket(row(20));
    ZQData here;
    ZQData there;
    std::thread other([&] { there = packet->sdiData(); });
    here = packet->sdiData();
    other.join();
    EXPECT_EQ(here, there);
    EXPECT_TRUE(received(here)->valid());
}
