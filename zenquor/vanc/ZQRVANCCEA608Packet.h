#pragma once
// One CEA-608 byte pair and its meaning.

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zenquor {

/// A CEA-608 byte pair, decoded into its meaning or built from one.
///
/// Characters of a character pair are codes of the basic set (0x20 to 0x7F); texts are UTF-16.
///
/// Thread-safety: Safe; an immutable value.
/// Standards:     CEA-608-E.
class ZQRVANCCEA608Packet {
public:
    /// What a pair means; the number is the index in typeNames().
    enum Type : std::uint32_t {
        ControlCode = 0,
        PreambleStyle = 1,
        PreambleAddress = 2,
        MidrowStyle = 3,
        MidrowBackground = 4,
        MidrowBlackText = 5,
        CharacterPair = 6,
        Tabs = 7,
        SpecialNorthAmerican = 8,
        SpecialWestEuropean = 9,
        Null = 10,
        Unknown = 11,
    };
    /// Control codes that the library itself sends.
    enum Control : std::int32_t {
        ResumeCaptionLoading = 0,
        EraseDisplayedMemory = 12,
        EraseNonDisplayedMemory = 14,
        EndOfCaption = 15,
    };

    struct Description {
        std::uint32_t type = Unknown;
        std::uint32_t channel = 0;   // 0 to 3 for CC1 to CC4
        std::uint16_t bytePair = 0;  // first byte in the high half, without parity
        /// Control code 0–15, PAC row 1–15, mid-row style 0–7, background colour 0–8, tab count 1–3, index of
        /// a special character, or both codes of a character pair (first one in the low half).
        std::int32_t value = 0;
        std::int32_t value2 = 0;  // PAC style 0–7 or column
        bool flag = false;        // mid-row underline, partly transparent background, or Spanish/French set
        bool underlined = false;  // PAC underline
        friend constexpr bool operator==(const Description&, const Description&) = default;
    };

    /// The first two bytes; nothing when there are fewer.
    static constexpr std::optional<ZQRVANCCEA608Packet> initWithData(std::span<const std::uint8_t> data) {
        if (data.size() < 2) return std::nullopt;
        return initWithHiByte(data[0], data[1]);
    }
    static constexpr ZQRVANCCEA608Packet initWithHiByte(std::uint8_t hi, std::uint8_t lo) {
        return initWithBytePair(static_cast<std::uint16_t>(hi << 8 | lo));
    }
    /// Decodes a pair, with or without parity; parity is not checked.
    static constexpr ZQRVANCCEA608Packet initWithBytePair(std::uint16_t pair) {
        return ZQRVANCCEA608Packet(decode(pair));
    }
    static constexpr ZQRVANCCEA608Packet initWithControlCode(std::int32_t code, std::uint32_t channel) {
        return made({ControlCode, channel, 0, code});
    }
    static constexpr ZQRVANCCEA608Packet initWithPreambleStyle(std::int32_t style, std::int32_t row,
                                                               bool underlined, std::uint32_t channel) {
        return made({PreambleStyle, channel, 0, row, style, false, underlined});
    }
    static constexpr ZQRVANCCEA608Packet initWithPreambleAddress(std::int32_t column, std::int32_t row,
                                                                 bool underlined, std::uint32_t channel) {
        return made({PreambleAddress, channel, 0, row, column, false, underlined});
    }
    static constexpr ZQRVANCCEA608Packet initWithMidrowStyle(std::int32_t style, bool underlined,
                                                             std::uint32_t channel) {
        return made({MidrowStyle, channel, 0, style, 0, underlined});
    }
    /// @param colour  0 to 7, or 8 for no background.
    static constexpr ZQRVANCCEA608Packet initWithMidrowBackground(std::int32_t colour,
                                                                  bool partiallyTransparent,
                                                                  std::uint32_t channel) {
        return made({MidrowBackground, channel, 0, colour, 0, partiallyTransparent});
    }
    static constexpr ZQRVANCCEA608Packet initWithMidrowBlackTextForChannel(std::uint32_t channel) {
        return made({MidrowBlackText, channel});
    }
    /// Two codes of the basic set; 0 as @p second means none.
    static constexpr ZQRVANCCEA608Packet initWithCharacter(std::uint16_t first, std::uint16_t second,
                                                           std::uint32_t channel) {
        return made({CharacterPair, channel, 0, halves(first, second)});
    }
    static constexpr ZQRVANCCEA608Packet initWithTabs(std::int32_t count, std::uint32_t channel) {
        return made({Tabs, channel, 0, count});
    }
    static constexpr ZQRVANCCEA608Packet initWithSpecialNorthAmericanCharacter(std::int32_t index,
                                                                               std::uint32_t channel) {
        return made({SpecialNorthAmerican, channel, 0, index});
    }
    /// The pair does not tell the set: both sets encode alike.
    static constexpr ZQRVANCCEA608Packet initWithSpecialWestEuropeanCharacter(std::int32_t index,
                                                                              bool spanishFrench,
                                                                              std::uint32_t channel) {
        return made({SpecialWestEuropean, channel, 0, index, 0, spanishFrench});
    }
    static constexpr ZQRVANCCEA608Packet initNULLPacketForChannel(std::uint32_t channel) {
        return made({Null, channel});
    }

    constexpr const Description& description() const { return description_; }
    constexpr std::uint32_t type() const { return description_.type; }
    constexpr std::uint32_t channel() const { return description_.channel; }
    /// The codes of a character pair; the second is 0 for none.
    constexpr std::uint16_t firstCharacter() const { return static_cast<std::uint16_t>(description_.value); }
    constexpr std::uint16_t secondCharacter() const {
        return static_cast<std::uint16_t>(static_cast<std::uint32_t>(description_.value) >> 16);
    }
    /// The encoded pair with odd parity.
    constexpr std::uint16_t bytePair() const {
        const std::uint16_t pair = encode(description_);
        return static_cast<std::uint16_t>(oddParity(pair >> 8) << 8 | oddParity(pair));
    }
    /// The same as two bytes, in the order of transmission.
    constexpr std::array<std::uint8_t, 2> data() const {
        const std::uint16_t pair = bytePair();
        return {static_cast<std::uint8_t>(pair >> 8), static_cast<std::uint8_t>(pair)};
    }
    /// "CEA608 channel …" with the pair and what it means, for logs.
    std::string debugDescription() const;

    /// The pairs that send @p text, two characters of the basic set to a pair.
    /// @param line    has no influence.
    /// @param filler  the basic-set code (low 8 bits) for characters that cannot be sent; 0 drops them.
    /// @param allowSpecialWestEuropeanCharacters  also use the two extended sets.
    static std::vector<ZQRVANCCEA608Packet> packetsEncodingString(std::u16string_view text, std::int32_t line,
                                                                  std::uint32_t channel, std::int32_t filler,
                                                                  bool allowSpecialWestEuropeanCharacters);
    /// A preamble address and, where the column is no multiple of 4, tabs.
    static std::vector<ZQRVANCCEA608Packet> packetsForPosition(std::int32_t column, std::int32_t row,
                                                               bool underlined, std::uint32_t channel);
    static std::vector<ZQRVANCCEA608Packet> packetsForStartOfCaptionOnChannel(std::uint32_t channel);
    static std::vector<ZQRVANCCEA608Packet> packetsForClearCaptionOnChannel(std::uint32_t channel);
    static std::vector<ZQRVANCCEA608Packet> packetsForFlipCaptionsOnChannel(std::uint32_t channel);

    /// The index of the first entry of @p set that equals @p character, or −1.
    static std::int32_t matchCharacter(char16_t character, std::u16string_view set);
    /// 96 characters; the code is the index plus 0x20.
    static std::u16string_view basicCharacters();
    /// 16 characters; number 9 is the transparent space.
    static std::u16string_view specialNorthAmericanCharacters();
    /// 32 characters each.
    static std::u16string_view frenchSpanishCharacters();
    static std::u16string_view portugueseGermanDanishCharacters();

    /// Names by code, UTF-8.
    static std::span<const std::string_view> typeNames();
    static std::span<const std::string_view> controlCodeNames();
    static std::span<const std::string_view> textStyleNames();
    static std::span<const std::string_view> backgroundNames();
    static std::span<const std::string> specialNorthAmericanNames();
    static std::span<const std::string> specialFrenchSpanishNames();
    static std::span<const std::string> specialPortugueseGermanDanishNames();

    /// The row of a preamble address code; @p extended for first bytes 0x14 to 0x17 (channel bit aside).
    static constexpr std::int32_t rowFor608Pair(std::uint16_t pair, bool extended) {
        constexpr std::uint8_t rows[2][8] = {{11, 12, 1, 2, 3, 4, 12, 13}, {14, 15, 5, 6, 7, 8, 9, 10}};
        return rows[extended][(pair >> 8 & 3) * 2 + (pair >> 5 & 1)];
    }
    /// A preamble address code for @p row; 0 for a row outside 1 to 15. Row 11 is sent as row 1.
    static constexpr std::uint16_t bytePairForRow(std::int32_t row, std::uint16_t mask,
                                                  std::uint16_t extendedMask) {
        struct Bits {
            std::uint16_t bits;
            bool extended;
        };
        constexpr Bits rows[15] = {{0x0100, false}, {0x0120, false}, {0x0200, false}, {0x0220, false},
                                   {0x0100, true},  {0x0120, true},  {0x0200, true},  {0x0220, true},
                                   {0x0300, true},  {0x0320, true},  {0x0100, false}, {0x0300, false},
                                   {0x0320, false}, {0x0000, true},  {0x0020, true}};
        if (row < 1 || row > 15) return 0;
        const Bits& entry = rows[row - 1];
        return static_cast<std::uint16_t>((entry.extended ? extendedMask : mask) + entry.bits);
    }

    friend constexpr bool operator==(const ZQRVANCCEA608Packet&, const ZQRVANCCEA608Packet&) = default;

private:
    explicit constexpr ZQRVANCCEA608Packet(const Description& description) : description_(description) {}
    static constexpr ZQRVANCCEA608Packet made(Description description) {
        description.bytePair = encode(description) & 0x7F7F;
        return ZQRVANCCEA608Packet(description);
    }
    static constexpr std::int32_t halves(std::uint16_t first, std::uint16_t second) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(second) << 16 | first);
    }
    static constexpr unsigned oddParity(unsigned byte) {
        const unsigned bits = byte & 0x7F;
        return bits | (std::popcount(bits) % 2 == 0 ? 0x80U : 0U);
    }
    static constexpr std::uint16_t encode(const Description& d);
    static constexpr Description decode(std::uint16_t pair);

    Description description_;
};

