// Files of every layout give the same samples, however they are arranged.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mxf/DemuxRig.h"

namespace zenquor::mxf::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Bytes = FileRecipe::Bytes;
using Index = FileRecipe::Index;

constexpr std::int32_t picture = 0, sound = 1, data = 2;

std::vector<Bytes> expected(const FileRecipe& recipe, Bytes (FileRecipe::*sample)(int) const,
                            int skipped = -1) {
    std::vector<Bytes> samples;
    for (int unit = 0; unit < recipe.units; ++unit) {
        if (unit != skipped) samples.push_back((recipe.*sample)(unit));
    }
    return samples;
}

struct Layout {
    const char* name;
    FileRecipe recipe;
    bool usesIndex = true;
};

FileRecipe with(void (*change)(FileRecipe&)) {
    FileRecipe recipe;
    change(recipe);
    return recipe;
}

const Layout layouts[] = {
    {"Plain", {}},
    {"OnePartition", with([](FileRecipe& r) { r.unitsPerPartition = 6; })},
    {"UnitPartitions", with([](FileRecipe& r) { r.unitsPerPartition = 1; })},
    {"IndexApart", with([](FileRecipe& r) { r.index = Index::Apart; })},
    {"IndexInNextBody", with([](FileRecipe& r) { r.index = Index::InNextBody; })},
    {"ConstantInHeader",
     with([](FileRecipe& r) { r.index = Index::ConstantInHeader, r.hasConstantSizes = true; })},
    {"ConstantOnGrid", with([](FileRecipe& r) {
         r.index = Index::ConstantInHeader, r.hasConstantSizes = true, r.grid = 512, r.hasSystemItem = true;
     })},
    {"NoIndex", with([](FileRecipe& r) { r.index = Index::None; }), false},
    {"NoIndexDataFirst",
     with([](FileRecipe& r) { r.index = Index::None, r.isDataFirst = true, r.unitWithoutData = 2; }), false},
    {"NoIndexDataMissing", with([](FileRecipe& r) { r.index = Index::None, r.unitWithoutData = 4; }), false},
    {"IndexOfHalf", with([](FileRecipe& r) { r.indexedUnits = 3; })},
    {"NoRandomIndex", with([](FileRecipe& r) { r.hasRandomIndex = false; })},
    {"NoFooter", with([](FileRecipe& r) { r.hasFooter = r.hasRandomIndex = false; }), false},
    {"MetadataInFooterOnly",
     with([](FileRecipe& r) { r.hasHeaderMetadata = false, r.hasFooterMetadata = true; })},
    {"RunIn", with([](FileRecipe& r) { r.runIn = 40000; })},
    {"LongestRunIn", with([](FileRecipe& r) { r.runIn = 65536; })},
    {"ShortLengths", with([](FileRecipe& r) { r.lengthBytes = 1; })},
    {"LongLengths", with([](FileRecipe& r) { r.lengthBytes = 9; })},
    {"FillBetweenElements", with([](FileRecipe& r) { r.fill = 33; })},
    {"EmptyFill", with([](FileRecipe& r) { r.fill = 200, r.index = Index::None; }), false},
    {"Grid", with([](FileRecipe& r) { r.grid = 512, r.fill = 100; })},
    {"SystemItem", with([](FileRecipe& r) { r.hasSystemItem = true, r.index = Index::None; }), false},
    {"UnknownItems", with([](FileRecipe& r) { r.hasUnknownItems = true; })},
    {"UnknownItemsNoIndex", with([](FileRecipe& r) { r.hasUnknownItems = true, r.index = Index::None; }),
     false},
    {"SecondBody", with([](FileRecipe& r) { r.isSecondBody = true; })},
    {"Reordered", with([](FileRecipe& r) { r.isReordered = true; })},
};

class DemuxLayout : public testing::TestWithParam<Layout> {};

