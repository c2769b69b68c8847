#include "zenquor/vanc/detail/TeletextCharacterSets.h"

#include <algorithm>
#include <iterator>

namespace zenquor::detail {
namespace {

constexpr std::u16string_view primaryRows[] = {
    u" !\"#¤%&'()*+,-./", u"0123456789:;<=>?", u"@ABCDEFGHIJKLMNO",
    u"PQRSTUVWXYZ[\\]^_", u"`abcdefghijklmno", u"pqrstuvwxyz{|}~■",
};

struct NationalOption {
    std::string_view name;
    std::u16string_view characters;
};

/// Sets 1 to 13. Sets 1 to 6 carry the numbers that a page header gives them, C12 being the lowest bit. The
/// header's 0 is English, but set 0 here is the primary set, which leaves the place 7, of no meaning in a
/// header, to English. The others follow in the order of the standard's table (ETS 300 706 table 36).
constexpr NationalOption options[] = {
    {"French", u"éïàëêùî#èâôûç"},
    {"SwedishFinnishHungarian", u"#¤ÉÄÖÅÜ_éäöåü"},
    {"CzechSlovak", u"#ůčťžýířéáěúš"},
    {"German", u"#$§ÄÖÜ^_°äöüß"},
    {"PortugueseSpanish", u"ç$¡áéíóú¿üñèà"},
    {"Italian", u"£$é°ç→↑#ùàòèì"},
    {"Undefined", u"£$@←½→↑#—¼‖¾÷"},
    {"Estonian", u"#õŠÄÖŽÜÕšäöžü"},
    {"LettishLithuanian", u"#$ŠėęŽčūšąųžį"},
    {"Polish", u"#ńąƵŚŁćóężśłź"},
    {"Rumanian", u"#¤ŢÂŞĂÎıţâşăî"},
    {"SerbianCroatianSlovenian", u"#ËČĆŽĐŠëčćžđš"},
    {"Turkish", u"₤ğİŞÖÇÜĞışöçü"},
};

constexpr bool areRowsComplete() {
    return std::size(primaryRows) == 6 &&
           std::all_of(std::begin(primaryRows), std::end(primaryRows),
                       [](std::u16string_view row) { return row.size() == 16; });
}
constexpr bool areOptionsComplete() {
    return std::size(options) == teletextSetCount - 1 &&
           std::all_of(std::begin(options), std::end(options), [](const NationalOption& option) {
               return option.characters.size() == teletextOptionCodes.size();
           });
}
static_assert(areRowsComplete(), "the primary set is six rows of sixteen characters");
static_assert(areOptionsComplete(), "a national option is thirteen characters");

constexpr std::array<TeletextMapping, teletextSetCount> makeMappings() {
    std::array<TeletextMapping, teletextSetCount> mappings{};
    for (TeletextMapping& mapping : mappings) {
        auto* next = mapping.data();
        for (const std::u16string_view row : primaryRows) next = std::copy(row.begin(), row.end(), next);
    }
    for (std::size_t set = 1; set < teletextSetCount; ++set) {
        for (std::size_t i = 0; i < teletextOptionCodes.size(); ++i) {
            mappings[set][teletextOptionCodes[i] - teletextFirstCharacter] = options[set - 1].characters[i];
        }
    }
    return mappings;
}
constexpr auto mappings = makeMappings();

}  // namespace

const TeletextMapping& teletextMapping(std::uint32_t set) {
    return mappings[set < teletextSetCount ? set : 0];
}

std::string_view teletextSetName(std::uint32_t set) {
    return set == 0 || set >= teletextSetCount ? "English" : options[set - 1].name;
}

std::optional<std::uint8_t> teletextCode(char16_t character, std::uint32_t set) {
    const TeletextMapping& mapping = teletextMapping(set);
    const auto found = std::find(mapping.begin(), mapping.end(), character);
    if (found == mapping.end()) return std::nullopt;
    return static_cast<std::uint8_t>(found - mapping.begin() + teletextFirstCharacter);
}

}  // namespace zenquor::detail
