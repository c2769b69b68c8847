// Editing of text that holds control characters.
#include "zenquor/sidecar/ZQRSubtitleLine.h"

#include <gtest/gtest.h>

namespace zenquor {
namespace {

ZQRSubtitleLinePtr line(std::u16string text) {
    return ZQRSubtitleLine::initWithString(std::move(text));
}

TEST(SubtitleLine, StrippingTakesOuterSpacesAndLeavesControlCharacters) {
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"   \x0DHello  ", u"\x0DHello"},
        {u" \x0B \x0B a b \x0A \x0A ",
         u"\x0B\x0B"
         u"a b\x0A\x0A"},
        {u" \x0D  \x0B ", u"\x0D\x0B"},
        {u"\tHello\t", u"\tHello\t"},
        {u"\u00A0x\u00A0", u"\u00A0x\u00A0"},
        {u"plain", u"plain"},
        {u"   ", u""},
        {u"", u""},
    };
    for (const auto& [before, after] : cases) {
        auto subject = line(before);
        subject->stripWhitespace();
        EXPECT_EQ(subject->string(), after);
    }
}

TEST(SubtitleLine, TheLastWordGoesWithWhatSeparatesItFromTheWordBefore) {
    struct Case {
        std::u16string before;
        std::optional<std::u16string> word;
        std::u16string after;
    };
    const Case cases[] = {
        {u"one two", u"two", u"one"},
        {u"one  \x03 two \x0A", u"two", u"one \x0A"},
        {u"  \x0B"
         u"only \x0A",
         u"only", u"  \x0B \x0A"},
        {u"only", u"only", u""},
        {u" \x0D ", std::nullopt, u" \x0D "},
        {u"", std::nullopt, u""},
    };
    for (const Case& c : cases) {
        auto subject = line(c.before);
        EXPECT_EQ(subject->removeLastWord(), c.word);
        EXPECT_EQ(subject->string(), c.after);
    }
}

TEST(SubtitleLine, RemovingWordsToALengthIsRemovingThemOneByOne) {
    const std::u16string texts[] = {u"the quick  brown\x03 fox jumps \x0A",
                                    u"   leading words here",
                                    u"oneverylongword",
                                    u"a b c d e f g ",
                                    u"    ",
                                    u"\x0B\x0B x yz \x0A\x0A  "};
    for (const auto& text : texts) {
        for (std::size_t length = 0; length < 32; ++length) {
            auto stepwise = line(text);
            std::vector<std::u16string> words;
            while (stepwise->length() > length) {
                const auto word = stepwise->removeLastWord();
                if (!word) break;
                words.insert(words.begin(), *word);
            }
            std::optional<std::u16string> joined;
            for (const auto& word : words) joined = joined ? *joined + u" " + word : word;

            auto subject = line(text);
            EXPECT_EQ(subject->removeLastWordsToLength(length), joined) << length;
            EXPECT_EQ(subject->string(), stepwise->string()) << length;
        }
    }
}

TEST(SubtitleLine, ReplacingKeepsTheControlCharactersAroundTheText) {
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"\x0B\x0B old text \x0A\x0A", u"\x0B\x0B new \x0A\x0A"},
        {u" x", u" new"},
        {u"\x0D ", u"\x0D new"},
        {u"", u"new"},
    };
    for (const auto& [before, after] : cases) {
        auto subject = line(before);
        subject->replaceString(u"new", true);
        EXPECT_EQ(subject->string(), after);
        subject->replaceString(u"all", false);
        EXPECT_EQ(subject->string(), u"all");
    }
}

TEST(SubtitleLine, WidthCountsPrintableUnitsOnly) {
    EXPECT_EQ(line(u"\x0B\x0D\x01")->length(), 0U);
    EXPECT_EQ(line(u"\x0B"
                   u"a b\x7F")
                  ->length(),
              4U);
    EXPECT_EQ(line(u"\x0B"
                   u"a")
                  ->debugDescription(),
              "Subtitle line \"[0B]a\"");
}

TEST(SubtitleLine, TheWalkOverWhitespaceStopsWhereItIsTold) {
    const std::u16string text = u" \x0D x \x0A";
    const auto walk = [&](bool forwards, const ZQRSubtitleLine::WhitespaceBlock& block) {
        return ZQRSubtitleLine::enumerateWhitespaceInString(text, forwards, block);
    };
    int spaces = 0;
    const auto count = [&](std::ptrdiff_t&) { return ++spaces == 0; };
    EXPECT_EQ(walk(true, count), 3);
    EXPECT_EQ(walk(false, count), 3);
    EXPECT_EQ(spaces, 3);
    EXPECT_EQ(walk(true, [](std::ptrdiff_t& index) { return index == 2; }), 2);
    EXPECT_EQ(walk(true, [](std::ptrdiff_t& index) { return index += 100, false; }), 6);
    EXPECT_EQ(ZQRSubtitleLine::enumerateWhitespaceInString(u" \x0D", false, {}), -1);
    EXPECT_EQ(ZQRSubtitleLine::enumerateWhitespaceInString(u"a\x0D", false, {}), 0);

    std::u16string edited = u"  a";
    EXPECT_EQ(ZQRSubtitleLine::enumerateWhitespaceInString(edited, true,
                                                           [&](std::ptrdiff_t& index) {
                                                               edited.erase(static_cast<std::size_t>(index--),
                                                                            1);
                                                               return false;
                                                           }),
              0);
    EXPECT_EQ(edited, u"a");
}

TEST(SubtitleLine, ControlCharactersAreInsertedWhereAsked) {
    EXPECT_EQ(ZQRSubtitleLine::stringWithControlCharacter(0x0B, 2), u"\x0B\x0B");
    EXPECT_EQ(ZQRSubtitleLine::stringWithControlCharacter(0x0B, -1), u"");
    EXPECT_EQ(ZQRSubtitleLine::prependControlCharacter(0x0D, 1, u"a"),
              u"\x0D"
              u"a");
    EXPECT_EQ(ZQRSubtitleLine::appendControlCharacter(0x0A, 2, u"a"), u"a\x0A\x0A");
    EXPECT_EQ(ZQRSubtitleLine::insertControlCharacter(0x01, 1, u"ab", 1),
              u"a\x01"
              u"b");
    EXPECT_EQ(ZQRSubtitleLine::insertControlCharacter(0x01, 1, u"ab", 9), u"ab\x01");
    EXPECT_EQ(ZQRSubtitleLine::stringStrippingControlCharacters(u"\x0B\x01 a\x1F"), u" a");
}

}  // namespace
}  // namespace zenquor
