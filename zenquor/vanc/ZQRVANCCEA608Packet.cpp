#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"

namespace zenquor {
namespace {

constexpr std::uint16_t basicSetBase = 0x20;

/// The basic set: ASCII, with letters of other alphabets in the place of some signs.
constexpr auto basicSet = [] {
    std::array<char16_t, 96> set{};
    for (std::size_t i = 0; i < set.size(); ++i) set[i] = static_cast<char16_t>(basicSetBase + i);
    constexpr struct {
        std::uint8_t code;
        char16_t character;
    } replaced[] = {{0x27, 0x2019}, {0x2A, u'á'}, {0x5C, u'é'}, {0x5E, u'í'}, {0x5F, u'ó'},  {0x60, u'ú'},
                    {0x7B, u'ç'},   {0x7C, u'÷'}, {0x7D, u'Ñ'}, {0x7E, u'ñ'}, {0x7F, 0x25A0}};
    for (const auto& entry : replaced) set[entry.code - basicSetBase] = entry.character;
    return set;
}();
constexpr std::u16string_view northAmericanSet = u"®°½¿™¢£♪à èâêîôû";
constexpr std::u16string_view frenchSpanishSet = u"ÁÉÓÚÜü´¡*'─©℠·“”ÀÂÇÈÊËëÎÏïÔÙùÛ«»";
constexpr std::u16string_view portugueseGermanDanishSet = u"ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥¤│ÅåØø┌┐└┘";
static_assert(northAmericanSet.size() == 16 && frenchSpanishSet.size() == 32 &&
              portugueseGermanDanishSet.size() == 32);

constexpr std::string_view types[] = {"Control Code",
                                      "Preamble Style",
                                      "Preamble Address",
                                      "Midrow Style",
                                      "Midrow Background",
                                      "Midrow Black Text",
                                      "Character Pair",
                                      "Tabs",
                                      "Special North American",
                                      "Special West European",
                                      "NULL",
                                      "Unknown"};
constexpr std::string_view controlCodes[] = {"Resume Caption Loading",
                                             "Backspace",
                                             "Reserved (Formerly Alarm Off)",
                                             "Reserved (Formerly Alarm On)",
                                             "Delete To End Of Row",
                                             "Roll Up Captions 2 Rows",
                                             "Roll Up Captions 3 Rows",
                                             "Roll Up Captions 4 Rows",
                                             "Flash On",
                                             "Resume Direct Captioning",
                                             "Text Restart",
                                             "Resume Text Display",
                                             "Erase Displayed Memory",
                                             "Carriage Return",
                                             "Erase Non Displayed Memory",
                                             "End Of Caption"};
constexpr std::string_view textStyles[] = {"White", "Green",  "Blue",    "Cyan",
                                           "Red",   "Yellow", "Magenta", "Italic White"};
constexpr std::string_view backgrounds[] = {"White",  "Green",   "Blue",  "Cyan",         "Red",
                                            "Yellow", "Magenta", "Black", "No Background"};

/// Each character of a set as a text of its own.
std::vector<std::string> namesOfSet(std::u16string_view set) {
    std::vector<std::string> names;
    names.reserve(set.size());
    for (std::size_t i = 0; i < set.size(); ++i) names.push_back(utf8FromUTF16(set.substr(i, 1)));
    return names;
}

template <typename Text>
std::string_view name(std::span<const Text> names, std::int32_t index) {
    const bool isKnown = index >= 0 && static_cast<std::size_t>(index) < names.size();
    return isKnown ? std::string_view(names[static_cast<std::size_t>(index)]) : "(null)";
}

/// The character of a basic-set code; the replacement character for a code outside the set.
std::string basicCharacter(std::uint16_t code) {
    const auto index = static_cast<std::size_t>(code) - basicSetBase;
    const char16_t character = index < basicSet.size() ? basicSet[index] : u'\uFFFD';
    return utf8FromUTF16({&character, 1});
}

/// Collects pairs, two characters of the basic set to a pair.
class PairWriter {
public:
    explicit PairWriter(std::uint32_t channel) : channel_(channel) {}

