// Captions read back from byte pairs, as a viewer would read them.
#include "zenquor/sidecar/ZQRCEA608Decoder.h"

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include <fmt/core.h>

#include "sidecar/SharedData.h"
#include "sidecar/Support.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

using test::pal;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;
using Mode = ZQRScreenBlock::Mode;
using Texts = std::vector<std::string>;

[[maybe_unused]] const ZLGLevel levelBefore = ZLGGetHandle().setLevel(ZLGLevel::Error);

ZQCKTimecode frameTime(std::int64_t frame) {
    return ZQCKTimecode::timecodeWithFrames(frame, pal);
}

/// "15,0:Hi", further rows behind "|", colours as "{FF0000@0+2}" counted in the line.
std::string rowsOf(const ZQRScreenBlock& block, bool withColours = true) {
    std::string text;
    const auto lines = block.lines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& row = block.rows().at(i);
        text += fmt::format("{}{},{}:{}", i == 0 ? "" : "|", row.row, row.column,
                            utf8FromUTF16(lines[i]->string()));
        if (!withColours) continue;
        block.enumerateFormattingForLine(
            lines[i], [&](const ZQRSubtitleFormatting& run, std::size_t index, std::size_t offset) {
                if (offset == 0) text += fmt::format("{{{}@{}+{}}}", run.colour(), index, run.range().length);
            });
    }
    return text;
}

/// "PopOn CC1 4-7 15,0:Hi".
std::string describe(const ZQRScreenBlock& block) {
    const std::map<Mode, const char*> modes = {{Mode::PopOn, "PopOn CC"},
                                               {Mode::RollUp, "RollUp CC"},
                                               {Mode::PaintOn, "PaintOn CC"},
                                               {Mode::Text, "T"}};
    return fmt::format("{}{} {}-{} {}", modes.at(block.mode()), block.service(),
                       block.timecodeIn().framesSinceMidnight(), block.timecodeOut().framesSinceMidnight(),
                       rowsOf(block));
}

/// A decoder with everything that it found.
struct Viewer {
    Texts blocks;
    ZQRScreenBlockList screens;
    ZQRCaptionRemarkList remarks;
    ZQRCEA608Decoder decoder{[this](const ZQRScreenBlockPtr& block) {
                                 screens.push_back(block);
                                 blocks.push_back(describe(*block));
                             },
                             [this](const ZQRCaptionRemark& remark) { remarks.push_back(remark); }};
    std::int64_t frame = 0;

    Viewer() = default;
    explicit Viewer(const std::string& pairs) { play(pairs); }
    Viewer(const Viewer&) = delete;

    /// One pair a frame: hexadecimal words, "_" for a null pair, texts in quotes; "/" before what is in field 2.
    void play(const std::string& pairs) {
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            if (pairs[i] == ' ') continue;
            const int field = pairs[i] == '/' ? 2 : 1;
            if (field == 2) ++i;
            if (pairs[i] == '\'') {
                const std::size_t end = pairs.find('\'', i + 1);
                for (++i; i < end; i += 2) {
                    add(field, static_cast<unsigned>(pairs[i] << 8 | (i + 1 < end ? pairs[i + 1] : 0)));
                }
                i = end;
            } else if (pairs[i] == '_') {
                add(field, 0x8080);
            } else {
                add(field, static_cast<unsigned>(std::stoul(pairs.substr(i, 4), nullptr, 16)));
                i += 3;
            }
        }
        decoder.finish(frameTime(frame));
    }
    void add(int field, unsigned pair) {
        decoder.addPair(field, static_cast<std::uint16_t>(pair), frameTime(frame++));
    }
    /// Everything but parity, which few tests here care to set.
    Texts complaints() const {
        Texts texts;
        for (const auto& remark : remarks) {
            if (remark.kind != ZQRCaptionRemark::Kind::Parity) texts.push_back(remark.text);
        }
        return texts;
    }
};

