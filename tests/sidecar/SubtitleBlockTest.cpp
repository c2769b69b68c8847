// Wrapping, merging and colour runs of subtitle blocks.
#include "zenquor/sidecar/ZQRSubtitleBlock.h"

#include <set>

#include "sidecar/Support.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using test::textsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Texts = std::vector<std::u16string>;

TEST(SubtitleBlock, WrappingMovesWordsDownAndBreaksOnlyWhatIsLongerThanARow) {
    struct Case {
        Texts before;
        int width;
        Texts after;
        int row;  // from 20
    };
    const Case cases[] = {
        {{u"abcdefghijklmnopqrst"}, 10, {u" abcdefgh-", u" ijklmnopqrst"}, 19},
        {{u"one two three"}, 8, {u"one two", u"three"}, 19},
        {{u"one two three", u"four"}, 8, {u"one two", u"three", u"four"}, 19},
        {{u"one two three", u"4"}, 8, {u"one two", u"three 4"}, 20},
        {{u"\x0D"
          u"one two",
          u"three"},
         5,
         {u"\x0D"
          u"one",
          u"two", u"three"},
         18},
        {{u"\x0B\x0B"
          u"one two\x0A\x0A"},
         5,
         {u"\x0B\x0B"
          u"one\x0A\x0A",
          u"\x0B\x0B"
          u"two\x0A\x0A"},
         19},
        {{u"exactly ten", u"x"}, 11, {u"exactly ten", u"x"}, 20},
        {{u"one two three"}, 0, {u"one two three"}, 20},
        {{u"one two three"}, -5, {u"one two three"}, 20},
        {{}, 5, {}, 20},
        // With words left on the line the broken piece lands in front of them.
        {{u"ab abcdefghijklmno"}, 10, {u" abcdef-ab", u" ghijklmno"}, 19},
        // No room for a single letter.
        {{u"a bcdefghijklmnop"}, 2, {u" -a", u" bcdefghijklmnop"}, 19},
    };
    for (const Case& c : cases) {
        auto block = makeBlock(1, 0, 10, c.before);
        block->setVerticalPosition(20);
        block->prepareForRenderingWidth(c.width, 0);
        EXPECT_EQ(textsOf(*block), c.after)
            << testing::PrintToString(c.before.size()) << " width " << c.width;
        EXPECT_EQ(block->verticalPosition(), c.row) << "width " << c.width;
    }
    auto top = makeBlock(1, 0, 10, {u"one two"});
    top->setVerticalPosition(1);
    top->prepareForRenderingWidth(5, 0);
    EXPECT_EQ(top->verticalPosition(), 1);
}

TEST(SubtitleBlock, SpacesAroundTextGoUnlessJustificationIsUnchanged) {
    for (const int justification : {0, 1, 2, 3}) {
        auto block = makeBlock(1, 0, 10, {u" a "});
        block->setJustification(justification);
        block->prepareForRenderingWidth(0, 0);
        EXPECT_EQ(textsOf(*block), Texts{justification == 0 ? u" a " : u"a"});
    }
}

TEST(SubtitleBlock, LinesBeyondTheHeightAreRemovedAndLogged) {
    for (const bool isDouble : {false, true}) {
        LogCapture log;
        auto block = makeBlock(4, 0, 10,
                               {isDouble ? u"\x0D"
                                           u"1"
                                         : u"1",
                                u"2", u"3", u"4", u"5"});
        block->setVerticalPosition(10);
        block->prepareForRenderingWidth(0, 3);
        EXPECT_EQ(block->numberOfLines(), 3);
        EXPECT_EQ(block->verticalPosition(), isDouble ? 14 : 12);
        EXPECT_THAT(
            log.lines,
            ElementsAre(
                "ZQREBUSTLSubtitleBlock Subtitle block: 4 position: 10 in: 00:00:00:00 out: 00:00:00:10 "
                "has 5 lines, more than the fixed maximum of 3. Removing (Subtitle line \"4\", "
                "Subtitle line \"5\")"));
    }
}

TEST(SubtitleBlock, MergingAddsLinesMovesUpAndKeepsTheLaterEnd) {
    auto block = makeBlock(1, 10, 20, {u"a"});
    block->setVerticalPosition(14);
    block->mergeBlock(*makeBlock(2, 15, 18, {u"b", u"c"}));
    EXPECT_EQ(textsOf(*block), (Texts{u"a", u"b", u"c"}));
    EXPECT_EQ(block->verticalPosition(), 12);
    EXPECT_EQ(block->timecodeOut().framesSinceMidnight(), 20U);
    block->mergeBlock(*makeBlock(3, 15, 30, {u"d"}));
    EXPECT_EQ(block->timecodeOut().framesSinceMidnight(), 30U);

    auto high = makeBlock(1, 0, 1,
                          {u"\x0D"
                           u"a"});
    high->setVerticalPosition(INT32_MIN + 1);
    high->mergeBlock(*makeBlock(2, 0, 1, {u"b"}));
    EXPECT_EQ(high->verticalPosition(), INT32_MIN);

    // A block without text becomes as high as what it takes in.
    auto empty = makeBlock(1, 0, 1, {});
    empty->setVerticalPosition(20);
    empty->mergeBlock(*high);
    EXPECT_EQ(empty->verticalPosition(), 16);
}

