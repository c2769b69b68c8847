// Captions read back from byte pairs, as a viewer would read them.
#include "zenquor/sidecar/ZQRCEA608Decoder.h"

#include <map>
#include <sstream>

#include <fmt/core.h>

#include "sidecar/SharedData.h"
#include "sidecar/Support.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

using test::pal;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsSupersetOf;
using testing::StartsWith;
using Mode = ZQRScreenBlock::Mode;
using Texts = std::vector<std::string>;

[[maybe_unused]] const ZLGLevel levelBefore = ZLGGetHandle().setLevel(ZLGLevel::Error);

ZQCKTimecode frameTime(std::int64_t frame, ZQCKTimebase timebase = pal) {
    return ZQCKTimecode::timecodeWithFrames(frame, timebase);
}

/// "PopOn CC1 4-7 15,0:Hi", further rows behind "|", colours as "{FF0000@0+2}" counted in the line.
std::string describe(const ZQRScreenBlock& block) {
    const std::map<Mode, std::string> modes = {{Mode::PopOn, "PopOn CC"},
                                               {Mode::RollUp, "RollUp CC"},
                                               {Mode::PaintOn, "PaintOn CC"},
                                               {Mode::Text, "T"}};
    std::string text =
        fmt::format("{}{} {}-{}", modes.at(block.mode()), block.service(),
                    block.timecodeIn().framesSinceMidnight(), block.timecodeOut().framesSinceMidnight());
    const auto lines = block.lines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& row = block.rows().at(i);
        text += fmt::format("{}{},{}:{}", i == 0 ? " " : "|", row.row, row.column,
                            utf8FromUTF16(lines[i]->string()));
        block.enumerateFormattingForLine(
            lines[i], [&](const ZQRSubtitleFormatting& run, std::size_t index, std::size_t offset) {
                if (offset == 0) text += fmt::format("{{{}@{}+{}}}", run.colour(), index, run.range().length);
            });
    }
    return text;
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

    Viewer() = default;
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
    /// Everything but parity, which no test here cares to set.
    Texts complaints() const {
        Texts texts;
        for (const auto& remark : remarks) {
            if (remark.kind != ZQRCaptionRemark::Kind::Parity) texts.push_back(remark.text);
        }
        return texts;
    }
    std::int64_t frame = 0;
};

struct Case {
    const char* name;
    const char* pairs;
    Texts blocks;
};

void check(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        Viewer viewer;
        viewer.play(c.pairs);
        EXPECT_EQ(viewer.blocks, c.blocks) << c.name;
    }
}

TEST(CEA608Decoder, PopOnCaptionsStandFromFlipToErasure) {
    check({
        {"once each", "1420 142E 1470 'Hi' 142F _ _ 142C _", {"PopOn CC1 4-7 15,0:Hi"}},
        {"doubled", "1420 1420 142E 142E 1470 1470 'Hi' 142F 142F _ 142C 142C", {"PopOn CC1 7-10 15,0:Hi"}},
        {"with parity", "9420 94AE 9470 C8E9 942F 942C", {"PopOn CC1 4-5 15,0:Hi"}},
        {"flip to the next",
         "1420 1470 'A' 142F 1420 142E 1340 'BC' 142F _",
         {"PopOn CC1 3-8 15,0:A", "PopOn CC1 8-10 12,0:BC"}},
        {"the same again",
         "1420 1470 'A' 142F 1420 142E 1470 'A' 142F 142E 1470 'A' 142F 142C",
         {"PopOn CC1 3-13 15,0:A"}},
        {"an empty flip", "1420 1470 'A' 142F 142E 142C 142F _", {"PopOn CC1 3-5 15,0:A"}},
        {"never flipped", "1420 1470 'A' 142C", {}},
        {"only spaces", "1420 1470 '  ' 142F 142C", {}},
        {"hidden memory erased", "1420 1470 'AB' 142E 1470 'C' 142F 142C", {"PopOn CC1 6-7 15,0:C"}},
        {"no address, twice",
         "1420 'AB' 142F 142C 142E 'CD' 142F 142C",
         {"PopOn CC1 2-3 15,0:AB", "PopOn CC1 6-7 15,0:CD"}},
        {"joined while loading", "1470 'AB' 142F 142C", {"PopOn CC1 2-3 15,0:AB"}},
        {"return is for rolling", "1420 1470 'A' 142D 'B' 142F 142C", {"PopOn CC1 5-6 15,0:AB"}},
        {"stays while the mode changes",
         "1425 1470 'A' 1420 142E 1470 'B' 142F 142C",
         {"RollUp CC1 2-7 15,0:A", "PopOn CC1 7-8 15,0:B"}},
    });
}