/// Cases as "## name: pairs -> blocks divided by semicolons"; they may run over several lines.
void check(std::string cases) {
    cases = std::regex_replace(cases, std::regex("\\n *"), " ");
    for (std::size_t next, at = cases.find("## "); at != std::string::npos; at = next) {
        next = cases.find("## ", at + 1);
        const std::string one = cases.substr(at + 3, next - at - 3);
        const std::size_t colon = one.find(':'), arrow = one.find("->");
        ASSERT_LT(colon, arrow) << one;
        ASSERT_NE(arrow, std::string::npos) << one;
        std::string blocks;
        for (const auto& block : Viewer(one.substr(colon + 1, arrow - colon - 1)).blocks)
            blocks += (blocks.empty() ? " " : "; ") + block;
        EXPECT_EQ(blocks + " ", one.substr(arrow + 2)) << one;
    }
}

TEST(CEA608Decoder, PopOnCaptionsStandFromFlipToErasure) {
    check(R"(
        ## doubled: 1420 1420 142E 142E 1470 1470 'Hi' 142F 142F _ 142C 142C -> PopOn CC1 7-10 15,0:Hi
        ## with parity: 9420 94AE 9470 C8E9 942F 942C -> PopOn CC1 4-5 15,0:Hi
        ## next: 1420 1470 'A' 142F 1420 142E 1340 'BC' 142F _ -> PopOn CC1 3-8 15,0:A; PopOn CC1 8-10 12,0:BC
        ## the same again: 1420 1470 'A' 142F 142E 1470 'A' 142F 142C -> PopOn CC1 3-8 15,0:A
        ## an empty flip: 1420 1470 'A' 142F 142E 142C 142F _ -> PopOn CC1 3-5 15,0:A
        ## only spaces: 1420 1470 '  ' 142F 142C ->
        ## hidden memory erased: 1420 1470 'AB' 142E 1470 'C' 142F 142C -> PopOn CC1 6-7 15,0:C
        ## no address: 1420 'AB' 142F 142C 142E 'CD' 142F 142C -> PopOn CC1 2-3 15,0:AB; PopOn CC1 6-7 15,0:CD
        ## joined while loading: 1470 'AB' 142F 142C -> PopOn CC1 2-3 15,0:AB
        ## a flip loads: 1425 'A' 142F 1470 'B' 142F 142C -> RollUp CC1 1-2 15,0:A; PopOn CC1 5-6 15,0:B
        ## return is for rolling: 1420 1470 'A' 142D 'B' 142F 142C -> PopOn CC1 5-6 15,0:AB
        ## stays while the mode changes: 1425 1470 'A' 1420 142E 1470 'B' 142F 142C
           -> RollUp CC1 2-7 15,0:A; PopOn CC1 7-8 15,0:B
    )");
}

TEST(CEA608Decoder, RollUpCaptionsAreOneBlockForEachReturn) {
    check(R"(
        ## two rows: 1425 142D 1470 'AB' 'CD' 142D 1470 'E' 142D 1470 'F' 142C _
           -> RollUp CC1 3-5 15,0:ABCD; RollUp CC1 5-8 14,0:ABCD|15,0:E; RollUp CC1 8-11 14,0:E|15,0:F
        ## depth grows and shrinks: 1425 'A' 142D 'B' 1426 142D 'C' 1425 _ 142C -> RollUp CC1 1-2 15,0:A;
           RollUp CC1 2-5 14,0:A|15,0:B; RollUp CC1 5-7 13,0:A|14,0:B|15,0:C; RollUp CC1 7-9 14,0:B|15,0:C
        ## moves: 1425 1470 'A' 142D 1240 'B' 142C -> RollUp CC1 2-3 15,0:A; RollUp CC1 3-6 2,0:A|3,0:B
        ## moves amid writing: 1425 1470 'A' 1260 'B' 142C -> RollUp CC1 2-3 15,0:A; RollUp CC1 3-5 4,0:B
        ## depth wins at the top: 1425 1140 'A' 1427 'B' 142C -> RollUp CC1 2-3 2,0:A; RollUp CC1 3-5 4,0:AB
        ## starting clears both memories: 1420 1470 'A' 142F 1420 'X' 1425 1470 'B' 142F _
           -> PopOn CC1 3-6 15,0:A; RollUp CC1 8-9 15,0:B
        ## starting again does not: 1425 'A' 1425 _ 'B' 142C -> RollUp CC1 1-5 15,0:AB
        ## an empty window rolls unseen: 1425 142D _ _ 142D 'A' 142D _ _ 142D _ _ 142D
           -> RollUp CC1 5-6 15,0:A; RollUp CC1 6-9 14,0:A
    )");
}

