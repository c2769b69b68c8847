#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

#include <gtest/gtest.h>

#include "Bytes.h"

using Packet = zenquor::ZQRVANCCEA608Packet;

namespace {

std::string pairs(const std::vector<Packet>& packets) {
    std::string text;
    for (const Packet& packet : packets)
        text += fmt::format("{}{:04x}", text.empty() ? "" : " ", packet.bytePair());
    return text;
}

}  // namespace

TEST(ZQRVANCCEA608Packet, DecodesTheCodesOfTheStandard) {
    const struct {
        std::uint16_t pair;
        const char* text;
    } cases[] = {
        {0x8080, "CEA608 channel 0 0000 NULL"},
        {0x9420, "CEA608 channel 0 1420 Control Code Resume Caption Loading"},
        {0x1C2F, "CEA608 channel 1 1c2f Control Code End Of Caption"},
        {0x152C, "CEA608 channel 2 152c Control Code Erase Displayed Memory"},
        {0x1D2D, "CEA608 channel 3 1d2d Control Code Carriage Return"},
        {0x1148, "CEA608 channel 0 1148 Preamble Style row 1 style Red"},
        {0x1A6F, "CEA608 channel 1 1a6f Preamble Style row 4 style Italic White underlined"},
        {0x1040, "CEA608 channel 0 1040 Preamble Style row 11 style White"},
        {0x1470, "CEA608 channel 0 1470 Preamble Address row 15 position 0"},
        {0x135E, "CEA608 channel 0 135e Preamble Address row 12 position 28"},
        {0x172D, "CEA608 channel 0 172d Midrow Background background No Background"},
        {0x112F, "CEA608 channel 0 112f Midrow Style style Italic White underlined"},
        {0x1025, "CEA608 channel 0 1025 Midrow Background background Blue partially transparent"},
        {0x1F2F, "CEA608 channel 1 1f2f Midrow Black Text"},
        {0x9723, "CEA608 channel 0 1723 Tabs offset 3"},
        {0x1139, "CEA608 channel 0 1139 Special North American Transparent Space"},
        {0x1937, "CEA608 channel 1 1937 Special North American ♪"},
        {0xC12A, "CEA608 channel 0 412a Character Pair Aá"},
        {0xC180, "CEA608 channel 0 4100 Character Pair A"},
        {0xC849, "CEA608 channel 1 4849 Character Pair HI"},  // bit 3 of the first character
        {0x1220, "CEA608 channel 0 1220 Unknown"},
        {0x0143, "CEA608 channel 0 0143 Unknown"},
    };
    for (const auto& c : cases) EXPECT_EQ(Packet::initWithBytePair(c.pair).debugDescription(), c.text);
}

TEST(ZQRVANCCEA608Packet, EveryPairIsEncodedAsItWasReadExceptWhereTheStandardHasTwoForms) {
    for (unsigned hi = 0; hi < 0x80; ++hi) {
        for (unsigned lo = 0; lo < 0x80; ++lo) {
            const auto pair = static_cast<std::uint16_t>(hi << 8 | lo);
            const Packet packet = Packet::initWithBytePair(pair);
            std::uint16_t expected = pair;
            if ((pair & 0x777F) == 0x172F) expected = pair & 0x7F7E;  // black underlined reads as black
            const bool isPAC =
                packet.type() == Packet::PreambleStyle || packet.type() == Packet::PreambleAddress;
            if (isPAC && packet.description().value == 11)
                expected = pair | 0x0100;  // row 11 is sent as row 1
            if (isPAC && (pair & 0x0720) == 0x0020)
                expected = (pair & 0x7F5F) | 0x0300;  // row 12 has two codes
            EXPECT_EQ(packet.bytePair() & 0x7F7F, expected) << fmt::format("{:04x}", pair);
            EXPECT_EQ(packet.description().bytePair, pair);
        }
    }
}

TEST(ZQRVANCCEA608Packet, BuildsCodesForEveryRowAndChannel) {
    // First byte and style byte of white text on rows 1 to 15 of channel 1, CEA-608-E table 53; row 11 goes
    // out as row 1.
    const std::uint16_t rows[] = {0x1140, 0x1160, 0x1240, 0x1260, 0x1540, 0x1560, 0x1640, 0x1660,
                                  0x1740, 0x1760, 0x1140, 0x1340, 0x1360, 0x1440, 0x1460};
    for (int row = 1; row <= 15; ++row) {
        EXPECT_EQ(Packet::initWithPreambleStyle(0, row, false, 0).description().bytePair, rows[row - 1])
            << row;
    }
    EXPECT_EQ(Packet::initWithPreambleAddress(8, 16, false, 0).description().bytePair, 0x0004);
    constexpr std::uint16_t controls[] = {0x142C, 0x1C2C, 0x152C, 0x1D2C};
    for (std::uint32_t channel = 0; channel < 4; ++channel) {
        EXPECT_EQ(Packet::initWithControlCode(12, channel).description().bytePair, controls[channel]);
        EXPECT_EQ(Packet::initWithTabs(2, channel).description().bytePair, channel == 1 ? 0x1F22 : 0x1722);
    }
    static_assert(Packet::initWithCharacter('A', 'B', 0).bytePair() == 0xC1C2);
    static_assert(Packet::initNULLPacketForChannel(0).bytePair() == 0x8080);
    EXPECT_EQ(hex(Packet::initWithSpecialWestEuropeanCharacter(0x1F, true, 1).data()), "19 bf");
    EXPECT_FALSE(Packet::initWithData(bytes("94")));
    EXPECT_EQ(Packet::initWithData(bytes("94 2c 00")), Packet::initWithControlCode(12, 0));
}

TEST(ZQRVANCCEA608Packet, EncodesTextTwoCharactersToAPair) {
    const struct {
        const char16_t* text;
        int filler;
        bool extended;
        const char* pairs;
    } cases[] = {
        {u"AB", 0, false, "c1c2"},          {u"A", 0, false, "c180"},
        {u"A®", 0, false, "c180 91b0"},     {u"A€B", 0, false, "c1c2"},
        {u"A€B", 0x20, false, "c120 c280"}, {u"áéíóúç÷Ññ■’", 0, false, "2adc 5edf e0fb 7cfd fe7f a780"},
        {u"ÜA", 0, false, "c180"},          {u"AÜ└B", 0, true, "c180 91a4 913e c280"},
        {u"a b", 0, false, "6120 6280"},    {u"", 0x20, true, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(pairs(Packet::packetsEncodingString(c.text, 3, 0, c.filler, c.extended)), c.pairs);
    }
}

TEST(ZQRVANCCEA608Packet, PositionsByFoursAndTabs) {
    EXPECT_EQ(pairs(Packet::packetsForPosition(6, 15, false, 0)), "94f2 97a2");
    EXPECT_EQ(pairs(Packet::packetsForPosition(8, 15, true, 1)), "1c75");
    EXPECT_EQ(pairs(Packet::packetsForStartOfCaptionOnChannel(0)), "9420 94ae");
    EXPECT_EQ(pairs(Packet::packetsForClearCaptionOnChannel(0)), "942c");
    EXPECT_EQ(pairs(Packet::packetsForFlipCaptionsOnChannel(1)), "1c20 1c2f");
}
