#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCSCTEPacket.h"

using namespace zenquor;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using Operation = ZQRVANCSCTEOperation;
using Packet = ZQRVANCSCTEPacket;
using Lines = std::vector<std::string>;

namespace {

// A message from the tests of Astronaut Labs' scte104 library (MIT), which has no payload descriptor.
const std::string foreignMessage =
    "ff ff 00 1e 00 00 25 00 00 00 00 01 01 01 00 0e 01 60 c6 5c 03 56 c3 0f a0 09 60 00 00 01";
// The same with a UTC time stamp. It holds 4 + 4 bytes where the standard has 4 + 2.
const std::string foreignMessageWithTime =
    "ff ff 00 26 00 00 01 00 00 00 01 60 c6 54 5b 00 00 00 00 01 01 01 00 0e 01 60 c6 54 5b 56 c3 0f a0 09 "
    "60 00 00 01";

/// The data of segmentation() up to the UPID.
const std::string segmentationHead = "01 02 03 04 01 00 3c 09 ";

class ZQRVANCSCTE : public testing::Test {
protected:
    ZQRVANCSCTE() {
        sink_ = ZLGGetHandle().setSink([this](ZLGLevel, std::string_view text) { lines.emplace_back(text); });
    }
    ~ZQRVANCSCTE() override { ZLGGetHandle().setSink(sink_); }

    Lines lines;

private:
    ZLGHandle::Sink sink_;
};

std::shared_ptr<Packet> read(const std::string& data) {
    return Packet::initWithDID(0x41, 0x07, 13, bytes(data));
}
Operation operation(int opID, const std::string& data) {
    return Operation::initWithOPID(opID, bytes(data));
}
Operation segmentation(std::string_view upID, bool isRestricted = false) {
    return Operation::insertSegmentationDescriptorRequestWithEventID(
        0x01020304, 1, 60, 9, upID, 0x34, 1, 2, 4, !isRestricted, false, isRestricted, true, 3, 5, 6, 7);
}

}  // namespace

TEST_F(ZQRVANCSCTE, BuildersWriteTheRequests) {
    EXPECT_EQ(Operation::insertSpliceAction(1, 0x60C65C03, 0x56C3, 4000, 2400, 1, 2, true),
              operation(0x0101, "01 60 c6 5c 03 56 c3 0f a0 09 60 01 02 01"));
    EXPECT_EQ(Operation::timeSignalRequestWithPreRollTime(4000), operation(0x0104, "0f a0"));
    EXPECT_EQ(segmentation("ABCD"),
              operation(0x010B, segmentationHead + "04 41 42 43 44 34 01 02 04 01 00 00 01 03 05 06 07"));
    EXPECT_EQ(segmentation("", true),
              operation(0x010B, segmentationHead + "00 34 01 02 04 00 00 01 01 03 05 06 07"));
    EXPECT_THAT(lines, ElementsAre());
    // 254 letters and one of two bytes: the length byte cannot say 256.
    const auto cut = segmentation(std::string(254, 'A') + "\xC3\xA9");
    EXPECT_EQ(cut.dataLength(), 21U + 254);
    EXPECT_EQ((*cut.data())[8], 254);
    EXPECT_THAT(lines, ElementsAre("ZQRVANCSCTEOperation cut UPID of 256 bytes, 255 fit"));
    EXPECT_EQ(segmentation(std::string(300, '\x80')).dataLength(), 21U + 252) << "no text";
}

