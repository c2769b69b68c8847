// Teletext subtitle pages read back: what is on the screen, from when to when, and what is wrong with the stream.

#include "zenquor/sidecar/ZQRTeletextPageReader.h"

#include <fmt/format.h>

#include <bit>

#include "Support.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor {
namespace {

using test::makeBlock;
using test::pal;
using testing::ElementsAre;
using testing::IsEmpty;
using Teletext = ZQRVANCTeletextPacket;
using OP47 = ZQRVANCOP47Packet;
using Packets = std::vector<Teletext>;
using Kind = ZQRCaptionRemark::Kind;

ZQCKTimecode at(std::int64_t frame) {
    return ZQCKTimecode::timecodeWithFrames(frame, pal);
}

Teletext header(std::int32_t page = 0x888, bool erase = true) {
    auto packet = Teletext::initSubtitleHeaderWithColour(7, u' ', 0);
    packet.setMagazine(static_cast<std::uint32_t>(page >> 8));
    packet.setPageTens(page >> 4 & 15);
    packet.setPageUnits(page & 15);
    packet.setControlErasePage(erase);
    return packet;
}
template <typename Setter, typename Value>
Teletext with(Teletext packet, Setter setter, Value value) {
    (packet.*setter)(value);
    return packet;
}
Teletext row(std::int32_t number, std::u16string_view text, std::uint32_t magazine = 8) {
    return with(Teletext::initSubtitleWithLine(number, u' ', 0, text), &Teletext::setMagazine, magazine);
}
Teletext boxed(std::int32_t number, const std::u16string& text, std::uint32_t magazine = 8) {
    return row(number, u"\x0B\x0B" + text + u"\x0A\x0A", magazine);
}
/// The row with the parity of some characters wrong.
Teletext damaged(Teletext packet, std::initializer_list<std::size_t> columns) {
    std::vector<std::uint8_t> bytes(packet.rawPayload().begin(), packet.rawPayload().end());
    for (const std::size_t column : columns) bytes[column] ^= 0x80;
    packet.setRawPayload(bytes);
    return packet;
}

struct Air {
    explicit Air(ZQRTeletextPageReader::Options options = {})
        : reader(
              options, [this](const ZQRScreenBlockPtr& block) { keep(block); },
              [this](const ZQRCaptionRemark& remark) { remarks.push_back(remark.kind); }) {}

    void keep(const ZQRScreenBlockPtr& found) {
        const ZQRScreenBlock& block = *found;
        std::string text = fmt::format("{}-{}", block.timecodeIn().framesSinceMidnight(),
                                       block.timecodeOut().framesSinceMidnight());
        for (std::size_t i = 0; i < block.rows().size(); ++i) {
            const auto& place = block.rows()[i];
            text += fmt::format(" {}/{}{} {}", place.row, place.column, place.doubleHeight ? "D" : "",
                                utf8FromUTF16(block.lines()[i]->string()));
        }
        blocks.push_back(text);
        last = found;
    }
    void send(std::int64_t frame, const Packets& packets) {
        if (packets.empty()) reader.addVancPackets({}, at(frame));
        for (const auto& packet : packets) reader.addTeletextPacket(packet, at(frame));
    }
    /// The texts of one page that stands for ten frames.
    static std::vector<std::string> show(const Packets& packets,
                                         ZQRTeletextPageReader::Options options = {}) {
        Air air(options);
        air.send(0, packets);
        air.reader.finish(at(10));
        return air.blocks;
    }

