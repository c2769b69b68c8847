// Keys and lengths of items, fill, and reading past the end.
#include "zenquor/mxf/detail/KLV.h"

#include <gtest/gtest.h>

#include "Hex.h"

namespace zenquor::mxf::detail {
namespace {

using test::bytesOf;
using test::hexOf;

const std::string someKey = "060e2b34 01020101 0d010301 15010500";

TEST(KLV, EveryFormOfALengthIsRead) {
    const struct {
        const char* length;
        std::uint64_t value;
        std::uint32_t headerBytes;
    } cases[] = {
        {"00", 0, 17},
        {"7f", 127, 17},
        {"81 88", 0x88, 18},
        {"82 0298", 0x298, 19},
        {"83 0000de", 0xDE, 20},
        {"84 01000000", 0x1000000, 21},
        {"85 0100000000", 0x100000000, 22},
        {"86 000000000005", 5, 23},
        {"87 01020304050607", 0x01020304050607, 24},
        {"88 7fffffffffffffff", 0x7FFFFFFFFFFFFFFF, 25},
    };
    for (const auto& row : cases) {
        const auto bytes = bytesOf(someKey + row.length);
        const auto header = KLVHeader::read(bytes);
        ASSERT_TRUE(header) << row.length;
        EXPECT_EQ(header->length, row.value) << row.length;
        EXPECT_EQ(header->headerBytes, row.headerBytes) << row.length;
        EXPECT_EQ(header->key.text(), "060e2b34.01020101.0d010301.15010500");
        for (std::size_t cut = 0; cut < bytes.size(); ++cut)
            EXPECT_FALSE(KLVHeader::read(std::span(bytes).first(cut))) << row.length << " cut at " << cut;
    }
}

TEST(KLV, WhatIsNoLabelOrNoDefiniteLengthIsNoItem) {
    for (const char* hex : {"80", "89 000000000000000001", "ff 00", "88 8000000000000000"})
        EXPECT_FALSE(KLVHeader::read(bytesOf(someKey + hex + "00000000000000000000"))) << hex;
    EXPECT_FALSE(KLVHeader::read(bytesOf("060e2b35 01020101 0d010301 15010500 00")));
    EXPECT_FALSE(KLVHeader::read({}));
}

TEST(KLV, LengthsAreWrittenInOneWidthAndLargeOnesInNineBytes) {
    const std::pair<std::uint64_t, const char*> cases[] = {
        {0, "83000000"},
        {0xFFFFFF, "83ffffff"},
        {0x1000000, "880000000001000000"},
    };
    for (const auto& [length, expected] : cases) {
        ByteSink out;
        out.putLength(length);
        EXPECT_EQ(hexOf(out.bytes()), expected);
    }
}

TEST(KLV, FillHasTheSizeAskedForAndIsReadInBothVersionsOfItsKey) {
    for (const std::size_t size : {20u, 21u, 512u, 20u + 0xFFFFFFu, 20u + 0x1000000u, 30u + 0x1000000u}) {
        ByteSink out;
        out.putFill(size);
        EXPECT_EQ(out.size(), size);
        const auto header = KLVHeader::read(out.bytes());
        ASSERT_TRUE(header);
        EXPECT_TRUE(header->isFill());
        EXPECT_EQ(header->totalBytes(), size);
    }
    const auto old = KLVHeader::read(bytesOf("060e2b34 01010101 03010210 01000000 00"));
    ASSERT_TRUE(old);
    EXPECT_TRUE(old->isFill());
}

TEST(KLV, AlignmentTakesAStepMoreWhereNoFillItemFits) {
    const struct {
        std::size_t size, grid, start, expected;
    } cases[] = {{512, 512, 0, 512},  {100, 512, 0, 512},   {492, 512, 0, 512},    {493, 512, 0, 1024},
                 {511, 512, 0, 1024}, {700, 512, 188, 700}, {701, 512, 188, 1212}, {5, 1, 0, 5},
                 {5, 0, 0, 5},        {3, 4, 0, 24}};
    for (const auto& row : cases) {
        ByteSink out;
        out.bytes().resize(row.size);
        out.alignWithFill(row.grid, row.start);
        EXPECT_EQ(out.size(), row.expected) << row.size << " on " << row.grid;
    }
}

TEST(KLV, PastTheEndEverythingReadsAsZeroAndBroken) {
    const auto bytes = bytesOf("01 0203 04");
    ByteSource in(bytes);
    EXPECT_EQ(in.get8(), 1);
    EXPECT_EQ(in.get16(), 0x0203);
    EXPECT_FALSE(in.isBroken());
    EXPECT_EQ(in.get32(), 0u);
    EXPECT_TRUE(in.isBroken());
    EXPECT_EQ(in.left(), 0u);
    EXPECT_EQ(in.get8(), 0);
    EXPECT_TRUE(in.getUL().isNull());
}

}  // namespace
}  // namespace zenquor::mxf::detail