TEST_F(ZQRVANCSCTE, DescriptionsNameTheOperationAndReadZeroWhereDataIsShort) {
    const std::string segmentationText =
        "SCTE-104 OP Insert Segmentation Descriptor eventID:16909060 eventCancelIndicator:1 duration:60 "
        "upIDType:9 upID:";
    const std::pair<Operation, std::string> cases[] = {
        {operation(0x010B, segmentationHead + "02 41 42 34 01 02 04 05 06 07 08 09 0a 0b 0c"),
         segmentationText +
             "\"AB\" typeID:52 segmentNum:1 segmentsExpected:2 durationExtensionFrames:4 "
             "deliveryNotRestricted:5 webDeliveryAllowed:6 noRegionalBlackout:7 archiveAllowed:8 "
             "deviceRestrictions:9 insertSubSegmentInfo:10 subSegmentNum:11 subSegmentsExpected:12"},
        {operation(0x010B, segmentationHead + "05 41 42 43 44"),
         segmentationText +
             "none typeID:0 segmentNum:0 segmentsExpected:0 durationExtensionFrames:0 "
             "deliveryNotRestricted:0 webDeliveryAllowed:0 noRegionalBlackout:0 archiveAllowed:0 "
             "deviceRestrictions:0 insertSubSegmentInfo:0 subSegmentNum:0 subSegmentsExpected:0"},
        {operation(0x0104, "0f a0"), "SCTE-104 OP Time Signal Request preRoll:4000"},
        {operation(0x0101, "07 00 00 00 05 00"),
         "SCTE-104 OP Reserved eventID:5 programID:0 preRoll:0 breakDuration:0 availNum:0 availExpected:0 "
         "autoReturn:0"},
        {Operation::initWithOPID(0x0300, {}), "SCTE-104 OP Unknown operation 768 with 0 data bytes"},
    };
    for (const auto& [shown, text] : cases) EXPECT_EQ(shown.description(), text);
    const std::pair<const char*, const char*> upIDs[] = {
        {"Pr\xC3\xA9lude 1", "\"Pr\xC3\xA9lude 1\" "},
        {"\x0A\xFF\x20", "0x0aff20 "},
        {"\xE2\x80\xAE", "0xe280ae "},  // turns what follows around
    };
    for (const auto& [upID, text] : upIDs)
        EXPECT_THAT(segmentation(upID).description(), HasSubstr(segmentationText + text));
    const char* const names[] = {"Reserved",
                                 "Insert Splice Start Normal",
                                 "Insert Splice Start Immediate",
                                 "Insert Splice End Normal",
                                 "Insert Splice End Immediate",
                                 "Insert Splice Cancel",
                                 "Reserved"};
    for (int action = 0; action <= 6; ++action)
        EXPECT_EQ(Operation::nameForOperation(0x0101, action), std::string("SCTE-104 OP ") + names[action]);
    EXPECT_THAT(lines, ElementsAre());
}

TEST_F(ZQRVANCSCTE, MessagesHaveTheLayoutOfTheirOperations) {
    for (const int opID : {0, 0x00FF, 0x8000, 0xBFFF}) EXPECT_TRUE(operation(opID, "").singleOperation());
    for (const int opID : {0x0100, 0x7FFF, 0xC000}) EXPECT_FALSE(operation(opID, "").singleOperation());
    const std::pair<Operation, const char*> cases[] = {
        {Operation::timeSignalRequestWithPreRollTime(4000),
         "08 ff ff 00 12 00 00 01 00 00 00 00 01 01 04 00 02 0f a0"},
        {operation(0x0005, "aa bb"), "08 00 05 00 0f ff ff ff ff 00 00 01 00 00 aa bb"},
        {Operation::initWithOPID(0x8000, {}), "08 80 00 00 0d ff ff ff ff 00 00 01 00 00"},
    };
    for (const auto& [content, data] : cases)
        EXPECT_EQ(hex(Packet::initWithOperation(content)->sdiData()), data);
    const auto packet = Packet::init();
    EXPECT_EQ(packet->lineNumber(), 10);
    EXPECT_EQ(hex(packet->sdiData()), "08 ff ff 00 0c 00 00 01 00 00 00 00 00");
    packet->setContinuedPacket(true);
    packet->setASIndex(0x102);
    packet->setMessageNumber(0x103);
    packet->setDPIPID(0x10405);
    for (int i = 0; i < 2; ++i) packet->addOperation(operation(0x0005, "aa"));
    EXPECT_EQ(hex(packet->sdiData()), "0c ff ff 00 16 00 02 03 04 05 00 00 02 00 05 00 01 aa 00 05 00 01 aa");
}

