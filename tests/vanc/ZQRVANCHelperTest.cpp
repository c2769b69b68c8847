#include "zenquor/vanc/ZQRVANCHelper.h"

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

using namespace zenquor;
using testing::ElementsAre;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

ZQRVANCPacketPtr packet(int did, int sdid, const std::string& data, int line = 9) {
    return ZQRVANCPacketImpl::initWithDID(did, sdid, line, bytes(data));
}

/// "line did sdid: data" of every packet that extraction reports.
std::vector<std::string> packetsIn291M(const std::string& text, int format) {
    std::vector<std::string> found;
    auto stream = ZQRDataStream::initWithData(bytes(text));
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
        stream, 9, format, [&](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
            found.push_back(fmt::format("{} {:02x} {:02x}: {}", line, did, sdid, hex(data)));
        });
    return found;
}
std::vector<std::string> packetsIn436M(const std::string& text) {
    std::vector<std::string> found;
    auto stream = ZQRDataStream::initWithData(bytes(text));
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(
        stream, [&](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
            found.push_back(fmt::format("{} {:02x} {:02x}: {}", line, did, sdid, hex(data)));
        });
    return found;
}

/// Eight-bit extraction bit by bit: the plain twin of the helper's.
std::vector<std::string> plainEightBit(const ZQData& data, int format) {
    auto stream = ZQRDataStream::initWithData(data);
    std::uint32_t sum = 0;
    std::uint8_t did = 0, sdid = 0, count = 0, checksum = 0;
    if (!stream.beginReadBits()) return {};
    for (const std::uint8_t flag : {0xFF, 0xA0, 0x09}) {
        if (format == 0 && !stream.validate8BitWord(flag)) return {};
    }
    if (!stream.read8BitWord(did, &sum) || !stream.read8BitWord(sdid, &sum) ||
        !stream.read8BitWord(count, &sum)) {
        return {};
    }
    std::vector<std::uint8_t> words(count);
    for (auto& word : words) {
        if (!stream.read8BitWord(word, &sum)) return {};
    }
    if (!stream.isEndOfStream() && (!stream.read8BitWord(checksum) || checksum != (sum & 0xFF))) return {};
    return {fmt::format("9 {:02x} {:02x}: {}", did, sdid, hex(words))};
}

}  // namespace

TEST(ZQRVANCHelper, EightBitPacketsAreReadWithARightChecksumOrNone) {
    const char* const good = "9 45 04: 21 22 23 24";
    EXPECT_THAT(packetsIn291M("45 04 04 21 22 23 24", 1), ElementsAre(good));
    EXPECT_THAT(packetsIn291M("45 04 04 21 22 23 24 d7", 1), ElementsAre(good));
    EXPECT_THAT(packetsIn291M("45 04 04 21 22 23 24 d8", 1), ElementsAre());
    EXPECT_THAT(packetsIn291M("45 04 04 21 22 23", 1), ElementsAre());
    EXPECT_THAT(packetsIn291M("45 04 00 49", 1), ElementsAre("9 45 04: "));
    EXPECT_THAT(packetsIn291M("ff a0 09 45 04 04 21 22 23 24", 0), ElementsAre(good));
    EXPECT_THAT(packetsIn291M("00 ff ff 45 04 04 21 22 23 24", 0), ElementsAre())
        << "the header that is written";
    EXPECT_THAT(packetsIn291M("45 04 04 21 22 23 24", 4), ElementsAre());
}

TEST(ZQRVANCHelper, FastEightBitExtractionEqualsTheBitwiseOne) {
    std::mt19937 random(291);
    for (int round = 0; round < 3000; ++round) {
        const int format = static_cast<int>(random() % 2);
        std::vector<std::uint8_t> words(random() % 12);
        for (auto& word : words)
            word = static_cast<std::uint8_t>(random() % 3 == 0 ? random() : random() % 6);
        if (format == 0 && round % 3 != 0) words.insert(words.begin(), {0xFF, 0xA0, 0x09});
        const ZQData data = ZQData::copying(words);
        ASSERT_EQ(packetsIn291M(hex(data), format), plainEightBit(data, format)) << hex(data);
    }
}

