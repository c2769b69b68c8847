#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCTeletextDummyIDLPacketGenerator.h"
#include "zenquor/vanc/detail/TeletextCharacterSets.h"
#include "zenquor/vanc/detail/TeletextReplacements.h"

using namespace zenquor;
using testing::ElementsAre;
using Teletext = ZQRVANCTeletextPacket;
using Generator = ZQRVANCTeletextDummyIDLPacketGenerator;
using Strings = std::vector<std::string>;

namespace {

/// The error lines that @p function logs.
template <typename F>
Strings errorsOf(F&& function) {
    Strings lines;
    const auto before = ZLGGetHandle().setSink([&](ZLGLevel level, std::string_view text) {
        if (level == ZLGLevel::Error) lines.emplace_back(text);
    });
    function();
    ZLGGetHandle().setSink(before);
    return lines;
}

Teletext row(std::u16string_view text, std::uint32_t set = 0, char16_t filler = u'?') {
    return Teletext::initSubtitleWithLine(20, filler, set, text);
}

std::string repeated(const std::string& text, std::size_t count) {
    return count == 0 ? "" : text + repeated(text, count - 1);
}

/// Expects that a flip of any one bit of the first bytes is found.
void expectFlipsRefused(const Teletext& good, std::size_t size) {
    errorsOf([&] {
        for (std::size_t bit = 0; bit < size * 8; ++bit) {
            auto bad = good.data();
            bad[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
            EXPECT_FALSE(Teletext::initWithBytes(bad).valid()) << bit;
        }
    });
}

/// Bit by bit: what the table does byte by byte, from the polynomial x^16 + x^9 + x^7 + x^4 + 1.
unsigned plainChecksum(std::span<const std::uint8_t> bytes) {
    unsigned crc = 0;
    for (const unsigned byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const unsigned feedback = (crc ^ byte >> bit) & 1;
            crc = crc >> 1 ^ (feedback != 0 ? 0x8940 : 0);
        }
    }
    return crc;
}

}  // namespace

TEST(ZQRVANCTeletextPacket, HeadersAndRowsLieAsTheStandardSays) {
    const auto header = Teletext::initSubtitleHeaderWithColour(7, u'?', 3);
    // Address 8/0; page 88, subcode 8, C4; C6; C7 and C9; set 3 above C11; then odd parity text.
    EXPECT_EQ(hex(header.data()), "55 55 27 15 15 d0 d0 d0 d0 15 d0 73 38 07" + repeated(" bf", 31));
    const auto text = Teletext::initSubtitleWithLine(21, u'?', 0, u"\x0b\x0b\x03\x41\x62\x0a\x0a");
    EXPECT_EQ(hex(text.data()), "55 55 27 d0 8c 0b 0b 83 c1 62 8a 8a" + repeated(" 20", 33));
    EXPECT_TRUE(header.isHeader() && text.isDisplayable() && !text.isIDL());
    EXPECT_EQ(Teletext::decodedData(text.payload(), 0).substr(0, 8), u"\x0b\x0b\x03\x41\x62\x0a\x0a ");
    expectFlipsRefused(header, 13);
}

TEST(ZQRVANCTeletextPacket, EveryFieldOfAHeaderHasItsPlaceAndComesBack) {
    const struct {
        void (Teletext::*set)(bool);
        std::string control;
    } cases[] = {
        {&Teletext::setControlErasePage, "15 d0 15 15 15 15"},
        {&Teletext::setControlNewsflash, "15 15 15 64 15 15"},
        {&Teletext::setControlSubtitle, "15 15 15 d0 15 15"},
        {&Teletext::setControlSupressHeader, "15 15 15 15 02 15"},
        {&Teletext::setControlUpdateIndicator, "15 15 15 15 49 15"},
        {&Teletext::setControlInterruptedSequence, "15 15 15 15 64 15"},
        {&Teletext::setControlInhibitDisplay, "15 15 15 15 d0 15"},
        {&Teletext::setControlMagazineSerial, "15 15 15 15 15 02"},
    };
    for (const auto& each : cases) {
        Teletext packet;
        packet.setValid(true);
        packet.setPayloadLength(32);
        packet.setRawPayload(bytes("07 bf"));
        (packet.*each.set)(true);
        EXPECT_EQ(hex(packet.data()).substr(7 * 3, 6 * 3 - 1), each.control);
        EXPECT_EQ(packet.copy(), packet) << each.control;
        packet.setMagazine(3);
        packet.setPageUnits(4);
        packet.setPageTens(0xF);
        packet.setPageSubcode(0x2135);
        packet.setCharacterSet(5);
        EXPECT_EQ(packet.copy(), packet) << each.control;
    }
    // Bit 7 of the subcode does not exist; a set above 7 loses its high bit on the way.
    auto packet = Teletext::initSubtitleHeaderWithColour(7, u' ', 10);
    packet.setPageSubcode(0xFFFF);
    EXPECT_EQ(packet.copy().pageSubcode(), 0x3F7FU);
    EXPECT_EQ(packet.copy().characterSet(), 2U);
}

