// Conversions between UTF-8 and UTF-16.
#include "zenquor/core/Unicode.h"

#include <gtest/gtest.h>

namespace zenquor {
namespace {

TEST(Unicode, WellFormedTextGoesBothWays) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"", u""},
        {"plain", u"plain"},
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\x7F\xC2\x80\xDF\xBF", u"\u007F\u0080\u07FF"},
        {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\u0800\uD7FF\uE000\uFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
    };
    for (const auto& [utf8, utf16] : cases) {
        EXPECT_EQ(utf16FromUTF8(utf8), utf16);
        EXPECT_EQ(utf8FromUTF16(utf16), utf8);
    }
}

TEST(Unicode, EachIllFormedPartBecomesOneReplacementCharacter) {
    // The examples of Unicode 15, tables 3-8 to 3-11.
    const std::pair<const char*, std::u16string> cases[] = {
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041\uFFFD\uFFFD\u0042"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
        {"\xE2\x82", u"\uFFFD"},
    };
    for (const auto& [utf8, utf16] : cases) EXPECT_EQ(utf16FromUTF8(utf8), utf16);
    EXPECT_EQ(utf8FromUTF16(std::u16string{0xD800, u'a', 0xDC00, 0xD834}), "\uFFFDa\uFFFD\uFFFD");
}

}  // namespace
}  // namespace zenquor