TEST(CEA608Decoder, RollUpCaptionsAreOneBlockForEachReturn) {
    check({
        {"two rows",
         "1425 142D 1470 'AB' 'CD' 142D 1470 'E' 142D 1470 'F' 142C _",
         {"RollUp CC1 3-5 15,0:ABCD", "RollUp CC1 5-8 14,0:ABCD|15,0:E", "RollUp CC1 8-11 14,0:E|15,0:F"}},
        {"depth grows",
         "1425 'A' 142D 'B' 1426 142D 'C' 142C",
         {"RollUp CC1 1-2 15,0:A", "RollUp CC1 2-5 14,0:A|15,0:B", "RollUp CC1 5-7 13,0:A|14,0:B|15,0:C"}},
        {"depth shrinks",
         "1426 'A' 142D 'B' 142D 'C' 1425 _ 142C",
         {"RollUp CC1 1-2 15,0:A", "RollUp CC1 2-4 14,0:A|15,0:B", "RollUp CC1 4-6 13,0:A|14,0:B|15,0:C",
          "RollUp CC1 6-8 14,0:B|15,0:C"}},
        {"moves to the row of the address",
         "1425 1470 'A' 142D 1240 'B' 142C",
         {"RollUp CC1 2-3 15,0:A", "RollUp CC1 3-6 2,0:A|3,0:B"}},
        {"moves while being written",
         "1425 1470 'A' 1260 'B' 142C",
         {"RollUp CC1 2-3 15,0:A", "RollUp CC1 3-5 4,0:B"}},
        {"depth wins at the top", "1427 1140 'A' 142C", {"RollUp CC1 2-3 4,0:A"}},
        {"starting clears both memories",
         "1420 1470 'A' 142F 1420 'X' 1425 1470 'B' 142F _",
         {"PopOn CC1 3-6 15,0:A", "RollUp CC1 8-9 15,0:B"}},
        {"starting again does not", "1425 'A' 1425 _ 'B' 142C", {"RollUp CC1 1-5 15,0:AB"}},
        {"an empty window rolls unseen",
         "1425 142D _ _ 142D 'A' 142D _ _ 142D _ _ 142D",
         {"RollUp CC1 5-6 15,0:A", "RollUp CC1 6-9 14,0:A"}},
    });
}

TEST(CEA608Decoder, PaintOnCaptionsBeginWithTheirFirstCharacter) {
    check({
        {"until erased", "1429 1440 'A' 1470 'B' 142C", {"PaintOn CC1 2-5 14,0:A|15,0:B"}},
        {"painted over",
         "1429 1470 'AB' _ 1429 _ _ 1470 'C' 142C",
         {"PaintOn CC1 2-8 15,0:AB", "PaintOn CC1 8-9 15,0:CB"}},
        {"painted over with the same", "1429 1470 'AB' _ 1429 _ 1470 'AB' 142C", {"PaintOn CC1 2-8 15,0:AB"}},
        {"resumed in its row", "1429 1470 'AB' 1C20 1429 'CD' 142C", {"PaintOn CC1 2-6 15,0:ABCD"}},
        {"over a pop-on caption",
         "1420 1440 'A' 142F 1429 1470 'B' 142C",
         {"PopOn CC1 3-6 14,0:A", "PaintOn CC1 6-7 14,0:A|15,0:B"}},
        {"deleted to the end",
         "1429 1470 'ABCD' 1470 1721 1424 _ 142C",
         {"PaintOn CC1 2-6 15,0:ABCD", "PaintOn CC1 6-8 15,0:A"}},
        {"backspaced to nothing",
         "1429 1470 'A' 1421 _ 'B' 142C",
         {"PaintOn CC1 2-3 15,0:A", "PaintOn CC1 5-6 15,0:B"}},
    });
}