    void addBasic(std::uint16_t code) {
        if (pending_ == none) {
            pending_ = code;
            return;
        }
        emitPair(code);
    }
    /// A character that takes a pair of its own.
    void addSpecial(const ZQRVANCCEA608Packet& packet) {
        flush();
        packets_.push_back(packet);
    }
    std::vector<ZQRVANCCEA608Packet> finish() {
        flush();
        return std::move(packets_);
    }

private:
    static constexpr int none = -1;

    void emitPair(std::uint16_t second) {
        const auto first = static_cast<std::uint16_t>(std::exchange(pending_, none));
        packets_.push_back(ZQRVANCCEA608Packet::initWithCharacter(first, second, channel_));
    }
    void flush() {
        if (pending_ != none) emitPair(0);
    }

    std::uint32_t channel_;
    int pending_ = none;  // the first character of a pair that still lacks the second
    std::vector<ZQRVANCCEA608Packet> packets_;
};

/// The pair of a character outside the basic set; nothing when no allowed set has it.
std::optional<ZQRVANCCEA608Packet> specialCharacter(char16_t character, std::uint32_t channel,
                                                    bool allowExtended) {
    using Packet = ZQRVANCCEA608Packet;
    std::int32_t index = Packet::matchCharacter(character, northAmericanSet);
    if (index >= 0) return Packet::initWithSpecialNorthAmericanCharacter(index, channel);
    if (!allowExtended) return std::nullopt;
    index = Packet::matchCharacter(character, frenchSpanishSet);
    if (index >= 0) return Packet::initWithSpecialWestEuropeanCharacter(index, true, channel);
    index = Packet::matchCharacter(character, portugueseGermanDanishSet);
    if (index >= 0) return Packet::initWithSpecialWestEuropeanCharacter(index, false, channel);
    return std::nullopt;
}

}  // namespace

std::string ZQRVANCCEA608Packet::debugDescription() const {
    const Description& d = description_;
    const auto style = [&](std::int32_t index) { return name(textStyleNames(), index); };
    const char* const underline = d.underlined ? " underlined" : "";
    std::string text = fmt::format("CEA608 channel {} {:04x} {}", d.channel, d.bytePair,
                                   name(typeNames(), static_cast<std::int32_t>(d.type)));
    switch (static_cast<Type>(d.type)) {
        case ControlCode:
            return text + fmt::format(" {}", name(controlCodeNames(), d.value));
        case SpecialNorthAmerican:
            return text + fmt::format(" {}", name(specialNorthAmericanNames(), d.value));
        case PreambleStyle:
            return text + fmt::format(" row {} style {}{}", d.value, style(d.value2), underline);
        case PreambleAddress:
            return text + fmt::format(" row {} position {}{}", d.value, d.value2, underline);
        case MidrowStyle:
            return text + fmt::format(" style {}{}", style(d.value), d.flag ? " underlined" : "");
        case MidrowBackground:
            return text + fmt::format(" background {}{}", name(backgroundNames(), d.value),
                                      d.flag ? " partially transparent" : "");
        case CharacterPair:
            text.append(" ").append(basicCharacter(firstCharacter()));
            return secondCharacter() != 0 ? text + basicCharacter(secondCharacter()) : text;
        case Tabs:
            return text + fmt::format(" offset {}", d.value);
        case SpecialWestEuropean:
            return text + (d.flag
                               ? fmt::format(" Spanish/French {}", name(specialFrenchSpanishNames(), d.value))
                               : fmt::format(" Portuguese/German/Danish {}",
                                             name(specialPortugueseGermanDanishNames(), d.value)));
        case MidrowBlackText:
        case Null:
        case Unknown:
            break;
    }
    return text;
}

std::vector<ZQRVANCCEA608Packet> ZQRVANCCEA608Packet::packetsEncodingString(
    std::u16string_view text, std::int32_t /*line*/, std::uint32_t channel, std::int32_t filler,
    bool allowSpecialWestEuropeanCharacters) {
    PairWriter pairs(channel);
    for (const char16_t character : text) {
        if (const std::int32_t index = matchCharacter(character, basicCharacters()); index >= 0) {
            pairs.addBasic(static_cast<std::uint16_t>(index + basicSetBase));
        } else if (const auto special =
                       specialCharacter(character, channel, allowSpecialWestEuropeanCharacters)) {
            pairs.addSpecial(*special);
        } else if (filler != 0) {
            pairs.addBasic(static_cast<std::uint16_t>(filler & 0xFF));
        }
    }
    return pairs.finish();
}

std::vector<ZQRVANCCEA608Packet> ZQRVANCCEA608Packet::packetsForPosition(std::int32_t column,
                                                                         std::int32_t row, bool underlined,
                                                                         std::uint32_t channel) {
    const std::int32_t addressed = column / 4 * 4;
    std::vector<ZQRVANCCEA608Packet> packets = {initWithPreambleAddress(addressed, row, underlined, channel)};
    if (column > addressed) packets.push_back(initWithTabs(column - addressed, channel));
    return packets;
}

std::vector<ZQRVANCCEA608Packet> ZQRVANCCEA608Packet::packetsForStartOfCaptionOnChannel(
    std::uint32_t channel) {
    return {initWithControlCode(ResumeCaptionLoading, channel),
            initWithControlCode(EraseNonDisplayedMemory, channel)};
}

std::vector<ZQRVANCCEA608Packet> ZQRVANCCEA608Packet::packetsForClearCaptionOnChannel(std::uint32_t channel) {
    return {initWithControlCode(EraseDisplayedMemory, channel)};
}

std::vector<ZQRVANCCEA608Packet> ZQRVANCCEA608Packet::packetsForFlipCaptionsOnChannel(std::uint32_t channel) {
    return {initWithControlCode(ResumeCaptionLoading, channel), initWithControlCode(EndOfCaption, channel)};
}

std::int32_t ZQRVANCCEA608Packet::matchCharacter(char16_t character, std::u16string_view set) {
    const auto position = set.find(character);
    return position == std::u16string_view::npos ? -1 : static_cast<std::int32_t>(position);
}

std::u16string_view ZQRVANCCEA608Packet::basicCharacters() {
    return {basicSet.data(), basicSet.size()};
}
std::u16string_view ZQRVANCCEA608Packet::specialNorthAmericanCharacters() {
    return northAmericanSet;
}
std::u16string_view ZQRVANCCEA608Packet::frenchSpanishCharacters() {
    return frenchSpanishSet;
}
std::u16string_view ZQRVANCCEA608Packet::portugueseGermanDanishCharacters() {
    return portugueseGermanDanishSet;
}

std::span<const std::string_view> ZQRVANCCEA608Packet::typeNames() {
    return types;
}
std::span<const std::string_view> ZQRVANCCEA608Packet::controlCodeNames() {
    return controlCodes;
}
std::span<const std::string_view> ZQRVANCCEA608Packet::textStyleNames() {
    return textStyles;
}
std::span<const std::string_view> ZQRVANCCEA608Packet::backgroundNames() {
    return backgrounds;
}

std::span<const std::string> ZQRVANCCEA608Packet::specialNorthAmericanNames() {
    static const std::vector<std::string> names = [] {
        auto characters = namesOfSet(northAmericanSet);
        characters[9] = "Transparent Space";
        return characters;
    }();
    return names;
}
std::span<const std::string> ZQRVANCCEA608Packet::specialFrenchSpanishNames() {
    static const std::vector<std::string> names = namesOfSet(frenchSpanishSet);
    return names;
}
std::span<const std::string> ZQRVANCCEA608Packet::specialPortugueseGermanDanishNames() {
    static const std::vector<std::string> names = namesOfSet(portugueseGermanDanishSet);
    return names;
}

}  // namespace zenquor
