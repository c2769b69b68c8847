// A caption sidecar stands on the frame's road: a frame without captions costs its packet and the list. A reader
// of captions stands there too and allocates for what it hands out only.

#include "CountedAllocations.h"
#include "sidecar/Support.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

namespace zenquor {
namespace {

constexpr int packetAndList = 3;  // the packet with its reference count, the list
constexpr int bytesOfPacket = 1;

/// Allocations of one frame, after @p frame - 1 was played.
int allocationsAt(ZQRSidecar& sidecar, std::int64_t frame) {
    const auto time = ZQCKTimecode::timecodeWithFrames(frame, ZQCKTimebase::timebaseForFramerate(3));
    sidecar.vancPacketsAtTimecode(time.addingFrames(-1));
    return test::allocationsOf([&] { sidecar.vancPacketsAtTimecode(time); });
}

TEST(Allocations, FramesOfSidecarsAllocateNoMoreThanTheyReturn) {
    const test::TempDirectory folder;
    const auto scc = ZQRSCCSidecar::initForReadingWithURL(
        folder.write("a.scc", "Scenarist_SCC V1.0\n00:00:01:00\t9420 9420\n"));
    const auto mcc = ZQRMCCSidecar::initForReadingWithURL(
        folder.write("a.mcc", "File Format=MacCaption_MCC V1.0\n00:00:01:00\tT03112233CB\n"));
    EXPECT_EQ(allocationsAt(*scc, 2), packetAndList);
    EXPECT_EQ(allocationsAt(*mcc, 2), packetAndList + bytesOfPacket);
    EXPECT_EQ(allocationsAt(*scc, 31), packetAndList + bytesOfPacket);
    EXPECT_EQ(allocationsAt(*mcc, 30), packetAndList + bytesOfPacket);
    EXPECT_EQ(allocationsAt(*scc, 100), packetAndList) << "at the end of the file";
    EXPECT_EQ(allocationsAt(*mcc, 100), packetAndList + bytesOfPacket);
}

TEST(Allocations, FramesOfFillersAndRepeatsCostATeletextReaderNothing) {
    const auto begin = [](std::int32_t line) { return ZQRVANCOP47Packet::beginOP47PacketWithLine(line); };
    const auto page = begin(12);
    page->appendPacket(ZQRVANCTeletextPacket::initSubtitleHeaderWithColour(7, u' ', 0));
    page->appendPacket(ZQRVANCTeletextPacket::initSubtitleWithLine(20, u' ', 0, u"\x0B\x0BText"));
    const ZQRVANCPacketList fillers = {ZQRVANCOP47Packet::finishOP47Packet(begin(12)),
                                       ZQRVANCOP47Packet::finishOP47Packet(begin(575))};
    const ZQData bytes = fillers[0]->sdiData();
    const ZQRVANCPacketList bare = {ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 12, bytes)};

    ZQRTeletextPageReader reader({}, {});
    std::int64_t frame = 0;
    const auto cost = [&](const ZQRVANCPacketList& packets) {
        return test::allocationsOf([&] {
            for (int i = 0; i < 5; ++i) reader.addVancPackets(packets, ZQCKTimecode().addingFrames(frame++));
        });
    };
    EXPECT_GT(cost({page}), 0);
    EXPECT_EQ(cost(fillers), 0);
    EXPECT_EQ(cost(bare), 0);
    EXPECT_EQ(reader.statistics().fillers, 45U);
    const ZQRVANCPacketList again = {page};
    EXPECT_EQ(cost(again), 0);
    EXPECT_EQ(reader.statistics().repeats, 8U);
}

TEST(Allocations, CaptionsCostTheirReaderNothingUntilABlockEnds) {
    using Caption = ZQRVANCClosedCaptionPacket;
    const ZQCKTimecode time = ZQCKTimecode::timecodeWithFrames(0, ZQCKTimebase::timebaseForFramerate(3));
    const auto nulls = ZQData::copying(std::vector<std::uint8_t>{0x80, 0x80, 0x80, 0x80});
    const auto cdp = Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(nulls, 7, 1);
    ASSERT_TRUE(cdp);
    const ZQRVANCPacketList packets = {Caption::closedCaptionPacketWithData(nulls, Caption::TypeCEA608),
                                       Caption::closedCaptionPacketWithData(*cdp, Caption::TypeCDP),
                                       ZQRVANCPacketImpl::initWithDID(0x61, 0x02, 12, nulls)};
    int blocks = 0;
    ZQRCEA608Decoder decoder([&](const ZQRScreenBlockPtr&) { ++blocks; });
    const int before = test::allocations.load();
    for (const std::uint16_t pair : {0x9425, 0x94AD, 0x9470, 0xC8E9, 0x91B0, 0x91AE, 0x9220, 0xC8E9}) {
        decoder.addPair(1, pair, time);
        decoder.addPair(2, 0x8080, time);
        decoder.addVancPackets(packets, time);
    }
    EXPECT_EQ(test::allocations.load(), before);
    EXPECT_GE(decoder.statistics().nullPairs, 32U);
    decoder.addPair(1, 0x942C, time.addingFrames(1));
    EXPECT_EQ(blocks, 1);
}

}  // namespace
}  // namespace zenquor