TEST(CEA608Decoder, TextModeIsKeptApart) {
    check({
        {"rows from the top", "142A 'AB' 142D 1450 'CD' 142A", {"T1 1-4 1,0:AB", "T1 4-5 1,0:AB|2,0:CD"}},
        {"beside captions",
         "142A 'TX' 1425 'CC' 142B 'YZ' 142C _ 142A",
         {"RollUp CC1 3-6 15,0:CC", "T1 1-8 1,0:TXYZ"}},
        {"captions erased from text", "1425 'A' 142A 142C 'T' _", {"RollUp CC1 1-3 15,0:A", "T1 4-6 1,0:T"}},
        {"the other channels",
         "1C2A 'AB' /152A /'CD' /1D2A /'EF' 1C2A _",
         {"T2 1-6 1,0:AB", "T3 3-8 1,0:CD", "T4 5-8 1,0:EF"}},
    });
    Viewer rolling;
    std::string pairs = "142A ";
    for (int i = 0; i < 15; ++i) pairs += fmt::format("'{}' 142D _ _ ", 10 + i);
    rolling.play(pairs + "'99'");
    ASSERT_EQ(rolling.screens.size(), 16U);
    EXPECT_EQ(rolling.screens.back()->rows().size(), 15U);
    EXPECT_EQ(rolling.screens.back()->text().substr(0, 6), "11\n12\n");
    EXPECT_EQ(rolling.complaints(), Texts{});
}

TEST(CEA608Decoder, CodesPlaceColourAndReplaceCharacters) {
    const std::vector<std::pair<const char*, std::string>> rows = {
        {"1470 'ABC' 1421", "15,0:AB"},
        {"1470 1421 'A'", "15,0:A"},
        {"1456 1723 'A'", "14,15:A"},               // indent 12 and three more
        {"1470 'A' 1722 'B'", "15,0:A  B"},         // a tab leaves cells empty
        {"1470 'ABCD' 1470 1722 1424", "15,0:AB"},  // the rest of the row deleted
        {"1470 'A' 1128 'BC' 1120 'D'", "15,0:A BC D{FF0000@2+2}"},
        {"1472 'AB'", "15,4:AB"},
        {"1462 'AB'", "15,0:AB{00FF00@0+2}"},
        {"1467 'AB' 112A 'CD' 112E 'E'", "15,0:AB CD E{00FFFF@0+2}{FFFF00@3+4}"},
        {"1468 'A B'", "15,0:A B{FF0000@0+3}"},
        {"146E 'A'", "15,0:A"},                          // italics only
        {"1470 112E 'AB' 1120 '.'", "15,1:AB ."},        // a mid-row code is the space
        {"1470 'A' 1428 'B'", "15,0:A B"},               // so is flash on
        {"1470 'A ' 1024 'B ' 172D 'C'", "15,0:A B C"},  // a background takes the place of its space
        {"1470 'A ' 172E 'B'", "15,0:A B{000000@2+1}"},
        {"1470 'A' 1139 'B'", "15,0:A B"},  // transparent space
        {"1470 1137 1130 1132 113F", "15,0:♪®½û"},
        {"1470 'MA' 1220 'RTHA'", "15,0:MÁRTHA"},
        {"1470 'MA' 1330 1330 'RTHA'", "15,0:MÄRTHA"},
        {"1470 'cc' 1229 'oo' 1334 's' 133F", "15,0:c'oß┘"},
        {"1470 1237", "15,0:Î"},
        {"1470 2A5C 5E5F 607B 7C7D 7E7F 2700", "15,0:áéíóúç÷Ññ■’"},
    };
    for (const auto& [pairs, row] : rows) {
        Viewer viewer;
        viewer.play(std::string("1420 ") + pairs + " 142F _");
        ASSERT_EQ(viewer.blocks.size(), 1U) << pairs;
        EXPECT_THAT(viewer.blocks[0], EndsWith(" " + row)) << pairs;
    }
}

