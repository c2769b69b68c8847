#include "zenquor/sidecar/ZQREBUSTLLatinAlphabet.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

constexpr std::uint8_t firstMark = 0xC0;
constexpr std::uint8_t firstRow = 0x20;
constexpr std::size_t rowLength = 16;

/// Characters 0x20 to 0xFF, a row for every sixteen codes. Codes without a character are spaces, and so is the
/// row of marks.
constexpr std::u16string_view characterRows[] = {
    u" !\"#\u00A4%&'()*+,-./",
    u"0123456789:;<=>?",
    u"@ABCDEFGHIJKLMNO",
    u"PQRSTUVWXYZ[\\]^_",
    u"`abcdefghijklmno",
    u"pqrstuvwxyz{|}~\u25A0",
    u"                ",
    u"                ",
    u" \u00A1\u00A2\u00A3$\u00A5#\u00A7\u00A4\u2018\u201C\u00AB\u2190\u2191\u2192\u2193",
    u"\u00B0\u00B1\u00B2\u00B3\u00D7\u00B5\u00B6\u00B7\u00F7\u2019\u201D\u00BB\u00BC\u00BD\u00BE\u00BF",
    u"                ",
    u"\u2015\u00B9\u00AE\u00A9\u2122\u266A\u00AC\u00A6    \u215B\u215C\u215D\u215E",
    u"\u2126\u00C6\u0110\u00AA\u0126 \u0132\u013F\u0141\u00D8\u0152\u00BA\u00DE\u0166\u014A\u0149",
    u"\u0138\u00E6\u0111\u00F0\u0127\u0131\u0133\u0140\u0142\u00F8\u0153\u00DF\u00FE\u0167\u014B ",
};

/// What a mark makes of each letter that can carry it.
struct Mark {
    std::u16string_view letters;
    std::u16string_view results;
};

constexpr std::array<Mark, 16> marks = {{
    {u"", u""},
    {u"AEIOUaeiou", u"ÀÈÌÒÙàèìòù"},                                // grave
    {u"ACEILNORSUYZacegilnorsuyz", u"ÁĆÉÍĹŃÓŔŚÚÝŹáćéģíĺńóŕśúýź"},  // acute
    {u"ACEGHIJOSUWYaceghijosuwy", u"ÂĈÊĜĤÎĴÔŜÛŴŶâĉêĝĥîĵôŝûŵŷ"},    // circumflex
    {u"AINOUainou", u"ÃĨÑÕŨãĩñõũ"},                                // tilde
    {u"AEIOUaeiou", u"ĀĒĪŌŪāēīōū"},                                // macron
    {u"AGUagu", u"ĂĞŬăğŭ"},                                        // breve
    {u"CEGIZcegz", u"ĊĖĠİŻċėġż"},                                  // dot
    {u"AEIOUYaeiouy", u"ÄËÏÖÜŸäëïöüÿ"},                            // diaeresis
    {u"", u""},
    {u"AUau", u"ÅŮåů"},                        // ring
    {u"CGKLNRSTcklnrst", u"ÇĢĶĻŅŖŞŢçķļņŗşţ"},  // cedilla
    {u"", u""},
    {u"OUou", u"ŐŰőű"},                              // double acute
    {u"AEIUaeiu", u"ĄĘĮŲąęįų"},                      // ogonek
    {u"CDELNRSTZcdelnrstz", u"ČĎĚĽŇŘŠŤŽčďěľňřšťž"},  // caron
}};

constexpr bool areTablesWhole() {
    for (const auto& row : characterRows) {
        if (row.size() != rowLength) return false;
    }
    for (const Mark& mark : marks) {
        if (mark.letters.size() != mark.results.size()) return false;
    }
    return std::size(characterRows) == (0x100 - firstRow) / rowLength;
}
static_assert(areTablesWhole(), "a character table has lost or won a character");

constexpr char16_t characterForByte(std::uint8_t byte) {
    if (byte < firstRow) return byte;
    return characterRows[(byte - firstRow) / rowLength][byte % rowLength];
}

}  // namespace

std::shared_ptr<ZQREBUSTLLatinAlphabet> ZQREBUSTLLatinAlphabet::initWithFillerCharacter(char16_t filler) {
    return std::shared_ptr<ZQREBUSTLLatinAlphabet>(new ZQREBUSTLLatinAlphabet(filler));
}

std::optional<char16_t> ZQREBUSTLLatinAlphabet::combinedCharacter(std::uint8_t mark, std::uint8_t letter) {
    const Mark& row = marks[mark & 0x0F];
    const std::size_t index = row.letters.find(letter);
    if (index == std::u16string_view::npos) return std::nullopt;
    return row.results[index];
}

void ZQREBUSTLLatinAlphabet::encodeCharacter(std::uint8_t byte) {
    if ((byte & 0xF0) == firstMark) {
        pendingMark_ = byte;
        return;
    }
    if (!pendingMark_) {
        output(characterForByte(byte));
        return;
    }
    const std::uint8_t mark = *pendingMark_;
    pendingMark_.reset();
    if (const auto character = combinedCharacter(mark, byte)) {
        output(*character);
        return;
    }
    ZLGGetHandle().error("ZQREBUSTLLatinAlphabet could not match diacritical pair {} {}", mark, byte);
    if (fillerCharacter() != 0) output(fillerCharacter());
}

}  // namespace zenquor
