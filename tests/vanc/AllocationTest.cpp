// Packing and extraction stand on the frame's road: one allocation per result, none besides.

#include <gtest/gtest.h>

#include "Bytes.h"
#include "CountedAllocations.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

TEST(Allocations, PackingAndExtractionAllocateOncePerResult) {
    using namespace zenquor;
    using test::allocationsOf;
    using Caption = ZQRVANCClosedCaptionPacket;
    const ZQData pairs = bytes("94 2c 80 80");
    const ZQData cdp = *Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(pairs, 0, 1);
    const ZQRVANCPacketPtr caption = Caption::closedCaptionPacketWithData(cdp, 1);
    const ZQRVANCPacketList list = {caption, ZQRVANCPacketImpl::initWithDID(0x43, 2, 12, cdp), caption,
                                    caption};
    ZQData element;
    int packets = 0;
    const auto count = [&](std::int32_t, std::uint8_t, std::uint8_t, const ZQData&) { ++packets; };
    EXPECT_EQ(allocationsOf([&] { ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(caption, 1, true); }),
              1);
    EXPECT_EQ(allocationsOf(
                  [&] { element = *ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(list, 1, true, 4); }),
              1);
    EXPECT_EQ(allocationsOf([&] {
                  auto stream = ZQRDataStream::initWithData(element);
                  ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(stream, count);
              }),
              4);
    EXPECT_EQ(packets, 4);
    EXPECT_EQ(allocationsOf([&] { Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(pairs, 1, 1); }),
              1);
    EXPECT_EQ(allocationsOf([&] { Caption::extract608CaptionsFromSMPTE334CDP708Packet(cdp, 2); }), 1);
}

TEST(Allocations, SubtitlePacketsAllocateThemselvesAndTheirData) {
    using namespace zenquor;
    using test::allocationsOf;
    std::shared_ptr<ZQRVANCOP47Packet> packet;
    EXPECT_EQ(allocationsOf([&] {
                  packet = ZQRVANCOP47Packet::beginOP47PacketWithLine(12);
                  packet->appendPacket(ZQRVANCTeletextPacket::initSubtitleHeaderWithColour(7, u'?', 1));
                  packet->appendPacket(ZQRVANCTeletextPacket::initSubtitleWithLine(20, u'?', 1, u"d’été"));
                  packet = ZQRVANCOP47Packet::finishOP47Packet(packet);
              }),
              1);
    ZQData data;
    EXPECT_EQ(allocationsOf([&] { data = packet->sdiData(); }), 1);
    EXPECT_EQ(allocationsOf([&] { packet = ZQRVANCOP47Packet::initWithDID(0x43, 2, 12, data); }), 1);
    EXPECT_TRUE(packet->valid());
}
