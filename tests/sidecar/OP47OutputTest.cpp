// Subtitles as OP-47 teletext: what is sent on which frame, on which rows, in which codes.

#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

#include "STLFile.h"
#include "Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The row numbers, 0 for a header and 31 for a filler, and the texts of one frame's packet on line 12.
struct Sent {
    std::vector<std::uint32_t> rows;
    std::vector<std::string> texts;  // without the spaces at the end
};

const ZQRVANCOP47Packet& op47(const ZQRVANCPacketPtr& packet) {
    return dynamic_cast<const ZQRVANCOP47Packet&>(*packet);
}

Sent sentIn(const ZQRVANCPacketPtr& packet) {
    Sent sent;
    for (const auto& teletext : op47(packet).packets()) {
        sent.rows.push_back(teletext.packetNumber());
        if (!teletext.isDisplayable()) continue;
        const auto payload = teletext.payload();
        std::string text(payload.begin(), payload.end());
        sent.texts.push_back(text.erase(text.find_last_not_of(' ') + 1));
    }
    return sent;
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
    Sent show(const ZQRSubtitleBlockPtr& block) {
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
    const auto first = step(0);
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0]->lineNumber(), 12);
    EXPECT_EQ(first[1]->lineNumber(), 575);
    EXPECT_THAT(sentIn(first[0]).rows, ElementsAre(0, 31, 31));
    EXPECT_THAT(sentIn(first[1]).rows, ElementsAre(31, 31, 31));
    EXPECT_THAT(sentIn(step(9)[0]).rows, ElementsAre(31, 31, 31));
    const auto shown = step(10);
    EXPECT_THAT(sentIn(shown[0]).rows, ElementsAre(0, 20, 21));
    EXPECT_THAT(sentIn(shown[0]).texts, ElementsAre("\x0B\x0BOne\x0A\x0A", "\x0B\x0BTwo\x0A\x0A"));
    EXPECT_THAT(sentIn(shown[1]).rows, ElementsAre(31, 31, 31));
    EXPECT_THAT(sentIn(step(11)[0]).rows, ElementsAre(31, 31, 31));
    EXPECT_THAT(sentIn(step(20)[0]).rows, ElementsAre(31, 31, 31));
    EXPECT_THAT(sentIn(step(21)[0]).rows, ElementsAre(0, 31, 31));
    EXPECT_THAT(sentIn(step(22)[0]).rows, ElementsAre(31, 31, 31));
    EXPECT_EQ(dropped(), 0U);
}

TEST_F(OP47Output, putsOnTheWireWhatTheTeletextStandardSays) {
    auto block = makeBlock(1, 0, 9, {u"Hi"});
    block->setVerticalPosition(22);
    play({block});
    const ZQData bytes = step(0)[0]->sdiData();
    ASSERT_EQ(bytes.size(), 13 + 3 * 45U);
    // Header of page 888, magazine 8 sent as 0: Hamming 8/4 bytes of 0, 0, 8, 8, subcode 8 with C4, C6, C7, C9; then
    // white.
    const std::vector<std::uint8_t> header = {0x55, 0x55, 0x27, 0x15, 0x15, 0xD0, 0xD0,
                                              0xD0, 0xD0, 0x15, 0xD0, 0x73, 0x15, 0x07};
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.data() + 9, bytes.data() + 23), header);
    const std::vector<std::uint8_t> row = {0x55, 0x55, 0x27, 0x15, 0x9B, 0x0B, 0x0B,
                                           0xC8, 0xE9, 0x8A, 0x8A, 0x20, 0x20};
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.data() + 54, bytes.data() + 67), row);
}

TEST_F(OP47Output, placesRowsAsHeightAndValidationDemand) {
    const struct {
        int position, lines;
        bool doubleText, rendersDouble, validates;
        std::vector<std::uint32_t> rows;
    } cases[] = {
        {22, 2, false, false, false, {0, 22, 23}}, {22, 2, false, false, true, {0, 22, 23}},
        {22, 2, false, true, false, {0, 20, 22}},  {22, 2, false, true, true, {0, 20, 22}},
        {23, 2, true, false, true, {0, 20, 22}},   {18, 2, true, false, false, {0, 18, 20}},
        {24, 1, false, false, false, {0, 24, 31}}, {254, 1, false, false, true, {0, 23, 31}},
        {0, 1, false, false, true, {0, 1, 31}},    {1, 2, false, true, true, {0, 1, 3}},
        {1, 25, false, false, true, {0, 1, 2, 3}},
    };
    for (const auto& c : cases) {
        auto block = makeBlock(1, 1, 9, std::vector<std::u16string>(c.lines, c.doubleText ? u"\x0Dx" : u"x"));
        block->setVerticalPosition(c.position);
        properties = {{ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, c.rendersDouble}};
        validates = c.validates;
        const Sent sent = show(block);
        EXPECT_EQ(sent.rows, c.rows) << c.position << ", " << c.lines << " lines";
        const char* const text = c.doubleText      ? "\x0B\x0B\x0Dx\x0A\x0A"
                                 : c.rendersDouble ? "\x0D\x0B\x0Bx\x0A\x0A"
                                                   : "\x0B\x0Bx\x0A\x0A";
        EXPECT_EQ(sent.texts.at(0), text) << c.position;
    }
}

