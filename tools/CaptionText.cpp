#include "CaptionText.h"

#include <string>
#include <string_view>

namespace zenquor::tools {
namespace {

struct Replacement {
    char16_t character;
    std::u16string_view text;
};

// What people type, and its nearest neighbour in the basic and North American sets of CEA-608.
constexpr Replacement replacements[] = {
    {u'\'', u"\u2019"},     {u'`', u"\u2019"},      {u'\u2018', u"\u2019"}, {u'\u201B', u"\u2019"},
    {u'\u2032', u"\u2019"}, {u'\u00B4', u"\u2019"}, {u'\u201C', u"\""},     {u'\u201D', u"\""},
    {u'\u201E', u"\""},     {u'\u00AB', u"\""},     {u'\u00BB', u"\""},     {u'\u2010', u"-"},
    {u'\u2011', u"-"},      {u'\u2012', u"-"},      {u'\u2013', u"-"},      {u'\u2014', u"-"},
    {u'\u2015', u"-"},      {u'\u2026', u"..."},    {u'\u00A0', u" "},      {u'\u2009', u" "},
    {u'\u202F', u" "},      {u'\t', u" "},          {u'{', u"("},           {u'}', u")"},
    {u'_', u"-"},           {u'~', u"-"},           {u'*', u"-"},           {u'\\', u"/"},
    {u'|', u"/"},           {u'^', u" "},           {u'\u266A', u"\u266A"}, {u'\u266B', u"\u266A"},
};

// Letters with accents that the basic set lacks, and the letter that is left of them.
struct Fallback {
    std::u16string_view characters;
    std::u16string_view text;
};
constexpr Fallback fallbacks[] = {
    {u"\u00C0\u00C1\u00C2\u00C3\u00C4\u00C5", u"A"},
    {u"\u00E3\u00E4\u00E5", u"a"},
    {u"\u00C6", u"AE"},
    {u"\u00E6", u"ae"},
    {u"\u00C7", u"C"},
    {u"\u00C8\u00C9\u00CA\u00CB", u"E"},
    {u"\u00EB", u"e"},
    {u"\u00CC\u00CD\u00CE\u00CF", u"I"},
    {u"\u00EC\u00EF", u"i"},
    {u"\u00D2\u00D3\u00D4\u00D5\u00D6\u00D8", u"O"},
    {u"\u00F2\u00F5\u00F6\u00F8", u"o"},
    {u"\u0152", u"OE"},
    {u"\u0153", u"oe"},
    {u"\u00D9\u00DA\u00DB\u00DC", u"U"},
    {u"\u00F9\u00FC", u"u"},
    {u"\u00DD\u0178", u"Y"},
    {u"\u00FD\u00FF", u"y"},
    {u"\u00DF", u"ss"},
    {u"\u00A1", u"!"},
};

std::u16string fitted(std::u16string_view text) {
    std::u16string result;
    for (const char16_t character : text) {
        std::u16string_view piece(&character, 1);
        for (const auto& replacement : replacements) {
            if (replacement.character == character) piece = replacement.text;
        }
        for (const auto& fallback : fallbacks) {
            if (fallback.characters.find(character) != std::u16string_view::npos) piece = fallback.text;
        }
        result += piece;
    }
    return result;
}

}  // namespace

void fitToCaptionCharacters(const ZQRSubtitleBlockList& blocks) {
    for (const auto& block : blocks) {
        for (const auto& line : block->lines()) line->setString(fitted(line->string()));
    }
}

}  // namespace zenquor::tools