TEST_P(DemuxLayout, YieldsEverySampleWithoutFault) {
    const FileRecipe& recipe = GetParam().recipe;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.info().streamCount, 3);
    EXPECT_EQ(rig.info().duration, recipe.units);
    EXPECT_EQ(rig.samplesOf(picture), expected(recipe, &FileRecipe::picture));
    EXPECT_EQ(rig.samplesOf(sound), expected(recipe, &FileRecipe::sound));
    EXPECT_EQ(rig.samplesOf(data), expected(recipe, &FileRecipe::dataOf, recipe.unitWithoutData));
    EXPECT_EQ(rig.report().index.isUsed, GetParam().usesIndex);
    EXPECT_EQ(rig.report().runInBytes, recipe.runIn);
    if (recipe.hasFooter) {
        EXPECT_THAT(rig.report().faults, IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(All, DemuxLayout, testing::ValuesIn(layouts),
                         [](const auto& layout) { return std::string(layout.param.name); });

TEST(DemuxFormat, TellsStreamsTimecodeAndNames) {
    DemuxRig rig(FileRecipe{}.build());
    ASSERT_EQ(rig.open(), StatusOK);
    const FileInfo info = rig.info();
    EXPECT_TRUE(info.hasTimecode);
    EXPECT_EQ(info.startTimecodeFrames, 90000);
    EXPECT_EQ(info.timecodeBase, 25u);
    EXPECT_EQ(info.editRate, 25.0);
    EXPECT_FALSE(info.isGrowing);

    const FileReport& report = rig.report();
    EXPECT_EQ(report.operationalPattern, "OP1a");
    EXPECT_EQ(report.clipName, "Evening news");
    EXPECT_EQ(report.partitions.size(), 4u);
    EXPECT_EQ(report.index.editUnits, 6);
    ASSERT_EQ(report.streams.size(), 3u);
    EXPECT_EQ(report.streams[picture].essence, "ProRes");
    EXPECT_EQ(report.streams[picture].format.height, 1080u);
    EXPECT_TRUE(report.streams[picture].format.isInterlaced);
    EXPECT_EQ(report.streams[picture].format.aspectX, 16u);
    EXPECT_EQ(report.streams[sound].essence, "PCM");
    EXPECT_EQ(report.streams[sound].format.bytesPerSample, 2u);
    EXPECT_EQ(report.streams[data].format.streamKind, streamKindData);
    EXPECT_EQ(report.streams[data].format.codec, codec::ancillary436M);
    EXPECT_EQ(report.streams[data].trackNumber, 0x17010201u);
    EXPECT_EQ(report.streams[data].duration, 6);

    StreamFormat format;
    EXPECT_EQ(mxfDemuxGetStreamFormat(rig.demuxer, 3, format), StatusBadArgument);
    EXPECT_EQ(mxfDemuxGetStreamFormat(rig.demuxer, -1, format), StatusBadArgument);
}

TEST(DemuxFormat, FindsElementsThatTheirTrackDoesNotName) {
    FileRecipe recipe;
    recipe.dataTrackNumber = 0;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.samplesOf(data).size(), 6u);
    EXPECT_THAT(rig.report().faults, ElementsAre(HasSubstr("17010201 is taken for it")));
}

TEST(DemuxFormat, GivesNoParserForADataTrackWithoutElementsAndPutsPacketsInFront) {
    FileRecipe recipe;
    recipe.hasEmptyTrack = true;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    ASSERT_EQ(rig.info().streamCount, 4);
    EXPECT_EQ(rig.samplesOf(data).size(), 6u);
    std::int32_t parser = 0;
    EXPECT_EQ(mxfDemuxCreateParser(rig.demuxer, 3, parser), StatusUnknownEssence);
    EXPECT_EQ(parser, -1);
}

TEST(DemuxFormat, KnowsStreamsByTheirElementsWhereNoMetadataIs) {
    FileRecipe recipe;
    recipe.hasHeaderMetadata = false;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.samplesOf(data), expected(recipe, &FileRecipe::dataOf));
    EXPECT_THAT(rig.report().faults, ElementsAre(HasSubstr("no header metadata")));
}

TEST(DemuxFormat, CutsSoundClipsIntoEditUnits) {
    struct Row {
        std::uint32_t numerator, denominator;
        std::vector<std::size_t> samples;
    };
    const Row rows[] = {{25, 1, {1920, 1920, 1920, 1920}},
                        {30000, 1001, {1602, 1601, 1602, 1601, 1602, 1602, 1601, 1602}},
                        {60000, 1001, {801, 801, 800, 801, 801, 801, 801, 800, 801, 801}}};
    for (const Row& row : rows) {
        FileRecipe recipe;
        recipe.isClip = true;
        recipe.units = 10;
        recipe.index = Index::None;
        recipe.rateNumerator = row.numerator;
        recipe.rateDenominator = row.denominator;
        DemuxRig rig(recipe.build());
        ASSERT_EQ(rig.open(), StatusOK);
        EXPECT_EQ(rig.report().operationalPattern, "OP-Atom");
        EXPECT_EQ(rig.report().streams.at(0).wrapping, "clip");
        const auto samples = rig.samplesOf(0);
        std::size_t total = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            total += samples[i].size();
            if (i < row.samples.size()) {
                EXPECT_EQ(samples[i].size(), 2 * row.samples[i]) << row.numerator << ' ' << i;
            }
        }
        EXPECT_EQ(total, 10u * 1920 * 2);
    }
}

