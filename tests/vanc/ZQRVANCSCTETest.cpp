#include <thread>

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

namespace {

// A message from the tests of Astronaut Labs' scte104 library (MIT), which has no payload descriptor.
const std::string foreignMessage =
    "ff ff 00 1e 00 00 25 00 00 00 00 01 01 01 00 0e 01 60 c6 5c 03 56 c3 0f a0 09 60 00 00 01";
// The same with a UTC time stamp. It holds 4 + 4 bytes where the standard has 4 + 2.
const std::string foreignMessageWithTime =
    "ff ff 00 26 00 00 01 00 00 00 01 60 c6 54 5b 00 00 00 00 01 01 01 00 0e 01 60 c6 54 5b 56 c3 0f a0 09 "
    "60 00 00 01";

class ZQRVANCSCTE : public testing::Test {
protected:
    ZQRVANCSCTE() {
        sink_ = ZLGGetHandle().setSink([this](ZLGLevel, std::string_view text) { lines.emplace_back(text); });
    }
    ~ZQRVANCSCTE() override { ZLGGetHandle().setSink(sink_); }

    std::vector<std::string> lines;

private:
    ZLGHandle::Sink sink_;
};

std::shared_ptr<Packet> read(const std::string& data) {
    return Packet::initWithDID(0x41, 0x07, 13, bytes(data));
}
Operation operation(int opID, const std::string& data) {
    return Operation::initWithOPID(opID, bytes(data));
}
Operation segmentation(std::string_view upID) {
    return Operation::insertSegmentationDescriptorRequestWithEventID(0x01020304, 0, 60, 9, upID, 0x34, 1, 2,
                                                                     0, true, false, true, true, 3, 0, 0, 0);
}

}  // namespace

TEST_F(ZQRVANCSCTE, BuildersWriteTheRequests) {
    const auto splice = Operation::insertSpliceAction(Operation::SpliceStartNormal, 0x60C65C03, 0x56C3, 4000,
                                                      2400, 1, 2, true);
    EXPECT_EQ(splice, operation(0x0101, "01 60 c6 5c 03 56 c3 0f a0 09 60 01 02 01"));
    EXPECT_EQ(Operation::timeSignalRequestWithPreRollTime(4000), operation(0x0104, "0f a0"));
    EXPECT_EQ(segmentation("ABCD"), operation(0x010B,
                                              "01 02 03 04 00 00 3c 09 04 41 42 43 44 34 01 02 00 "
                                              "01 00 01 01 03 00 00 00"));
    EXPECT_THAT(lines, ElementsAre());
    // 254 letters and one of two bytes: the length byte cannot say 256.
    const auto cut = segmentation(std::string(254, 'A') + "\xC3\xA9");
    EXPECT_EQ(cut.dataLength(), 21U + 254);
    EXPECT_EQ((*cut.data())[8], 254);
    EXPECT_THAT(lines, ElementsAre("ZQRVANCSCTEOperation cut UPID of 256 bytes, 255 fit"));
    EXPECT_EQ(segmentation(std::string(300, '\x80')).dataLength(), 21U + 252) << "no text";
}

TEST_F(ZQRVANCSCTE, MessagesHaveTheLayoutOfTheirOperations) {
    const struct {
        Operation operation;
        const char* data;
    } cases[] = {
        {Operation::timeSignalRequestWithPreRollTime(4000),
         "08 ff ff 00 12 00 00 01 00 00 00 00 01 01 04 00 02 0f a0"},
        {operation(0x0005, "aa bb"), "08 00 05 00 0f ff ff ff ff 00 00 01 00 00 aa bb"},
        {operation(0x00FF, ""), "08 00 ff 00 0d ff ff ff ff 00 00 01 00 00"},
        {operation(0x0100, "aa"), "08 ff ff 00 11 00 00 01 00 00 00 00 01 01 00 00 01 aa"},
        {operation(0x7FFF, "aa"), "08 ff ff 00 11 00 00 01 00 00 00 00 01 7f ff 00 01 aa"},
        {operation(0x8000, "aa"), "08 80 00 00 0e ff ff ff ff 00 00 01 00 00 aa"},
        {operation(0xBFFF, "aa"), "08 bf ff 00 0e ff ff ff ff 00 00 01 00 00 aa"},
        {operation(0xC000, "aa"), "08 ff ff 00 11 00 00 01 00 00 00 00 01 c0 00 00 01 aa"},
    };
    for (const auto& c : cases) {
        const auto packet = Packet::initWithOperation(c.operation);
        EXPECT_EQ(hex(packet->sdiData()), c.data);
        EXPECT_EQ(packet->lineNumber(), 10);
    }
    const auto packet = Packet::init();
    EXPECT_EQ(hex(packet->sdiData()), "08 ff ff 00 0c 00 00 01 00 00 00 00 00");
    packet->setContinuedPacket(true);
    packet->setASIndex(0x102);
    packet->setMessageNumber(0x103);
    packet->setDPIPID(0x10405);
    for (int i = 0; i < 2; ++i) packet->addOperation(operation(0x0005, "aa"));
    EXPECT_EQ(hex(packet->sdiData()), "0c ff ff 00 16 00 02 03 04 05 00 00 02 00 05 00 01 aa 00 05 00 01 aa");
    packet->setFollowingPacket(true);
    packet->setDuplicatePacket(true);
    EXPECT_EQ(packet->sdiData()[0], 0x0F);
}