TEST_F(ZQRVANCSCTE, SoundMessagesAreDescribedAndWrittenAsTheyCame) {
    const std::pair<std::string, const char*> cases[] = {
        {"0c " + foreignMessage,
         "SCTE VANC DID:65 SDID:7 line:13 ASIndex:0 DPIPID:0 message#:37 continued:1 following:0 duplicate:0 "
         "single:0 operations:1 [SCTE-104 OP Insert Splice Start Normal eventID:1623612419 programID:22211 "
         "preRoll:4000 breakDuration:2400 availNum:0 availExpected:0 autoReturn:1]"},
        {"0a 80 05 00 0f ff ff ff ff 00 02 03 00 04 aa bb",
         "SCTE VANC DID:65 SDID:7 line:13 ASIndex:2 DPIPID:4 message#:3 continued:0 following:1 duplicate:0 "
         "single:1 operations:1 [SCTE-104 OP Unknown operation 32773 with 2 data bytes]"},
    };
    for (const auto& [data, text] : cases) {
        const auto packet = read(data);
        EXPECT_EQ(hex(packet->sdiData()), data);
        EXPECT_THAT(lines, ElementsAre());
        packet->log();
        EXPECT_THAT(std::exchange(lines, {}), ElementsAre(text));
    }
}

TEST_F(ZQRVANCSCTE, BrokenMessagesAreReadAsFarAsTheyGo) {
    const std::string abort = "ZQRVANCSCTEPacket could not read operataion data, aborting";
    const std::string time = "01 04 00 02 0f a0 ";
    const auto noData = Operation::initWithOPID(0x0005, std::nullopt);  // not the same as zero bytes
    const struct {
        std::string data;
        std::vector<Operation> operations;
        Lines lines;
    } cases[] = {
        // The time stamp is taken for the operations, whose first one then claims 0x5b00 bytes.
        {"08 " + foreignMessageWithTime,
         {},
         {"ZQRVANCSCTEPacket requested read data of length 23296 at position 17, length 39", abort}},
        {"08 00 05 00 0f 00 01 ff ff 03 00 00 00 00 aa",
         {noData},
         {"ZQRVANCSCTEPacket requested read data of length 2 at position 14, length 15",
          "ZQRVANCSCTEPacket got unexpected reserved #1 value 1",
          "ZQRVANCSCTEPacket got unexpected protocol version 3"}},
        {"08 00 05 00 0d ff ff 00 02 00 00 00 00 00 aa",
         {noData},
         {"ZQRVANCSCTEPacket requested read zero data at position 14, length 15",
          "ZQRVANCSCTEPacket got unexpected reserved #2 value 2"}},
        {"08 00 05 00 0c ff ff ff ff 00 00 00 00 00 aa",
         {noData},
         {"ZQRVANCSCTEPacket requested read data of length -1 at position 14, length 15"}},
        {"08 ff ff 00 1a 01 00 01 00 00 02 00 03 " + time + "01 05 00 00 " + time,
         {operation(0x0104, "0f a0")},
         {"ZQRVANCSCTEPacket requested read zero data at position 23, length 29", abort,
          "ZQRVANCSCTEPacket got unexpected protocol version 1",
          "ZQRVANCSCTEPacket got unexpected SCTE35 protocol version 2"}},
        {"08 ff ff 00 12 00 00 01 00 00 00 00 ff " + time + "01",
         {operation(0x0104, "0f a0")},
         {"ZQRVANCSCTEPacket requested read short at position 19, length 20",
          "ZQRVANCSCTEPacket requested read short at position 19, length 20",
          "ZQRVANCSCTEPacket requested read zero data at position 19, length 20", abort}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(read(c.data)->operations(), c.operations) << c.data;
        EXPECT_EQ(std::exchange(lines, {}), c.lines) << c.data;
    }
}

TEST_F(ZQRVANCSCTE, ReadersStopAtTheEndAndStay) {
    std::vector<std::uint8_t> data(9);
    std::int64_t position = 0;
    Packet::writeByte(1, data, position);
    Packet::writeShort(0x0203, data, position);
    Packet::writeInt(0x04050607, data, position);
    Packet::writeData(bytes("08 09"), data, position);
    EXPECT_EQ(hex(data), "01 02 03 04 05 06 07 08 09");
    position = 2;
    EXPECT_EQ(Packet::readInt(data, position), 0x03040506U);
    EXPECT_EQ(Packet::readInt(data, position), 0U);
    EXPECT_EQ(Packet::readShort(data, position), 0x0708);
    EXPECT_EQ(Packet::readShort(data, position), 0);
    EXPECT_EQ(Packet::readByte(data, position), 9);
    EXPECT_EQ(Packet::readByte(data, position), 0);
    EXPECT_EQ(position, 9);
    EXPECT_THAT(lines, ElementsAre("ZQRVANCSCTEPacket requested read int at position 6, length 9",
                                   "ZQRVANCSCTEPacket requested read short at position 8, length 9",
                                   "ZQRVANCSCTEPacket requested read byte at position 9, length 9"));
    EXPECT_FALSE(Packet::readData(ZQData::copying(data), INT64_MAX, position));
    for (std::int64_t outside : {INT64_MAX, std::int64_t{-1}}) {
        EXPECT_EQ(Packet::readShort(data, outside), 0);
        EXPECT_FALSE(Packet::readData(ZQData::copying(data), 1, outside));
    }
}

TEST_F(ZQRVANCSCTE, MessagesForTheSameIndicesMerge) {
    const auto a = operation(0x0104, "00 01"), b = operation(0x0104, "00 02");
    const auto one = Packet::initWithOperation(a), two = Packet::initWithOperation(b);
    const auto alone = Packet::initWithOperation(operation(0x0005, "00"));
    two->setDPIPID(1);
    EXPECT_FALSE(one->merge(two));
    two->setDPIPID(0);
    two->setASIndex(1);
    EXPECT_FALSE(one->merge(two));
    two->setASIndex(0);
    EXPECT_FALSE(one->merge(alone) || alone->merge(one) || one->merge(nullptr));
    EXPECT_TRUE(one->merge(two));
    EXPECT_TRUE(one->merge(one)) << "with itself";
    EXPECT_THAT(one->operations(), ElementsAre(a, b, a, b));
}

TEST_F(ZQRVANCSCTE, WhatTheWireCannotSayIsRefused) {
    const auto packet = Packet::init();
    for (int i = 0; i < 255; ++i) EXPECT_TRUE(packet->addOperation(operation(0x0104, "00 01")));
    EXPECT_THAT(lines, ElementsAre());
    EXPECT_FALSE(packet->addOperation(operation(0x0104, "00 02")));
    EXPECT_FALSE(packet->merge(packet));
    EXPECT_THAT(lines, ElementsAre(HasSubstr("to 255 operations, the message would exceed its format"),
                                   HasSubstr("cannot merge 255 and 255 operations")));
    EXPECT_EQ(Packet::initWithDID(0x41, 7, 10, packet->sdiData())->operations(), packet->operations());

    const auto accepts = [](int opID, std::size_t size) {
        const auto data = ZQData::copying(std::vector<std::uint8_t>(size));
        return Packet::init()->addOperation(Operation::initWithOPID(opID, data));
    };
    EXPECT_TRUE(accepts(0x8000, 0xFFFF - 13) && accepts(0x0104, 0xFFFF - 16));
    EXPECT_FALSE(accepts(0x8000, 0xFFFF - 12) || accepts(0x0104, 0xFFFF - 15));
    EXPECT_FALSE(accepts(-1, 0)) << "would read as a list";
    EXPECT_FALSE(accepts(0x10104, 0));
}

TEST_F(ZQRVANCSCTE, TheHelperMakesPacketsThatManyWritersMayReadAtOnce) {
    const auto packet = ZQRVANCHelper::vancPacketWithLine(13, 0x41, 0x07, bytes("08 " + foreignMessage));
    ASSERT_TRUE(std::dynamic_pointer_cast<Packet>(packet));
    EXPECT_FALSE(ZQRVANCHelper::vancPacketWithLine(13, 0x41, 0x05, bytes("28 00"))) << "picture formats";
    for (int round = 0; round < 50; ++round) {
        Lines seen(3);
        {
            std::vector<std::jthread> writers;
            for (auto& data : seen) writers.emplace_back([&] { data = hex(packet->sdiData()); });
        }
        EXPECT_THAT(seen, Each("08 " + foreignMessage));
    }
    packet->setSdiData(bytes("08 00 05 00 0e ff ff ff ff 00 00 01 00 00 aa"));
    EXPECT_THAT(packet->description(), HasSubstr("operations:1 [SCTE-104 OP Unknown operation 5 with 1"));
}
