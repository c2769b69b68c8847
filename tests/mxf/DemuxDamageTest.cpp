// Files that were cut, changed, that lie about themselves, or that are still being written.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "mxf/DemuxRig.h"
#include "mxf/Hex.h"
#include "sidecar/SharedData.h"

namespace zenquor::mxf::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using Bytes = FileRecipe::Bytes;
using Index = FileRecipe::Index;

constexpr std::int32_t picture = 0, data = 2;

const FileRecipe& recipeOf(int number) {
    static const auto recipes = [] {
        std::vector<FileRecipe> list(6);
        list[1].index = Index::InNextBody;
        list[1].hasFooterMetadata = true;
        list[2].index = Index::ConstantInHeader;
        list[2].hasConstantSizes = true;
        list[2].hasSystemItem = true;
        list[2].runIn = 5;
        list[3].index = Index::None;
        list[3].hasRandomIndex = false;
        list[3].fill = 25;
        list[4].isClip = true;
        list[4].index = Index::None;
        list[4].units = 2;
        list[4].rateNumerator = 500;  // small units, so that all bytes are few
        list[4].clipSamples = 96;
        for (FileRecipe& recipe : list)
            recipe.units = std::min(recipe.units, 4), recipe.unitsPerPartition = 2;
        return list;
    }();
    return recipes[static_cast<std::size_t>(number)];
}

/// Everything that a host does with a file; it ends, and gives no more than the file has.
void useAll(DemuxRig& rig) {
    if (rig.open() != StatusOK) return;
    const FileInfo info = rig.info();
    for (std::int32_t stream = 0; stream < info.streamCount; ++stream) {
        StreamFormat format;
        mxfDemuxGetStreamFormat(rig.demuxer, stream, format);
        SampleCollector sink;
        std::int32_t parser = -1;
        if (mxfDemuxCreateParser(rig.demuxer, stream, parser) != StatusOK) continue;
        mxfDemuxAddStream(rig.demuxer, parser, stream, &sink);
        for (int i = 0; i < 200 && mxfDemuxPush(rig.demuxer, parser) != StatusEndOfFile; ++i) {
        }
        mxfDemuxSeek(rig.demuxer, parser, 1, SeekModeKeyFrame);
        mxfDemuxPush(rig.demuxer, parser);
        for (const Bytes& sample : sink.samples) ASSERT_LE(sample.size(), rig.bytes.size());
    }
    EXPECT_LE(rig.report().faults.size(), 110u);
    rig.bytes.resize(rig.bytes.size() / 2);  // somebody empties the file meanwhile
    mxfDemuxRefresh(rig.demuxer);
    rig.samplesOf(0);
    EXPECT_FALSE(rig.report().partitions.empty());
}

class DemuxDamage : public testing::TestWithParam<int> {};

TEST_P(DemuxDamage, ACutFileGivesTheUnitsInFrontOfTheCut) {
    const FileRecipe& recipe = recipeOf(GetParam());
    const Bytes whole = recipe.build();
    std::size_t before = 0;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        DemuxRig rig(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        useAll(rig);
        if (HasFatalFailure()) return;
        rig.bytes.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        mxfDemuxRefresh(rig.demuxer);
        if (rig.info().streamCount != 3) continue;
        const auto samples = rig.samplesOf(data);
        for (std::size_t i = 0; i < samples.size(); ++i)
            ASSERT_EQ(samples[i], recipe.dataOf(static_cast<int>(i))) << "at " << size;
        ASSERT_GE(samples.size(), before) << "at " << size;
        before = samples.size();
    }
    if (!recipe.isClip && !recipe.isPictureClip) {
        EXPECT_EQ(before, static_cast<std::size_t>(recipe.units));
    }
}

TEST_P(DemuxDamage, NoChangedByteDoesHarm) {
    const Bytes whole = recipeOf(GetParam()).build();
    for (std::size_t at = 0; at < whole.size(); ++at) {
        const auto change = static_cast<std::uint8_t>(at % 3 == 0   ? 0xFF
                                                      : at % 3 == 1 ? 0x80
                                                                    : 1 << (at % 7));
        DemuxRig rig(whole);
        rig.bytes[at] ^= change;
        useAll(rig);
        if (HasFatalFailure()) return;
    }
}