TEST(CEA608Decoder, PaintOnCaptionsBeginWithTheirFirstCharacter) {
    check(R"(
        ## until erased: 1429 1440 'A' 1470 'B' 142C -> PaintOn CC1 2-5 14,0:A|15,0:B
        ## painted over: 1429 1470 'AB' _ 1429 _ _ 1470 'C' 142C
           -> PaintOn CC1 2-8 15,0:AB; PaintOn CC1 8-9 15,0:CB
        ## painted over with the same: 1429 1470 'AB' _ 1429 _ 1470 'AB' 142C -> PaintOn CC1 2-8 15,0:AB
        ## resumed in its row: 1429 1470 'AB' 1C20 1429 'CD' 142C -> PaintOn CC1 2-6 15,0:ABCD
        ## over a pop-on caption: 1420 1440 'A' 142F 1429 1470 'B' 142C
           -> PopOn CC1 3-6 14,0:A; PaintOn CC1 6-7 14,0:A|15,0:B
        ## deleted to the end: 1429 1470 'ABCD' 1470 1721 1424 _ 142C
           -> PaintOn CC1 2-6 15,0:ABCD; PaintOn CC1 6-8 15,0:A
        ## backspaced to nothing: 1429 1470 'A' 1421 _ 'B' 142C -> PaintOn CC1 2-3 15,0:A; PaintOn CC1 5-6 15,0:B
    )");
}

TEST(CEA608Decoder, TextModeIsKeptApart) {
    check(R"(
        ## rows from the top: 142A 'AB' 142D 1450 'CD' 142A 'E' 142A
           -> T1 1-4 1,0:AB; T1 4-5 1,0:AB|2,0:CD; T1 6-7 1,0:E
        ## addresses of texts: 1429 1440 'A' 142A 1170 'T' 1429 'B' 142C -> PaintOn CC1 2-8 14,0:AB; T1 5-9 1,0:T
        ## beside captions: 142A 'TX' 1425 'CC' 142B 'YZ' 142C _ 142A -> RollUp CC1 3-6 15,0:CC; T1 1-8 1,0:TXYZ
        ## loading ends it: 142A 'T' 1420 1470 'A' 142F _ -> PopOn CC1 5-7 15,0:A; T1 1-7 1,0:T
        ## the other channels: 1C2A 'AB' /152A /'CD' /1D2A /'EF' 1C2A _
           -> T2 1-6 1,0:AB; T3 3-8 1,0:CD; T4 5-8 1,0:EF
    )");
    std::string pairs = "142A ";
    for (int i = 0; i < 15; ++i) pairs += fmt::format("'{}' 142D _ _ ", 10 + i);
    const Viewer rolling(pairs + "'99'");
    ASSERT_EQ(rolling.screens.size(), 16U);
    EXPECT_EQ(rolling.screens.back()->rows().size(), 15U);
    EXPECT_THAT(rolling.screens.back()->text(), StartsWith("11\n12\n"));
    EXPECT_EQ(rolling.complaints(), Texts{});
}