TEST(CEA608Decoder, ACodeSentTwiceActsOnce) {
    const std::vector<std::tuple<const char*, const char*, int>> cases = {
        {"1421", "ABCDE", 0},
        {"1421 1421", "ABCDE", 1},
        {"1421 1421 1421", "ABCD", 1},
        {"1421 _ 1421", "ABCDE", 1},
        {"1421 _ _ 1421", "ABCD", 0},
        {"1421 'XX' 1421", "ABCDEX", 0},
        {"1421 /'XX' 1421", "ABCDE", 1},
        {"1421 /1520 1421", "ABCDE", 1},
        {"9421 1421", "ABCDE", 1},
        {"'XX' 'XX'", "ABCDEFXXXX", 0},
        {"1137 1137", "ABCDEF♪", 1},
        {"1120 1120 '.'", "ABCDEF .", 1},
    };
    for (const auto& [pairs, text, repeated] : cases) {
        Viewer viewer;
        viewer.play(std::string("1429 1470 'ABCDEF' ") + pairs + " 142C");
        ASSERT_EQ(viewer.screens.size(), 1U) << pairs;
        EXPECT_EQ(viewer.screens[0]->text(), text) << pairs;
        EXPECT_EQ(viewer.decoder.statistics().repeatedControls, repeated) << pairs;
    }
}

TEST(CEA608Decoder, ChannelsInterleave) {
    check({
        {"four at once, each in its field",
         "1425 '1a' 1C25 /1525 /'3a' '2a' /1D25 /'4a' /'4b' 142D 1425 '1b' 142C 1C2C /152C /1D2C",
         {"RollUp CC1 1-9 15,0:1a", "RollUp CC1 9-12 14,0:1a|15,0:1b", "RollUp CC2 5-13 15,0:2a",
          "RollUp CC3 4-14 15,0:3a", "RollUp CC4 7-15 15,0:4a4b"}},
        {"channel 3 in field 1", "1520 152E 1470 'Hi' 1520 152F 152C", {"PopOn CC3 5-6 15,0:Hi"}},
        {"channel 4 in field 1, addressed like channel 3",
         "1D20 1D2E 1470 'Hi' 1D20 1D2F 1D2C",
         {"PopOn CC4 5-6 15,0:Hi"}},
        {"a file of field 2 in field 1",
         "1520 1470 'A' 1D20 1C70 'B' 152F 1D2F 152C 1D2C",
         {"PopOn CC3 6-8 15,0:A", "PopOn CC4 7-9 15,0:B"}},
        {"codes of field 1 in field 2",
         "/1420 /1470 /'A' /142F /142C /1C29 /'B' /1C2C",
         {"PopOn CC3 3-4 15,0:A", "PaintOn CC4 6-7 15,0:B"}},
    });
}

// The sums were made by hand: all bytes from start to end add up to 0 modulo 128.
TEST(CEA608Decoder, ExtendedDataStaysOutOfCaptions) {
    Viewer viewer;
    viewer.play(
        "/1529 /1470 /'AB' /0103 /'Te' /1529 /'CD' /0203 /'st' /0F4D /1529 /'E' /0501 /'XY' /0F00 /152C");
    EXPECT_THAT(viewer.blocks, ElementsAre("PaintOn CC3 2-15 15,0:ABCDE"));
    EXPECT_EQ(viewer.decoder.statistics().xdsPackets, 2U);
    EXPECT_EQ(viewer.decoder.statistics().xdsChecksumErrors, 1U);
    ASSERT_EQ(viewer.complaints().size(), 1U);
    EXPECT_THAT(viewer.complaints()[0], StartsWith("The checksum of an extended data packet is wrong"));
    Viewer first;
    first.play("1429 'AB' 0103 'CD' 142C");
    EXPECT_THAT(first.blocks, ElementsAre("PaintOn CC1 1-4 15,0:ABCD"));
    EXPECT_THAT(first.complaints(), ElementsAre("A pair without meaning, 0103; it was left out."));
}

