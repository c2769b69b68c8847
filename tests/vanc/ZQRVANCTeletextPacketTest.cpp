#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

#include <algorithm>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCTeletextDummyIDLPacketGenerator.h"
#include "zenquor/vanc/detail/TeletextCharacterSets.h"
#include "zenquor/vanc/detail/TeletextReplacements.h"

using namespace zenquor;
using testing::ElementsAre;
using testing::IsEmpty;
using Teletext = ZQRVANCTeletextPacket;
using Generator = ZQRVANCTeletextDummyIDLPacketGenerator;

namespace {

/// The error lines that @p function logs.
template <typename F>
std::vector<std::string> errorsOf(F&& function) {
    std::vector<std::string> lines;
    const auto before = ZLGGetHandle().setSink([&](ZLGLevel level, std::string_view text) {
        if (level == ZLGLevel::Error) lines.emplace_back(text);
    });
    function();
    ZLGGetHandle().setSink(before);
    return lines;
}

/// The first bytes of a row of @p text, parity included.
std::string coded(std::u16string_view text, std::uint32_t set = 0, char16_t filler = u'?') {
    const auto row = Teletext::initSubtitleWithLine(20, filler, set, text);
    return hex(row.rawPayload().first(text.size()));
}

/// What a receiver shows of @p text, the codes of set 0 read as English.
std::u16string shown(std::u16string_view text, std::uint32_t set) {
    const auto row = Teletext::initSubtitleWithLine(20, u'?', set, text);
    return Teletext::decodedData(row.payload(), Teletext::displayedCharacterSet(set)).substr(0, text.size());
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
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
    const auto row = Teletext::initSubtitleWithLine(21, u'?', 0, u"\x0b\x0b\x03\x41\x62\x0a\x0a");
    EXPECT_EQ(hex(row.data()), "55 55 27 d0 8c 0b 0b 83 c1 62 8a 8a" + repeated(" 20", 33));
    EXPECT_TRUE(header.isHeader() && row.isDisplayable() && !row.isIDL());
    EXPECT_EQ(Teletext::decodedData(row.payload(), 0).substr(0, 8), u"\x0b\x0b\x03\x41\x62\x0a\x0a ");
}

TEST(ZQRVANCTeletextPacket, EveryFieldOfAHeaderComesBack) {
    for (unsigned round = 0; round < 8; ++round) {
        auto packet = Teletext::initSubtitleHeaderWithColour(2, u'.', round);
        packet.setMagazine(round + 1);
        packet.setPageUnits(round);
        packet.setPageTens(15 - round);
        packet.setPageSubcode(0x3F7F & (0x1111U << (round % 4)));
        packet.setControlErasePage(round == 0);
        packet.setControlNewsflash(round == 1);
        packet.setControlSubtitle(round == 2);
        packet.setControlSupressHeader(round == 3);
        packet.setControlUpdateIndicator(round == 4);
        packet.setControlInterruptedSequence(round == 5);
        packet.setControlInhibitDisplay(round == 6);
        packet.setControlMagazineSerial(round == 7);
        EXPECT_EQ(packet.copy(), [&] {
            auto expected = packet;
            // The last eight bytes of the room for rows are not a header's.
            expected.setRawPayload(packet.rawPayload());
            return expected;
        }());
    }
    // Bit 7 of the subcode does not exist; a set above 7 loses its high bit on the way.
    auto packet = Teletext::initSubtitleHeaderWithColour(7, u' ', 10);
    packet.setPageSubcode(0xFFFF);
    EXPECT_EQ(packet.copy().pageSubcode(), 0x3F7FU);
    EXPECT_EQ(packet.copy().characterSet(), 2U);
}

TEST(ZQRVANCTeletextPacket, BrokenPacketsAreRefusedWithTheReason) {
    const std::string address = "15 8c";
    const struct {
        std::string start;
        std::vector<std::string> errors;
    } cases[] = {
        {"54 55 27 " + address, {"ZQRVANCTeletextPacket recieved invalid run-in code 54 55"}},
        {"55 0a 27 " + address, {"ZQRVANCTeletextPacket recieved invalid run-in code 55 0a"}},
        {"55 55 e4 " + address, {"ZQRVANCTeletextPacket recieved invalid framing code e4"}},
        {"55 55 27 14 8c", {"ZQRVANCTeletextPacket recieved invalid MRAG 1 14"}},
        {"55 55 27 15 0c", {"ZQRVANCTeletextPacket recieved invalid MRAG 2 0c"}},
        {"55 55 27 15 15 d0 d1", {}},  // page tens
        {"55 55 27 " + address, {}},   // good
    };
    for (const auto& each : cases) {
        const auto start = bytes(each.start);
        const auto data = bytes(each.start + repeated(" 20", static_cast<int>(45 - start.size())));
        EXPECT_THAT(errorsOf([&] {
                        EXPECT_EQ(Teletext::initWithData(data).valid(), &each == std::end(cases) - 1)
                            << each.start;
                    }),
                    testing::ElementsAreArray(each.errors));
        EXPECT_FALSE(Teletext::initWithBytes(data.span().first(44)).valid());
    }
    // Any single flipped bit of the coded part of a header is found.
    const auto good = Teletext::initSubtitleHeaderWithColour(7, u' ', 0).data();
    errorsOf([&] {
        for (std::size_t bit = 0; bit < 13 * 8; ++bit) {
            auto bad = good;
            bad[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
            EXPECT_FALSE(Teletext::initWithBytes(bad).valid()) << bit;
        }
    });
}

TEST(ZQRVANCTeletextPacket, PayloadDropsParityOnlyWhereItIsRight) {
    Teletext row;
    row.setPacketNumber(1);
    row.setRawPayload(bytes("c1 41 20 a0 8a 0a"));
    const auto plain = row.payload();
    EXPECT_EQ(hex(std::span(plain).first(6)), "41 41 20 a0 0a 0a");
    EXPECT_EQ(plain.size(), 40U);
    EXPECT_EQ(Teletext::decodedData(row.rawPayload().first(4), 0), u"AA \uFFFD");
    row.setPayloadLength(1000);
    EXPECT_EQ(row.rawPayload().size(), 40U);
    row.setPayloadLength(-1);
    EXPECT_EQ(row.payload().size(), 0U);
    const auto spaces = Teletext::initSubtitleWithLine(1, u'?', 0, u"").payload();
    EXPECT_EQ(std::string(spaces.begin(), spaces.end()), std::string(40, ' '));
}

TEST(ZQRVANCTeletextPacket, TextTakesTheCodesOfItsSet) {
    EXPECT_EQ(coded(u"éà", 1), "23 40");           // French at 23 and 40
    EXPECT_EQ(coded(u"äÖß", 4), "fb dc fe");       // 7B 5C 7E
    EXPECT_EQ(coded(u"ñ¿", 5), "7c e0");           // 7C 60
    EXPECT_EQ(coded(u"Żółć", 10), "5b df fd 5e");  // 5B 5F 7D 5E
    EXPECT_EQ(coded(u"¤■", 0), "a4 7f");           // the primary set itself
    EXPECT_EQ(shown(u"#1 £5 $3 [x] —½", 0), u"#1 £5 $3 (x) —½");
    EXPECT_EQ(shown(u"“Ça” – l’œil…", 1), u"\"Ca\" - l'eil.");
    EXPECT_EQ(shown(u"Perché à í È", 6), u"Perché à ì E");
    EXPECT_EQ(shown(u"Você já não", 5), u"Voce já nao");
    EXPECT_EQ(shown(u"Művész, őr", 2), u"Müvész, ör");
    EXPECT_EQ(shown(u"Café ♪ 5€", 4), u"Cafe # 5E");
    EXPECT_EQ(shown(u"Știință", 11), u"Ştiinţă");
    EXPECT_EQ(shown(u"é", 99), u"e") << "a set that does not exist is the primary set";
}

TEST(ZQRVANCTeletextPacket, WhatNoSetHasBecomesTheFillerAndIsReported) {
    EXPECT_THAT(errorsOf([] { EXPECT_EQ(coded(u"A漢ж", 2, u'*'), "c1 2a 2a"); }),
                ElementsAre("ZQRVANCTeletextPacket failed to match character 漢 in set "
                            "SwedishFinnishHungarian, using filler",
                            "ZQRVANCTeletextPacket failed to match character ж in set "
                            "SwedishFinnishHungarian, using filler"));
    EXPECT_THAT(errorsOf([] { EXPECT_EQ(coded(u"漢", 0, u'■'), "20"); }), testing::SizeIs(1));
}

TEST(ZQRVANCTeletextPacket, EveryReplacementEndsInTheSetAndNoneTouchesWhatASetHas) {
    for (std::uint32_t set = 0; set < Teletext::characterSetCount; ++set) {
        const auto& mapping = detail::teletextMapping(set);
        EXPECT_EQ(std::set(mapping.begin(), mapping.end()).size(), mapping.size()) << set;
        for (const auto& entry : detail::teletextGeneralReplacements()) {
            for (const char16_t source : entry.sources) {
                const char16_t found = detail::teletextReplacement(source, set);
                EXPECT_TRUE(detail::teletextCode(found, set)) << set << ' ' << unsigned{source};
                if (set != 0 && detail::teletextCode(source, set) &&
                    detail::teletextOwnReplacements(set).empty()) {
                    EXPECT_EQ(found, source);
                }
            }
        }
        for (const auto& entry : detail::teletextOwnReplacements(set)) {
            EXPECT_TRUE(detail::teletextCode(entry.target, set)) << set << ' ' << unsigned{entry.target};
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
    const auto firstBytes = first.data();
    EXPECT_EQ(hex(std::span(firstBytes).first(21)),
              "55 55 27 9b ea "
              "64 5e 64 49 15 ff 41 41 42 42 42 42 42 42 42 42");
    EXPECT_EQ(first.rawPayload()[5], 0xFF);
    EXPECT_EQ(second.rawPayload()[5], 0x00);
    EXPECT_EQ(generator.continuity(), 1);
    EXPECT_EQ(generator.payloadContent(), 0x41 + (6 + 2 * 32) / 8);
    EXPECT_EQ(generator.payloadCounter(), (6U + 2 * 32) % 8);
    const unsigned sum = plainChecksum(first.rawPayload().subspan(5, 33));
    EXPECT_EQ(first.rawPayload()[38] | first.rawPayload()[39] << 8, static_cast<int>(sum));
    EXPECT_EQ(first.idlFormatACRCWithFrom(5, 40), 0);
    EXPECT_EQ(first.idlFormatACRCWithFrom(8, 8), 0);
    EXPECT_TRUE(first.copy().valid() && first.copy().isIDL());
    for (std::size_t bit = (5 + 5) * 8; bit < 45 * 8; ++bit) {
        auto bad = first.data();
        bad[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        EXPECT_FALSE(Teletext::initWithBytes(bad).valid()) << bit;
    }
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

TEST(ZQRVANCTeletextPacket, ThreadsShareAFillerGenerator) {
    Generator generator;
    std::array<std::array<std::uint8_t, 100>, 2> seen;
    const auto draw = [&](std::size_t thread) {
        for (auto& continuity : seen[thread]) {
            const auto packet = Teletext::initWithDummyIDLPacketGenerator(generator);
            EXPECT_TRUE(packet.copy().valid());
            continuity = packet.rawPayload()[3];
        }
    };
    std::thread other(draw, 1);
    draw(0);
    other.join();
    std::set<std::uint8_t> all(seen[0].begin(), seen[0].end());
    all.insert(seen[1].begin(), seen[1].end());
    EXPECT_EQ(all.size(), 200U);
}

TEST(ZQRVANCTeletextPacket, DescriptionsShowPageAndText) {
    auto row = Teletext::initSubtitleWithLine(20, u'?', 0, u"\x0d\x0b£");
    row.setLineNumber(10);
    EXPECT_EQ(row.description(), "Teletext magazine:8 packet:20");
    EXPECT_EQ(row.debugDescription(),
              "Teletext magazine:8 packet:20 line:10 even \"[DoubleHeight][StartBox]£" +
                  std::string(37, ' ') + "\"");
    EXPECT_THAT(Teletext::initSubtitleHeaderWithColour(7, u' ', 1).debugDescription(),
                testing::StartsWith("Teletext magazine:8 packet:0 page:888 line:0 even subcode:0008 set:1 "
                                    "erasePage subtitle supressHeader interruptedSequence \"[AlphaWhite] "));
    EXPECT_EQ(Teletext::controlStrings()[0x1F], "[ReleaseMosaics]");
    EXPECT_EQ(Teletext::characterSetNames()[5], "PortugueseSpanish");
    EXPECT_EQ(Teletext::stringWithReplacedControlCharacters(u"\x01é"), u"[AlphaRed]é");
}