TEST(ZQRVANCHelper, TenBitExtractionTakesIdentifiersOfTrueParityOnly) {
    // DID 61 (01 61), SDID 01 (01 01), one word 94 (01 94): sum 161 + 101 + 101 + 194 = 4f7, 9 bits 0f7.
    EXPECT_THAT(packetsIn291M("01 61 01 01 01 01 01 94 02 f7", 3), ElementsAre("9 61 01: 94"));
    EXPECT_THAT(packetsIn291M("00 00 03 ff 03 ff 01 61 01 01 01 01 01 94 02 f7", 2),
                ElementsAre("9 61 01: 94"));
    EXPECT_THAT(packetsIn291M("01 61 01 01 01 01 01 94 00 f7", 3), ElementsAre()) << "bit 9 equals bit 8";
    EXPECT_THAT(packetsIn291M("01 61 01 01 01 01 01 94 02 f6", 3), ElementsAre());
    EXPECT_THAT(packetsIn291M("01 61 01 01 01 01 01 94", 3), ElementsAre()) << "no checksum";
    EXPECT_THAT(packetsIn291M("02 41 01 07 02 00 01 48", 3), ElementsAre()) << "DID 41 has the other parity";
    EXPECT_THAT(packetsIn291M("01 43 01 02 02 00 02 45", 3), ElementsAre("9 43 02: ")) << "445, 9 bits 045";
}

TEST(ZQRVANCHelper, PackingWritesEveryFormat) {
    const struct {
        int format;
        bool crc;
        const char* data;
        const char* packed;
    } cases[] = {
        {1, true, "21 22 23 24", "45 04 04 21 22 23 24 d7"},
        {1, false, "21 22 23 24", "45 04 04 21 22 23 24"},
        {0, true, "", "00 ff ff 45 04 00 49"},
        {4, true, "21 22", ""},
        {-1, true, "21 22", ""},
        {3, true, "21 22 23", ""},
        // 145 104 104 222 224 in 10 bits each, then 0193 in 16; of 66 bits the last 2 are never written.
        // 145+104+102+022+024
        {3, true, "21 22 23 24", "51 50 44 12 22 89 00 64"},
    };
    for (const auto& c : cases) {
        const auto made = packet(0x45, 0x04, c.data);
        EXPECT_EQ(hex(ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(made, c.format, c.crc)), c.packed)
            << "format " << c.format;
    }
    const auto large =
        ZQRVANCPacketImpl::initWithDID(0x45, 4, 9, ZQData::copying(std::vector<std::uint8_t>(300, 1)));
    const ZQData packed = ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(large, 1, true);
    EXPECT_EQ(packed.size(), 304U);
    EXPECT_EQ(packed[2], 44) << "300 modulo 256";
    EXPECT_EQ(packed[303], (0x45 + 4 + 44 + 300) & 0xFF);
}

TEST(ZQRVANCHelper, ElementsCarryLineCodingCountAndPadding) {
    const ZQRVANCPacketList list = {packet(0x45, 0x04, "21 22 23 24", 12), packet(0x61, 0x01, "01", 571)};
    const auto padded = ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(list, 1, true, 5);
    ASSERT_TRUE(padded);
    EXPECT_EQ(hex(*padded),
              "00 02 00 0c 01 04 00 08 00 00 00 0a 00 00 00 01 45 04 04 21 22 23 24 d7 00 00 "
              "02 3b 01 04 00 05 00 00 00 05 00 00 00 01 61 01 01 01 64");
    EXPECT_THAT(packetsIn436M(hex(*padded)), ElementsAre("12 45 04: 21 22 23 24", "571 61 01: 01"));
    const auto tenBit = ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream({list[0]}, 3, true, 0);
    ASSERT_TRUE(tenBit);
    EXPECT_EQ(hex(*tenBit), "00 01 00 0c 01 07 00 08 00 00 00 08 00 00 00 01 51 50 44 12 22 89 00 64");
    EXPECT_FALSE(ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream({}, 1, true, 4));
    EXPECT_FALSE(ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(list, 4, true, 4));
    EXPECT_FALSE(ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(list, 3, true, 4)) << "odd length";
}

