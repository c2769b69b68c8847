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

std::u16string fitted(std::u16string_view text) {
    std::u16string result;
    for (const char16_t character : text) {
        std::u16string_view piece(&character, 1);
        for (const auto& replacement : replacements) {
            if (replacement.character == character) piece = replacement.text;
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
