// SubRip files: what is read, what is refused, what is written.
#include "zenquor/sidecar/ZQRSRTSidecar.h"

#include <set>

#include "sidecar/Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using test::TempDirectory;
using test::textsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Texts = std::vector<std::u16string>;

/// What every file ends with, because kept empty lines have no end.
constexpr const char* endOfFile = "ZQRSRTSidecar timecode line  index  does not contain a valid separator";

const ZQDictionary captions = {{ZHLSRTSidecar_Property_Output, 1}, {ZHLSRTSidecar_Property_Timebase, 2}};

class SRTSidecar : public testing::Test {
protected:
    std::shared_ptr<ZQRSRTSidecar> open(std::string_view content, const ZQDictionary& properties = captions) {
        log_.lines.clear();
        auto sidecar = ZQRSRTSidecar::initForReadingWithURL(folder_.write("in.srt", content), properties);
        EXPECT_TRUE(sidecar->valid());
        return sidecar;
    }
    /// The texts of the only block, whose lines are given.
    ZQRSubtitleBlockPtr openLines(const std::string& lines, const ZQDictionary& properties = captions) {
        auto sidecar = open("1\n00:00:01,000 --> 00:00:02,000\n" + lines + "\n", properties);
        return sidecar->subtitleBlocks().empty() ? nullptr : sidecar->subtitleBlocks()[0];
    }

    TempDirectory folder_;
    LogCapture log_;
};

TEST_F(SRTSidecar, ReadsBlocksWithEitherSeparatorAndEitherLineEnd) {
    const auto sidecar = open(
        "\xEF\xBB\xBF"
        "1\r\n00:00:01,000 --> 00:00:02,480\r\nGr\u00FC\u00DFe,\r\nWelt\r\n\r\n"
        "// a remark\n"
        "2\n01:02:03,999  -->  01:02:05,000\nlast");
    ASSERT_EQ(sidecar->subtitleBlocks().size(), 2U);
    const auto& first = *sidecar->subtitleBlocks()[0];
    EXPECT_EQ(textsOf(first), (Texts{u"Gr\u00FC\u00DFe,", u"Welt"}));
    EXPECT_EQ(first.timecodeIn().description(), "00:00:01:00");
    EXPECT_EQ(first.timecodeOut().description(), "00:00:02:12");
    EXPECT_EQ(first.verticalPosition(), 13);
    const auto& last = *sidecar->subtitleBlocks()[1];
    EXPECT_EQ(last.timecodeIn().description(), "01:02:04:00");
    EXPECT_EQ(textsOf(last), Texts{u"last"});
    EXPECT_THAT(log_.lines, ElementsAre(endOfFile));
}

TEST_F(SRTSidecar, ReadingEndsAtTheFirstMalformedBlock) {
    const std::string good = "1\n00:00:01,000 --> 00:00:02,000\ngood\n\n";
    const std::string after = "\n3\n00:00:05,000 --> 00:00:06,000\nlost\n";
    const auto inOf = [](const std::string& line, const char* which) {
        return "ZQRSRTSidecar timecode line " + line + " index 2 does not contain a valid timecode " + which;
    };
    const std::pair<std::string, std::string> cases[] = {
        {"2\n0:00:03,000 --> 00:00:04,000\nx\n", inOf("0:00:03,000 --> 00:00:04,000", "in")},
        {"2\n00:00:03,000 --> 00:00:04,00\nx\n", inOf("00:00:03,000 --> 00:00:04,00", "out")},
        {"2\n00:00:03,000 --> 00:00:04,000 X1:40\nx\n", inOf("00:00:03,000 --> 00:00:04,000 X1:40", "out")},
        {"2\n00:00:03.000 --> 00:00:04.000\nx\n", inOf("00:00:03.000 --> 00:00:04.000", "in")},
        {"2\n00:00:03:00 --> 00:00:04:00\nx\n", inOf("00:00:03:00 --> 00:00:04:00", "in")},
        {"2\n00:00:03,000-->00:00:04,000\nx\n",
         "ZQRSRTSidecar timecode line 00:00:03,000-->00:00:04,000 index 2 does not contain a valid "
         "separator"},
        {"00:00:03,000 --> 00:00:04,000\nno number\n",
         "ZQRSRTSidecar timecode line no number index 00:00:03,000 --> 00:00:04,000 does not contain a valid "
         "separator"},
        {"\n2\n00:00:03,000 --> 00:00:04,000\ntwo empty lines before\n",
         "ZQRSRTSidecar timecode line 2 index  does not contain a valid separator"},
        {"2\n00:00:03,000 --> 00:00:04,000\n\nx\n",
         "ZQRSRTSidecar 00:00:03,000 --> 00:00:04,000 index 2 does not contain any lines"},
    };
    for (const auto& [bad, message] : cases) {
        const auto sidecar = open(good + bad + after);
        EXPECT_EQ(sidecar->subtitleBlocks().size(), 1U) << bad;
        EXPECT_THAT(log_.lines, ElementsAre(message));
    }
}

