#include "zenquor/vanc/detail/TeletextReplacements.h"

#include <algorithm>

#include "zenquor/vanc/detail/TeletextCharacterSets.h"

namespace zenquor::detail {
namespace {

constexpr TeletextReplacement generalReplacements[] = {
    // Letters that another language writes for the same one.
    {u'ä', u"æ"},
    {u'Ä', u"Æ"},
    {u'ö', u"őø"},
    {u'Ö', u"ŐØ"},
    {u'ü', u"ű"},
    {u'Ü', u"Ű"},
    {u'ş', u"ș"},
    {u'Ş', u"Ș"},
    {u'ţ', u"ț"},
    {u'Ţ', u"Ț"},
    {u'ß', u"ẞ"},
    // Signs with a near one in some sets only.
    {u'#', u"♩♪♫♬♯"},  // subtitles mark singing so
    {u'*', u"♩♪♫♬♯#•●◦‣※"},
    {u'°', u"º˚"},
    {u'£', u"₤"},
    {u'₤', u"₺"},
    {u'$', u"¤"},
    {u'—', u"―⸺"},
    // What typesetters and word processors put for plain characters.
    {u' ',
     u"\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u200B\u200C"
     u"\u200D\u200E\u200F\u2028\u2029\u202F\u205F\u2060\u3000\uFEFF"},
    {u'-', u"\u00AD\u2010\u2011‒–—―⸺−﹣－~∼_¬"},
    {u'\'', u"‘’‚‛′‵´`ʹʻʼˈ‹›^＇"},
    {u'"', u"“”„‟″‶«»〝〞＂¨"},
    {u'.', u"…‥·∙⋅․"},
    {u',', u"¸"},
    {u'(', u"[{⟨〈"},
    {u')', u"]}⟩〉"},
    {u'/', u"\\|¦‖⁄∕∣÷"},
    {u'!', u"¡ǃ"},
    {u'?', u"¿‽"},
    {u'<', u"←≤"},
    {u'>', u"→≥"},
    {u'=', u"≈≠≡"},
    {u'+', u"±†‡"},
    {u'x', u"×"},
    {u'%', u"‰"},
    {u'0', u"⁰₀"},
    {u'1', u"¹₁"},
    {u'2', u"²₂"},
    {u'3', u"³₃"},
    {u'4', u"⁴₄"},
    {u'5', u"⁵₅"},
    {u'6', u"⁶₆"},
    {u'7', u"⁷₇"},
    {u'8', u"⁸₈"},
    {u'9', u"⁹₉"},
    // Letters without their marks; signs of currencies and the like by a letter of their name.
    {u'A', u"ÀÁÂÃÄÅĀĂĄǍǺẠẢẤẦẨẪẬẮẰẲẴẶÆǼ"},
    {u'B', u"Ḃ"},
    {u'C', u"ÇĆĈĊČ"},
    {u'D', u"ÐĎĐḊ"},
    {u'E', u"ÈÉÊËĒĔĖĘĚẸẺẼẾỀỂỄỆŒƏ€"},
    {u'F', u"Ḟ₣"},
    {u'G', u"ĜĞĠĢǤǦ"},
    {u'H', u"ĤĦ"},
    {u'I', u"ÌÍÎÏĨĪĬĮİỈỊ"},
    {u'J', u"Ĵ"},
    {u'K', u"ĶǨ"},
    {u'L', u"ĹĻĽĿŁ£₤₺"},
    {u'M', u"Ṁ"},
    {u'N', u"ÑŃŅŇŊ№"},
    {u'O', u"ÒÓÔÕÖØŌŎŐƠǑǾỌỎỐỒỔỖỘỚỜỞỠỢ"},
    {u'P', u"Ṗ¶₽"},
    {u'R', u"ŔŖŘ"},
    {u'S', u"ŚŜŞŠȘṠẞ$¤§"},
    {u'T', u"ŢŤŦȚÞṪ"},
    {u'U', u"ÙÚÛÜŨŪŬŮŰŲƯǓỤỦỨỪỬỮỰ"},
    {u'W', u"ŴẀẂẄ"},
    {u'Y', u"ÝŶŸỲỴỶỸĲ¥"},
    {u'Z', u"ŹŻŽƵ"},
    {u'a', u"àáâãäåāăąǎǻạảấầẩẫậắằẳẵặæǽª@"},
    {u'b', u"ḃ"},
    {u'c', u"çćĉċč¢©"},
    {u'd', u"ðďđḋ"},
    {u'e', u"èéêëēĕėęěẹẻẽếềểễệœə"},
    {u'f', u"ḟƒ"},
    {u'g', u"ĝğġģǥǧ"},
    {u'h', u"ĥħ"},
    {u'i', u"ìíîïĩīĭįıỉị"},
    {u'j', u"ĵ"},
    {u'k', u"ķĸǩ"},
    {u'l', u"ĺļľŀł"},
    {u'm', u"ṁ"},
    {u'n', u"ñńņňŉŋ"},
    {u'o', u"òóôõöøōŏőơǒǿọỏốồổỗộớờởỡợº°˚"},
    {u'p', u"ṗ"},
    {u'r', u"ŕŗř®"},
    {u's', u"śŝşšșṡßſ"},
    {u't', u"ţťŧțþṫ"},
    {u'u', u"ùúûüũūŭůűųưǔụủứừửữựµμ"},
    {u'w', u"ŵẁẃẅ"},
    {u'y', u"ýŷÿỳỵỷỹĳ"},
    {u'z', u"źżžƶ"},
};

/// A header that carries set 0 makes receivers show English. So this list gives, besides near characters, the
/// primary character of the code under which English has the wanted one, and keeps away from the codes that
/// would show something else.
constexpr TeletextReplacement primaryReplacements[] = {
    {u'_', u"#"},  {u'#', u"£₤"}, {u'¤', u"$"},  {u'[', u"←"},  {u'\\', u"½"}, {u']', u"→"},
    {u'^', u"↑"},  {u'`', u"—"},  {u'{', u"¼"},  {u'|', u"‖¦"}, {u'}', u"¾"},  {u'~', u"÷"},
    {u'(', u"[{"}, {u')', u"]}"}, {u'/', u"\\"}, {u'\'', u"`"}, {u'-', u"_~"},
};
constexpr TeletextReplacement frenchReplacements[] = {
    {u'e', u"æ"},  // as it is spoken: ex æquo
    {u'E', u"Æ"},
};
constexpr TeletextReplacement italianReplacements[] = {
    {u'à', u"á"},  // acute and grave are told apart on e alone
    {u'ì', u"í"},
    {u'ò', u"ó"},
    {u'ù', u"ú"},
};
constexpr TeletextReplacement englishReplacements[] = {
    {u'‖', u"|¦"},
    {u'↑', u"^"},
};
constexpr TeletextReplacement polishReplacements[] = {
    {u'Ƶ', u"Ż"},  // the same letter; the set draws it with a stroke
};

bool isOwnSource(char16_t character, std::uint32_t set) {
    const auto own = teletextOwnReplacements(set);
    return std::any_of(own.begin(), own.end(), [&](const TeletextReplacement& entry) {
        return entry.sources.find(character) != entry.sources.npos;
    });
}

bool hasForm(char16_t character, std::uint32_t set) {
    return teletextCode(character, set).has_value() || isOwnSource(character, set);
}

}  // namespace

std::span<const TeletextReplacement> teletextGeneralReplacements() {
    return generalReplacements;
}

std::span<const TeletextReplacement> teletextOwnReplacements(std::uint32_t set) {
    switch (set) {
        case 0:
            return primaryReplacements;
        case 1:
            return frenchReplacements;
        case 6:
            return italianReplacements;
        case 7:
            return englishReplacements;
        case 10:
            return polishReplacements;
        default:
            return {};
    }
}

char16_t teletextReplacement(char16_t character, std::uint32_t set) {
    if (isInEveryTeletextSet(character)) return character;
    if (!hasForm(character, set)) {
        for (const TeletextReplacement& entry : generalReplacements) {
            if (entry.sources.find(character) == entry.sources.npos || !hasForm(entry.target, set)) continue;
            character = entry.target;
            break;
        }
    }
    for (const TeletextReplacement& entry : teletextOwnReplacements(set)) {
        if (entry.sources.find(character) != entry.sources.npos) return entry.target;
    }
    return character;
}

}  // namespace zenquor::detail