TEST(CEA608Decoder, CodesPlaceAndColourCharacters) {
    const std::vector<std::pair<const char*, std::string>> rows = {
        {"1470 'ABC' 1421", "15,0:AB"},
        {"1470 1421 'A'", "15,0:A"},
        {"1470 '01234567890123456789012345678901' 1421 'XY'", "15,0:012345678901234567890123456789XY"},
        {"1456 1723 'A'", "14,15:A"},        // indent 12 and three more
        {"145E 1723 1722 'A'", "14,31:A"},   // a tab ends in the last column
        {"1470 'A' 1722 'B'", "15,0:A  B"},  // and leaves cells empty
        {"1470 'ABCD' 1470 1722 1424", "15,0:AB"},
        {"1470 'A' 1128 'BC' 1120 'D'", "15,0:A BC D{FF0000@2+2}"},
        {"1472 'AB'", "15,4:AB"},
        {"1462 'AB'", "15,0:AB{00FF00@0+2}"},
        {"1468 'AB' 112E 'CD' 112A 'E'", "15,0:AB CD E{FF0000@0+5}{FFFF00@6+1}"},  // italics keep the colour
        {"146E 'A'", "15,0:A"},
        {"1468 'ABCDEFGH' 1472 'XY'", "15,0:ABCDXYGH{FF0000@0+8}"},  // an indent among characters moves only
        {"1470 'ABC' 1128 1472 'D'", "15,0:ABC D{FF0000@4+1}"},      // behind them too
        {"1468 'AB' 1474 'C'", "15,0:AB      C{FF0000@0+2}"},        // beyond them it is white
        {"1474 1128 'CD' 1474 'XY'", "15,8:XYD{FF0000@0+3}"},
        {"1468 'AB' 1462 'C'", "15,0:CB{00FF00@0+1}{FF0000@1+1}"},
        {"1470 112E 1120 'AB' 1120 '.'", "15,2:AB ."},   // a mid-row code is the space
        {"1470 'A' 1428 'B'", "15,0:A B"},               // so is flash on
        {"1470 'A ' 1024 'B ' 172D 'C'", "15,0:A B C"},  // a background takes the place of its space
        {"1470 'A ' 172E 'B'", "15,0:A B{000000@2+1}"},
        {"1470 'A' 1139 'B'", "15,0:A B"},  // transparent space
        {"1470 1220", "15,0:Á"},            // nothing to replace
        {"147E 'abcd' 1220", "15,28:abcÁ"},
        {"1470 2A5C 5E5F 607B 7C7D 7E7F 2700", "15,0:áéíóúç÷Ññ■’"},
    };
    for (const auto& [pairs, row] : rows) {
        const Viewer viewer(std::string("1420 ") + pairs + " 142F _");
        ASSERT_EQ(viewer.blocks.size(), 1U) << pairs;
        EXPECT_THAT(viewer.blocks[0], EndsWith(" " + row)) << pairs;
    }
}

TEST(CEA608Decoder, EveryCharacterOfTheStandardIsKnown) {
    const struct {
        unsigned first;
        const char* before;
        std::u16string characters;
    } sets[] = {
        {0x1130, "", u"®°½¿™¢£♪à èâêîôû"},
        {0x1220, "x", u"ÁÉÓÚÜü‘¡*'—©℠•“”ÀÂÇÈÊËëÎÏïÔÙùÛ«»"},
        {0x1320, "x", u"ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥¤│ÅåØø┌┐└┘"},
    };
    for (const auto& set : sets) {
        for (unsigned i = 0; i < set.characters.size(); ++i) {
            const Viewer viewer(fmt::format("1420 1470 'A{}' {:04X} 'B' 142F _", set.before, set.first + i));
            ASSERT_EQ(viewer.screens.size(), 1U);
            EXPECT_EQ(viewer.screens[0]->lines()[0]->string(),
                      (std::u16string{u'A', set.characters[i], u'B'}));
        }
    }
}

TEST(CEA608Decoder, ACodeSentTwiceActsOnce) {
    const std::vector<std::tuple<const char*, const char*, int>> cases = {
        {"1421 1421", "ABCDE", 1},       {"1421 1421 1421", "ABCD", 1},   {"1421 _ 1421", "ABCDE", 1},
        {"1421 _ _ 1421", "ABCD", 0},    {"1421 'XX' 1421", "ABCDEX", 0}, {"1421 /'XX' 1421", "ABCDE", 1},
        {"1421 /1520 1421", "ABCDE", 1}, {"9421 1421", "ABCDE", 1},       {"'XX' 'XX'", "ABCDEFXXXX", 0},
        {"1137 1137", "ABCDEF♪", 1},     {"1120 1120 '.'", "ABCDEF .", 1}};
    for (const auto& [pairs, text, repeated] : cases) {
        const Viewer viewer(std::string("1429 1470 'ABCDEF' ") + pairs + " 142C");
        ASSERT_EQ(viewer.screens.size(), 1U) << pairs;
        EXPECT_EQ(viewer.screens[0]->text(), text) << pairs;
        EXPECT_EQ(viewer.decoder.statistics().repeatedControls, repeated) << pairs;
    }
}