TEST(CEA608Decoder, WhatIsWrongIsToldOnce) {
    Viewer viewer;
    viewer.play("'lost' 1420 1470 '01234567890123456789012345678901 XYZ' 142F 142C");
    EXPECT_THAT(viewer.blocks, ElementsAre("PopOn CC1 22-23 15,0:0123456789012345678901234567890Z"));
    EXPECT_THAT(
        viewer.complaints(),
        ElementsAre("Characters before the first code belong to no caption channel and were left out.",
                    "Row 15 of CC1 is longer than 32 characters; what follows is written over the last "
                    "column."));
    Viewer odd;
    odd.play(
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
    viewer.decoder.addVancPackets({raw}, frameTime(6));
    viewer.decoder.finish(frameTime(7));
    EXPECT_THAT(viewer.blocks, ElementsAre("PaintOn CC1 1-5 15,0:Hi!", "PaintOn CC3 2-5 15,0:No",
                                           "PaintOn CC1 6-7 15,3:Hi"));
}

TEST(CEA608Decoder, ReadsWhatTheCaptionOutputSends) {
    for (int channel = 0; channel < 4; ++channel) {
        auto sidecar = ZQRSRTSidecar::initWithProperties(
            {{ZHLSRTSidecar_Property_ClosedCaptionChannel, channel}, {ZHLSRTSidecar_Property_Timebase, 2}});
        sidecar->setupOutput(ZQRSubtitleSidecar::OutputCEACC);
        ZQRSubtitleBlockList blocks = {test::makeBlock(1, 50, 99, {u"Good evening", u"and ½ welcome"}),
                                       test::makeBlock(2, 150, 199, {u"ma\u00F1ana"})};
        for (const auto& block : blocks) {
            block->setVerticalPosition(14);
            block->setJustification(ZQRSubtitleBlock::Centered);
        }
        sidecar->setSubtitleBlocks(blocks);
        Viewer viewer;
        for (int frame = 0; frame < 250; ++frame) {
            sidecar->prepareToReadFromFrame(frame);
            viewer.decoder.addVancPackets(sidecar->vancPacketsAtTimecode(frameTime(frame)), frameTime(frame));
        }
        viewer.decoder.finish(frameTime(250));
        // The flip goes out behind its resumption, one frame after the block's first.
        EXPECT_THAT(
            viewer.blocks,
            ElementsAre(fmt::format("PopOn CC{} 51-100 14,10:Good evening|15,9:and ½ welcome", channel + 1),
                        fmt::format("PopOn CC{} 151-200 14,13:mañana", channel + 1)));
        EXPECT_EQ(viewer.decoder.statistics().parityErrors, 0U);
    }
}

// --- captions of other makers ---

Viewer& playSCC(Viewer& viewer, const std::string& name) {
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
    return viewer;
}

void playTriplets(Viewer& viewer, const std::string& name) {
    std::istringstream file(test::readSharedData("cdp/" + name));
    for (std::string line; std::getline(file, line);) {
        unsigned type = 0, first = 0, second = 0;
        if (std::sscanf(line.c_str(), "%x %x %x", &type, &first, &second) != 3 || (type & 3) > 1) continue;
        viewer.add(static_cast<int>(type & 1) + 1, first << 8 | second);
    }
    viewer.decoder.finish(frameTime(viewer.frame));
}

Texts textsOf(const Viewer& viewer, int service) {
    Texts texts;
    for (const auto& block : viewer.screens) {
        if (block->service() == service && block->mode() != Mode::Text) texts.push_back(block->text());
    }
    return texts;
}

TEST(CEA608DecoderWithFilesOfOthers, ReadsCaptionDataOfBroadcasts) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const struct {
        const char* file;
        int service;
        Texts texts;
    } cases[] = {
        {"muxjs_cc1_cc3.hex", 1, {"PERIOD, FOLKS."}},
        {"muxjs_cc1_cc3.hex", 3, {"être une période de questions"}},
        {"muxjs_cnn_all_modes.hex",
         1,
         {"YEAR.", "YEAR.\nGO TO CNNHEROS.COM.",
          "Did your Senator or Congressman\nget elected by talking tough", "on the national debt?",
          "Will they stay true\nto their words?", ">>> NO MORE SPECULATION, NO MORE",
          ">>> NO MORE SPECULATION, NO MORE\nRUMORS OR GUESSING GAMES."}},
        {"muxjs_four_channels.hex", 1, {"1a", "1a\n1b1c"}},
        {"muxjs_four_channels.hex", 2, {"2a", "2a\n2b"}},
        {"muxjs_four_channels.hex", 3, {"3a"}},
        {"muxjs_four_channels.hex", 4, {"4a4b"}},
        {"muxjs_mixed_608_708.hex",
         1,
         {"BUT IT’S NOT SUFFERING\nRIGHW.", "IT’S NOT A THREAT TO ANYBODY.",
          "WE TRY NOT TO PUT AN ANIMAL DOWN\nIF WE DON’T HAVE TO."}},
        {"muxjs_mixed_608_708.hex", 3, {}},
    };
    for (const auto& c : cases) {
        Viewer viewer;
        playTriplets(viewer, c.file);
        Texts texts = textsOf(viewer, c.service);
        // The other reader leaves out what still stands at the end, or rolled on without new text.
        ASSERT_GE(texts.size(), c.texts.size()) << c.file;
        EXPECT_LE(texts.size(), c.texts.size() + 1) << c.file;
        texts.resize(c.texts.size());
        EXPECT_EQ(texts, c.texts) << c.file << " CC" << c.service;
    }
}

