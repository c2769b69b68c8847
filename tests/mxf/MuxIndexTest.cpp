#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "zenquor/mxf/detail/IndexBuilder.h"

namespace zenquor::mxf::detail {
namespace {

IndexLayout layoutOf(std::uint8_t slices) {
    IndexLayout layout;
    layout.editRate = {25, 1};
    layout.sliceCount = slices;
    layout.deltas = {{0, 0, 0}, {-1, 0, 512}};
    return layout;
}

/// All entries as a reader gets them, segment by segment.
std::vector<IndexEntry> entriesOf(const IndexBuilder& builder) {
    ByteSink out;
    builder.putEntries(out, 0, builder.unitCount());
    std::vector<IndexEntry> entries;
    std::span<const std::uint8_t> rest(out.bytes());
    while (!rest.empty()) {
        const auto header = KLVHeader::read(rest);
        const auto segment = IndexSegment::read(rest.subspan(header->headerBytes, header->length));
        EXPECT_EQ(segment->startPosition, static_cast<std::int64_t>(entries.size()));
        EXPECT_EQ(segment->duration, static_cast<std::int64_t>(segment->entries.size()));
        entries.insert(entries.end(), segment->entries.begin(), segment->entries.end());
        rest = rest.subspan(header->totalBytes());
    }
    return entries;
}

std::vector<int> temporalOffsets(const IndexBuilder& builder) {
    std::vector<int> offsets;
    for (const IndexEntry& entry : entriesOf(builder)) offsets.push_back(entry.temporalOffset);
    return offsets;
}

TEST(MuxIndex, TellsWhereThePictureShownAtEachPlaceIsStored) {
    const struct {
        const char* name;
        std::vector<int> displayed;  // the place of each stored unit
        std::vector<int> offsets;
    } rows[] = {
        {"intra", {0, 1, 2}, {0, 0, 0}},
        {"IBBP", {0, 3, 1, 2, 6, 4, 5}, {0, 1, 1, -2, 1, 1, -2}},
        {"an open group behind it", {0, 3, 1, 2, 6, 4, 5, 9, 7, 8}, {0, 1, 1, -2, 1, 1, -2, 1, 1, -2}},
        {"a pyramid", {0, 4, 2, 1, 3}, {0, 2, 0, 1, -3}},
        {"cut within a group", {0, 3, 1}, {0, 1, -1}},
        {"a place that nothing claims", {0, 1, 3, 4, 5}, {0, 0, 0, 0, 0}},
        {"two claims to one place", {0, 1, 1, 2}, {0, 0, 0, 0}},
        {"a count that starts again", {0, 2, 1, 0, 2, 1}, {0, 1, -1, 0, 1, -1}},
    };
    for (const auto& row : rows) {
        IndexBuilder builder(layoutOf(0));
        for (const int position : row.displayed) builder.add(0, {position, 0x80, 0}, {});
        builder.finish();
        EXPECT_EQ(builder.settledCount(), builder.unitCount()) << row.name;
        EXPECT_EQ(temporalOffsets(builder), row.offsets) << row.name;
    }
}

TEST(MuxIndex, LeadsToEveryUnitOnceWhateverTheEssenceClaims) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 200; ++round) {
        IndexBuilder builder(layoutOf(0));
        const int units = 1 + static_cast<int>(random() % 120);
        for (int n = 0; n < units; ++n) {
            const auto wild = random() % 50 == 0 ? static_cast<std::int64_t>(random()) << 31 : 0;
            builder.add(
                0, {n + static_cast<int>(random() % 9) - 4 + wild, 0x80, -static_cast<int>(random() % 300)},
                {});
            EXPECT_LE(builder.settledCount(), builder.unitCount());
        }
        builder.finish();
        std::vector<int> stored, all(static_cast<std::size_t>(units));
        std::iota(all.begin(), all.end(), 0);
        int n = 0;
        for (const IndexEntry& entry : entriesOf(builder)) {
            EXPECT_GE(n + entry.keyFrameOffset, 0);
            stored.push_back(n++ + entry.temporalOffset);
        }
        std::sort(stored.begin(), stored.end());
        ASSERT_EQ(stored, all) << round;
    }
}

TEST(MuxIndex, FlagsDistancesThatAnEntryCannotHold) {
    IndexBuilder builder(layoutOf(0));
    for (int n = 0; n < 131; ++n) builder.add(0, {n, 0x22, -n}, {});
    const auto entries = entriesOf(builder);
    EXPECT_EQ(entries[128].keyFrameOffset, -128);
    EXPECT_EQ(entries[128].flags, 0x22);
    EXPECT_EQ(entries[129].flags, 0x2A);
}

TEST(MuxIndex, SplitsLongIndexesAndKnowsTheirSizeBeforehand) {
    for (const std::uint8_t slices : {0, 1, 2}) {
        IndexBuilder builder(layoutOf(slices));
        const std::vector<std::uint32_t> offsets(slices, 1000);
        for (int n = 0; n < 14000; ++n)
            builder.add(0x6400000000u + static_cast<std::uint64_t>(n) * 512, {n, 0x80, 0}, offsets);
        for (const std::int64_t first : {0, 1, 4367, 9000}) {
            for (const std::int64_t last : {first, first + 1, first + 4368, std::int64_t{14000}}) {
                ByteSink out;
                builder.putEntries(out, first, last);
                EXPECT_EQ(out.size(), builder.bytesOfEntries(first, last)) << first << " " << last;
            }
        }
        const auto entries = entriesOf(builder);
        ASSERT_EQ(entries.size(), 14000u);
        EXPECT_EQ(entries[13999].streamOffset, 0x6400000000u + 13999u * 512);
    }
}

}  // namespace
}  // namespace zenquor::mxf::detail