TEST(CEA608Decoder, ChannelsInterleave) {
    check(R"(
        ## each in its field: 1425 '1a' 1C25 /1525 /'3a' '2a' /1D25 /'4a' /'4b' 142D 1425 '1b' 142C 1C2C /152C /1D2C
           -> RollUp CC1 1-9 15,0:1a; RollUp CC1 9-12 14,0:1a|15,0:1b; RollUp CC2 5-13 15,0:2a;
           RollUp CC3 4-14 15,0:3a; RollUp CC4 7-15 15,0:4a4b
        ## a file of field 2 in field 1: 1520 1470 'A' 1D20 1C70 'B' 152F 1D2F 152C 1D2C
           -> PopOn CC3 6-8 15,0:A; PopOn CC4 7-9 15,0:B
        ## codes of field 1 in field 2: /1420 /1470 /'A' /142F /142C /1C29 /'B' /1C2C
           -> PopOn CC3 3-4 15,0:A; PaintOn CC4 6-7 15,0:B
    )");
}

// The sums were made by hand: all bytes from start to end add up to 0 modulo 128.
TEST(CEA608Decoder, ExtendedDataStaysOutOfCaptions) {
    const Viewer viewer(
        "/1529 /1470 /'AB' /0103 /'Te' /1529 /'CD' /0203 /'st' /0F4D /1529 /'E' /0501 /'XY' /0F00 /152C");
    EXPECT_THAT(viewer.blocks, ElementsAre("PaintOn CC3 2-15 15,0:ABCDE"));
    EXPECT_EQ(viewer.decoder.statistics().xdsPackets, 2U);
    EXPECT_EQ(viewer.decoder.statistics().xdsChecksumErrors, 1U);
    EXPECT_THAT(viewer.complaints(),
                ElementsAre(StartsWith("The checksum of an extended data packet is wrong")));
    const Viewer first("1429 'AB' 0103 'CD' 142C");
    EXPECT_THAT(first.blocks, ElementsAre("PaintOn CC1 1-4 15,0:ABCD"));
    EXPECT_THAT(first.complaints(), ElementsAre("A pair without meaning, 0103; it was left out."));
}

TEST(CEA608Decoder, WhatIsWrongIsToldOnce) {
    const Viewer viewer("'lost' 1420 1470 '01234567890123456789012345678901 XYZ' 142F 142C");
    EXPECT_THAT(viewer.blocks, ElementsAre("PopOn CC1 22-23 15,0:0123456789012345678901234567890Z"));
    EXPECT_THAT(
        viewer.complaints(),
        ElementsAre("Characters before the first code belong to no caption channel and were left out.",
                    "Row 15 of CC1 is longer than 32 characters; what follows is written over the last "
                    "column."));
    const Viewer odd(
        "1060 1030 1720 1234 4101 1525 142C 1140 'A' 1240 'B' 1340 'C' 1440 'D' 1470 'E' 'FG' 'HI' 142F _");
    EXPECT_THAT(
        odd.complaints(),
        ElementsAre("Text on CC1 before the code that says how to show it; it was loaded like a pop-on "
                    "caption.",
                    "Control codes of field 2 in field 1; they were read as channels 3 and 4.",
                    "4 pairs without meaning, 1060 the first; they were left out.",
                    "5 rows at once on CC1; more than 4 are against the standard and may not be shown."));
    EXPECT_EQ(odd.decoder.statistics().unknownCodes, 4U);
}

TEST(CEA608Decoder, ParityIsToldOncePerRunAndDecidesNothing) {
    Viewer viewer;
    viewer.add(1, 0x9425);
    for (int i = 0; i < 6; ++i) viewer.add(1, 0x4141);  // both bytes bad
    viewer.add(1, 0x0000);                              // padding of files without parity
    for (int i = 0; i < 16; ++i) viewer.add(1, 0x94AD);
    viewer.add(1, 0x41C1);
    viewer.decoder.finish(frameTime(30));
    ASSERT_EQ(viewer.remarks.size(), 2U);
    EXPECT_EQ(viewer.remarks[0].text, "12 bytes without odd parity; they were read all the same.");
    EXPECT_EQ(viewer.remarks[0].timecode, frameTime(1));
    EXPECT_EQ(viewer.remarks[1].text, "1 byte without odd parity; it was read all the same.");
    EXPECT_EQ(viewer.remarks[1].timecode, frameTime(24));
    EXPECT_EQ(viewer.decoder.statistics().parityErrors, 13U);
    EXPECT_EQ(viewer.decoder.statistics().nullPairs, 1U);
}