TEST(DemuxFormat, CutsPictureClipsByTheirIndex) {
    FileRecipe recipe;
    recipe.isPictureClip = true;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.samplesOf(0), expected(recipe, &FileRecipe::picture));
    EXPECT_EQ(rig.report().streams.at(0).essence, "VC-3");
    EXPECT_THAT(rig.report().faults, IsEmpty());

    recipe.index = Index::None;
    DemuxRig other(recipe.build());
    ASSERT_EQ(other.open(), StatusOK);
    std::int32_t parser = -1;
    EXPECT_EQ(mxfDemuxCreateParser(other.demuxer, 0, parser), StatusUnknownEssence);
    EXPECT_THAT(other.report().faults, Contains(HasSubstr("cannot be told apart")));
}

TEST(DemuxFormat, ReadsFramesInOPAtomToo) {
    for (const Index index : {Index::InFooter, Index::None}) {
        FileRecipe recipe;
        recipe.isAtomOfFrames = true;
        recipe.index = index;
        DemuxRig rig(recipe.build());
        ASSERT_EQ(rig.open(), StatusOK);
        EXPECT_EQ(rig.report().operationalPattern, "OP-Atom");
        EXPECT_EQ(rig.samplesOf(picture), expected(recipe, &FileRecipe::picture));
        EXPECT_EQ(rig.samplesOf(sound), expected(recipe, &FileRecipe::sound));
        EXPECT_EQ(rig.report().streams.at(picture).wrapping, "frame");
        EXPECT_TRUE(rig.report().streams.at(picture).format.isFrameWrapped);
    }
}

TEST(DemuxFormat, CountsTheLinesOfWholeFrames) {
    struct Row {
        std::uint8_t layout;
        std::uint32_t height;
        bool isInterlaced;
    };
    // Of full frames, separate fields, mixed fields and segmented frames.
    for (const Row& row : {Row{0, 540, false}, Row{1, 1080, true}, Row{3, 540, true}, Row{4, 1080, false}}) {
        FileRecipe recipe;
        recipe.frameLayout = row.layout;
        DemuxRig rig(recipe.build());
        ASSERT_EQ(rig.open(), StatusOK);
        const StreamFormat& format = rig.report().streams.at(picture).format;
        EXPECT_EQ(format.height, row.height) << int{row.layout};
        EXPECT_EQ(format.isInterlaced, row.isInterlaced) << int{row.layout};
    }
}

TEST(DemuxPlayback, TellsTimesAndPictureTypes) {
    FileRecipe recipe;
    recipe.isReordered = true;
    recipe.rateNumerator = 30000;
    recipe.rateDenominator = 1001;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    std::int32_t parser = -1;
    SampleCollector sink;
    ASSERT_EQ(mxfDemuxCreateParser(rig.demuxer, picture, parser), StatusOK);
    EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusBadArgument);  // no sink yet
    EXPECT_EQ(mxfDemuxAddStream(rig.demuxer, parser, sound, &sink), StatusBadArgument);
    ASSERT_EQ(mxfDemuxAddStream(rig.demuxer, parser, picture, &sink), StatusOK);
    while (mxfDemuxPush(rig.demuxer, parser) == StatusOK) {
    }
    ASSERT_EQ(sink.records.size(), 6u);
    const std::uint64_t flags[] = {4, 8, 16, 16, 8, 16};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(sink.records[i].timeStamp, static_cast<std::int64_t>(i) * 900900);
        EXPECT_EQ(sink.records[i].flags, flags[i]) << i;
        EXPECT_EQ(sink.records[i].byteCount, recipe.picture(static_cast<int>(i)).size());
    }
}

