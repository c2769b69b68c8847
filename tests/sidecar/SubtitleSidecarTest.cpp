// Overlaps, and which block is on screen at which frame.
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

#include "sidecar/Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using test::pal;
using test::textsOf;
using testing::ElementsAre;

/// Writes down what the sidecar asks of an output.
class RecordingOutput final : public ZQRSubtitleOutput {
public:
    std::int32_t maximumVerticalPosition() const override { return 15; }
    void beginFrameAtTimecode(const ZQCKTimecode& timecode) override {
        frame_ = timecode.framesSinceMidnight();
    }
    void prepareBlock(const ZQRSubtitleBlock& block) override { note("prepare", block); }
    void showBlock(const ZQRSubtitleBlock& block) override { note("show", block); }
    void hideBlock(const ZQRSubtitleBlock& block) override { note("hide", block); }
    ZQRVANCPacketList finishFrame(bool firstFrame) override {
        if (firstFrame) events.push_back(fmt::format("{} first", frame_));
        return {};
    }

    std::vector<std::string> events;

private:
    void note(const char* what, const ZQRSubtitleBlock& block) {
        events.push_back(fmt::format("{} {} {}", frame_, what, block.subtitleNumber()));
    }
    std::uint32_t frame_ = 0;
};

std::vector<std::string> eventsOf(const ZQRSubtitleBlockList& blocks,
                                  const std::vector<std::int64_t>& frames) {
    auto sidecar = ZQRSubtitleSidecar::initWithProperties({});
    auto output = std::make_shared<RecordingOutput>();
    sidecar->setOutput(output);
    sidecar->setSubtitleBlocks(blocks);
    for (const std::int64_t frame : frames)
        sidecar->vancPacketsAtTimecode(ZQCKTimecode::timecodeWithFrames(frame, pal));
    return output->events;
}

std::vector<std::int64_t> framesFrom(std::int64_t first, std::int64_t last) {
    std::vector<std::int64_t> frames;
    for (; first <= last; ++first) frames.push_back(first);
    return frames;
}

class HiddenBlock final : public ZQRSubtitleBlock {
public:
    bool displayable() const override { return false; }
};

TEST(SubtitleSidecar, BlocksAreLoadedAheadShownReplacedAndHidden) {
    const ZQRSubtitleBlockList touching = {makeBlock(1, 10, 20, {u"a"}), makeBlock(2, 20, 30, {u"b"})};
    EXPECT_THAT(eventsOf(touching, framesFrom(0, 40)),
                ElementsAre("0 prepare 1", "10 show 1", "11 prepare 2", "20 show 2", "31 hide 2"));
    const ZQRSubtitleBlockList apart = {makeBlock(1, 10, 20, {u"a"}), makeBlock(2, 30, 40, {u"b"})};
    EXPECT_THAT(eventsOf(apart, framesFrom(8, 41)), ElementsAre("8 prepare 1", "10 show 1", "11 prepare 2",
                                                                "21 hide 1", "30 show 2", "41 hide 2"));
    // One frame apart there is no frame for hiding.
    const ZQRSubtitleBlockList next = {makeBlock(1, 10, 20, {u"a"}), makeBlock(2, 21, 22, {u"b"})};
    EXPECT_THAT(eventsOf(next, framesFrom(19, 24)),
                ElementsAre("19 prepare 1", "19 show 1", "20 prepare 2", "21 show 2", "23 hide 2"));
}

TEST(SubtitleSidecar, BlocksThatEndedEmptyOrHiddenAreSteppedOver) {
    auto hidden = std::make_shared<HiddenBlock>();
    hidden->setTimecodeIn(ZQCKTimecode::timecodeWithFrames(5, pal));
    hidden->setTimecodeOut(ZQCKTimecode::timecodeWithFrames(500, pal));
    const ZQRSubtitleBlockList blocks = {makeBlock(1, 1, 4, {u"a"}),     hidden,
                                         makeBlock(2, 7, 7, {u"empty"}), makeBlock(3, 9, 8, {u"back"}),
                                         makeBlock(4, 10, 12, {u"b"}),   hidden};
    EXPECT_THAT(eventsOf(blocks, framesFrom(5, 20)),
                ElementsAre("5 prepare 2", "7 prepare 3", "8 prepare 4", "10 show 4", "13 hide 4"));
}

TEST(SubtitleSidecar, TheFirstFrameFlagReachesOneFrame) {
    auto sidecar = ZQRSubtitleSidecar::initWithProperties({});
    const auto step = [&](std::int64_t frame) {
        return sidecar->vancPacketsAtTimecode(ZQCKTimecode::timecodeWithFrames(frame, pal));
    };
    sidecar->prepareToReadFromFrame(7);
    EXPECT_TRUE(step(0).empty());  // no output, no packets
    auto output = std::make_shared<RecordingOutput>();
    sidecar->setOutput(output);
    step(1);
    sidecar->prepareToReadFromFrame(7);
    step(2);
    step(3);
    EXPECT_THAT(output->events, ElementsAre("2 first"));
}