TEST(CEA608Decoder, TakesEveryPairOfAFramesPackets) {
    const auto bytes = [](std::vector<std::uint8_t> data) { return ZQData::copying(data); };
    using Caption = ZQRVANCClosedCaptionPacket;
    // 24 frames per second: two pairs of field 1 and one of field 2; an invalid one and digital captions between.
    const auto cdp = Caption::closedCaptionPacketWithData(
        bytes({0x96, 0x69, 0x19, 0x2F, 0x43, 0,    0,    0x72, 0xE5, 0xFC, 0x94, 0x29, 0xF8, 0x94,
               0x2C, 0xFE, 0x41, 0x42, 0xFC, 0xC8, 0xE9, 0xFD, 0x15, 0x29, 0x74, 0,    0,    0}),
        Caption::TypeCDP);
    const auto pairs =
        Caption::closedCaptionPacketWithData(bytes({0xA1, 0x80, 0xCE, 0xEF}), Caption::TypeCEA608);
    const auto line21 = ZQRVANCPacketImpl::initWithDID(0x61, 0x02, 12, bytes({0x8C, 0x94, 0x2C}));
    const auto line284 = ZQRVANCPacketImpl::initWithDID(0x61, 0x02, 275, bytes({0x0C, 0x15, 0x2C}));
    const auto raw = ZQRVANCPacketImpl::initWithDID(0x261, 0x101, 9, cdp->data());
    const auto other = ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 9, bytes({0x94, 0x2C, 0x94, 0x2C}));
    Viewer viewer;
    viewer.decoder.addVancPackets({cdp, nullptr, other}, frameTime(1));
    viewer.decoder.addVancPackets({pairs}, frameTime(2));
    viewer.decoder.addVancPackets({line21, line284}, frameTime(5));
    viewer.decoder.addVancPackets({raw, line21}, frameTime(5));  // gone before anybody saw it
    viewer.decoder.addVancPackets({raw}, frameTime(6));
    viewer.decoder.finish(frameTime(7));
    EXPECT_THAT(viewer.blocks, ElementsAre("PaintOn CC1 1-5 15,0:Hi!", "PaintOn CC3 2-5 15,0:No",
                                           "PaintOn CC1 6-7 15,5:Hi"));
}

// In field 1 the channel bit of addresses and characters tells 2 from the others, not 4 from 3.
TEST(CEA608Decoder, ReadsWhatTheCaptionOutputSends) {
    for (int channel = 0; channel < 4; ++channel) {
        auto sidecar = ZQRSRTSidecar::initWithProperties(
            {{ZHLSRTSidecar_Property_ClosedCaptionChannel, channel}, {ZHLSRTSidecar_Property_Timebase, 2}});
        sidecar->setupOutput(ZQRSubtitleSidecar::OutputCEACC);
        const auto block = test::makeBlock(1, 50, 99, {u"Mañana", u"♪♪ and ½ welcome"});
        block->setVerticalPosition(14);
        block->setJustification(ZQRSubtitleBlock::Centered);
        ZQRCaptionCharacters::fitBlocks({block});
        sidecar->setSubtitleBlocks({block});
        Viewer viewer;
        for (int frame = 0; frame < 150; ++frame) {
            sidecar->prepareToReadFromFrame(frame);
            viewer.decoder.addVancPackets(sidecar->vancPacketsAtTimecode(frameTime(frame)), frameTime(frame));
        }
        viewer.decoder.finish(frameTime(150));
        // The flip goes out behind its resumption, one frame after the block's first.
        EXPECT_THAT(
            viewer.blocks,
            ElementsAre(fmt::format("PopOn CC{} 51-100 14,13:Mañana|15,7:♪ ♪ and ½ welcome", channel + 1)));
        EXPECT_EQ(viewer.decoder.statistics().parityErrors, 0U);
    }
}

// --- captions of other makers ---

void playSCC(Viewer& viewer, const std::string& name) {
    std::istringstream file(test::readSharedData("scc/" + name));
    ZQCKTimecode timecode;
    for (std::string line; std::getline(file, line);) {
        if (line.size() < 11 || line[2] != ':') continue;
        const auto timebase = ZQCKTimebase::timebaseForFramerate(line[8] == ';' ? 3 : 4);
        timecode = *ZQCKTimecode::timecodeWithString(line.substr(0, 11), timebase);
        std::istringstream words(line.substr(11));
        for (std::string word; words >> word; timecode.addFrames(1)) {
            viewer.decoder.addPair(1, static_cast<std::uint16_t>(std::stoul(word, nullptr, 16)), timecode);
        }
    }
    viewer.decoder.finish(timecode);
}