constexpr std::uint16_t ZQRVANCCEA608Packet::encode(const Description& d) {
    const std::uint32_t channel = d.channel == 1 ? 0x0800 : 0;
    const auto value = static_cast<std::uint32_t>(d.value);
    const auto value2 = static_cast<std::uint32_t>(d.value2);
    const std::uint32_t underlined = d.underlined ? 1 : 0;
    const std::uint32_t flag = d.flag ? 1 : 0;
    std::uint32_t pair = d.bytePair;
    switch (static_cast<Type>(d.type)) {
        case ControlCode:
            pair = 0x1420 + value + (d.channel == 2 || d.channel == 3 ? 0x0100 : 0) +
                   (d.channel == 1 || d.channel == 3 ? 0x0800 : 0);
            break;
        case PreambleStyle:
            pair = bytePairForRow(d.value, 0x1040, 0x1440) + value2 * 2 + underlined + channel;
            break;
        case PreambleAddress:
            pair = bytePairForRow(d.value, 0x1050, 0x1450) + static_cast<std::uint32_t>(d.value2 / 4) * 2 +
                   underlined + channel;
            break;
        case MidrowStyle:
            pair = 0x1120 + value * 2 + flag + channel;
            break;
        case MidrowBackground:
            pair = d.value == 8 ? 0x172D + channel : 0x1020 + value * 2 + flag + channel;
            break;
        case MidrowBlackText:
            pair = 0x172E + channel;
            break;
        case CharacterPair:
            pair = (value & 0xFFFF) * 256 + (value >> 16);
            break;
        case Tabs:
            pair = 0x1720 + value + channel;
            break;
        case SpecialNorthAmerican:
            pair = 0x1130 + value + channel;
            break;
        case SpecialWestEuropean:
            pair = 0x1120 + value + channel;
            break;
        case Null:
            pair = 0;
            break;
        case Unknown:
            break;
    }
    return static_cast<std::uint16_t>(pair);
}