TEST_F(OP47Output, countsAndNamesTheRowsThatAreLost) {
    const LogCapture log;
    auto block = makeBlock(1, 1, 9, {u"1", u"2", u"3", u"4", u"5"});
    block->setVerticalPosition(18);
    EXPECT_THAT(show(block).rows, ElementsAre(0, 18, 19, 20));
    EXPECT_EQ(dropped(), 2U);
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_THAT(log.lines[0], testing::StartsWith("ZQRSubtitleOutputOP47 <"));
    EXPECT_THAT(log.lines[0], HasSubstr("2 of 5 rows of Subtitle block: 1 "));
    for (const std::int32_t row : {0, -1, 25, 254, INT32_MAX, INT32_MIN}) {
        block = makeBlock(1, 1, 9, {u"x"});
        block->setVerticalPosition(row);
        EXPECT_THAT(show(block).rows, ElementsAre(0, 31, 31)) << row;
        EXPECT_EQ(dropped(), 1U) << row;
    }
}

TEST_F(OP47Output, indentsCentredAndRightLines) {
    const struct {
        int length, justification;
        bool roundUp;
        std::size_t indent;
    } cases[] = {{10, 2, false, 11}, {11, 2, false, 10}, {11, 2, true, 11},  {10, 2, true, 11},
                 {32, 2, false, 0},  {40, 2, false, 0},  {10, 3, false, 22}, {0, 3, false, 31},
                 {33, 3, false, 0},  {10, 1, false, 0},  {10, 0, false, 0}};
    for (const auto& c : cases) {
        auto block = makeBlock(1, 1, 9, {std::u16string(static_cast<std::size_t>(c.length), u'x')});
        block->setVerticalPosition(20);
        block->setJustification(c.justification);
        properties = {{ZHLSubtitleSidecar_Property_CenteredRoundUp, c.roundUp}};
        EXPECT_EQ(show(block).texts.at(0).find('\x0B'), c.indent) << c.length << " by " << c.justification;
    }
}

TEST_F(OP47Output, boxesOnlyWhatIsNotBoxed) {
    auto block = makeBlock(1, 1, 9,
                           {u"a",
                            u"\x0B"
                            u"b",
                            u"\x0B\x0B"
                            u"c\x0A\x0A"});
    play({block});
    EXPECT_THAT(test::textsOf(*block), ElementsAre(u"\x0B\x0B"
                                                   u"a\x0A\x0A",
                                                   u"\x0B"
                                                   u"b\x0A\x0A",
                                                   u"\x0B\x0B"
                                                   u"c\x0A\x0A"));
}

TEST_F(OP47Output, choosesTheCharacterSetByLanguage) {
    const std::pair<int, int> sets[] = {{0, 0},  {9, 0}, {2, 1}, {15, 1}, {27, 2}, {39, 2}, {40, 2}, {6, 3},
                                        {37, 3}, {8, 4}, {3, 5}, {10, 5}, {13, 5}, {33, 5}, {21, 6}, {1, 0}};
    const LogCapture log;
    for (const auto& [language, set] : sets) {
        play({}, {{ZHLSubtitleSidecar_Property_OverrideLanguage, language}});
        EXPECT_EQ(std::static_pointer_cast<ZQRSubtitleOutputOP47>(sidecar->output())->teletextCharacterSet(),
                  set);
        const auto header = (sidecar->prepareToReadFromFrame(0), step(0));
        EXPECT_EQ(op47(header[0]).packets()[0].characterSet(), static_cast<std::uint32_t>(set));
    }
    EXPECT_THAT(log.lines, ElementsAre("ZQREBUSTLSidecar defines unsupported language code 1, defaulting to "
                                       "primary/English"));
}

