// Subtitles as OP-47 teletext: what is sent on which frame, on which rows, in which codes.

#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

#include <fmt/format.h>

#include "STLFile.h"
#include "Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The row numbers, 0 for a header and 31 for a filler, and the texts of one frame's packet on line 12.
struct Sent {
    std::string rows;
    std::vector<std::string> texts;  // without the spaces at the end
};

const ZQRVANCOP47Packet& op47(const ZQRVANCPacketPtr& packet) {
    return dynamic_cast<const ZQRVANCOP47Packet&>(*packet);
}

Sent sentIn(const ZQRVANCPacketPtr& packet) {
    Sent sent;
    for (const auto& teletext : op47(packet).packets()) {
        sent.rows += fmt::format("{}{}", sent.rows.empty() ? "" : " ", teletext.packetNumber());
        if (!teletext.isDisplayable()) continue;
        const auto payload = teletext.payload();
        std::string text(payload.begin(), payload.end());
        sent.texts.push_back(text.erase(text.find_last_not_of(' ') + 1));
    }
    return sent;
}

/// The row as it is sent: a box is switched on and off by two codes each.
std::string boxed(const std::string& text) {
    return fmt::format("\013\013{}\012\012", text);
}

class OP47Output : public testing::Test {
protected:
    std::shared_ptr<ZQRSubtitleSidecar> play(ZQRSubtitleBlockList blocks, const ZQDictionary& options = {}) {
        sidecar = ZQRSubtitleSidecar::initWithProperties(options);
        sidecar->setSubtitleBlocks(std::move(blocks));
        sidecar->setupOutput(ZQRSubtitleSidecar::OutputOP47);
        return sidecar;
    }
    ZQRVANCPacketList step(std::int64_t frame) {
        return sidecar->vancPacketsAtTimecode(ZQCKTimecode::timecodeWithFrames(frame, test::pal));
    }
    Sent show(const ZQRSubtitleBlockPtr& block, std::int32_t row = 20) {
        block->setVerticalPosition(row);
        play({block}, properties);
        sidecar->setValidateVerticalPosition(validates);
        return sentIn(step(block->timecodeIn().framesSinceMidnight())[0]);
    }
    std::uint64_t dropped() const {
        return std::static_pointer_cast<ZQRSubtitleOutputOP47>(sidecar->output())->droppedRows();
    }

    ZQDictionary properties;
    bool validates = false;
    std::shared_ptr<ZQRSubtitleSidecar> sidecar;
};

TEST_F(OP47Output, sendsRowsOnceAndAHeaderWhenTheyGo) {
    auto block = makeBlock(1, 10, 20, {u"One", u"Two"});
    block->setVerticalPosition(20);
    play({block});
    sidecar->prepareToReadFromFrame(0);
    const char *const fillers = "31 31 31", *const header = "0 31 31", *const text = "0 20 21";
    std::vector<std::string> shown;
    for (std::int64_t frame = 0; frame < 25; ++frame) {
        const auto packets = step(frame);
        ASSERT_EQ(packets.size(), 2U);
        EXPECT_EQ(packets[0]->lineNumber(), 12);
        EXPECT_EQ(packets[1]->lineNumber(), 575);
        const Sent sent = sentIn(packets[0]);
        EXPECT_EQ(sent.rows, frame == 10 ? text : frame == 0 || frame == 21 ? header : fillers) << frame;
        if (frame == 10) shown = sent.texts;
        EXPECT_EQ(sentIn(packets[1]).rows, fillers) << frame;
    }
    EXPECT_THAT(shown, ElementsAre(boxed("One"), boxed("Two")));
    EXPECT_EQ(dropped(), 0U);
}

TEST_F(OP47Output, putsOnTheWireWhatTheTeletextStandardSays) {
    auto block = makeBlock(1, 0, 9, {u"Hi"});
    block->setVerticalPosition(22);
    play({block});
    const ZQData bytes = step(0)[0]->sdiData();
    ASSERT_EQ(bytes.size(), 13 + 3 * 45U);
    // Header of page 888, magazine 8 sent as 0: Hamming 8/4 bytes of 0, 0, 8, 8, subcode 8 with C4, C6, C7, C9;
    // then white.
    const std::vector<std::uint8_t> header = {0x55, 0x55, 0x27, 0x15, 0x15, 0xD0, 0xD0,
                                              0xD0, 0xD0, 0x15, 0xD0, 0x73, 0x15, 0x07};
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.data() + 9, bytes.data() + 23), header);
    const std::vector<std::uint8_t> row = {0x55, 0x55, 0x27, 0x15, 0x9B, 0x0B, 0x0B,
                                           0xC8, 0xE9, 0x8A, 0x8A, 0x20, 0x20};
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.data() + 54, bytes.data() + 67), row);
}