TEST_F(ZQRVANCSCTE, ForeignMessagesAreReadAndWrittenAlike) {
    const auto packet = read("08 " + foreignMessage);
    EXPECT_EQ(packet->description(),
              "SCTE VANC DID:65 SDID:7 line:13 ASIndex:0 DPIPID:0 message#:37 continued:0 following:0 "
              "duplicate:0 single:0 operations:1 [SCTE-104 OP Insert Splice Start Normal eventID:1623612419 "
              "programID:22211 preRoll:4000 breakDuration:2400 availNum:0 availExpected:0 autoReturn:1]");
    EXPECT_EQ(hex(packet->sdiData()), "08 " + foreignMessage);
    EXPECT_THAT(lines, ElementsAre());
    packet->log();
    EXPECT_THAT(lines, ElementsAre(packet->description()));
    lines.clear();
    // A time stamp is taken for the operations, whose first one then claims 0x5b00 bytes.
    EXPECT_THAT(read("08 " + foreignMessageWithTime)->operations(), ElementsAre());
    EXPECT_THAT(lines,
                ElementsAre("ZQRVANCSCTEPacket requested read data of length 23296 at position 17, length 39",
                            "ZQRVANCSCTEPacket could not read operataion data, aborting"));
}

TEST_F(ZQRVANCSCTE, SingleOperationMessagesAreReadWithWhateverTheyLack) {
    const auto whole = read("0b 80 05 00 0f ff ff ff ff 00 02 03 00 04 aa bb");
    EXPECT_THAT(whole->operations(), ElementsAre(operation(0x8005, "aa bb")));
    EXPECT_TRUE(whole->singleOperation() && whole->followingPacket() && whole->duplicatePacket());
    EXPECT_FALSE(whole->continuedPacket());
    EXPECT_EQ(whole->ASIndex() * 100 + whole->messageNumber() * 10 + whole->DPIPID(), 234);
    EXPECT_THAT(lines, ElementsAre());
    const auto none = Operation::initWithOPID(0x0005, std::nullopt);
    EXPECT_THAT(read("08 00 05 00 0f 00 01 00 02 03 00 00 00 00 aa")->operations(), ElementsAre(none));
    EXPECT_THAT(lines,
                ElementsAre("ZQRVANCSCTEPacket requested read data of length 2 at position 14, length 15",
                            "ZQRVANCSCTEPacket got unexpected reserved #1 value 1",
                            "ZQRVANCSCTEPacket got unexpected reserved #2 value 2",
                            "ZQRVANCSCTEPacket got unexpected protocol version 3"));
    const struct {
        const char* size;
        const char* line;
    } cases[] = {
        {"00 0d", "ZQRVANCSCTEPacket requested read zero data at position 14, length 15"},
        {"00 0c", "ZQRVANCSCTEPacket requested read data of length -1 at position 14, length 15"},
        {"00 00", "ZQRVANCSCTEPacket requested read data of length -13 at position 14, length 15"},
    };
    for (const auto& c : cases) {
        lines.clear();
        const auto packet = read(fmt::format("08 00 05 {} ff ff ff ff 00 00 00 00 00 aa", c.size));
        EXPECT_THAT(packet->operations(), ElementsAre(none)) << "no data differs from zero bytes";
        EXPECT_NE(packet->operations()[0], operation(0x0005, ""));
        EXPECT_THAT(lines, ElementsAre(c.line));
        EXPECT_EQ(hex(packet->sdiData()), "08 00 05 00 0d ff ff ff ff 00 00 00 00 00");
    }
    EXPECT_THAT(read("")->operations(), ElementsAre(Operation::initWithOPID(0, std::nullopt)));
}