TEST_F(SRTSidecar, NumbersAreReadAsTheyAreAndMismatchesLogged) {
    const std::pair<const char*, int> cases[] = {{"7", 7},
                                                 {" 12abc", 12},
                                                 {"one", 0},
                                                 {"-3", -3},
                                                 {"99999999999", INT32_MAX},
                                                 {"-99999999999", INT32_MIN},
                                                 {"", 0}};
    for (const auto& [line, number] : cases) {
        const auto sidecar = open(std::string(line) + "\n00:00:01,000 --> 00:00:02,000\nx\n");
        ASSERT_EQ(sidecar->subtitleBlocks().size(), 1U) << line;
        EXPECT_EQ(sidecar->subtitleBlocks()[0]->subtitleNumber(), number);
        EXPECT_EQ(log_.lines.front(), fmt::format("ZQRSRTSidecar got block {}, expected 1", number));
    }
}

TEST_F(SRTSidecar, TimesLandOnTheNearestFrameOfTheTimebase) {
    struct Case {
        int timebase;
        const char *time, *label, *written;
    };
    const Case cases[] = {
        {2, "00:00:00,019", "00:00:00:00", "00:00:00,000"},
        {2, "00:00:00,021", "00:00:00:01", "00:00:00,040"},
        {2, "00:00:59,990", "00:01:00:00", "00:01:00,000"},
        {3, "00:00:59,990", "00:01:00;02", "00:01:00,066"},
        {3, "00:10:00,000", "00:10:00;00", "00:10:00,000"},
        {0, "00:00:01,500", "00:00:01:12", "00:00:01,500"},
        {7, "23:59:59,999", "23:59:59:59", "23:59:59,983"},
        {2, "99:99:99,999", "23:59:59:24", "23:59:59,960"},
        {6, "00:00:00,017", "00:00:00;01", "00:00:00,016"},
    };
    for (const Case& c : cases) {
        const auto sidecar = open("", {{ZHLSRTSidecar_Property_Timebase, c.timebase}});
        const auto timecode = sidecar->timecodeFromString(c.time);
        ASSERT_TRUE(timecode) << c.time;
        EXPECT_EQ(timecode->description(), c.label);
        EXPECT_EQ(ZQRSRTSidecar::timecodeToString(*timecode), c.written);
        EXPECT_EQ(sidecar->timecodeFromString(c.written), timecode) << c.written;
    }
}

TEST_F(SRTSidecar, ColourTagsBecomeRunsAndLeaveTheText) {
    struct Run {
        const char* colour;
        std::uint32_t location, length;
    };
    struct Case {
        std::string lines;
        Texts texts;
        std::vector<Run> runs;
    };
    const Case cases[] = {
        {"Hello <font color=\"red\">big</font> world", {u"Hello big world"}, {{"red", 6, 3}}},
        {"<font color=\"#FF0000\">one\ntwo", {u"one", u"two"}, {{"#FF0000", 0, 6}}},
        {"ab\n<font face=\"x\" color=\"c\">cd</font>\n", {u"ab", u"cd"}, {{"c", 2, 2}}},
        {"<font bgcolor=\"no\" color=\"yes\">x</font>", {u"x"}, {{"yes", 0, 1}}},
        {"<font color=\"a\">1<font color=\"b\">2</font>3</font>", {u"123"}, {{"b", 1, 1}, {"a", 0, 3}}},
        {"a > b <font color=\"c\">d</font>", {u"a > b d"}, {{"c", 6, 1}}},
        {"1 < 2", {u"1 < 2"}, {}},
    };
    for (const Case& c : cases) {
        const auto block = openLines(c.lines);
        ASSERT_TRUE(block) << c.lines;
        EXPECT_EQ(textsOf(*block), c.texts) << c.lines;
        EXPECT_THAT(log_.lines, ElementsAre(endOfFile)) << c.lines;
        // Every character must report exactly the runs over it.
        std::set<std::string> expected;
        for (const Run& run : c.runs)
            expected.insert(fmt::format("{} {} {}", run.colour, run.location, run.length));
        std::set<std::string> reported;
        for (const auto& line : block->lines()) {
            block->enumerateFormattingForLine(
                line, [&](const ZQRSubtitleFormatting& run, std::size_t, std::size_t) {
                    reported.insert(
                        fmt::format("{} {} {}", run.colour(), run.range().location, run.range().length));
                });
        }
        EXPECT_EQ(reported, expected) << c.lines;
    }
}