TEST_P(DemuxDamage, NoManyChangedBytesDoHarm) {
    const Bytes whole = recipeOf(GetParam()).build();
    std::mt19937 random(GetParam() + 7u);
    for (int round = 0; round < 300; ++round) {
        DemuxRig rig(whole);
        for (int i = 0; i < 30; ++i) rig.bytes[random() % whole.size()] = static_cast<std::uint8_t>(random());
        useAll(rig);
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(All, DemuxDamage, testing::Range(0, 6));

TEST(DemuxFilesOfOthers, CutAndChangedDoNoHarm) {
    ZENQUOR_NEEDS_SHARED_DATA();
    std::mt19937 random(4711);
    for (const char* name :
         {"bmx_op1a_mpeg2_vbi.mxf", "bmx_op1a_proreshq_1080p25_anc.mxf", "gst_mxfmux_mpeg2_pcm_vanc.mxf"}) {
        const std::string text = zenquor::test::readSharedData("../media/" + std::string(name));
        const Bytes whole(text.begin(), text.end());
        for (int round = 0; round < 10; ++round) {
            DemuxRig cut(
                Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(random() % whole.size())));
            useAll(cut);
            DemuxRig changed(whole);
            for (int i = 0; i < 1000; ++i)
                changed.bytes[random() % whole.size()] = static_cast<std::uint8_t>(random());
            useAll(changed);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(DemuxWrongIndex, IsToldAndTheElementsAreWalked) {
    for (const std::int64_t error : {-1, 1, 17, 100000}) {
        FileRecipe recipe;
        recipe.indexError = error;
        DemuxRig rig(recipe.build());
        ASSERT_EQ(rig.open(), StatusOK);
        EXPECT_EQ(rig.samplesOf(data).size(), 6u) << error;
        EXPECT_EQ(rig.samplesOf(picture).back(), recipe.picture(5)) << error;
        EXPECT_FALSE(rig.report().index.isUsed) << error;
    }
    FileRecipe recipe;
    recipe.indexError = 17;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_THAT(rig.report().faults,
                Contains(HasSubstr("The index says that edit unit 0 begins at byte 17")));
}

TEST(DemuxWrongIndex, IsNotGivenUpForOneDamagedElement) {
    FileRecipe recipe;
    recipe.units = recipe.unitsPerPartition = 40;
    DemuxRig rig(recipe.build());
    const Bytes wanted = recipe.picture(20);
    auto at = std::search(rig.bytes.begin(), rig.bytes.end(), wanted.begin(), wanted.end());
    ASSERT_NE(at, rig.bytes.end());
    at[-4] = 0x85;  // the length's first byte
    ASSERT_EQ(rig.open(), StatusOK);
    const auto samples = rig.samplesOf(data);
    ASSERT_EQ(samples.size(), 40u);
    EXPECT_EQ(samples[20], recipe.dataOf(20));
    EXPECT_EQ(samples[21], recipe.dataOf(21));
    EXPECT_TRUE(rig.report().index.isUsed);
    EXPECT_THAT(rig.report().faults, Contains(HasSubstr("claims")));  // found while reading
}

TEST(DemuxBrokenPartitions, AreFoundByTheirKeys) {
    FileRecipe recipe;
    recipe.hasRandomIndex = false;
    const Bytes whole = recipe.build();
    struct Row {
        const char* key;
        int field;  // byte of the pack's value
    };
    const Row rows[] = {{"060e2b34 02050101 0d010201 01040400", 16},   // the footer's place of the one before
                        {"060e2b34 02050101 0d010201 01030400", 16},   // a body's
                        {"060e2b34 02050101 0d010201 01020400", 24}};  // the header's place of the footer
    for (const Row& row : rows) {
        DemuxRig rig(whole);
        const Bytes key = bytesOf(row.key);
        const auto at = std::search(rig.bytes.begin(), rig.bytes.end(), key.begin(), key.end());
        ASSERT_NE(at, rig.bytes.end());
        at[20 + row.field + 2] = 0x12;
        ASSERT_EQ(rig.open(), StatusOK);
        EXPECT_EQ(rig.samplesOf(data).size(), 6u) << row.key;
        EXPECT_EQ(rig.report().partitions.size(), 4u) << row.key;
    }
    recipe.forgetsBodySID = true;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.samplesOf(data).size(), 6u);
    EXPECT_THAT(rig.report().faults, Contains(HasSubstr("its pack says that it has none")));
}

TEST(DemuxGrowing, ShowsEveryWholeUnitAsSoonAsItIsThere) {
    for (const Index index : {Index::None, Index::Apart, Index::InNextBody, Index::InFooter}) {
        FileRecipe recipe;
        recipe.isOpen = true;
        recipe.index = index;
        recipe.units = 9;
        const Bytes whole = recipe.build();
        const std::size_t step = 37;

        DemuxRig rig({});
        std::size_t size = 0;
        while (rig.open() != StatusOK || rig.info().streamCount != 3) {
            mxfDemuxClose(rig.demuxer);
            ASSERT_LT(size, whole.size());
            rig.bytes.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(++size));
        }
        EXPECT_TRUE(rig.info().isGrowing);
        std::int32_t parser = -1;
        SampleCollector sink;
        ASSERT_EQ(mxfDemuxCreateParser(rig.demuxer, data, parser), StatusOK);
        ASSERT_EQ(mxfDemuxAddStream(rig.demuxer, parser, data, &sink), StatusOK);
        while (size < whole.size()) {
            size = std::min(size + step, whole.size());
            rig.bytes.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            ASSERT_EQ(mxfDemuxRefresh(rig.demuxer), StatusOK);
            while (mxfDemuxPush(rig.demuxer, parser) == StatusOK) {
            }
            ASSERT_EQ(static_cast<std::int64_t>(sink.samples.size()), rig.info().duration);
        }
        ASSERT_EQ(sink.samples.size(), 9u) << static_cast<int>(index);
        for (int unit = 0; unit < 9; ++unit)
            EXPECT_EQ(sink.samples[static_cast<std::size_t>(unit)], recipe.dataOf(unit));
        EXPECT_FALSE(rig.info().isGrowing);
        EXPECT_EQ(rig.report().index.isUsed, index != Index::None) << static_cast<int>(index);
        EXPECT_TRUE(rig.report().faults.empty()) << rig.report().faults.front();
    }
}

TEST(DemuxGrowing, AHeaderInPiecesLeavesWhatWasKnown) {
    FileRecipe recipe;
    recipe.isOpen = true;
    recipe.hasFooter = false;
    DemuxRig rig(recipe.build());
    const Bytes whole = rig.bytes;
    ASSERT_EQ(rig.open(), StatusOK);
    SampleCollector sink;
    std::int32_t parser = -1;
    ASSERT_EQ(mxfDemuxCreateParser(rig.demuxer, data, parser), StatusOK);
    ASSERT_EQ(mxfDemuxAddStream(rig.demuxer, parser, data, &sink), StatusOK);
    ASSERT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusOK);
    std::fill(rig.bytes.begin() + 500, rig.bytes.begin() + 900, std::uint8_t{0});  // somebody writes it anew
    ASSERT_EQ(mxfDemuxRefresh(rig.demuxer), StatusOK);
    EXPECT_EQ(rig.info().editRate, 25.0);
    EXPECT_EQ(rig.report().streams.at(data).format.codec, codec::ancillary436M);
    ASSERT_EQ(mxfDemuxPush(rig.demuxer, parser), StatusOK);
    EXPECT_EQ(sink.samples.back(), recipe.dataOf(1));
    rig.bytes = whole;
    ASSERT_EQ(mxfDemuxRefresh(rig.demuxer), StatusOK);
    EXPECT_THAT(rig.report().faults, testing::IsEmpty());
}

TEST(DemuxGrowing, AFileThatWasReplacedIsReadAsItIs) {
    FileRecipe recipe;
    recipe.isSecondBody = true;
    DemuxRig rig(recipe.build());
    ASSERT_EQ(rig.open(), StatusOK);
    recipe.isSecondBody = false;
    recipe.hasHeaderMetadata = false;
    rig.bytes = recipe.build();
    ASSERT_EQ(mxfDemuxRefresh(rig.demuxer), StatusOK);
    EXPECT_EQ(rig.info().streamCount, 3) << "none of the essence stream that is gone";
    EXPECT_EQ(rig.samplesOf(picture).size(), 6u);
}

TEST(DemuxGrowing, FramesThatBecomeClipsAreNotReadByAnIndexThatIsGone) {
    DemuxRig rig(FileRecipe{}.build());
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_EQ(rig.samplesOf(picture).size(), 6u);
    const Bytes frames = bytesOf("0d010301 02060100"), clips = bytesOf("0d010301 02060200");
    const auto at = std::search(rig.bytes.begin(), rig.bytes.end(), frames.begin(), frames.end());
    ASSERT_NE(at, rig.bytes.end());
    std::copy(clips.begin(), clips.end(), at);
    ASSERT_EQ(mxfDemuxRefresh(rig.demuxer), StatusOK);
    EXPECT_TRUE(rig.samplesOf(picture).empty());
}

TEST(DemuxGrowing, AClosedFileThatWasCutSaysSo) {
    const FileRecipe recipe;
    Bytes bytes = recipe.build();
    bytes.resize(bytes.size() / 2);
    DemuxRig rig(bytes);
    ASSERT_EQ(rig.open(), StatusOK);
    EXPECT_FALSE(rig.info().isGrowing);
    EXPECT_THAT(rig.report().faults, Contains(HasSubstr("The end of the file is missing")));
}

}  // namespace
}  // namespace zenquor::mxf::test