TEST_F(OP47Output, placesRowsAsHeightAndValidationDemandAndCountsThoseThatAreLost) {
    const struct {
        int position, lines;
        std::string_view how;  // double height in the text or forced, validated
        const char* rows;
        std::uint64_t dropped;
    } cases[] = {
        {22, 2, "", "0 22 23", 0},         {22, 2, "V", "0 22 23", 0},       {22, 2, "F", "0 20 22", 0},
        {22, 2, "FV", "0 20 22", 0},       {23, 2, "DV", "0 20 22", 0},      {18, 2, "D", "0 18 20", 0},
        {24, 1, "", "0 24 31", 0},         {254, 1, "V", "0 23 31", 0},      {0, 1, "V", "0 1 31", 0},
        {1, 2, "FV", "0 1 3", 0},          {1, 25, "V", "0 1 2 3", 22},      {18, 5, "", "0 18 19 20", 2},
        {0, 1, "", "0 31 31", 1},          {-1, 1, "", "0 31 31", 1},        {25, 1, "", "0 31 31", 1},
        {INT32_MAX, 2, "D", "0 31 31", 2}, {INT32_MIN, 1, "F", "0 31 31", 1}};
    for (const auto& c : cases) {
        LogCapture log;
        const bool isDouble = c.how.find('D') != c.how.npos, isForced = c.how.find('F') != c.how.npos;
        validates = c.how.find('V') != c.how.npos;
        properties = {{ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, isForced}};
        const std::u16string line = isDouble ? u"\015x" : u"x";
        const Sent sent = show(makeBlock(1, 1, 9, std::vector<std::u16string>(c.lines, line)), c.position);
        EXPECT_EQ(sent.rows, c.rows) << c.position << ", " << c.lines << " lines";
        const std::string text =
            isDouble ? boxed("\015x") : fmt::format("{}{}", isForced ? "\015" : "", boxed("x"));
        EXPECT_THAT(sent.texts, Each(text)) << c.position;
        EXPECT_EQ(dropped(), c.dropped) << c.position;
        ASSERT_EQ(log.lines.size(), c.dropped > 0 ? 1U : 0U);
        if (c.dropped == 0) continue;
        EXPECT_THAT(log.lines[0],
                    HasSubstr(fmt::format("{} of {} rows of Subtitle block: 1 ", c.dropped, c.lines)));
    }
}

TEST_F(OP47Output, indentsCentredAndRightLines) {
    const struct {
        std::size_t length;
        int justification;
        bool roundUp;
        std::size_t indent;
    } cases[] = {{10, 2, false, 11}, {11, 2, false, 10}, {11, 2, true, 11},  {10, 2, true, 11},
                 {32, 2, false, 0},  {40, 2, false, 0},  {10, 3, false, 22}, {0, 3, false, 31},
                 {33, 3, false, 0},  {10, 1, false, 0},  {10, 0, false, 0}};
    for (const auto& c : cases) {
        auto block = makeBlock(1, 1, 9, {std::u16string(c.length, u'x')});
        block->setJustification(c.justification);
        properties = {{ZHLSubtitleSidecar_Property_CenteredRoundUp, c.roundUp}};
        EXPECT_EQ(show(block).texts.at(0).find('\x0B'), c.indent) << c.length << " by " << c.justification;
    }
}

TEST_F(OP47Output, boxesOnlyWhatIsNotBoxedAndNamesARowThatDoesNotFit) {
    LogCapture log;
    EXPECT_THAT(show(makeBlock(1, 1, 9, {u"a", u"\013b", u"\013\013c\012\012"})).texts,
                ElementsAre(boxed("a"), "\013b\012\012", boxed("c")));
    // Here only the end of the box is missing.
    EXPECT_EQ(show(makeBlock(1, 1, 9, {std::u16string(36, u'x')})).texts.at(0).size(), 40U);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(show(makeBlock(1, 1, 9, {std::u16string(39, u'x')})).texts.at(0),
              "\013\013" + std::string(38, 'x'));
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_THAT(log.lines[0], HasSubstr("row 20 is cut to 40 characters"));
}