constexpr ZQRVANCCEA608Packet::Description ZQRVANCCEA608Packet::decode(std::uint16_t rawPair) {
    const auto pair = static_cast<std::uint16_t>(rawPair & 0x7F7F);
    const std::uint32_t channel = (pair & 0x0800) != 0 ? 1 : 0;
    const bool lowBit = (pair & 1) != 0;
    const bool extended = (pair & 0x0400) != 0;
    const std::int32_t style = pair >> 1 & 7;
    if (pair == 0) return {Null, 0, pair};
    if ((pair & 0x6000) != 0) {
        // The channel bit is part of the first character here, but is reported like that of every pair.
        return {CharacterPair, channel, pair, halves(pair >> 8 & 0x7F, pair & 0x7F)};
    }
    switch (pair & 0x7450) {
        case 0x1040:
        case 0x1440:
            return {PreambleStyle, channel, pair, rowFor608Pair(pair, extended), style, false, lowBit};
        case 0x1050:
        case 0x1450:
            return {PreambleAddress, channel, pair, rowFor608Pair(pair, extended), style * 4, false, lowBit};
        default:
            break;
    }
    if ((pair & 0x7770) == 0x1120) return {MidrowStyle, channel, pair, style, 0, lowBit};
    if ((pair & 0x7770) == 0x1020) return {MidrowBackground, channel, pair, style, 0, lowBit};
    if ((pair & 0x777F) == 0x172D) return {MidrowBackground, channel, pair, 8};
    if ((pair & 0x777E) == 0x172E) return {MidrowBlackText, channel, pair};
    if ((pair & 0x7670) == 0x1420) {
        return {ControlCode, (pair & 0x0100) != 0 ? channel + 2 : channel, pair, pair & 15};
    }
    if ((pair & 0x777C) == 0x1720) return {Tabs, channel, pair, pair & 3};
    if ((pair & 0x7770) == 0x1130) return {SpecialNorthAmerican, channel, pair, pair & 15};
    return {Unknown, 0, pair};
}

}  // namespace zenquor