TEST(SubtitleBlock, TextBeyondAnyScreenDoesNotTakeForEver) {
    LogCapture log;
    Texts texts(4000, u"a");
    texts[0] = std::u16string(1 << 20, u'x');
    for (std::size_t i = 10; i < texts[0].size(); i += 10) texts[0][i] = u' ';
    auto block = makeBlock(1, 0, 10, texts);
    block->prepareForRenderingWidth(32, 15);
    EXPECT_EQ(block->numberOfLines(), 15);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("far too long"), HasSubstr("more than the fixed maximum")));
}

using Report = std::vector<std::tuple<std::string, std::size_t, std::size_t>>;

Report reportsOfLine(const ZQRSubtitleBlock& block, const ZQRSubtitleLinePtr& line) {
    Report report;
    block.enumerateFormattingForLine(
        line, [&](const ZQRSubtitleFormatting& run, std::size_t index, std::size_t offset) {
            report.emplace_back(run.colour(), index, offset);
        });
    return report;
}

TEST(SubtitleBlock, AColourRunIsReportedWhereItStartsOnEachLine) {
    auto block = makeBlock(1, 0, 10, {u"abcd", u"efgh", u"ijkl"});
    const auto push = [&](const char* colour, std::uint32_t at) {
        block->pushFormatting(ZQRSubtitleFormatting::formatting(0, colour, {at, 0}));
    };
    push("red", 2);
    block->popFormatting(0, 6);
    push("empty", 7);
    block->popFormatting(0, 7);
    push("blue", 9);
    block->popAllFormattingAtPosition(12);
    const auto lines = block->lines();
    EXPECT_EQ(reportsOfLine(*block, lines[0]), (Report{{"red", 2, 0}}));
    EXPECT_EQ(reportsOfLine(*block, lines[1]), (Report{{"red", 0, 2}}));
    EXPECT_EQ(reportsOfLine(*block, lines[2]), (Report{{"blue", 1, 0}}));
    EXPECT_EQ(reportsOfLine(*block, ZQRSubtitleLine::initWithString(u"abcd")), Report{});
}

TEST(SubtitleBlock, NestedRunsTakeTurnsInTheOrderInWhichTheyEnded) {
    auto block = makeBlock(1, 0, 10, {u"abcd"});
    block->pushFormatting(ZQRSubtitleFormatting::formatting(0, "outer", {0, 0}));
    block->pushFormatting(ZQRSubtitleFormatting::formatting(0, "inner", {1, 0}));
    block->popFormatting(0, 3);
    block->popFormatting(0, 4);
    EXPECT_EQ(reportsOfLine(*block, block->lines()[0]),
              (Report{{"outer", 0, 0}, {"inner", 1, 0}, {"outer", 1, 1}, {"inner", 2, 1}, {"outer", 2, 2}}));
}

TEST(SubtitleBlock, PoppingWithoutAnOpenRunAndNestingWithoutEndAreLogged) {
    LogCapture log;
    auto block = makeBlock(1, 0, 10, {std::u16string(100, u'a')});
    block->popFormatting(0, 5);
    EXPECT_THAT(
        log.lines,
        ElementsAre("ZQRSubtitleBlock requested to pop formatting type 0 with empty stack at position 5"));
    log.lines.clear();
    for (std::uint32_t i = 0; i < 40; ++i)
        block->pushFormatting(ZQRSubtitleFormatting::formatting(0, std::to_string(i), {i, 0}));
    block->popAllFormattingAtPosition(100);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("nested too deep")));
    std::set<std::string> colours;
    block->enumerateFormattingForLine(block->lines()[0], [&](const ZQRSubtitleFormatting& run, std::size_t,
                                                             std::size_t) { colours.insert(run.colour()); });
    EXPECT_EQ(colours.size(), ZQRSubtitleBlock::maximumNestedRuns);
    EXPECT_TRUE(colours.count("0") == 1 && colours.count("32") == 0);
}

TEST(SubtitleBlock, DescribesItself) {
    auto block = makeBlock(7, 25, 50,
                           {u"\x0D"
                            u"Hello"});
    block->setVerticalPosition(12);
    block->setJustification(ZQRSubtitleBlock::Centered);
    EXPECT_EQ(block->debugDescription(),
              "Subtitle block: 7 position: 12 in: 00:00:01:00 out: 00:00:02:00 justify: centered lines: 1\n"
              "Subtitle line \"[0D]Hello\"");
}

}  // namespace
}  // namespace zenquor