TEST(CEA608DecoderWithFilesOfOthers, ReadsScenaristFiles) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const struct {
        const char* file;
        Texts texts;
    } cases[] = {
        {"mantas_scc.scc",
         {"Senator, we’re making\nour final approach into\nCoruscant.", "Very good, Lieutenant."}},
        {"pycaption_fixture_doubled_mid_row_before_punctuation.scc",
         {">> We’ll be back next week with\nanother episode of Canada Files."}},
        {"pycaption_fixture_duplicate_special_characters.scc",
         {"®°½¿™¢£♪à èâêîôû", "®°AA½¿™¢£♪à èâêAAîôû"}},  // the first two are one, nothing lies between
        {"pycaption_fixture_duplicate_tab_offset.scc",
         {"[Radio reporter]\nThe I-10 Santa Monica Freeway\nwestbound is jammed,",
          "due to a three-car accident\nblocking lanes 1 and 2"}},
        {"pycaption_fixture_empty.scc", {}},
        {"pycaption_fixture_mid_row_before_text_pop.scc", {"AB AB"}},
        {"pycaption_fixture_with_ampersand_character.scc", {"MAJOR FUNDING PROVIDED BY &"}},
        {"subtitleedit_DecodesAlignedMusicNotes.scc", {"♪ De Pueblo Paleta soy ♪"}},
        {"subtitleedit_PreambleAddressCodesProduceLineBreaks.scc",
         {"NARRADOR:\nAsh y sus amigos\ncontinúan su viaje"}},
        {"ttconv_test_content_roll_up_empty_caption.scc", {"(à d", "eux voix, en anglais):"}},
        {"ttconv_test_content_starting_with_backspace.scc", {"À la fin des années 1800,"}},
        {"ttconv_test_content_starting_with_text.scc", {"dolor sit amet,\nconsectetur adipiscing elit."}},
        {"ttconv_test_content_trying_to_roll_up_pop_on_paragraph.scc",
         {"(applaudissements)", ">>> Narrateur: Cette"}},
        // Text without a mode code: the other reader drops "ipsum", receivers in the field show it.
        {"ttconv_test_content_starting_with_control_code.scc",
         {"ipsum", "dolor sit amet,\nconsectetur adipiscing elit."}},
        {"ttconv_test_content_starting_with_preamble_address_code.scc",
         {"ipsum", "dolor sit amet,\nconsectetur adipiscing elit."}},
        // Lines beyond 32 columns: the other reader lets them run on, a screen has no place for them.
        {"ttconv_test_pop_on_content_without_preamble_address_code.scc",
         {"Lorem ipsumÁ", "dolor sit amet,\nconsectetur adipiscing elit.",
          "entesque interdum lacinia solli."}},
        {"ttconv_test_2_rows_roll_up_content.scc",
         {"Lorem ipsum dolor sit amet,", "Lorem ipsum dolor sit amet,\nconsectetur adipiscing elit.",
          "consectetur adipiscing elit.\nPellentesque interdum lacin.",
          "Pellentesque interdum lacin.\nInteger luctus et ligula ac sag."}},
        {"ttconv_paint-on.scc",
         {"Lorem ipsum dolor sit amet,\nconsectetur adipiscing elit.",
          "Pellentesque interdum lacin.\nconsectetur adipiscing elit.",
          "Pellentesque interdum lacin.\nInteger luctus et ligula ac."}},
    };
    for (const auto& c : cases) {
        Viewer viewer;
        EXPECT_EQ(textsOf(playSCC(viewer, c.file), 1), c.texts) << c.file;
    }
    Viewer mixed;
    const Texts texts = textsOf(playSCC(mixed, "ttconv_test_mix_rows_roll_up_content.scc"), 1);
    EXPECT_THAT(texts, IsSupersetOf({">>> HI.", ">>> HI.\nI’M KEVIN CUNNING AND AT", "ABCDEû\nÁÉÓ¡"}));
    Viewer senator;
    playSCC(senator, "mantas_scc.scc");
    EXPECT_NEAR(senator.screens.at(0)->timecodeIn().secondsSinceMidnight(), 140, 0.1);
    EXPECT_NEAR(senator.screens.at(0)->timecodeOut().secondsSinceMidnight(), 145, 0.1);
}

