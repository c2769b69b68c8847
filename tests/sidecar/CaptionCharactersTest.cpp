// What of a text goes out in CEA-608 captions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

using namespace zenquor;

TEST(CaptionCharacters, WhatTheSetsLackBecomesItsNearestText) {
    constexpr struct {
        std::u16string_view text, basic, westEuropean;
    } cases[] = {
        {u"don't \u201CStop\u201D\u2026", u"don\u2019t \"Stop\"...", u"don't \u201CStop\u201D..."},
        {u"á é í ó ú ç ñ Ñ à è â ê î ô û ♪ ½ ¿", u"á é í ó ú ç ñ Ñ à è â ê î ô û ♪ ½ ¿",
         u"á é í ó ú ç ñ Ñ à è â ê î ô û ♪ ½ ¿"},
        {u"À Élan, Über Größe", u"A Elan, Uber Grosse", u"À Élan, Über Größe"},
        {u"Œuvre, cœur, Ægir", u"OEuvre, coeur, AEgir", u"OEuvre, coeur, AEgir"},
        {u"Příliš žluťoučký kůň", u"Prílis zlutoucky kun", u"Prílis zlutoucky kun"},
        {u"Zażółć gęślą jaźń", u"Zazólc gesla jazn", u"Zazólc gesla jazn"},
        {u"árvíztűrő tükörfúrógép", u"árvízturo tukorfúrógép", u"árvízturo tükörfúrógép"},
        {u"Șosea, țară, Ísland, Þór", u"Sosea, tara, Island, Thór", u"Sosea, tara, Ísland, Thór"},
        {u"5 € \u2014 3\u00A0\u00BC ← →", u"5 EUR - 3 1/4 <- ->", u"5 EUR - 3 1/4 <- ->"},
        {u"cafe\u0301 \uFB01n\u200B", u"cafe fin", u"cafe fin"},
        {u"{a_b}\\|^*", u"(a-b)// -", u"{a_b}\\|^*"},
        {u"日本", u"日本", u"日本"},
        // A code that comes twice in succession counts once.
        {u"♪♪ ♫♫♪ éé ÉÉ", u"♪ ♪ ♪ ♪ ♪ éé EE", u"♪ ♪ ♪ ♪ ♪ éé É É"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ZQRCaptionCharacters::fitted(c.text), c.basic);
        EXPECT_EQ(ZQRCaptionCharacters::fitted(c.text, true), c.westEuropean);
    }
}

TEST(CaptionCharacters, EveryReplacementCanBeSent) {
    std::set<char16_t> replaced;
    for (std::uint32_t unit = 1; unit < 0x10000; ++unit) {
        const auto character = static_cast<char16_t>(unit);
        const auto replacement = ZQRCaptionCharacters::replacementFor(character);
        if (!replacement) continue;
        replaced.insert(character);
        EXPECT_TRUE(ZQRCaptionCharacters::fits(replacement->text)) << unit;
        EXPECT_FALSE(ZQRCaptionCharacters::fits(std::u16string(1, character))) << unit;
    }
    // Every letter of the Latin-1 and Latin Extended-A blocks has a neighbour or is in the sets.
    for (char16_t letter = 0xC0; letter <= 0x17F; ++letter) {
        if (letter == u'÷') continue;
        EXPECT_TRUE(replaced.count(letter) == 1 || ZQRCaptionCharacters::fits(std::u16string(1, letter)))
            << static_cast<int>(letter);
    }
}

TEST(CaptionCharacters, WhatFitsIsEncodedWhole) {
    const std::u16string text = u"don\u2019t “stop” Élan";
    EXPECT_FALSE(ZQRCaptionCharacters::fits(text));
    EXPECT_TRUE(ZQRCaptionCharacters::fits(text, true));
    EXPECT_FALSE(ZQRCaptionCharacters::fits(u"££"));
    EXPECT_FALSE(ZQRCaptionCharacters::fits(u"\u00A0", true)) << "the transparent space is no text";
    for (const char16_t character : std::u16string(u"'–Éß日\U0001F600")) {
        const bool sent = !ZQRVANCCEA608Packet::packetsEncodingString({&character, 1}, 1, 0, 0, true).empty();
        EXPECT_EQ(ZQRCaptionCharacters::fits({&character, 1}, true), sent) << static_cast<int>(character);
    }
}