    std::vector<std::string> blocks;
    std::vector<Kind> remarks;
    ZQRScreenBlockPtr last;
    ZQRTeletextPageReader reader;
};

TEST(TeletextPageReader, ATextStandsFromItsRowsToTheHeaderThatErasesThem) {
    Air air;
    air.send(10, {header(), boxed(20, u"One"), boxed(22, u"Two"), row(25, u"")});
    air.send(30, {header()});
    air.send(50, {header()});
    air.send(51, {boxed(22, u"Three")});
    air.send(52, {});
    air.send(70, {header()});
    air.send(71, {boxed(22, u"Four")});
    air.reader.finish(at(80));
    EXPECT_THAT(air.blocks, ElementsAre("10-30 20/2 One 22/2 Two", "51-70 22/2 Three", "71-80 22/2 Four"));
    EXPECT_EQ(air.last->mode(), ZQRScreenBlock::Mode::Teletext);
    EXPECT_EQ(air.last->service(), 0x888);
    EXPECT_THAT(air.remarks, IsEmpty());
}

TEST(TeletextPageReader, APageThatIsSentAgainStaysOneBlock) {
    const Packets page = {header(), boxed(20, u"One"), boxed(22, u"Two")};
    Air air;
    air.send(0, page);
    air.send(0, page);  // the other field
    air.send(1, page);
    air.send(5, {header()});  // header and rows a frame apart
    air.send(6, {boxed(20, u"One")});
    air.send(7, {boxed(22, u"Two")});
    air.send(20, {header(0x888, false), boxed(22, u"Two")});
    air.send(21, {boxed(20, u"One")});  // rows alone
    for (std::int64_t frame = 22; frame < 40; ++frame) air.send(frame, {});
    air.reader.finish(at(40));
    EXPECT_THAT(air.blocks, ElementsAre("0-40 20/2 One 22/2 Two"));
    EXPECT_EQ(air.reader.statistics().repeats, 4U);
}

TEST(TeletextPageReader, RowsAfterTheSettlingTimeOrWithoutAnEndAreAnotherText) {
    Air air;
    air.send(0, {header(), boxed(22, u"One")});
    air.send(10, {header()});
    air.send(13, {boxed(22, u"One")});
    air.send(20, {boxed(20, u"And")});  // a row joins
    air.reader.finish(at(30));
    EXPECT_THAT(air.blocks, ElementsAre("0-10 22/2 One", "13-20 22/2 One", "20-30 20/2 And 22/2 One"));
    Air endless;
    endless.send(0, {header()});
    for (std::int64_t frame = 1; frame <= 40; ++frame) {
        endless.send(frame, {boxed(22, std::u16string(1, static_cast<char16_t>(u'A' + frame % 26)))});
    }
    endless.reader.finish(at(41));
    EXPECT_THAT(endless.blocks, ElementsAre("1-13 22/2 M", "13-26 22/2 Z", "26-39 22/2 M", "39-41 22/2 O"));
}

TEST(TeletextPageReader, FollowsOnePageThroughMagazinesAndOtherPages) {
    const Packets parallel = {header(0x100), row(20, u"No", 1),      header(0x801),    boxed(20, u"Yes"),
                              header(0x150), boxed(22, u"Other", 1), boxed(22, u"too")};
    EXPECT_THAT(Air::show(parallel, {.page = 0x801, .characterSet = {}}),
                ElementsAre("0-10 20/2 Yes 22/2 too"));
    EXPECT_THAT(Air::show(parallel, {.page = 0x150, .characterSet = {}}), ElementsAre("0-10 22/2 Other"));
    EXPECT_THAT(Air::show({header(0x801), boxed(20, u"Yes"), header(0x802), boxed(22, u"No")}),
                ElementsAre("0-10 20/2 Yes"));
    const auto serial = with(header(0x801), &Teletext::setControlMagazineSerial, true);
    for (const std::int32_t other : {0x150, 0x8FF, 0x1FF}) {
        EXPECT_THAT(Air::show({serial, boxed(20, u"Yes"), header(other), boxed(22, u"No")}),
                    ElementsAre("0-10 20/2 Yes"));
    }

    Air air;
    air.send(0, {with(header(0x100), &Teletext::setControlSubtitle, false), header(0x70A), header(0x777),
                 boxed(20, u"A", 7), header(0x888), boxed(20, u"B")});
    EXPECT_EQ(air.reader.page(), 0x777);
    EXPECT_THAT(air.reader.pages(), ElementsAre(0x100, 0x70A, 0x777, 0x888));
    EXPECT_THAT(air.reader.subtitlePages(), ElementsAre(0x70A, 0x777, 0x888));
    Air none;
    none.send(0, {with(header(), &Teletext::setControlSubtitle, false), row(20, u"Weather")});
    none.reader.finish(at(10));
    EXPECT_THAT(none.blocks, IsEmpty());
    EXPECT_THAT(none.remarks, ElementsAre(Kind::Loss));
}

TEST(TeletextPageReader, ShowsWhatAReceiverShows) {
    const auto plain = with(header(), &Teletext::setControlSubtitle, false);
    const auto flash = with(plain, &Teletext::setControlNewsflash, true);
    const auto inhibited = with(header(), &Teletext::setControlInhibitDisplay, true);
    const auto broken = [](const Teletext& packet, std::size_t byte) {
        auto bytes = packet.data();
        bytes[byte] ^= 1;
        return Teletext::initWithBytes(bytes);
    };
    // The packets behind a header, and what stands within boxes.
    const std::pair<Packets, const char*> cases[] = {
        {{row(20, u"No \013\013yes\012\012 no")}, "20/5 yes"},
        {{row(20, u"No")}, ""},
        {{row(20, u"\013yes\012 no")}, "20/1 yes"},  // half a box
        {{row(20, u"\013\013yes\012\012no\013\013yes")}, "20/2 yes yes"},
        {{flash, row(20, u"No \013\013yes")}, "20/5 yes"},
        {{plain, row(20, u"  Yes")}, "20/2 Yes"},  // no box is wanted
        {{inhibited, boxed(20, u"No")}, ""},
        {{boxed(24, u"Yes"), boxed(25, u"No")}, "24/2 Yes"},
        {{boxed(20, u"\015High"), boxed(21, u"No"), boxed(22, u"Low")}, "20/3D High 22/2 Low"},
        {{boxed(20, u"\015 \014Low"), boxed(21, u"Yes")}, "20/5 Low 21/2 Yes"},
        {{boxed(20, u"\016Wxixdxex  \014it")}, "20/3 Wide it"},
        {{boxed(20, u"Who? \030Me \002You")}, "20/2 Who? You"},  // concealed
        {{boxed(20, u"\022aAb―c\003c")}, "20/4 A c"},            // mosaics
        {{boxed(20, u"  a   b  ")}, "20/4 a   b"},
        {{boxed(20, u"a\033b\010c\035d")}, "20/2 a b c d"},
        {{boxed(20, u"Yes"), broken(header(0x801), 6), boxed(22, u"No")}, "20/2 Yes"},
        {{boxed(20, u"Yes"), broken(row(21, u"x"), 3), boxed(22, u"too")}, "20/2 Yes 22/2 too"},
    };
    for (const auto& [packets, text] : cases) {
        Packets page = {header()};
        page.insert(page.end(), packets.begin(), packets.end());
        const auto blocks = Air::show(page, {.page = 0x888, .characterSet = {}});
        EXPECT_EQ(blocks.empty() ? "" : blocks[0], *text ? fmt::format("0-10 {}", text) : "") << text;
    }
}

TEST(TeletextPageReader, ColoursAreRunsOverAllLines) {
    Air air;
    air.send(0, {header(), boxed(20, u"a \x01red rag\x07 b"), boxed(22, u"\006cyan\002green"), row(25, u""),
                 boxed(25, u"unseen")});
    air.reader.finish(at(10));
    ASSERT_THAT(air.blocks, ElementsAre("0-10 20/2 a red rag b 22/3 cyan green"));
    std::string runs;
    for (const auto& line : air.last->lines()) {
        air.last->enumerateFormattingForLine(line, [&](const auto& run, std::size_t, std::size_t offset) {
            if (offset == 0)
                runs += fmt::format("{} {}+{} ", run.colour(), run.range().location, run.range().length);
        });
    }
    EXPECT_EQ(runs, "FF0000 2+7 00FFFF 11+4 00FF00 16+5 ");
    EXPECT_THAT(air.remarks, ElementsAre(Kind::SafeArea));
}

TEST(TeletextPageReader, ReadsNationalSetsAndLettersOfPacket26) {
    // The codes of # @ [ ~ under the header's number, or another one.
    const auto codes = [] {
        auto packet = boxed(20, u"x");
        std::array<std::uint8_t, 40> bytes{0x0B, 0x0B, 0x23, 0x40, 0x5B, 0xFE};
        std::fill(bytes.begin() + 6, bytes.end(), std::uint8_t{0x20});
        packet.setRawPayload(bytes);
        return packet;
    }();
    const auto in = [](std::uint32_t set) { return with(header(), &Teletext::setCharacterSet, set); };
    EXPECT_THAT(Air::show({in(0), codes}), ElementsAre("0-10 20/2 £@←÷"));
    EXPECT_THAT(Air::show({in(4), codes}), ElementsAre("0-10 20/2 #§Äß"));
    EXPECT_THAT(Air::show({in(4), codes}, {.page = {}, .characterSet = 1}), ElementsAre("0-10 20/2 éàëç"));

    // Address, mode and data with the parity bits of Hamming 24/18, by the definition of the five tests.
    const auto triplet = [](std::uint32_t address, std::uint32_t mode, std::uint32_t data) {
        const std::uint32_t d = address | mode << 6 | data << 11;
        std::uint32_t word = (d & 1) << 2 | (d >> 1 & 7) << 4 | (d >> 4 & 0x7F) << 8 | (d >> 11) << 16;
        for (const std::uint32_t test : {1U, 2U, 4U, 8U, 16U}) {
            bool odd = false;
            for (std::uint32_t bit = 1; bit < 24; ++bit)
                odd ^= (bit & test) != 0 && (word >> (bit - 1) & 1) != 0;
            if (!odd) word |= 1U << (test - 1);
        }
        if (std::popcount(word) % 2 == 0) word |= 1U << 23;
        return word;
    };
    // Row 20; at columns 2 to 5 Š, ♪ (G2), "@", ż; end; one more that is beyond the end.
    std::vector<std::uint8_t> enhancement = {0x15};
    const std::uint32_t triplets[] = {triplet(60, 4, 0),      triplet(2, 0x1F, 'S'), triplet(3, 0x0F, 0x55),
                                      triplet(4, 0x10, 0x2A), triplet(5, 0x17, 'z'), triplet(63, 0x1F, 0),
                                      triplet(6, 0x10, 'Q')};
    for (const std::uint32_t word : triplets) {
        for (const int shift : {0, 8, 16}) enhancement.push_back(static_cast<std::uint8_t>(word >> shift));
    }
    for (const std::size_t wrongBit : {0, 1}) {
        auto packet = with(row(20, u""), &Teletext::setPacketNumber, 26);
        enhancement[5] ^= static_cast<std::uint8_t>(wrongBit << 3);
        packet.setRawPayload(enhancement);
        EXPECT_THAT(Air::show({header(), packet, boxed(20, u"S*axel")}), ElementsAre("0-10 20/2 Š♪@żel"));
    }
    // Data that is no triplet is not text either.
    EXPECT_THAT(
        Air::show({header(), with(row(20, u"Junk"), &Teletext::setPacketNumber, 26), boxed(20, u"Yes")}),
        ElementsAre("0-10 20/2 Yes"));
}

TEST(TeletextPageReader, WrongParityIsASpaceUntilThePageComesAgain) {
    Air air;
    air.send(0, {header(), damaged(boxed(20, u"Damage"), {2, 5, 6})});
    air.send(10, {header(), damaged(boxed(20, u"Damage"), {3, 5})});
    air.send(20, {header(), damaged(boxed(20, u"Other!"), {3})});
    air.send(30, {header()});
    air.reader.finish(at(40));
    EXPECT_THAT(air.blocks, ElementsAre("0-20 20/2 Dam ge", "20-30 20/2 O her!"));
    EXPECT_EQ(air.reader.statistics().parityErrors, 6U);
    EXPECT_THAT(air.remarks, ElementsAre(Kind::Parity));
}

TEST(TeletextPageReader, ATimecodeThatRunsBackwardsEndsTheTextAndMidnightDoesNot) {
    Air air;
    air.send(100, {header(), boxed(20, u"One")});
    air.send(110, {});
    air.send(50, {boxed(22, u"No page yet")});
    air.send(52, {header(), boxed(20, u"Two")});
    air.reader.finish(at(60));
    EXPECT_THAT(air.blocks, ElementsAre("100-111 20/2 One", "52-60 20/2 Two"));
    EXPECT_THAT(air.remarks, ElementsAre(Kind::Timecode));
    air.send(-5, {header(), boxed(20, u"Late")});
    air.send(5, {header()});
    air.reader.finish(at(6));
    EXPECT_EQ(air.blocks.back(), "2159995-5 20/2 Late");
    EXPECT_EQ(air.remarks.size(), 1U);
}

/// An OP-47 packet on line 12 as bytes: header, the packets, footer.
std::vector<std::uint8_t> distribution(const Packets& packets, std::uint16_t sequence) {
    std::vector<std::uint8_t> bytes = {
        0x51, 0x15, static_cast<std::uint8_t>(13 + 45 * packets.size()), 0x02, 0, 0, 0, 0, 0};
    for (std::size_t i = 0; i < packets.size(); ++i) {
        bytes[4 + i] = 0x95;  // line 21 of the odd field
        const auto data = packets[i].data();
        bytes.insert(bytes.end(), data.begin(), data.end());
    }
    bytes.insert(bytes.end(),
                 {0x74, static_cast<std::uint8_t>(sequence >> 8), static_cast<std::uint8_t>(sequence), 0});
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) bytes.back() -= bytes[i];
    return bytes;
}