/// Lines of a "cdp" file: type, first and second byte, each type with its valid bit.
void playTriplets(Viewer& viewer, const std::string& name) {
    std::istringstream file(test::readSharedData("cdp/" + name));
    for (std::string line; std::getline(file, line);) {
        unsigned type = 0, first = 0, second = 0;
        if (std::sscanf(line.c_str(), "%x %x %x", &type, &first, &second) != 3 || (type & 3) > 1) continue;
        viewer.add(static_cast<int>(type & 1) + 1, first << 8 | second);
    }
    viewer.decoder.finish(frameTime(viewer.frame));
}

/// What stood on a channel, rows divided by "|", screens by " / ".
std::string textsOf(const Viewer& viewer, int service) {
    std::string texts;
    for (const auto& block : viewer.screens) {
        if (block->service() != service || block->mode() == Mode::Text) continue;
        texts += (texts.empty() ? "" : " / ") + block->text();
    }
    std::replace(texts.begin(), texts.end(), '\n', '|');
    return texts;
}

// What other readers find in them, and what they leave out: rows that roll on without new text, and what still
// stands at the end.
TEST(CEA608DecoderWithFilesOfOthers, ReadsWhatOthersRead) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const std::tuple<std::string, int, const char*> cases[] = {
        {"muxjs_cc1_cc3.hex", 3, "être une période de questions / être une période de questions"},
        {"muxjs_cnn_all_modes.hex", 1,
         "YEAR. / YEAR.|GO TO CNNHEROS.COM. / Did your Senator or Congressman|get elected by talking tough / "
         "on the national debt? / Will they stay true|to their words? / >>> NO MORE SPECULATION, NO MORE / "
         ">>> NO MORE SPECULATION, NO MORE|RUMORS OR GUESSING GAMES. / RUMORS OR GUESSING GAMES."},
        {"muxjs_four_channels.hex", 1, "1a / 1a|1b1c / 1b1c"},
        {"muxjs_four_channels.hex", 2, "2a / 2a|2b / 2b"},
        {"muxjs_four_channels.hex", 3, "3a / 3a"},
        {"muxjs_four_channels.hex", 4, "4a4b / 4a4b"},
        {"muxjs_mixed_608_708.hex", 1,
         "BUT IT’S NOT SUFFERING|RIGHW. / IT’S NOT A THREAT TO ANYBODY. / "
         "WE TRY NOT TO PUT AN ANIMAL DOWN|IF WE DON’T HAVE TO. / "
         "Narrator:|IF THE SICK AND FEARLESS MOOSE|WAS CLOSER TO A POPULATED AREA,"},
        {"muxjs_mixed_608_708.hex", 3, ""},
        // The first two screens are one, nothing lies between.
        {"pycaption_fixture_duplicate_special_characters.scc", 1, "®°½¿™¢£♪à èâêîôû / ®°AA½¿™¢£♪à èâêAAîôû"},
        {"ttconv_test_content_roll_up_empty_caption.scc", 1, "(à d / eux voix, en anglais):"},
        {"ttconv_test_content_trying_to_roll_up_pop_on_paragraph.scc", 1,
         "(applaudissements) / >>> Narrateur: Cette"},
        // Text without a mode code: the other reader drops "ipsum", receivers in the field show it.
        {"ttconv_test_content_starting_with_control_code.scc", 1,
         "ipsum / dolor sit amet,|consectetur adipiscing elit."},
        // Lines beyond 32 columns: the other reader lets them run on, a screen has no place for them.
        {"ttconv_test_pop_on_content_without_preamble_address_code.scc", 1,
         "Lorem ipsumÁ / dolor sit amet,|consectetur adipiscing elit. / entesque interdum lacinia solli."},
        {"ttconv_test_2_rows_roll_up_content.scc", 1,
         "Lorem ipsum dolor sit amet, / Lorem ipsum dolor sit amet,|consectetur adipiscing elit. / "
         "consectetur adipiscing elit.|Pellentesque interdum lacin. / "
         "Pellentesque interdum lacin.|Integer luctus et ligula ac sag."},
        {"ttconv_paint-on.scc", 1,
         "Lorem ipsum dolor sit amet,|consectetur adipiscing elit. / "
         "Pellentesque interdum lacin.|consectetur adipiscing elit. / "
         "Pellentesque interdum lacin.|Integer luctus et ligula ac."},
    };
    for (const auto& [file, service, texts] : cases) {
        Viewer viewer;
        (file.back() == 'x' ? playTriplets : playSCC)(viewer, file);
        EXPECT_EQ(textsOf(viewer, service), texts) << file << " CC" << service;
    }
}