TEST_F(ZQRVANCSCTE, ABrokenOperationEndsTheList) {
    const std::string first = "01 04 00 02 0f a0 ";
    const auto time = operation(0x0104, "0f a0");
    const char* const abort = "ZQRVANCSCTEPacket could not read operataion data, aborting";
    const auto packet = read("08 ff ff 00 1a 01 00 01 00 00 02 00 03 " + first + "01 05 00 00 " + first);
    EXPECT_THAT(packet->operations(), ElementsAre(time));
    EXPECT_THAT(lines, ElementsAre("ZQRVANCSCTEPacket requested read zero data at position 23, length 29",
                                   abort, "ZQRVANCSCTEPacket got unexpected protocol version 1",
                                   "ZQRVANCSCTEPacket got unexpected SCTE35 protocol version 2"));
    lines.clear();
    EXPECT_THAT(read("08 ff ff 00 12 00 00 01 00 00 00 00 ff " + first + "01")->operations(),
                ElementsAre(time));
    EXPECT_THAT(lines,
                ElementsAre("ZQRVANCSCTEPacket requested read short at position 19, length 20",
                            "ZQRVANCSCTEPacket requested read short at position 19, length 20",
                            "ZQRVANCSCTEPacket requested read zero data at position 19, length 20", abort));
}

TEST_F(ZQRVANCSCTE, ReadersStopAtTheEndAndStay) {
    const ZQData data = bytes("01 02 03 04 05");
    std::int64_t position = 0;
    EXPECT_EQ(Packet::readInt(data, position), 0x01020304U);
    EXPECT_EQ(Packet::readShort(data, position), 0);
    EXPECT_EQ(Packet::readInt(data, position), 0U);
    EXPECT_EQ(position, 4);
    EXPECT_EQ(Packet::readByte(data, position), 5);
    EXPECT_EQ(Packet::readByte(data, position), 0);
    EXPECT_EQ(position, 5);
    EXPECT_FALSE(Packet::readData(data, INT64_MAX, position));
    position = INT64_MAX;
    EXPECT_EQ(Packet::readShort(data, position), 0);
    position = -1;
    EXPECT_EQ(Packet::readByte(data, position), 0);
    EXPECT_FALSE(Packet::readData(data, 1, position));
    EXPECT_THAT(lines, testing::SizeIs(7));
    EXPECT_EQ(lines[1], "ZQRVANCSCTEPacket requested read int at position 4, length 5");
    EXPECT_EQ(lines[2], "ZQRVANCSCTEPacket requested read byte at position 5, length 5");
    std::vector<std::uint8_t> out(9);
    position = 0;
    Packet::writeByte(1, out, position);
    Packet::writeShort(0x0203, out, position);
    Packet::writeInt(0x04050607, out, position);
    Packet::writeData(bytes("08 09"), out, position);
    EXPECT_EQ(hex(out), "01 02 03 04 05 06 07 08 09");
}

