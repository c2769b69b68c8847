#include "zenquor/sidecar/ZQRCaptionCharacters.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor {
namespace {

/// Characters that the basic and North American sets lack, and what is sent for each of them.
struct Row {
    std::u16string_view characters;
    std::u16string_view text;
    bool looksAlike = false;
};

constexpr Row rows[] = {
    // Quotation marks, apostrophes and accents that stand alone. The set's apostrophe is the typographic one.
    {u"'`\u00B4\u02B9\u02BB\u02BC\u02C8\u2018\u201A\u201B\u2032\u2035\u2039\u203A\uFF07", u"\u2019", true},
    {u"\u00AB\u00BB\u02BA\u201C\u201D\u201E\u201F\u2033\u2036\u301D\u301E\u301F\uFF02", u"\"", true},
    // Dashes, bullets, dots.
    {u"\u2010\u2011\u2012\u2013\u2014\u2015\u2043\u2212\uFE58\uFE63\uFF0D\u2500", u"-", true},
    {u"_~*\u00AC\u2022\u2023\u25AA\u25CF\u25E6", u"-"},
    {u"\u2025", u"..", true},
    {u"\u2026\u22EF", u"...", true},
    {u"\u00B7\u2024\u2027\u22C5", u"."},
    // Spaces, and marks that nobody sees. The fixed spaces of layout programs are spaces on a screen.
    {u"\t\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u202F\u205F\u3000",
     u" ", true},
    {u"\u00AD\u200B\u200C\u200D\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2060\u2066\u2067\u2068\u2069"
     u"\uFEFF",
     u"", true},
    // Accents that follow their letter as a character of their own.
    {u"\u0300\u0301\u0302\u0303\u0304\u0305\u0306\u0307\u0308\u030A\u030B\u030C\u030F\u0311\u0323\u0326\u0327"
     u"\u0328\u032D\u032E\u0331\u0335\u0337\u0338",
     u""},
    // Brackets, bars, signs of ASCII whose codes the set gives to letters.
    {u"{", u"("},
    {u"}", u")"},
    {u"\\|\u00A6\u2044\u2215\u2502", u"/"},
    {u"^", u" "},
    {u"\u00A1", u"!"},
    {u"\u203C", u"!!"},
    {u"\u2047", u"??"},
    {u"\u2048", u"?!"},
    {u"\u2049", u"!?"},
    // Letters, accents taken off.
    {u"ÀÁÂÃÄÅĀĂĄǍȀȂǺ", u"A"},
    {u"ãäåāăąǎȁȃǻª", u"a"},
    {u"ÆǼǢ", u"AE"},
    {u"æǽǣ", u"ae"},
    {u"Ḃ", u"B"},
    {u"ḃ", u"b"},
    {u"ÇĆĈĊČ", u"C"},
    {u"ćĉċč", u"c"},
    {u"ÐĎĐḊ", u"D"},
    {u"ðďđḋ", u"d"},
    {u"ÈÉÊËĒĔĖĘĚȄȆẼ", u"E"},
    {u"ëēĕėęěȅȇẽ", u"e"},
    {u"Ḟ", u"F"},
    {u"ḟƒ", u"f"},
    {u"ĜĞĠĢǤǦǴ", u"G"},
    {u"ĝğġģǥǧǵ", u"g"},
    {u"ĤĦȞ", u"H"},
    {u"ĥħȟ", u"h"},
    {u"ÌÍÎÏĨĪĬĮİǏȈȊ", u"I"},
    {u"ìïĩīĭįıǐȉȋ", u"i"},
    {u"Ĵ", u"J"},
    {u"ĵǰ", u"j"},
    {u"ĶǨ", u"K"},
    {u"ķĸǩ", u"k"},
    {u"ĹĻĽĿŁ", u"L"},
    {u"ĺļľŀł", u"l"},
    {u"Ṁ", u"M"},
    {u"ṁ", u"m"},
    {u"ŃŅŇǸ", u"N"},
    {u"ńņňǹ", u"n"},
    {u"ŉ", u"\u2019n"},
    {u"Ŋ", u"NG"},
    {u"ŋ", u"ng"},
    {u"ÒÓÔÕÖØŌŎŐƠǑǪǾȌȎȪȮȰ", u"O"},
    {u"òõöøōŏőơǒǫǿȍȏȫȯȱº", u"o"},
    {u"Œ", u"OE"},
    {u"œ", u"oe"},
    {u"Ṗ", u"P"},
    {u"ṗ", u"p"},
    {u"ŔŖŘȐȒ", u"R"},
    {u"ŕŗřȑȓ", u"r"},
    {u"ŚŜŞŠȘṠ", u"S"},
    {u"śŝşšșſṡẛ", u"s"},
    {u"\u1E9E", u"SS"},
    {u"ß", u"ss"},
    {u"ŢŤŦȚṪ", u"T"},
    {u"ţťŧțṫẗ", u"t"},
    {u"Þ", u"Th"},
    {u"þ", u"th"},
    {u"ÙÚÛÜŨŪŬŮŰŲƯǓȔȖ", u"U"},
    {u"ùüũūŭůűųưǔȕȗ", u"u"},
    {u"ŴẀẂẄ", u"W"},
    {u"ŵẁẃẅẘ", u"w"},
    {u"ÝŶŸȲỲỸ", u"Y"},
    {u"ýÿŷȳỳỹẙ", u"y"},
    {u"ŹŻŽƵ", u"Z"},
    {u"źżžƶ", u"z"},
    // Ligatures and letters of two.
    {u"Ĳ", u"IJ"},
    {u"ĳ", u"ij"},
    {u"Ǆ", u"DZ"},
    {u"ǅ", u"Dz"},
    {u"ǆ", u"dz"},
    {u"Ǉ", u"LJ"},
    {u"ǈ", u"Lj"},
    {u"ǉ", u"lj"},
    {u"Ǌ", u"NJ"},
    {u"ǋ", u"Nj"},
    {u"ǌ", u"nj"},
    {u"\uFB00", u"ff", true},
    {u"\uFB01", u"fi", true},
    {u"\uFB02", u"fl", true},
    {u"\uFB03", u"ffi", true},
    {u"\uFB04", u"ffl", true},
    {u"\uFB05\uFB06", u"st", true},
    // Money.
    {u"€", u"EUR"},
    {u"₤", u"£", true},
    {u"¥", u"YEN"},
    {u"₣", u"F"},
    {u"₧", u"Pts"},
    {u"₺", u"TL"},
    {u"₽", u"RUB"},
    {u"₴", u"UAH"},
    // Numbers, fractions and measures.
    {u"⁰₀", u"0"},
    {u"¹₁", u"1"},
    {u"²₂", u"2"},
    {u"³₃", u"3"},
    {u"⁴₄", u"4"},
    {u"⁵₅", u"5"},
    {u"⁶₆", u"6"},
    {u"⁷₇", u"7"},
    {u"⁸₈", u"8"},
    {u"⁹₉", u"9"},
    {u"¼", u"1/4"},
    {u"¾", u"3/4"},
    {u"⅓", u"1/3"},
    {u"⅔", u"2/3"},
    {u"⅛", u"1/8"},
    {u"⅜", u"3/8"},
    {u"⅝", u"5/8"},
    {u"⅞", u"7/8"},
    {u"‰", u"0/00"},
    {u"×", u"x"},
    {u"±", u"+/-"},
    {u"≤", u"<="},
    {u"≥", u">="},
    {u"≠", u"<>"},
    {u"µ\u03BC", u"u"},
    {u"\u2103", u"°C"},
    {u"\u2109", u"°F"},
    // Signs.
    {u"©", u"(c)"},
    {u"\u2117", u"(P)"},
    {u"\u2120", u"SM"},
    {u"№", u"No."},
    {u"§", u"Par."},
    {u"†‡", u"+"},
    {u"♩♫♬", u"♪"},
    // Arrows.
    {u"←⇦", u"<-"},
    {u"→⇨➔", u"->"},
    {u"↔", u"<->"},
    {u"⇐", u"<="},
    {u"⇒", u"=>"},
    {u"↑", u"(up)"},
    {u"↓", u"(down)"},
};

using Entry = std::pair<char16_t, const Row*>;

/// The rows by character.
const std::vector<Entry>& entries() {
    static const std::vector<Entry> sorted = [] {
        std::vector<Entry> result;
        for (const Row& row : rows) {
            for (const char16_t character : row.characters) result.emplace_back(character, &row);
        }
        std::sort(result.begin(), result.end());
        return result;
    }();
    return sorted;
}

/// Number 9 of the North American set is the transparent space: it shows the picture, so it is not for text.
constexpr std::size_t transparentSpace = 9;

bool isBasic(char16_t character) {
    using Packet = ZQRVANCCEA608Packet;
    return Packet::matchCharacter(character, Packet::basicCharacters()) >= 0;
}

bool fitsNorthAmerican(char16_t character) {
    using Packet = ZQRVANCCEA608Packet;
    const std::int32_t index = Packet::matchCharacter(character, Packet::specialNorthAmericanCharacters());
    return index >= 0 && static_cast<std::size_t>(index) != transparentSpace;
}

bool fitsWestEuropean(char16_t character) {
    using Packet = ZQRVANCCEA608Packet;
    return Packet::matchCharacter(character, Packet::frenchSpanishCharacters()) >= 0 ||
           Packet::matchCharacter(character, Packet::portugueseGermanDanishCharacters()) >= 0;
}

bool fitsSets(char16_t character, bool allowWestEuropean) {
    return isBasic(character) || fitsNorthAmerican(character) ||
           (allowWestEuropean && fitsWestEuropean(character));
}

/// Whether a receiver would take the second for a repetition of the first.
bool looksRepeated(char16_t first, char16_t second, bool allowWestEuropean) {
    return first == second && !isBasic(first) && fitsSets(first, allowWestEuropean);
}

}  // namespace