/// The screens of a reference decoding as rowsOf() writes them, without colours.
Texts goldenScreens(const std::string& json) {
    Texts screens;
    std::string text;
    int row = 0, column = 0;
    const std::regex token(
        R"r("lines"|"column":(\d+),"row":(\d+)|"text":"((?:[^"\\]|\\.)*)"|"carriage_return")r");
    for (std::sregex_iterator found(json.begin(), json.end(), token), end; found != end; ++found) {
        const std::string what = found->str().substr(0, 4);
        if (what == "\"lin") screens.emplace_back();
        if (what == "\"tex") text += std::regex_replace((*found)[3].str(), std::regex(R"(\\(.))"), "$1");
        if (what == "\"col") {
            column = std::stoi((*found)[1]);
            row = std::stoi((*found)[2]) + 1;
            text.clear();
        }
        const std::size_t lead = text.find_first_not_of(' ');
        if (what != "\"car" || lead == std::string::npos) continue;
        screens.back() += fmt::format("{}{},{}:{}", screens.back().empty() ? "" : "|", row, column + lead,
                                      text.substr(lead, text.find_last_not_of(' ') + 1 - lead));
    }
    return screens;
}

TEST(CEA608DecoderWithFilesOfOthers, AgreesWithAReferenceCellByCell) {
    ZENQUOR_NEEDS_SHARED_DATA();
    Viewer viewer;
    playSCC(viewer, "gstrs_608-all-features.scc");
    const Texts golden = goldenScreens(test::readSharedData("scc/gstrs_608-all-features.expect.json"));
    EXPECT_EQ(golden.size(), 648U);
    auto next = golden.begin();
    std::map<Mode, int> found, missing;
    for (const auto& block : viewer.screens) {
        if (block->service() != 1) continue;
        const auto place = std::find(next, golden.end(), rowsOf(*block, false));
        (place == golden.end() ? missing : found)[block->mode()]++;
        if (place != golden.end()) next = place;
    }
    // What it does otherwise: five tables of characters with other code points, paint-on captions told word by word,
    // and roll-up captions that are neither moved nor shortened, against what their own text says of them.
    EXPECT_EQ(found, (std::map<Mode, int>{{Mode::PopOn, 59}, {Mode::RollUp, 45}}));
    EXPECT_EQ(missing, (std::map<Mode, int>{{Mode::PopOn, 5}, {Mode::PaintOn, 6}, {Mode::RollUp, 7}}));
}

// The numbers are those that another decoder finds, the times those of the first codes
// that show and erase: the line's, and a frame for each word before.
TEST(CEA608DecoderWithFilesOfOthers, ReadsWholeProgrammes) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const std::tuple<const char*, std::size_t, double, double> cases[] = {
        {"gstrs_dn2018-1217.scc", 1194, 15.033, 18.267},
        {"libcaption_tos.scc", 76, 22.867, 24.767},
        {"mantas_scc.scc", 2, 139.933, 144.933}};
    for (const auto& [file, blocks, in, out] : cases) {
        Viewer viewer;
        playSCC(viewer, file);
        ASSERT_EQ(viewer.blocks.size(), blocks) << file;
        EXPECT_NEAR(viewer.screens[0]->timecodeIn().secondsSinceMidnight(), in, 0.02) << file;
        EXPECT_NEAR(viewer.screens[0]->timecodeOut().secondsSinceMidnight(), out, 0.02) << file;
        for (std::size_t i = 1; i < blocks; ++i) {
            EXPECT_LE(viewer.screens[i - 1]->timecodeOut().framesSinceMidnight(),
                      viewer.screens[i]->timecodeIn().framesSinceMidnight());
        }
        const auto all = viewer.decoder.statistics();
        EXPECT_EQ(all.parityErrors + all.unknownCodes, 0U) << file;
    }
}

}  // namespace
}  // namespace zenquor