TEST(TeletextPageReader, ReadsOP47PacketsWithFaultsAndTellsEachOnce) {
    const Packets page = {header(), boxed(20, u"One")};
    const auto sound = distribution(page, 7);
    const auto changed = [&](auto change) {
        auto bytes = sound;
        change(bytes);
        return bytes;
    };
    const struct {
        const char* what;
        std::vector<std::uint8_t> bytes;
        std::vector<Kind> remarks;
        std::vector<std::string> blocks;
    } cases[] = {
        {"sound", sound, {}, {"0-10 20/2 One"}},
        {"sum 255", changed([](auto& b) { --b.back(); }), {Kind::Checksum}, {"0-10 20/2 One"}},
        {"wrong sum", changed([](auto& b) { ++b.back(); }), {Kind::Checksum}, {"0-10 20/2 One"}},
        {"padded", changed([](auto& b) { b.push_back(0); }), {Kind::Format}, {"0-10 20/2 One"}},
        {"cut", changed([](auto& b) { b.resize(9 + 90); }), {Kind::Format}, {"0-10 20/2 One"}},
        {"cut in a row", changed([](auto& b) { b.resize(9 + 89); }), {Kind::Format}, {}},
        {"no identifier", changed([](auto& b) { b[1] = 0; }), {Kind::Format}, {}},
        {"empty", {}, {Kind::Format}, {}},
        {"bits reversed",
         changed([](auto& b) {
             for (std::size_t i = 9; i < 99; ++i) {
                 std::uint8_t turned = 0;
                 for (int bit = 0; bit < 8; ++bit) turned |= (b[i] >> bit & 1) << (7 - bit);
                 b[i] = turned;
             }
             b.back() = 0;
             for (std::size_t i = 0; i + 1 < b.size(); ++i) b.back() -= b[i];
         }),
         {Kind::Format},
         {"0-10 20/2 One"}},
    };
    for (const auto& c : cases) {
        for (const bool known : {false, true}) {
            if (known && c.bytes.empty()) continue;  // that is a packet about to be built
            const test::LogCapture log;
            Air air;
            const ZQData data = ZQData::copying(c.bytes);
            const ZQRVANCPacketPtr packet =
                known ? ZQRVANCPacketPtr(OP47::initWithDID(0x43, 0x02, 12, data))
                      : ZQRVANCPacketPtr(ZQRVANCPacketImpl::initWithDID(0x243, 0x102, 12, data));
            air.reader.addVancPackets({nullptr, packet}, at(0));
            air.reader.finish(at(10));
            EXPECT_EQ(air.blocks, c.blocks) << c.what << known;
            EXPECT_EQ(air.remarks, c.remarks) << c.what << known;
        }
    }
    // The same fault again is the same run, unless it had been away for long.
    Air air;
    for (const std::int64_t frame : {0, 100, 300, 600, 601}) {
        air.reader.addVancPackets(
            {ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 12, ZQData::copying(cases[2].bytes))}, at(frame));
    }
    EXPECT_THAT(air.remarks, ElementsAre(Kind::Checksum, Kind::Checksum));
    EXPECT_EQ(air.reader.statistics().checksumErrors, 5U);
}