TEST(ZQRVANCTeletextPacket, BrokenPacketsAreRefusedWithTheReason) {
    const std::string text = "ZQRVANCTeletextPacket recieved invalid ";
    const struct {
        std::string start;
        Strings errors;
    } cases[] = {
        {"54 55 27 15 8c", {text + "run-in code 54 55"}}, {"55 0a 27 15 8c", {text + "run-in code 55 0a"}},
        {"55 55 e4 15 8c", {text + "framing code e4"}},   {"55 55 27 14 8c", {text + "MRAG 1 14"}},
        {"55 55 27 15 0c", {text + "MRAG 2 0c"}},         {"55 55 27 15 8c", {}},  // good
    };
    for (const auto& each : cases) {
        const auto data = bytes(each.start + repeated(" 20", 40));
        bool isValid = false;
        EXPECT_EQ(errorsOf([&] { isValid = Teletext::initWithData(data).valid(); }), each.errors);
        EXPECT_EQ(isValid, each.errors.empty()) << each.start;
        EXPECT_FALSE(Teletext::initWithBytes(data.span().first(44)).valid());
    }
}

TEST(ZQRVANCTeletextPacket, PayloadDropsParityOnlyWhereItIsRight) {
    Teletext packet;
    packet.setRawPayload(bytes("c1 41 20 a0 8a 0a"));
    const auto plain = packet.payload();
    EXPECT_EQ(hex(std::span(plain).first(6)), "41 41 20 a0 0a 0a");
    EXPECT_EQ(plain.size(), 40U);
    EXPECT_EQ(Teletext::decodedData(packet.rawPayload().first(4), 0), u"AA \uFFFD");
    packet.setPayloadLength(1000);
    EXPECT_EQ(packet.rawPayload().size(), 40U);
    packet.setPayloadLength(-1);
    EXPECT_EQ(packet.payload().size(), 0U);
}

TEST(ZQRVANCTeletextPacket, TextIsShownInItsSetOrNearToIt) {
    EXPECT_EQ(hex(row(u"¤■").rawPayload().first(2)), "a4 7f") << "the primary set itself";
    const struct {
        std::uint32_t set;
        std::u16string_view text;
        std::u16string_view shown;
    } cases[] = {
        {0, u"#1 £5 $3 [x] —½ `co_op’s", u"#1 £5 $3 (x) —½ 'co-op's"},
        {1, u"“Ça” – l’œil…\u202F«À æ»", u"\"Ca\" - l'eil. \"A e\""},
        {2, u"Művész, őr Žid", u"Müvész, ör Zid"},
        {3, u"„Řekl ňadra‚‘ Ľ", u"\"Rekl nadra'' L"},
        {4, u"»Café ♪ 5€« STRAẞE", u"\"Cafe # 5E\" STRAßE"},
        {5, u"Você já não, ÑÁ ♪ 5º", u"Voce já nao, NA * 5o"},
        {6, u"Perché à í È É", u"Perché à ì E E"},
        {7, u"a|b ^", u"a‖b ↑"},
        {8, u"ÕÄ õšž Ñ", u"ÕÄ õšž N"},
        {10, u"Żółć Ó", u"Ƶółć O"},
        {11, u"Știință", u"Ştiinţă"},
        {99, u"é", u"e"},  // a set that does not exist is the primary set
    };
    for (const auto& each : cases) {
        const auto shown = Teletext::decodedData(row(each.text, each.set).payload(),
                                                 Teletext::displayedCharacterSet(each.set));
        EXPECT_EQ(utf8FromUTF16(shown.substr(0, each.text.size())), utf8FromUTF16(each.shown));
    }
}