struct Overlap {
    std::int32_t action;
    std::vector<std::pair<std::int32_t, std::uint32_t>> numbersAndOuts;
    std::vector<std::string> log;
};

TEST(SubtitleSidecar, OverlapsAreIgnoredMergedOrRemovedAgainstTheBlockThatStays) {
    const std::string one = "Subtitle block: 1 position: 0 in: 00:00:00:10 out: 00:00:00:20";
    const std::string merged = "Subtitle block: 1 position: -1 in: 00:00:00:10 out: 00:00:01:00";
    const std::string two = "Subtitle block: 2 position: 0 in: 00:00:00:15 out: 00:00:01:00";
    const std::string three = "Subtitle block: 3 position: 0 in: 00:00:00:18 out: 00:00:01:05";
    const std::string prefix = "ZQRSubtitleSidecar ";
    const std::string join =
        "\xC2\xA0"
        "and ";
    const Overlap cases[] = {
        {0,
         {{1, 20}, {2, 25}, {3, 30}, {4, 40}},
         {prefix + "ignoring overlapping blocks " + one + join + two,
          prefix + "ignoring overlapping blocks " + two + join + three}},
        {1,
         {{1, 30}, {2, 40}},
         {prefix + "merging overlapping blocks " + one + join + two,
          prefix + "merging overlapping blocks " + merged + join + three}},
        {2,
         {{1, 20}, {2, 40}},
         {prefix + "removing overlapping blocks " + one + join + two,
          prefix + "removing overlapping blocks " + one + join + three}},
        {7, {{1, 20}, {2, 25}, {3, 30}, {4, 40}}, {}},
    };
    for (const Overlap& c : cases) {
        const ZQDictionary properties = {{ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, c.action}};
        auto sidecar = ZQRSubtitleSidecar::initWithProperties(properties);
        ZQRSubtitleBlockList blocks = {makeBlock(1, 10, 20, {u"a"}), makeBlock(2, 15, 25, {u"b"}),
                                       makeBlock(3, 18, 30, {u"c"}), makeBlock(4, 40, 40, {u"d"})};
        LogCapture log;
        sidecar->validateBlocks(blocks, properties);
        std::vector<std::pair<std::int32_t, std::uint32_t>> left;
        for (const auto& block : blocks) {
            left.emplace_back(block->subtitleNumber(), block->timecodeOut().framesSinceMidnight());
        }
        EXPECT_EQ(left, c.numbersAndOuts) << c.action;
        EXPECT_EQ(log.lines, c.log) << c.action;
    }
}

TEST(SubtitleSidecar, ASharedFrameIsNoOverlapAndHiddenBlocksTakeNoPart) {
    const ZQDictionary properties = {{ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, 2},
                                     {ZHLSubtitleSidecar_Property_RenderingWidth, 5},
                                     {ZHLSubtitleSidecar_Property_RenderingHeight, 2}};
    auto hidden = std::make_shared<HiddenBlock>();
    hidden->setTimecodeOut(ZQCKTimecode::timecodeWithFrames(500, pal));
    hidden->setSubtitleNumber(9);
    ZQRSubtitleBlockList blocks = {makeBlock(3, 10, 20, {u"one two"}), hidden, makeBlock(5, 20, 30, {u"b"})};
    auto sidecar = ZQRSubtitleSidecar::initWithProperties(properties);
    LogCapture log;
    sidecar->validateBlocks(blocks, properties);
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[0]->subtitleNumber(), 3);
    EXPECT_THAT(textsOf(*blocks[0]), ElementsAre(u"one", u"two"));
    EXPECT_THAT(log.lines, ElementsAre("ZQRSubtitleSidecar warning: blocks 3\xC2\xA0"
                                       "and 5 overlap the final frame"));
}

TEST(SubtitleSidecar, PropertiesThatAreAbsentReadAsNothing) {
    auto plain = ZQRSubtitleSidecar::initWithProperties({});
    EXPECT_EQ(plain->fillerCharacter(), 0);
    EXPECT_EQ(plain->languageCode(), 0);
    EXPECT_FALSE(plain->valid() || plain->doubleHeightSubtitles() || plain->centeredRoundUp());
    auto full =
        ZQRSubtitleSidecar::initWithProperties({{ZHLSubtitleSidecar_Property_FillerCharacter, 0x12345},
                                                {ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, true},
                                                {ZHLSubtitleSidecar_Property_CenteredRoundUp, 1},
                                                {ZHLSubtitleSidecar_Property_OverrideLanguage, 9},
                                                {ZHLSubtitleSidecar_Property_TimecodeType, 1}});
    EXPECT_EQ(full->fillerCharacter(), 0x2345);
    EXPECT_TRUE(full->doubleHeightSubtitles() && full->centeredRoundUp());
    EXPECT_EQ(full->languageCode(), 9);
    EXPECT_EQ(full->timecodeType(), 1);
}

}  // namespace
}  // namespace zenquor
