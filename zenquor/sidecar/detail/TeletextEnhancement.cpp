#include "zenquor/sidecar/detail/TeletextEnhancement.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>

namespace zenquor::detail {
namespace {

// Meanings of a triplet with a row address (40 and above) …
constexpr std::uint32_t firstRowAddress = 40;
constexpr std::uint32_t modeFullRowColour = 0x01;
constexpr std::uint32_t modeSetActivePosition = 0x04;
constexpr std::uint32_t modeDisplayRow0 = 0x07;
constexpr std::uint32_t modeTermination = 0x1F;
// … and with a column address.
constexpr std::uint32_t modeG2Character = 0x0F;
constexpr std::uint32_t modeWithoutMark = 0x10;

constexpr std::uint32_t firstCharacter = 0x20;
constexpr std::uint32_t atSign = 0x2A;  // under modeWithoutMark, since national sets have no "@"
constexpr int lastRow = 24;

constexpr std::u16string_view g2Rows[] = {
    u" ¡¢£$¥#§¤‘“«←↑→↓", u"°±²³×µ¶·÷’”»¼½¾¿",  //
    u" `´ˆ~¯˘˙¨.˚¸_˝˛ˇ", u"―¹®©™♪₠‰α   ⅛⅜⅝⅞",  //
    u"ΩÆÐªĦ ĲĿŁØŒºÞŦŊŉ", u"ĸæđðħıĳŀłøœßþŧŋ■",
};
static_assert(std::all_of(std::begin(g2Rows), std::end(g2Rows),
                          [](std::u16string_view row) { return row.size() == 16; }),
              "six rows of sixteen characters");

struct Mark {
    std::u16string_view letters;
    std::u16string_view composed;
};
/// Letters with the diacritical marks 0 to 15, in the order of column 4 of G2.
constexpr Mark marks[16] = {
    {},
    {u"AEINOUWYaeinouwy", u"ÀÈÌǸÒÙẀỲàèìǹòùẁỳ"},                                                // grave
    {u"ACEGIKLMNOPRSUWYZacegiklmnoprsuwyz", u"ÁĆÉǴÍḰĹḾŃÓṔŔŚÚẂÝŹáćéǵíḱĺḿńóṕŕśúẃýź"},            // acute
    {u"ACEGHIJOSUWYZaceghijosuwyz", u"ÂĈÊĜĤÎĴÔŜÛŴŶẐâĉêĝĥîĵôŝûŵŷẑ"},                            // circumflex
    {u"AEINOUVYaeinouvy", u"ÃẼĨÑÕŨṼỸãẽĩñõũṽỹ"},                                                // tilde
    {u"AEGIOUYaegiouy", u"ĀĒḠĪŌŪȲāēḡīōūȳ"},                                                    // macron
    {u"AEGIOUaegiou", u"ĂĔĞĬŎŬăĕğĭŏŭ"},                                                        // breve
    {u"ABCDEFGHIMNOPRSTWXYZabcdefghmnoprstwxyz", u"ȦḂĊḊĖḞĠḢİṀṄȮṖṘṠṪẆẊẎŻȧḃċḋėḟġḣṁṅȯṗṙṡṫẇẋẏż"},  // dot above
    {u"AEHIOUWXYaehiotuwxy", u"ÄËḦÏÖÜẄẌŸäëḧïöẗüẅẍÿ"},                                          // diaeresis
    {u"ABDEHIKLMNORSTUVWYZabdehiklmnorstuvwyz", u"ẠḄḌẸḤỊḲḶṂṆỌṚṢṬỤṾẈỴẒạḅḍẹḥịḳḷṃṇọṛṣṭụṿẉỵẓ"},    // dot below
    {u"AUauwy", u"ÅŮåůẘẙ"},                                                                    // ring
    {u"CDEGHKLNRSTcdeghklnrst", u"ÇḐȨĢḨĶĻŅŖŞŢçḑȩģḩķļņŗşţ"},                                    // cedilla
    {u"BDKLNRTZbdhklnrtz", u"ḆḎḴḺṈṞṮẔḇḏẖḵḻṉṟṯẕ"},                                              // underline
    {u"OUou", u"ŐŰőű"},                                                                        // double acute
    {u"AEIOUaeiou", u"ĄĘĮǪŲąęįǫų"},                                                            // ogonek
    {u"ACDEGHIKLNORSTUZacdeghijklnorstuz", u"ǍČĎĚǦȞǏǨĽŇǑŘŠŤǓŽǎčďěǧȟǐǰǩľňǒřšťǔž"},              // caron
};
static_assert(std::all_of(std::begin(marks), std::end(marks),
                          [](const Mark& mark) { return mark.letters.size() == mark.composed.size(); }),
              "each letter has its composed form");

/// A letter that has no form with the mark stays as it is.
char16_t withMark(std::uint32_t code, std::uint32_t mark) {
    if (mark == 0 && code == atSign) return u'@';
    const auto found = marks[mark].letters.find(static_cast<char16_t>(code));
    if (found != std::u16string_view::npos) return marks[mark].composed[found];
    if (code == 0x24) return u'¤';
    return code == 0x7F ? u'■' : static_cast<char16_t>(code);
}

char16_t characterOf(std::uint32_t mode, std::uint32_t code) {
    if (code < firstCharacter) return 0;
    if (mode == modeG2Character) return g2Rows[(code - firstCharacter) / 16][code % 16];
    return mode >= modeWithoutMark ? withMark(code, mode - modeWithoutMark) : char16_t{0};
}

/// The 18 bits of a triplet, first transmitted lowest. One wrong bit is corrected, two are refused.
std::optional<std::uint32_t> decodeHamming2418(std::span<const std::uint8_t, 3> bytes) {
    std::uint32_t word = bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16;
    std::uint32_t positions = 0;  // exclusive or of the numbers, from 1, of the bits that are set
    bool odd = false;
    for (std::uint32_t bit = 0; bit < 24; ++bit) {
        if ((word >> bit & 1) == 0) continue;
        odd = !odd;
        if (bit < 23) positions ^= bit + 1;
    }
    const std::uint32_t wrong = positions ^ 31;  // each of the five tests wants an odd number of bits
    if (wrong != 0) {
        if (odd || wrong > 23) return std::nullopt;
        word ^= 1U << (wrong - 1);
    }
    return (word >> 2 & 1) | (word >> 4 & 7) << 1 | (word >> 8 & 0x7F) << 4 | (word >> 16 & 0x7F) << 11;
}

}  // namespace

char16_t TeletextEnhancement::readTriplet(std::span<const std::uint8_t, 3> bytes, Place& place) {
    const auto triplet = decodeHamming2418(bytes);
    if (!triplet) return 0;
    const std::uint32_t address = *triplet & 0x3F;
    const std::uint32_t mode = *triplet >> 6 & 0x1F;
    if (address < firstRowAddress) {
        if (row_ < 1) return 0;
        place = {row_, static_cast<int>(address)};
        return characterOf(mode, *triplet >> 11);
    }
    if (mode == modeTermination) ended_ = true;
    if (mode == modeDisplayRow0) row_ = 0;
    if (mode == modeSetActivePosition || mode == modeFullRowColour) {
        row_ = address == firstRowAddress ? lastRow : static_cast<int>(address - firstRowAddress);
    }
    return 0;
}

}  // namespace zenquor::detail