TEST(ZQRVANCTeletextPacket, WhatNoSetHasBecomesTheFillerAndIsReported) {
    const std::string set = " in set SwedishFinnishHungarian, using filler";
    Teletext text;
    EXPECT_THAT(errorsOf([&] { text = row(u"A漢ж", 2, u'*'); }),
                ElementsAre("ZQRVANCTeletextPacket failed to match character 漢" + set,
                            "ZQRVANCTeletextPacket failed to match character ж" + set));
    EXPECT_EQ(hex(text.rawPayload().first(3)), "c1 2a 2a");
    errorsOf([&] { text = row(u"漢", 0, u'é'); });
    EXPECT_EQ(text.rawPayload()[0], u' ') << "a filler that is no code";
}

TEST(ZQRVANCTeletextPacket, EveryReplacementEndsInTheSetAndNoneTouchesWhatASetHas) {
    for (std::uint32_t set = 0; set < Teletext::characterSetCount; ++set) {
        const auto& mapping = detail::teletextMapping(set);
        for (const char16_t character : mapping) {
            // Set 0 alone moves its own characters: to where English has them.
            EXPECT_TRUE(set == 0 || detail::teletextReplacement(character, set) == character) << set;
        }
        EXPECT_EQ(std::set(mapping.begin(), mapping.end()).size(), mapping.size()) << set;
        for (const auto list :
             {detail::teletextGeneralReplacements(), detail::teletextOwnReplacements(set)}) {
            for (const auto& entry : list) {
                for (const char16_t source : entry.sources) {
                    EXPECT_TRUE(detail::teletextCode(detail::teletextReplacement(source, set), set))
                        << set << ' ' << unsigned{source};
                }
            }
        }
    }
}

TEST(ZQRVANCTeletextPacket, FillerPacketsCountOnAndCheckOut) {
    Generator generator;
    generator.setMagazine(3);
    generator.setAddress("4x20");
    generator.setContinuity(0xFF);
    generator.setPayloadContent(0x41);
    generator.setPayloadCounter(6);
    const auto first = Teletext::initWithDummyIDLPacketGenerator(generator);
    const auto second = Teletext::initWithDummyIDLPacketGenerator(generator);
    // Address 3/31, format 4, three digits 4 2 0, continuity, contents: 32 bytes.
    EXPECT_EQ(hex(first.data()).substr(0, 21 * 3 - 1),
              "55 55 27 9b ea 64 5e 64 49 15 ff 41 41 42 42 42 42 42 42 42 42");
    EXPECT_EQ(second.rawPayload()[5], 0x00);
    EXPECT_EQ(generator.continuity(), 1);
    EXPECT_EQ(generator.payloadContent(), 0x41 + (6 + 2 * 32) / 8);
    EXPECT_EQ(generator.payloadCounter(), (6U + 2 * 32) % 8);
    const unsigned sum = plainChecksum(first.rawPayload().subspan(5, 33));
    EXPECT_EQ(first.rawPayload()[38] | first.rawPayload()[39] << 8, static_cast<int>(sum));
    EXPECT_EQ(first.idlFormatACRCWithFrom(8, 8), 0);
    EXPECT_TRUE(first.copy().valid() && first.copy().isIDL());
    expectFlipsRefused(first, 45);
    // Other formats are not checked, a repeat indicator lies before what is.
    auto other = first;
    other.setRawPayload(bytes("02 02 15 ff"));
    EXPECT_TRUE(other.copy().valid());
    other.setRawPayload(bytes("38 15 99"));
    EXPECT_TRUE(other.copy().valid()) << "format 6: the byte at 2 is not summed, the rest is zero";
    generator.setAddress("123456789");
    EXPECT_EQ(generator.address(), "1234567");
    EXPECT_TRUE(Teletext::initWithDummyIDLPacketGenerator(generator).copy().valid());
}

TEST(ZQRVANCTeletextPacket, DescriptionsShowPageAndText) {
    auto text = row(u"\x0d\x0b£");
    text.setLineNumber(10);
    EXPECT_EQ(text.debugDescription(),
              "Teletext magazine:8 packet:20 line:10 even \"[DoubleHeight][StartBox]£" +
                  std::string(37, ' ') + "\"");
    EXPECT_THAT(Teletext::initSubtitleHeaderWithColour(7, u' ', 1).debugDescription(),
                testing::StartsWith("Teletext magazine:8 packet:0 page:888 line:0 even subcode:0008 set:1 "
                                    "erasePage subtitle supressHeader interruptedSequence \"[AlphaWhite] "));
    EXPECT_EQ(Teletext::controlStrings()[0x1F], "[ReleaseMosaics]");
    EXPECT_EQ(Teletext::characterSetNames()[5], "PortugueseSpanish");
    EXPECT_EQ(Teletext::stringWithReplacedControlCharacters(u"\x01é"), u"[AlphaRed]é");
}
