// The text encodings of caption lines.
#include "zenquor/sidecar/ZQRSidecarCaption.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace zenquor {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const ZQRSidecarCaption& caption) {
    return {caption.data().begin(), caption.data().end()};
}

std::string encoded(const Bytes& bytes, bool mcc) {
    auto caption = ZQRSidecarCaption::init();
    caption->replaceData(bytes);
    std::string text;
    caption->encodeData(text, mcc);
    return text;
}

TEST(SidecarCaption, MCCTextNeverCompressesTheLastBytes) {
    const std::pair<Bytes, const char*> cases[] = {
        {{0xFA, 0, 0}, "FA0000"},
        {{0xFA, 0, 0, 0xFA, 0, 0}, "GFA0000"},
        {{0xFA, 0, 0, 0xFA, 0, 0, 0x74}, "H74"},
        {{0x01, 0xE1, 0, 0}, "01E10000"},
        {{0x00, 0x00}, "Z00"},
        {{0xFA}, "FA"},
        {{}, ""},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(encoded(bytes, true), text);
}

TEST(SidecarCaption, EveryLetterStandsForItsBytesInBothDirections) {
    std::vector<std::pair<char, Bytes>> cases = {{'P', {0xFB, 0x80, 0x80}},
                                                 {'Q', {0xFC, 0x80, 0x80}},
                                                 {'R', {0xFD, 0x80, 0x80}},
                                                 {'S', {0x96, 0x69}},
                                                 {'T', {0x61, 0x01}},
                                                 {'U', {0xE1, 0x00, 0x00}},
                                                 {'V', {}},
                                                 {'W', {}},
                                                 {'X', {}},
                                                 {'Y', {}},
                                                 {'Z', {0x00}}};
    Bytes triples;
    for (char letter = 'G'; letter <= 'O'; ++letter) {
        triples.insert(triples.end(), {0xFA, 0x00, 0x00});
        cases.emplace_back(letter, triples);
    }
    for (auto [letter, bytes] : cases) {
        auto caption = ZQRSidecarCaption::init();
        EXPECT_TRUE(caption->appendNibble(letter, true)) << letter;
        EXPECT_EQ(bytesOf(*caption), bytes) << letter;
        EXPECT_FALSE(caption->appendNibble(letter, false)) << letter;
        if (bytes.empty()) continue;
        bytes.push_back(0x42);
        EXPECT_EQ(encoded(bytes, true), std::string(1, letter) + "42");
    }
}

TEST(SidecarCaption, DecodingPairsNibblesAcrossSpacesAndLetters) {
    auto caption = ZQRSidecarCaption::init();
    for (const char c : std::string("94 2c 9 G4")) EXPECT_TRUE(caption->appendNibble(c, true)) << c;
    EXPECT_EQ(bytesOf(*caption), (Bytes{0x94, 0x2C, 0x9F, 0xA0, 0x00, 0x04}));
    for (const char c : {'g', 'h', '\t', '-', '\0', '[', '\xC3'})
        EXPECT_FALSE(caption->appendNibble(c, true));
}

TEST(SidecarCaption, PairTextAndItsTrailingEmptyPairs) {
    EXPECT_EQ(encoded({0x94, 0x20, 0x94, 0xAE}, false), "\t9420 94AE");
    EXPECT_EQ(encoded({0x94, 0x20, 0x94}, false), "\t9420");
    EXPECT_EQ(encoded({}, false), "");
    const std::pair<Bytes, Bytes> cases[] = {
        {{0x94, 0x20, 0x80, 0x80, 0x00, 0x00}, {0x94, 0x20}},
        {{0x80, 0x80}, {}},
        {{0x80, 0x80, 0x80}, {0x80}},
        {{0x80, 0x80, 0x80, 0x01}, {0x80, 0x80, 0x80, 0x01}},
        {{0x80, 0x80, 0x01, 0x80}, {0x80, 0x80, 0x01, 0x80}},
    };
    for (const auto& [before, after] : cases) {
        auto caption = ZQRSidecarCaption::init();
        caption->replaceData(before);
        caption->stripTrailingEmtpy608Packets();
        EXPECT_EQ(bytesOf(*caption), after);
    }
    auto caption = ZQRSidecarCaption::init();
    caption->appendData(Bytes{1, 2});
    caption->appendData(Bytes{3});
    caption->appendData(Bytes{4, 5, 6});
    EXPECT_EQ(bytesOf(*caption), (Bytes{1, 2}));
}

TEST(SidecarCaption, ATimecodeNeedsElevenCharactersAndOneMore) {
    const auto drop = ZQCKTimebase::timebaseForFramerate(3);
    const std::pair<const char*, const char*> cases[] = {
        {"00:01:00;02\t9420", "00:01:00;02"},
        {"01;02;03;04x", "01:02:03;04"},
        {"00:00:00:00\t", "00:00:00;00"},
        {"00:01:00;02", nullptr},
        {"", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        auto caption = ZQRSidecarCaption::init();
        EXPECT_EQ(caption->validateTimecode(text, drop), expected != nullptr) << text;
        EXPECT_EQ(describe(caption->timecode()), expected ? expected : "(null)") << text;
    }
}

TEST(SidecarCaption, AWholeTextDecodesAsItsCharactersDo) {
    constexpr std::string_view alphabet = "0123456789ABCDEFabcdef0123456789ABCDEFGHIOPQTVZ  x";
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const std::size_t length = random() % 400;
        const std::size_t letters = alphabet.size() - random() % 29;  // the fewer, the longer the good runs
        while (text.size() < length) text += alphabet[random() % letters];
        for (const bool mcc : {false, true}) {
            auto one = ZQRSidecarCaption::init();
            auto all = ZQRSidecarCaption::init();
            const bool isGood =
                std::all_of(text.begin(), text.end(), [&](char c) { return one->appendNibble(c, mcc); });
            EXPECT_EQ(all->appendText(text, mcc), isGood) << text;
            EXPECT_EQ(bytesOf(*all), bytesOf(*one)) << text;
        }
    }
}

TEST(SidecarCaption, EveryCharacterOfATimecodeIsLookedAt) {
    for (std::size_t i = 0; i < 11; ++i) {
        for (int c = 0; c < 256; ++c) {
            std::string text = "00:00:00;00\t";
            text[i] = static_cast<char>(c);
            const bool isSeparator = i == 2 || i == 5 || i == 8;
            const bool isGood = isSeparator ? c == ':' || c == ';' : c >= '0' && c <= '9';
            EXPECT_EQ(
                ZQRSidecarCaption::init()->validateTimecode(text, ZQCKTimebase::timebaseForFramerate(3)),
                isGood)
                << i << ' ' << c;
        }
    }
}

}  // namespace
}  // namespace zenquor