TEST_F(OP47Output, choosesTheCharacterSetByLanguage) {
    const std::pair<int, int> sets[] = {{0, 0},  {9, 0}, {2, 1}, {15, 1}, {27, 2}, {39, 2}, {40, 2}, {6, 3},
                                        {37, 3}, {8, 4}, {3, 5}, {10, 5}, {13, 5}, {33, 5}, {21, 6}, {1, 0}};
    const LogCapture log;
    for (const auto& [language, set] : sets) {
        properties = {{ZHLSubtitleSidecar_Property_OverrideLanguage, language}};
        play({}, properties);
        EXPECT_EQ(std::static_pointer_cast<ZQRSubtitleOutputOP47>(sidecar->output())->teletextCharacterSet(),
                  set);
        const auto header = (sidecar->prepareToReadFromFrame(0), step(0));
        EXPECT_EQ(op47(header[0]).packets()[0].characterSet(), static_cast<std::uint32_t>(set));
    }
    EXPECT_THAT(log.lines, ElementsAre("ZQREBUSTLSidecar defines unsupported language code 1, defaulting to "
                                       "primary/English"));
}

TEST_F(OP47Output, putsColourCodesWhereRunsStart) {
    const auto font = [](const std::string& colour, const std::string& text) {
        return fmt::format("<font color=\"{}\">{}</font>", colour, text);
    };
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {fmt::format("a{}d", font("ff0000", "bc")), {boxed("a\001bcd")}},
        // A later code stands one character left of its run for each code before it.
        {font("00FF00", "abc") + font("ffff00", "def"), {boxed("\002ab\003cdef")}},
        // A run inside another: one code each, also where both start together; the inner one is seen.
        {font("0000FF", fmt::format("ab{}e", font("FF00FF", "cd"))), {boxed("\004a\005bcde")}},
        {font("00FFFF", font("000000", "ab")), {boxed(std::string("\006\000ab", 4))}},
        {font("ffFFff", "a"), {boxed("\007a")}},
        // On the next line the run goes on from the first character, which is the box.
        {"<font color=\"FF0000\">a\nb", {boxed("\001a"), fmt::format("\001{}", boxed("b"))}},
        {fmt::format("a{}", font("#FF0000", "b")), {boxed("ab")}},
    };
    const test::TempDirectory folder;
    const LogCapture log;
    for (const auto& [text, rows] : cases) {
        const auto file =
            folder.write("a.srt", fmt::format("1\n00:00:01,000 --> 00:00:02,000\n{}\n\n", text));
        sidecar = ZQRSRTSidecar::initForReadingWithURL(file, {{ZHLSRTSidecar_Property_Timebase, 2}});
        EXPECT_EQ(sentIn(step(25)[0]).texts, rows) << text;
    }
    EXPECT_THAT(log.lines,
                testing::Contains("ZQRSubtitleOutputOP47 received unknown formatting colour #FF0000 "
                                  "at position 3"));
}

TEST_F(OP47Output, keepsNoSidecarAliveAndClearsOnDemand) {
    auto block = makeBlock(1, 1, 9, {u"x"});
    block->setVerticalPosition(20);
    const auto output = std::static_pointer_cast<ZQRSubtitleOutputOP47>(play({block})->output());
    const std::weak_ptr<ZQRSubtitleSidecar> weak = sidecar;
    sidecar.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(output->finishFrame(true), IsEmpty());  // not begun
    output->beginFrameAtTimecode({});
    output->showBlock(*block);
    EXPECT_EQ(sentIn(output->finishFrame(false)[0]).rows, "0 20 31");
    output->beginFrameAtTimecode({});
    output->clear();
    EXPECT_EQ(sentIn(output->finishFrame(true)[0]).rows, "0 31 31");
}

TEST_F(OP47Output, playsEBUSTLFilesInTheirLanguageAndWithTheirProperties) {
    const test::TempDirectory folder;
    const auto sent = [&](const test::TextBlock& block, const char* language, const ZQDictionary& options) {
        const auto file = folder.write("a.stl", test::withField(test::stlFile({block}), 14, language));
        sidecar = ZQREBUSTLSidecar::initForReadingWithURL(file, options);
        return sentIn(step(25)[0]);
    };
    const Sent german =
        sent({.text = "\015\013\013\310Uber\012\012\212\212\015Gr\310u\373e", .justification = 2}, "08",
             {{ZHLEBUSTLSidecar_Property_RemoveEmptyLines, true}});
    EXPECT_EQ(german.rows, "0 20 22");
    // The German set has Ü at 5/13, ü at 7/13 and ß at 7/14.
    EXPECT_THAT(german.texts, ElementsAre(std::string(14, ' ') + "\015\013\013]ber\012\012",
                                          std::string(13, ' ') + "\013\013\015Gr}~e\012\012"));
    const Sent english = sent({.text = "a\302Bc", .row = 254}, "09",
                              {{ZHLSubtitleSidecar_Property_FillerCharacter, '*'},
                               {ZHLEBUSTLSidecar_Property_ValidateVerticalPosition, true}});
    EXPECT_EQ(english.rows, "0 23 31");
    EXPECT_THAT(english.texts, ElementsAre(boxed("a*c")));
}

}  // namespace
}  // namespace zenquor
