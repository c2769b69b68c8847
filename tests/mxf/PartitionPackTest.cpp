// Partition packs and random index packs, the literal ones taken from files of other makers.
#include "zenquor/mxf/detail/PartitionPack.h"

#include <gtest/gtest.h>

#include "Hex.h"

namespace zenquor::mxf::detail {
namespace {

using test::bytesOf;
using test::hexOf;

// The footer's pack of a file by bmx 1.7: MPEG-2, sound and VBI lines.
const std::string footerOfOthers =
    "060e2b34020501010d0102010104040083000098000100030000000100000000002442ac000000000024410e00000000"
    "002442ac0000000000000000000000000000000000000000000000000000000000000000060e2b34040101010d010201"
    "010109000000000400000010060e2b34040101010d01030102060100060e2b34040101020d01030102046001060e2b34"
    "040101030d010301027f0100060e2b34040101090d010301020d0000";

// The end of that file.
const std::string randomIndexOfOthers =
    "060e2b34020501010d01020101110100830000340000000000000000000000000000000200000000000056ec00000000"
    "000000000024410e0000000000000000002442ac00000048";

TEST(PartitionPack, APackOfAnotherMakerIsReadAndWrittenTheSame) {
    const auto bytes = bytesOf(footerOfOthers);
    const auto header = KLVHeader::read(bytes);
    ASSERT_TRUE(header);
    const auto pack = PartitionPack::read(header->key, std::span(bytes).subspan(20));
    ASSERT_TRUE(pack);
    EXPECT_EQ(pack->kind, PartitionPack::Kind::Footer);
    EXPECT_TRUE(pack->isClosed());
    EXPECT_TRUE(pack->isComplete());
    EXPECT_EQ(pack->minorVersion, 3);
    EXPECT_EQ(pack->kagSize, 1u);
    EXPECT_EQ(pack->thisPartition, 0x2442ACu);
    EXPECT_EQ(pack->previousPartition, 0x24410Eu);
    EXPECT_EQ(pack->footerPartition, 0x2442ACu);
    EXPECT_EQ(pack->operationalPattern, ul(0x060E2B34, 0x04010101, 0x0D010201, 0x01010900));
    ASSERT_EQ(pack->essenceContainers.size(), 4u);
    EXPECT_EQ(pack->essenceContainers[3], ul(0x060E2B34, 0x04010109, 0x0D010301, 0x020D0000));
    EXPECT_EQ(pack->totalBytes(), bytes.size());

    ByteSink out;
    pack->write(out);
    EXPECT_EQ(hexOf(out.bytes()), footerOfOthers);
}

TEST(PartitionPack, EveryFieldStandsAtItsPlace) {
    PartitionPack pack;
    pack.kind = PartitionPack::Kind::Body;
    pack.state = static_cast<std::uint8_t>(PartitionPack::State::OpenComplete);
    pack.kagSize = 0x01020304;
    pack.thisPartition = 0x11;
    pack.previousPartition = 0x22;
    pack.footerPartition = 0x33;
    pack.headerByteCount = 0x44;
    pack.indexByteCount = 0x55;
    pack.indexSID = 0x66;
    pack.bodyOffset = 0x77;
    pack.bodySID = 0x88;
    ByteSink out;
    pack.write(out);
    EXPECT_EQ(hexOf(out.bytes()),
              "060e2b34020501010d01020101030300"
              "83000058"
              "00010003"
              "01020304"
              "0000000000000011"
              "0000000000000022"
              "0000000000000033"
              "0000000000000044"
              "0000000000000055"
              "00000066"
              "0000000000000077"
              "00000088"
              "00000000000000000000000000000000"
              "0000000000000010");
}

TEST(PartitionPack, KeysOfPacksAreToldFromTheirNeighbours) {
    const std::pair<const char*, bool> cases[] = {
        {"060e2b34020501010d01020101020100", true},  {"060e2b34020501020d01020101020400", true},
        {"060e2b34020501010d01020101031100", true},  {"060e2b34020501010d01020101040200", true},
        {"060e2b34020501010d01020101021100", false}, {"060e2b34020501010d01020101050100", false},
        {"060e2b34020501010d01020101110100", false}, {"060e2b34020501010d01020101020000", false},
        {"060e2b34020501010d01020101020500", false}, {"060e2b34025301010d01020101020400", false},
    };
    for (const auto& [hex, expected] : cases)
        EXPECT_EQ(PartitionPack::isPartitionKey(UL::read(bytesOf(hex).data())), expected) << hex;
}

TEST(PartitionPack, ACutListOfContainersIsReadSoFarAsItGoes) {
    auto bytes = bytesOf(footerOfOthers);
    const UL key = UL::read(bytes.data());
    const auto value = std::span(bytes).subspan(20);
    EXPECT_FALSE(PartitionPack::read(key, value.first(79)));
    EXPECT_TRUE(PartitionPack::read(key, value.first(80)));
    EXPECT_EQ(PartitionPack::read(key, value.first(88 + 47))->essenceContainers.size(), 2u);
    for (int i = 0; i < 4; ++i) bytes[20 + 80 + i] = 0xFF;
    EXPECT_EQ(PartitionPack::read(key, value)->essenceContainers.size(), 4u);
}

TEST(RandomIndexPack, APackOfAnotherMakerIsReadAndWrittenTheSame) {
    const auto bytes = bytesOf(randomIndexOfOthers);
    const auto pack = RandomIndexPack::read(std::span(bytes).subspan(20));
    ASSERT_TRUE(pack);
    ASSERT_EQ(pack->entries.size(), 4u);
    EXPECT_EQ(pack->entries[1].bodySID, 2u);
    EXPECT_EQ(pack->entries[1].offset, 0x56ECu);
    EXPECT_EQ(pack->entries[3].offset, 0x2442ACu);
    ByteSink out;
    pack->write(out);
    EXPECT_EQ(hexOf(out.bytes()), randomIndexOfOthers);
    EXPECT_FALSE(RandomIndexPack::read(std::span(bytes).subspan(21)));
    EXPECT_FALSE(RandomIndexPack::read({}));
}

}  // namespace
}  // namespace zenquor::mxf::detail