TEST(ZQRVANCHelper, ElementsAreWalkedAsFarAsTheyGo) {
    std::vector<std::string> errors;
    auto& log = ZLGGetHandle();
    const auto sink = log.setSink([&](ZLGLevel, std::string_view text) { errors.emplace_back(text); });
    const std::string first = "00 09 01 04 00 07 00 00 00 08 00 00 00 01 45 04 04 21 22 23 24 00 ";
    const std::string coding10 = "00 09 01 0a 00 07 00 00 00 08 00 00 00 01 45 04 04 21 22 23 24 00 ";
    const char* const good = "9 45 04: 21 22 23 24";
    EXPECT_THAT(packetsIn436M("00 00 " + first), ElementsAre());
    EXPECT_THAT(packetsIn436M("00"), ElementsAre());
    EXPECT_THAT(packetsIn436M("00 03 " + first + "00 09 01"), ElementsAre(good)) << "cut header";
    EXPECT_THAT(packetsIn436M("00 02 " + coding10 + first), ElementsAre(good)) << "unknown coding";
    // A packet whose header claims 4 bytes of 2 each stands in 8 bytes as well.
    EXPECT_THAT(packetsIn436M("00 01 00 09 01 04 00 07 00 00 00 04 00 00 00 02 45 04 04 21 22 23 24 00"),
                ElementsAre(good));
    EXPECT_THAT(errors, ElementsAre());
    EXPECT_THAT(packetsIn436M("00 02 00 09 01 04 00 07 00 00 00 09 00 00 00 01 45 04 04 21 22 23 24 00"),
                ElementsAre(good));
    EXPECT_THAT(errors, ElementsAre("ZQRClosedCaptionData received error while parsing SMPTE436MData"));
    log.setSink(sink);
}

TEST(ZQRVANCHelper, PacketsOfOneKindAreReplacedRemovedAndClearedTogether) {
    const auto caption = Caption::closedCaptionPacketWithData(bytes("94 20"), 0);
    const auto newCaption = Caption::closedCaptionPacketWithData(bytes("94 2f"), 0);
    const auto subtitle = packet(0x43, 0x02, "51 15");
    const auto message = packet(0x41, 0x07, "08");
    const auto other = packet(0x45, 0x04, "01");
    using List = ZQRVANCPacketList;
    const List all = {caption, other, subtitle, message};
    EXPECT_EQ(ZQRVANCHelper::vancFlagsFromPackets(all), 7U);
    EXPECT_EQ(ZQRVANCHelper::addPackets({newCaption}, {caption, message}), (List{message, newCaption}));
    EXPECT_EQ(ZQRVANCHelper::addPackets({subtitle, other}, {caption, other}),
              (List{caption, other, subtitle, other}));
    EXPECT_EQ(ZQRVANCHelper::addPackets({}, {caption}), (List{caption}));
    EXPECT_EQ(ZQRVANCHelper::addPacket(newCaption, {caption}), (List{caption, newCaption}));
    EXPECT_EQ(ZQRVANCHelper::addPacket(nullptr, {caption}), (List{caption}));
    EXPECT_EQ(ZQRVANCHelper::removePackets(all, 5), (List{other, subtitle}));
    EXPECT_EQ(ZQRVANCHelper::removePackets(all, 0), all);
    EXPECT_EQ(ZQRVANCHelper::clearPackets(all, 0), all);
    EXPECT_EQ(ZQRVANCHelper::clearPackets({caption, message}, ZQRVANCFlagSCTE104), (List{caption}));
    const List cleared = ZQRVANCHelper::clearPackets(all, ZQRVANCFlagCaptions);
    ASSERT_EQ(cleared.size(), 4U);
    const auto eraser = ZQRVANCHelper::closedCaptionPacket(cleared);
    ASSERT_EQ(eraser, cleared[3]);
    EXPECT_EQ(hex(*eraser->dataFor608Fields(1)), "94 2c");
    EXPECT_TRUE(ZQRVANCHelper::closedCaptionPacket({ZQRVANCHelper::clearPackets({}, 7)[0]}))
        << "before subtitles";
    EXPECT_EQ(ZQRVANCHelper::closedCaptionPacket({packet(0x61, 0x01, "96 69"), caption}), caption)
        << "the first of the class, not of the number";
}

TEST(ZQRVANCHelper, TheFactoryKnowsCaptionsAndDropsUnknownKinds) {
    const auto made = ZQRVANCHelper::vancPacketWithLine(11, 0x61, 0x01, bytes("96 69"));
    ASSERT_TRUE(made);
    EXPECT_EQ(fmt::format("{}", made), "VANC DID:97 SDID:1 line:11");
    EXPECT_EQ(hex(made->sdiData()), "96 69");
    EXPECT_FALSE(ZQRVANCHelper::vancPacketWithLine(11, 0x61, 0x02, bytes("01")));
}