/// The screens of a reference decoding, one JSON value each, as describe() writes rows.
Texts goldenScreens(const std::string& json) {
    Texts screens;
    std::string screen;
    const auto number = [&](std::size_t at) { return std::stoi(json.substr(json.find(':', at) + 1)); };
    for (std::size_t at = 0; (at = json.find_first_of("{", at)) != std::string::npos; ++at) {
        if (json.compare(at, 8, "{\"lines\"") == 0) {
            if (!screen.empty()) screens.push_back(screen);
            screen.clear();
        } else if (json.compare(at, 9, "{\"column\"") == 0) {
            std::string text;
            const std::size_t end = json.find("\"carriage_return\"", at);
            for (std::size_t t = at; (t = json.find("\"text\":\"", t)) < end;) {
                for (t += 8; json[t] != '"'; ++t) text += json[t] == '\\' ? json[++t] : json[t];
            }
            const std::size_t lead = text.find_first_not_of(' ');
            if (lead == std::string::npos) continue;
            screen += fmt::format("{}{},{}:{}", screen.empty() ? "" : "|",
                                  number(json.find("\"row\"", at)) + 1, number(at) + static_cast<int>(lead),
                                  text.substr(lead, text.find_last_not_of(' ') + 1 - lead));
        }
    }
    screens.push_back(screen);
    return screens;
}

TEST(CEA608DecoderWithFilesOfOthers, AgreesWithAReferenceCellByCell) {
    ZENQUOR_NEEDS_SHARED_DATA();
    Viewer viewer;
    playSCC(viewer, "gstrs_608-all-features.scc");
    const Texts golden = goldenScreens(test::readSharedData("scc/gstrs_608-all-features.expect.json"));
    EXPECT_EQ(golden.size(), 632U);
    std::size_t next = 0;
    std::map<std::string, int> found, missing;
    for (const auto& block : viewer.screens) {
        if (block->service() != 1) continue;
        std::string rows;
        for (std::size_t i = 0; i < block->rows().size(); ++i) {
            rows += fmt::format("{}{},{}:{}", i == 0 ? "" : "|", block->rows()[i].row,
                                block->rows()[i].column, utf8FromUTF16(block->lines()[i]->string()));
        }
        const auto place = std::find(golden.begin() + static_cast<std::ptrdiff_t>(next), golden.end(), rows);
        const std::string mode = describe(*block).substr(0, 2);
        (place == golden.end() ? missing : found)[mode]++;
        if (place != golden.end()) next = static_cast<std::size_t>(place - golden.begin());
    }
    // What it does otherwise: six tables of characters with other code points, paint-on captions told word by word,
    // and roll-up captions that are neither moved nor shortened, against what their own text says of them.
    EXPECT_EQ(found, (std::map<std::string, int>{{"Po", 58}, {"Ro", 45}}));
    EXPECT_EQ(missing, (std::map<std::string, int>{{"Po", 6}, {"Pa", 6}, {"Ro", 7}}));
}

// The numbers are those that another decoder finds.
TEST(CEA608DecoderWithFilesOfOthers, ReadsWholeProgrammes) {
    ZENQUOR_NEEDS_SHARED_DATA();
    for (const auto& [file, blocks] :
         {std::pair("gstrs_dn2018-1217.scc", 1194U), std::pair("libcaption_tos.scc", 76U)}) {
        Viewer viewer;
        playSCC(viewer, file);
        EXPECT_EQ(viewer.blocks.size(), blocks) << file;
        for (std::size_t i = 1; i < viewer.screens.size(); ++i) {
            EXPECT_LE(viewer.screens[i - 1]->timecodeOut().framesSinceMidnight(),
                      viewer.screens[i]->timecodeIn().framesSinceMidnight());
        }
        const auto all = viewer.decoder.statistics();
        EXPECT_EQ(all.parityErrors + all.unknownCodes, 0U) << file;
    }
}

}  // namespace
}  // namespace zenquor