TEST_F(ZQRVANCSCTE, DescriptionsNameTheOperationAndReadZeroWhereDataIsShort) {
    const std::string upTo =
        "SCTE-104 OP Insert Segmentation Descriptor eventID:16909060 "
        "eventCancelIndicator:0 duration:60 upIDType:9 ";
    const std::string zeros =
        "typeID:0 segmentNum:0 segmentsExpected:0 durationExtensionFrames:0 "
        "deliveryNotRestricted:0 webDeliveryAllowed:0 noRegionalBlackout:0 archiveAllowed:0 "
        "deviceRestrictions:0 insertSubSegmentInfo:0 subSegmentNum:0 subSegmentsExpected:0";
    const std::string full =
        "typeID:52 segmentNum:1 segmentsExpected:2 durationExtensionFrames:0 "
        "deliveryNotRestricted:1 webDeliveryAllowed:0 noRegionalBlackout:1 archiveAllowed:1 "
        "deviceRestrictions:3 insertSubSegmentInfo:0 subSegmentNum:0 subSegmentsExpected:0";
    const std::string head = "01 02 03 04 00 00 3c 09 ";
    const struct {
        Operation operation;
        std::string text;
    } cases[] = {
        {segmentation("Pr\xC3\xA9lude 1"), upTo + "upID:\"Pr\xC3\xA9lude 1\" " + full},
        {segmentation("\x0A\xFF\x20"), upTo + "upID:0x0aff20 " + full},
        {segmentation("two\nlines"), upTo + "upID:0x74776f0a6c696e6573 " + full},
        {segmentation("\xE2\x80\xAE"), upTo + "upID:0xe280ae " + full},  // turns what follows around
        {segmentation(""), upTo + "upID:none " + full},
        {operation(0x010B, head + "05 41 42 43 44"), upTo + "upID:none " + zeros},
        {operation(0x010B, head + "02 41 42"), upTo + "upID:\"AB\" " + zeros},
        {operation(0x0104, "0f"), "SCTE-104 OP Time Signal Request preRoll:0"},
        {operation(0x0101, "07 00 00 00 05 00"),
         "SCTE-104 OP Reserved eventID:5 programID:0 preRoll:0 breakDuration:0 availNum:0 availExpected:0 "
         "autoReturn:0"},
        {operation(0x0300, "01 02"), "SCTE-104 OP Unknown operation 768 with 2 data bytes"},
        {Operation::initWithOPID(0, std::nullopt), "SCTE-104 OP Unknown operation 0 with 0 data bytes"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.operation.description(), c.text);
    std::vector<std::string> names;
    for (int action = 0; action <= 6; ++action) names.push_back(Operation::nameForOperation(0x0101, action));
    EXPECT_THAT(names, Each(HasSubstr("SCTE-104 OP ")));
    EXPECT_THAT(names,
                ElementsAre("SCTE-104 OP Reserved", "SCTE-104 OP Insert Splice Start Normal",
                            "SCTE-104 OP Insert Splice Start Immediate",
                            "SCTE-104 OP Insert Splice End Normal", "SCTE-104 OP Insert Splice End Immediate",
                            "SCTE-104 OP Insert Splice Cancel", "SCTE-104 OP Reserved"));
    EXPECT_THAT(lines, ElementsAre()) << "describing is quiet";
}

TEST_F(ZQRVANCSCTE, MessagesForTheSameIndicesMerge) {
    const auto one = Packet::initWithOperation(operation(0x0104, "00 01"));
    const auto two = Packet::initWithOperation(operation(0x0104, "00 02"));
    two->setDPIPID(1);
    EXPECT_FALSE(one->merge(two));
    two->setDPIPID(0);
    two->setASIndex(1);
    EXPECT_FALSE(one->merge(two));
    two->setASIndex(0);
    EXPECT_FALSE(one->merge(Packet::initWithOperation(operation(0x0005, "00"))));
    EXPECT_FALSE(Packet::initWithOperation(operation(0x0005, "00"))->merge(one));
    EXPECT_FALSE(one->merge(nullptr));
    EXPECT_EQ(one->operations().size(), 1U);
    EXPECT_TRUE(one->merge(two));
    EXPECT_TRUE(one->merge(one)) << "with itself";
    const auto a = operation(0x0104, "00 01"), b = operation(0x0104, "00 02");
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
    const ZQData data = packet->sdiData();
    EXPECT_EQ(data[12], 255);
    EXPECT_EQ(Packet::initWithDID(0x41, 7, 10, data)->operations(), packet->operations());

    const auto sized = [](int opID, std::size_t size) {
        return Operation::initWithOPID(opID, ZQData::copying(std::vector<std::uint8_t>(size)));
    };
    EXPECT_TRUE(Packet::init()->addOperation(sized(0x8000, 0xFFFF - 13)));
    EXPECT_FALSE(Packet::init()->addOperation(sized(0x8000, 0xFFFF - 12)));
    EXPECT_TRUE(Packet::init()->addOperation(sized(0x0104, 0xFFFF - 16)));
    EXPECT_FALSE(Packet::init()->addOperation(sized(0x0104, 0xFFFF - 15)));
    EXPECT_FALSE(Packet::init()->addOperation(operation(-1, ""))) << "would read as a list";
    EXPECT_FALSE(Packet::init()->addOperation(operation(0x10104, "")));
}

TEST_F(ZQRVANCSCTE, TheHelperMakesPacketsThatManyWritersMayReadAtOnce) {
    const auto packet = ZQRVANCHelper::vancPacketWithLine(13, 0x41, 0x07, bytes("08 " + foreignMessage));
    ASSERT_TRUE(std::dynamic_pointer_cast<Packet>(packet));
    EXPECT_EQ(ZQRVANCHelper::vancFlagsFromPacket(packet), ZQRVANCFlagSCTE104);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> seen(3);
        {
            std::vector<std::jthread> writers;
            for (auto& data : seen) writers.emplace_back([&] { data = hex(packet->sdiData()); });
        }
        EXPECT_THAT(seen, Each("08 " + foreignMessage));
    }
    packet->setSdiData(bytes("08 00 05 00 0e ff ff ff ff 00 00 01 00 00 aa"));
    EXPECT_THAT(packet->description(),
                HasSubstr("single:1 operations:1 [SCTE-104 OP Unknown operation 5 with 1"));
}