TEST(TeletextPageReader, CountersMayBeSharedByLinesAndServices) {
    const struct {
        std::vector<std::pair<int, int>> linesAndNumbers;
        std::uint64_t gaps;
    } cases[] = {
        {{{12, 65534}, {575, 65535}, {12, 0}, {575, 1}, {12, 2}}, 0},  // one counter, alternating
        {{{12, 5}, {12, 7}, {12, 9}, {12, 11}}, 0},                    // one line of it
        {{{12, 5}, {575, 90}, {12, 6}, {575, 91}}, 0},                 // a counter for each line
        {{{12, 5}, {12, 6}, {12, 9}, {12, 10}, {12, 11}}, 1},
        {{{12, 0}, {575, 1}, {12, 2}, {575, 3}, {12, 6}, {575, 7}, {12, 8}, {575, 9}}, 1},
        {{{12, 5}, {12, 7}, {12, 9}, {12, 12}, {12, 15}, {12, 18}}, 1},  // a service joined
        {{{12, 5}, {12, 5}, {12, 5}}, 2},
        {{{12, 5}, {12, 6}, {12, 5}, {12, 6}}, 1},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        Air air;
        std::int64_t frame = 0;
        for (const auto& [line, number] : cases[i].linesAndNumbers) {
            const auto bytes = ZQData::copying(distribution({header()}, static_cast<std::uint16_t>(number)));
            air.reader.addVancPackets({OP47::initWithDID(0x43, 0x02, line, bytes)}, at(frame++));
        }
        EXPECT_EQ(air.reader.statistics().sequenceGaps, cases[i].gaps) << i;
        EXPECT_EQ(air.remarks.size(), cases[i].gaps > 0 ? 1U : 0U) << i;
    }
}