TEST_F(SRTSidecar, UnknownMarkupStaysWithEverythingBehindIt) {
    struct Case {
        const char* line;
        std::u16string text;
        const char* what;
    };
    const Case cases[] = {
        {"<i>word</i>", u"<i>word</i>", "i in line Subtitle line \"<i>word</i>\""},
        {"<line line=\"3\"><b>x</b><line line=\"4\">", u"<b>x</b><line line=\"4\">",
         "b in line Subtitle line \"<b>x</b><line line=\"4\">\""},
        {"<font size=\"9\">x</font>", u"<font size=\"9\">x</font>", "(null) in line"},
        {"<font color=red>x", u"<font color=red>x", "(null) in line"},
        {"<font color=\"red>x", u"<font color=\"red>x", "(null) in line"},
        {"<Font color=\"red\">x", u"<Font color=\"red\">x", "Font color=\"red\" in line"},
        {"<>x", u"<>x", " in line"},
    };
    for (const Case& c : cases) {
        const auto block = openLines(c.line);
        ASSERT_TRUE(block) << c.line;
        EXPECT_EQ(textsOf(*block), Texts{c.text});
        EXPECT_THAT(log_.lines,
                    ElementsAre(endOfFile,
                                HasSubstr(std::string("ZQRSRTSidecar found unsupported markup ") + c.what)));
    }
    openLines("x</font>");
    EXPECT_THAT(log_.lines, ElementsAre(endOfFile, HasSubstr("requested to pop formatting type 0")));
}

TEST_F(SRTSidecar, BlocksStandAtTheBottomUnlessATagPlacesThem) {
    struct Case {
        const char* lines;
        bool isDouble;
        int row;
    };
    const Case cases[] = {
        {"a\nb\nc", false, 12},
        {"a\n<line line=\"5\">b</line>\nc", true, 10},
        {"<linear line=\"5\">a", false, 5},
        {"<line line=\"5\"><line line=\"9\">a", false, 5},
        {"<line line=\"99999999999\">a", true, INT32_MAX},
        {"<line line=\"x\">a", false, 0},
    };
    for (const Case& c : cases) {
        ZQDictionary properties = captions;
        properties.set(ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, c.isDouble);
        EXPECT_EQ(openLines(c.lines, properties)->verticalPosition(), c.row) << c.lines;
    }
}

TEST_F(SRTSidecar, WritesWhatItReads) {
    const auto path = folder_.path("out.srt");
    auto writer = ZQRSRTSidecar::initForWritingWithURL(path);
    ASSERT_TRUE(writer->valid());
    EXPECT_TRUE(writer->writeBlock(*makeBlock(1, 25, 63, {u"\x0B\x0BGr\u00FC\u00DFe\x0A", u"\U0001D11E"})));
    EXPECT_TRUE(writer->writeBlock(*makeBlock(2, 90000, 90001, {u"b"})));
    EXPECT_TRUE(writer->writeBlock(*makeBlock(3, 100000, 100001, {})));
    EXPECT_EQ(folder_.read("out.srt"),
              "1\r\n00:00:01,000  -->  00:00:02,520\r\nGr\u00FC\u00DFe\r\n\U0001D11E\r\n\r\n"
              "2\r\n01:00:00,000  -->  01:00:00,040\r\nb\r\n\r\n"
              "3\r\n01:06:40,000  -->  01:06:40,040\r\n");
    const auto reader = ZQRSRTSidecar::initForReadingWithURL(path, captions);
    ASSERT_EQ(reader->subtitleBlocks().size(), 2U);
    EXPECT_EQ(reader->subtitleBlocks()[0]->timecodeOut().framesSinceMidnight(), 63U);
    EXPECT_EQ(textsOf(*reader->subtitleBlocks()[0]), (Texts{u"Gr\u00FC\u00DFe", u"\U0001D11E"}));
}

TEST_F(SRTSidecar, WriteFailuresSayWhichLineFailed) {
    auto writer = ZQRSRTSidecar::initForWritingWithURL("/dev/full");
    EXPECT_FALSE(writer->writeBlock(*makeBlock(1, 0, 1, {u"a"})));
    EXPECT_EQ(log_.lines.back(), "ZQRSRTSidecar could not write block number line");
    EXPECT_FALSE(ZQRSRTSidecar::initForWritingWithURL(folder_.path("no/folder"))->valid());
    EXPECT_FALSE(open("")->writeBlock(*makeBlock(1, 0, 1, {u"a"})));
}

TEST_F(SRTSidecar, AFileThatIsNotThereIsNotValidAndPlaysNothing) {
    auto sidecar = ZQRSRTSidecar::initForReadingWithURL(folder_.path("absent.srt"), captions);
    EXPECT_FALSE(sidecar->valid());
    EXPECT_TRUE(sidecar->vancPacketsAtTimecode({}).empty());
    EXPECT_FALSE(sidecar->readBlock());
    EXPECT_THAT(log_.lines, ElementsAre(HasSubstr("absent.srt")));
    for (const std::string& content : {std::string(), std::string(300000, '\0'), std::string(300000, '\r'),
                                       std::string(300000, '\n'), std::string(300000, '\xFF')}) {
        EXPECT_TRUE(open(content)->subtitleBlocks().empty());
    }
}

}  // namespace
}  // namespace zenquor