TEST_F(OP47Output, putsColourCodesWhereRunsStart) {
    const test::TempDirectory folder;
    const auto textOf = [&](const std::string& line) {
        const auto file = folder.write("a.srt", "1\n00:00:01,000 --> 00:00:02,000\n" + line + "\n\n");
        sidecar = ZQRSRTSidecar::initForReadingWithURL(
            file, {{ZHLSRTSidecar_Property_Output, 0}, {ZHLSRTSidecar_Property_Timebase, 2}});
        const Sent sent = sentIn(step(25)[0]);
        EXPECT_THAT(sent.rows, ElementsAre(0, 23, 31));
        return sent.texts.at(0);
    };
    const auto font = [](const std::string& colour, const std::string& text) {
        return std::string("<font color=\"").append(colour).append("\">").append(text).append("</font>");
    };
    EXPECT_EQ(textOf(std::string("a").append(font("ff0000", "bc")).append("d")),
              "\x0B\x0B"
              "a\x01"
              "bcd\x0A\x0A");
    // A later code stands one character left of its run for each code before it.
    EXPECT_EQ(textOf(font("00FF00", "abc") + font("ffff00", "def")),
              "\x0B\x0B\x02"
              "ab\x03"
              "cdef\x0A\x0A");
    // A run inside another: one code each, also where both start together; the inner one is seen.
    EXPECT_EQ(textOf(font("0000FF", std::string("ab").append(font("FF00FF", "cd")).append("e"))),
              "\x0B\x0B\x04"
              "a\x05"
              "bcde\x0A\x0A");
    EXPECT_EQ(textOf(font("00FFFF", font("000000", "ab"))), std::string("\x0B\x0B\x06\x00"
                                                                        "ab\x0A\x0A",
                                                                        8));
    // On the next line the run goes on from the first character, which is the box.
    const auto file =
        folder.write("b.srt", "1\n00:00:01,000 --> 00:00:02,000\n<font color=\"FF0000\">a\nb\n\n");
    sidecar = ZQRSRTSidecar::initForReadingWithURL(file, {{ZHLSRTSidecar_Property_Timebase, 2}});
    EXPECT_THAT(sentIn(step(25)[0]).texts, ElementsAre("\x0B\x0B\x01"
                                                       "a\x0A\x0A",
                                                       "\x01\x0B\x0B"
                                                       "b\x0A\x0A"));
    const LogCapture log;
    EXPECT_EQ(textOf(std::string("a").append(font("#FF0000", "b"))),
              "\x0B\x0B"
              "ab\x0A\x0A");
    EXPECT_THAT(log.lines,
                testing::Contains("ZQRSubtitleOutputOP47 received unknown formatting colour #FF0000 "
                                  "at position 3"));
}

TEST_F(OP47Output, namesARowThatDoesNotFit) {
    const LogCapture log;
    auto block = makeBlock(1, 1, 9, {std::u16string(36, u'x')});
    block->setVerticalPosition(20);
    EXPECT_EQ(show(block).texts.at(0).size(), 40U);
    EXPECT_THAT(log.lines, IsEmpty());  // only the end of the box is missing
    block = makeBlock(1, 1, 9, {std::u16string(39, u'x')});
    block->setVerticalPosition(20);
    EXPECT_EQ(show(block).texts.at(0), std::string("\x0B\x0B").append(38, 'x'));
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_THAT(log.lines[0], HasSubstr("row 20 is cut to 40 characters"));
}

TEST_F(OP47Output, keepsNoSidecarAlive) {
    auto block = makeBlock(1, 1, 9, {u"x"});
    block->setVerticalPosition(20);
    const auto output = play({block})->output();
    const std::weak_ptr<ZQRSubtitleSidecar> weak = sidecar;
    sidecar.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(output->finishFrame(true), IsEmpty());  // not begun
    output->beginFrameAtTimecode({});
    output->showBlock(*block);
    EXPECT_THAT(sentIn(output->finishFrame(false)[0]).rows, ElementsAre(0, 20, 31));
}

TEST_F(OP47Output, playsAnEBUSTLFileInItsLanguage) {
    const test::TempDirectory folder;
    const auto file = folder.write("a.stl", test::withField(test::stlFile({{.text = "\x0D\x0B\x0B\xC8U"
                                                                                    "ber\x0A\x0A\x8A\x8A\x0D"
                                                                                    "Gr\xC8u\xFB"
                                                                                    "e",
                                                                            .in = 1,
                                                                            .out = 2,
                                                                            .row = 20,
                                                                            .justification = 2}}),
                                                            14, "08"));
    sidecar =
        ZQREBUSTLSidecar::initForReadingWithURL(file, {{ZHLEBUSTLSidecar_Property_RemoveEmptyLines, true}});
    const Sent sent = sentIn(step(25)[0]);
    EXPECT_THAT(sent.rows, ElementsAre(0, 20, 22));
    // The German set has Ü at 5/13, ü at 7/13 and ß at 7/14.
    EXPECT_THAT(sent.texts, ElementsAre(std::string(14, ' ') + "\x0D\x0B\x0B]ber\x0A\x0A",
                                        std::string(13, ' ') + "\x0B\x0B\x0DGr}~e\x0A\x0A"));
}

TEST_F(OP47Output, takesFillerAndValidationFromThePropertiesOfAnEBUSTLFile) {
    const test::TempDirectory folder;
    const auto file = folder.write("a.stl", test::stlFile({{.text = "a\xC2"
                                                                    "Bc",
                                                            .row = 254}}));
    sidecar = ZQREBUSTLSidecar::initForReadingWithURL(
        file, {{ZHLSubtitleSidecar_Property_FillerCharacter, '*'},
               {ZHLEBUSTLSidecar_Property_ValidateVerticalPosition, true}});
    const Sent sent = sentIn(step(25)[0]);
    EXPECT_THAT(sent.rows, ElementsAre(0, 23, 31));
    EXPECT_THAT(sent.texts, ElementsAre("\x0B\x0B"
                                        "a*c\x0A\x0A"));
}

}  // namespace
}  // namespace zenquor