bool ZQRCaptionCharacters::fits(std::u16string_view text, bool allowWestEuropean) {
    const auto repeats = [&](char16_t a, char16_t b) { return looksRepeated(a, b, allowWestEuropean); };
    return std::all_of(text.begin(), text.end(),
                       [&](char16_t character) { return fitsSets(character, allowWestEuropean); }) &&
           std::adjacent_find(text.begin(), text.end(), repeats) == text.end();
}

std::optional<ZQRCaptionCharacters::Replacement> ZQRCaptionCharacters::replacementFor(
    char16_t character, bool allowWestEuropean) {
    if (fitsSets(character, allowWestEuropean)) return std::nullopt;
    const auto& all = entries();
    const auto found =
        std::lower_bound(all.begin(), all.end(), character,
                         [](const Entry& entry, char16_t wanted) { return entry.first < wanted; });
    if (found == all.end() || found->first != character) return std::nullopt;
    return Replacement{found->second->text, found->second->looksAlike};
}

std::u16string ZQRCaptionCharacters::fitted(std::u16string_view text, bool allowWestEuropean) {
    std::u16string result;
    result.reserve(text.size());
    for (const char16_t character : text) {
        const auto replacement = replacementFor(character, allowWestEuropean);
        for (const char16_t sent : replacement ? replacement->text : std::u16string_view(&character, 1)) {
            if (!result.empty() && looksRepeated(result.back(), sent, allowWestEuropean)) result += u' ';
            result += sent;
        }
    }
    return result;
}

void ZQRCaptionCharacters::fitBlocks(const ZQRSubtitleBlockList& blocks, bool allowWestEuropean) {
    for (const auto& block : blocks) {
        for (const auto& line : block->lines()) line->setString(fitted(line->string(), allowWestEuropean));
    }
}

}  // namespace zenquor