TEST(TeletextPageReader, ReadsWhatTheOP47OutputSends) {
    for (const bool doubleHeight : {false, true}) {
        auto sidecar = ZQRSubtitleSidecar::initWithProperties({});
        sidecar->setFillerCharacter(u' ');
        sidecar->setDoubleHeightSubtitles(doubleHeight);
        sidecar->setLanguageCode(8);
        auto german = makeBlock(2, 40, 59, {u"Über", u"große", u"Äpfel"});
        german->setVerticalPosition(18);
        auto blocks = {makeBlock(1, 10, 19, {u"Hello"}), german};
        for (const auto& block : blocks) {
            if (block->verticalPosition() == 0) block->setVerticalPosition(20);
            block->setJustification(ZQRSubtitleBlock::Centered);
        }
        sidecar->setSubtitleBlocks(blocks);
        sidecar->setupOutput(ZQRSubtitleSidecar::OutputOP47);
        Air air;
        sidecar->prepareToReadFromFrame(0);
        for (std::int64_t frame = 0; frame < 80; ++frame) {
            air.reader.addVancPackets(sidecar->vancPacketsAtTimecode(at(frame)), at(frame));
        }
        air.reader.finish(at(80));
        EXPECT_THAT(air.blocks,
                    doubleHeight
                        ? ElementsAre("10-20 19/16D Hello", "40-60 15/17D Über 17/16D große 19/16D Äpfel")
                        : ElementsAre("10-20 20/15 Hello", "40-60 18/16 Über 19/15 große 20/15 Äpfel"));
        EXPECT_THAT(air.remarks, IsEmpty());
        EXPECT_EQ(air.reader.statistics().packets, 160U);
    }
}

}  // namespace
}  // namespace zenquor