TEST(DemuxPlayback, SeeksInStoredOrderAndToWhereDecodingStarts) {
    FileRecipe recipe;
    recipe.isReordered = true;
    recipe.units = 12;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    std::int32_t parser = -1;
    SampleCollector sink;
    ASSERT_EQ(mxfDemuxCreateParser(rig.demuxer, picture, parser), StatusOK);
    ASSERT_EQ(mxfDemuxAddStream(rig.demuxer, parser, picture, &sink), StatusOK);
    const auto next = [&](std::int64_t frame, SeekMode mode) {
        EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, frame, mode), StatusOK) << frame;
        EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusOK);
        return sink.samples.back();
    };
    EXPECT_EQ(next(10, SeekModeExact), recipe.picture(10));
    EXPECT_EQ(next(3, SeekModeExact), recipe.picture(3));
    EXPECT_EQ(next(4, SeekModeKeyFrame), recipe.picture(0));
    EXPECT_EQ(next(6, SeekModeKeyFrame), recipe.picture(6));
    EXPECT_EQ(next(11, SeekModeKeyFrame), recipe.picture(6));
    // What cannot be sought leaves the position alone.
    EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, 5, SeekModeExact), StatusOK);
    EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, 12, SeekModeExact), StatusEndOfFile);
    EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, -1, SeekModeExact), StatusBadArgument);
    EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, 0, 3), StatusBadArgument);
    EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusOK);
    EXPECT_EQ(sink.samples.back(), recipe.picture(5));
}

TEST(DemuxPlayback, HandsOnWhatASinkAnswersAndGoesOn) {
    FileRecipe recipe;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    std::int32_t parser = -1;
    SampleCollector sink;
    ASSERT_EQ(mxfDemuxCreateParser(rig.demuxer, data, parser), StatusOK);
    ASSERT_EQ(mxfDemuxAddStream(rig.demuxer, parser, data, &sink), StatusOK);
    sink.answer = -42;
    EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), -42);
    sink.answer = 0;
    sink.room = 3;
    EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusWriteFailed);
    EXPECT_EQ(sink.samples.size(), 1u);
    sink.room = 1000;
    EXPECT_EQ(mxfDemuxSeek(rig.demuxer, parser, 2, SeekModeExact), StatusOK);
    EXPECT_EQ(mxfDemuxRemoveStream(rig.demuxer, parser, data), StatusOK);
    EXPECT_EQ(mxfDemuxRemoveStream(rig.demuxer, parser, data), StatusBadArgument);
    EXPECT_EQ(mxfDemuxFreeParser(rig.demuxer, parser), StatusOK);
    EXPECT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusBadArgument);
    EXPECT_EQ(mxfDemuxClose(rig.demuxer), StatusOK);
    EXPECT_EQ(mxfDemuxClose(rig.demuxer), StatusBadArgument);
    EXPECT_EQ(mxfDemuxGetReport(rig.demuxer), nullptr);
    EXPECT_EQ(rig.open(), StatusOK);
}

TEST(DemuxOpening, RefusesWhatIsNoMXFAndCanThenOpenAnotherFile) {
    FileRecipe recipe;
    recipe.runIn = 65537;
    DemuxRig rig(recipe.build());
    EXPECT_EQ(rig.open(), StatusNotMXF);
    rig.bytes.clear();
    EXPECT_EQ(rig.open(), StatusNotMXF);
    rig.bytes = FileRecipe{}.build();
    EXPECT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.open(), StatusBadArgument);
    EXPECT_EQ(mxfDemuxOpen(nullptr, "x", {}, nullptr), StatusBadArgument);
    mxfDemuxFree(nullptr);

    FileFunctions throwing = FileFunctions::systemReadOnly();
    throwing.open = [](FileHandle*, const char*, void*) -> std::int32_t { throw std::bad_alloc(); };
    DemuxParameters parameters;
    parameters.file = &throwing;
    Demuxer* const absent = mxfDemuxNew();
    EXPECT_EQ(mxfDemuxOpen(absent, "x", parameters, nullptr), StatusCannotOpen) << "nothing is thrown";
    EXPECT_EQ(mxfDemuxOpen(absent, "/nowhere/at/all.mxf", {}, nullptr), StatusCannotOpen);
    mxfDemuxFree(absent);
}

TEST(DemuxOpening, ReadsNoMoreOfALongFileThanOfAShortOneWhereThereIsAnIndex) {
    FileRecipe recipe;
    recipe.hasConstantSizes = true;
    recipe.index = Index::ConstantInHeader;
    recipe.unitsPerPartition = 100000;
    std::size_t read[2] = {};
    for (const int i : {0, 1}) {
        recipe.units = i == 0 ? 4000 : 16000;
        DemuxRig rig(recipe.build());
        ASSERT_EQ(rig.open(), StatusOK);
        EXPECT_EQ(rig.info().duration, recipe.units);
        read[i] = rig.bytesRead;
    }
    EXPECT_LE(read[1], read[0] + 65536);
}

}  // namespace
}  // namespace zenquor::mxf::test
