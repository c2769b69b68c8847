// Index table segments, the literal one taken from a file of another maker.
#include "zenquor/mxf/detail/IndexSegment.h"

#include <gtest/gtest.h>

#include "Hex.h"

namespace zenquor::mxf::detail {
namespace {

using test::bytesOf;
using test::hexOf;

// The index of six frames of long GOP MPEG-2, sound and VBI lines by bmx 1.7.
const std::string segmentOfOthers =
    "060e2b34025301010d01020101100100830000de3c0a00104145bc62e0a84185acc023f6d65d751b3f0b000800000019"
    "000000013f0c000800000000000000003f0d000800000000000000063f050004000000003f060004000000013f070004"
    "000000023f080001013f0e0001003f09001a0000000300000006000000000000ff000000002c0001000000003f0a0062"
    "000000060000000f0000c0000000000000000000049dd001ff22000000000004ace400062cdc01fe3300000000000ae8"
    "d40006e81efefd33000000000011e006000565da01fc2200000000001754f400060b5300fb3300000000001d6f5b0006"
    "6b07";

TEST(IndexSegment, ASegmentOfAnotherMakerIsReadAndWrittenTheSame) {
    const auto bytes = bytesOf(segmentOfOthers);
    const auto segment = IndexSegment::read(std::span(bytes).subspan(20));
    ASSERT_TRUE(segment);
    EXPECT_EQ(segment->editRate, (Rational{25, 1}));
    EXPECT_EQ(segment->duration, 6);
    EXPECT_EQ(segment->indexSID, 1u);
    EXPECT_EQ(segment->bodySID, 2u);
    EXPECT_EQ(segment->sliceCount, 1);
    ASSERT_EQ(segment->deltas.size(), 3u);
    EXPECT_EQ(segment->deltas[1], (DeltaEntry{-1, 0, 0x2C}));
    ASSERT_EQ(segment->entries.size(), 6u);
    EXPECT_EQ(segment->entries[0].flags, 0xC0);
    EXPECT_EQ(segment->entries[3].temporalOffset, -2);
    EXPECT_EQ(segment->entries[3].keyFrameOffset, -3);
    EXPECT_EQ(segment->entries[3].streamOffset, 0x11E006u);
    EXPECT_EQ(segment->sliceOffsets[5], 0x66B07u);

    ByteSink out;
    segment->write(out);
    EXPECT_EQ(hexOf(out.bytes()), segmentOfOthers);
}

TEST(IndexSegment, TheFullestSegmentFitsThePropertysLength) {
    for (const std::uint8_t slices : {0, 1, 3, 255}) {
        IndexSegment segment;
        segment.editRate = {30000, 1001};
        segment.sliceCount = slices;
        segment.entries.resize(IndexSegment::largestEntryCount(slices));
        segment.sliceOffsets.resize(segment.entries.size() * slices, 7);
        ByteSink out;
        segment.write(out);
        const auto again = IndexSegment::read(std::span(out.bytes()).subspan(20));
        ASSERT_TRUE(again);
        EXPECT_EQ(again->entries.size(), segment.entries.size());
        EXPECT_EQ(again->sliceOffsets, segment.sliceOffsets);
        EXPECT_GT((segment.entries.size() + 1) * (11 + 4 * slices) + 8, 65535u);
    }
}

TEST(IndexSegment, PositionTablesAreSteppedOverAndSliceCountsMayStandBehindTheEntries) {
    const auto segment = IndexSegment::read(
        bytesOf("3f0b 0008 00000019 00000001"
                "3f0a 0036 00000002 00000017 00 fd 80 0000000000000010 00000005 aaaaaaaaaaaaaaaa"
                "02 00 22 0000000000000020 00000006 bbbbbbbbbbbbbbbb"
                "3f08 0001 01 3f0e 0001 01"));
    ASSERT_TRUE(segment);
    ASSERT_EQ(segment->entries.size(), 2u);
    EXPECT_EQ(segment->entries[0].keyFrameOffset, -3);
    EXPECT_EQ(segment->entries[1].streamOffset, 0x20u);
    EXPECT_EQ(segment->sliceOffsets, (std::vector<std::uint32_t>{5, 6}));
}

TEST(IndexSegment, WhatCannotBeAnIndexIsRefusedAndCutEntriesAreLeftOut) {
    const std::string rate = "3f0b 0008 00000019 00000001";
    EXPECT_FALSE(IndexSegment::read({}));
    EXPECT_FALSE(IndexSegment::read(bytesOf("3f0b 0008 00000019 00000000")));
    // Items of ten bytes cannot be entries, items of five no deltas.
    EXPECT_FALSE(IndexSegment::read(bytesOf(rate + "3f0a 0012 00000001 0000000a 00000000000000000000")));
    EXPECT_FALSE(IndexSegment::read(bytesOf(rate + "3f09 000d 00000001 00000005 0000000000")));
    // A count far beyond the bytes.
    const auto cut =
        IndexSegment::read(bytesOf(rate + "3f0a 0018 ffffffff 0000000b 0000800000000000000001 0000800000"));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->entries.size(), 1u);
    const auto none = IndexSegment::read(bytesOf(rate + "3f0a 0008 ffffffff 00000000"));
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->entries.empty());
    // The same with lengths in BER form.
    EXPECT_TRUE(IndexSegment::read(bytesOf("3f0b 83000008 00000019 00000001"), 0x13));
    EXPECT_FALSE(IndexSegment::read(bytesOf(rate), 0x03));
}

TEST(IndexSegment, NoTruncationAndNoFlippedBitReadsOutOfBounds) {
    const auto bytes = bytesOf(segmentOfOthers);
    const std::vector<std::uint8_t> value(bytes.begin() + 20, bytes.end());
    for (std::size_t cut = 0; cut < value.size(); ++cut) {
        const auto segment =
            IndexSegment::read(std::vector<std::uint8_t>(value.begin(), value.begin() + cut));
        if (!segment) continue;
        EXPECT_EQ(segment->sliceOffsets.size(), segment->entries.size() * segment->sliceCount);
    }
    for (std::size_t bit = 0; bit < value.size() * 8; ++bit) {
        auto broken = value;
        broken[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        const auto segment = IndexSegment::read(broken);
        if (!segment) continue;
        EXPECT_LE(segment->entries.size(), 6u + 3u);
        EXPECT_EQ(segment->sliceOffsets.size(), segment->entries.size() * segment->sliceCount);
    }
}

}  // namespace
}  // namespace zenquor::mxf::detail
