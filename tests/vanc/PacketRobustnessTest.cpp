// Every reader of foreign ancillary data under every truncation and every flipped bit of a sound sample.

#include <cctype>
#include <functional>

#include <gtest/gtest.h>

#include "Bytes.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRCaptionSampleParser.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"
#include "zenquor/vanc/detail/ByteSum.h"

using namespace zenquor;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

struct Found {
    std::int32_t line;
    std::uint8_t did;
    std::uint8_t sdid;
    ZQData data;
    friend bool operator==(const Found&, const Found&) = default;
};

std::vector<Found> foundIn291M(const ZQData& data, int format) {
    std::vector<Found> found;
    auto stream = ZQRDataStream::initWithData(data);
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(
        stream, 9, format, [&](auto... values) { found.push_back({values...}); });
    return found;
}

std::vector<Found> foundIn436M(const ZQData& data) {
    std::vector<Found> found;
    auto stream = ZQRDataStream::initWithData(data);
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(
        stream, [&](auto... values) { found.push_back({values...}); });
    return found;
}

/// Calls @p use with every beginning of the sample, itself included. Each is a copy, so that a sanitizer sees
/// a read past its end.
void forEachTruncation(const ZQData& sample, const std::function<void(const ZQData&)>& use) {
    for (std::size_t size = 0; size <= sample.size(); ++size) {
        SCOPED_TRACE(fmt::format("cut to {} bytes", size));
        use(ZQData::copying(sample.span().first(size)));
    }
}

/// Calls @p use with every copy of the sample in which one bit differs, and the place of that bit's byte.
void forEachFlip(const ZQData& sample, const std::function<void(const ZQData&, std::size_t)>& use) {
    for (std::size_t bit = 0; bit < sample.size() * 8; ++bit) {
        SCOPED_TRACE(fmt::format("bit {} of byte {}", bit % 8, bit / 8));
        std::vector<std::uint8_t> copy(sample.begin(), sample.end());
        copy[bit / 8] = static_cast<std::uint8_t>(copy[bit / 8] ^ 1U << bit % 8);
        use(ZQData::copying(copy), bit / 8);
    }
}

void forEachChange(const ZQData& sample, const std::function<void(const ZQData&)>& use) {
    forEachTruncation(sample, use);
    forEachFlip(sample, [&](const ZQData& data, std::size_t) { use(data); });
}

/// One kind of packet that the helper makes, with a sound sample of its user data words.
struct PacketRow {
    const char* name;
    std::int32_t did;
    std::int32_t sdid;
    ZQData sample;

    friend void PrintTo(const PacketRow& row, std::ostream* out) { *out << row.name; }
};

const ZQData& cdp() {
    static const ZQData data =
        *Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(bytes("94 2c 15 2d"), 7, 1);
    return data;
}

/// A distribution packet of one teletext packet on line 10 of field 1.
ZQData subtitlePacket() {
    std::string text = "51 15 3a 02 8a 00 00 00 00 55 55 27";
    for (int i = 0; i < 42; ++i) text += " 15";
    text += " 74 12 34";
    const auto checksum = static_cast<std::uint8_t>(-detail::byteSum(bytes(text)));
    return bytes(text + fmt::format(" {:02x}", checksum));
}

std::vector<PacketRow> packetRows() {
    return {
        {"Captions", 0x61, 0x01, cdp()},
        {"Subtitles", 0x43, 0x02, subtitlePacket()},
        {"CueList", 0x41, 0x07,
         bytes("08 ff ff 00 40 00 05 07 00 0b 00 00 03 01 01 00 0e 01 60 c6 5c 03 56 c3 0f a0 09 60 00 00 01 "
               "01 04 00 02 0f a0 01 0b 00 18 00 00 00 01 00 00 3c 09 03 41 42 43 34 01 01 00 01 01 01 01 03 "
               "00 00 00")},
        {"SingleCue", 0x41, 0x07, bytes("08 80 05 00 0f ff ff ff ff 00 02 03 00 04 aa bb")},
    };
}

/// A text for a log line, not blown up out of proportion and without a byte that would break the line.
void expectLoggable(std::string_view text, std::size_t dataSize) {
    EXPECT_LE(text.size(), 400 + 100 * dataSize);
    for (const char c : text) EXPECT_TRUE(c == '\n' || static_cast<std::uint8_t>(c) >= 0x20) << text;
}

class PacketRobustness : public testing::TestWithParam<PacketRow> {
protected:
    // Every text is formatted and none is shown: descriptions of broken packets are under test too.
    PacketRobustness()
        : sink_(ZLGGetHandle().setSink(
              [](ZLGLevel, std::string_view text) { expectLoggable(text, GetParam().sample.size()); })),
          level_(ZLGGetHandle().setLevel(ZLGLevel::Debug)) {}
    ~PacketRobustness() override {
        ZLGGetHandle().setLevel(level_);
        ZLGGetHandle().setSink(sink_);
    }

    ZQRVANCPacketPtr made(const ZQData& data) const {
        return ZQRVANCHelper::vancPacketWithLine(9, GetParam().did, GetParam().sdid, data);
    }

private:
    ZLGHandle::Sink sink_;
    ZLGLevel level_;
};

}  // namespace

TEST_P(PacketRobustness, ChangedPacketsAreDescribedWrittenAndFoundAgain) {
    const auto did = static_cast<std::uint8_t>(GetParam().did);
    const auto sdid = static_cast<std::uint8_t>(GetParam().sdid);
    EXPECT_EQ(hex(made(GetParam().sample)->sdiData()), hex(GetParam().sample));
    forEachChange(GetParam().sample, [&](const ZQData& data) {
        const auto packet = made(data);
        expectLoggable(packet->description(), data.size());
        expectLoggable(packet->debugDescription(), data.size());
        std::dynamic_pointer_cast<ZQRVANCPacketImpl>(packet)->log();
        const ZQData words = packet->sdiData();
        EXPECT_EQ(packet->sdiData(), words);
        EXPECT_EQ(made(words)->sdiData(), words) << "what was written reads as it was written";
        EXPECT_LE(words.size(), data.size() + 14);
        if (did == 0x61) {
            EXPECT_EQ(words, data) << "captions go on as they came";
        }
        const auto element =
            ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream({packet, packet}, 1, true, 4);
        const Found original{9, did, sdid, words};
        EXPECT_EQ(foundIn436M(element.value_or(ZQData())), (std::vector{original, original}));
    });
}

INSTANTIATE_TEST_SUITE_P(EachKind, PacketRobustness, testing::ValuesIn(packetRows()),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ExtractionRobustness, ChangedStreamsOfEveryFormatGiveAtMostOnePacketOfTheirOwnBytes) {
    const ZQData samples[] = {
        bytes("ff a0 09 61 01 02 94 2c 24"),
        bytes("61 01 02 94 2c 24"),
        bytes("00 00 03 ff 03 ff 01 61 01 01 01 01 01 94 02 f7"),
        bytes("01 61 01 01 01 01 01 94 02 f7"),
    };
    for (int format = 0; format < 4; ++format) {
        SCOPED_TRACE(fmt::format("format {}", format));
        const ZQData& sample = samples[format];
        ASSERT_EQ(foundIn291M(sample, format).size(), 1U);
        const Found sound = foundIn291M(sample, format)[0];
        const std::size_t wordSize = format < 2 ? 1 : 2;
        // Only words of 8 bits may end without a checksum.
        forEachTruncation(sample, [&](const ZQData& data) {
            const bool isWhole =
                data.size() == sample.size() || (format < 2 && data.size() == sample.size() - 1);
            EXPECT_EQ(foundIn291M(data, format), isWhole ? std::vector{sound} : std::vector<Found>{});
        });
        forEachFlip(sample, [&](const ZQData& data, std::size_t place) {
            const auto found = foundIn291M(data, format);
            ASSERT_LE(found.size(), 1U);
            if (found.empty()) return;
            EXPECT_LE(found[0].data.size() * wordSize, data.size());
            // The six bits beside a 10-bit word mean nothing, and the sum has no bit 9, which is looked at in
            // identifiers and checksum only.
            const std::size_t count = format == 2 ? 10 : 4;
            const bool isInUnchecked = place >= count && place < sample.size() - 2;
            const int unseenBits = isInUnchecked ? 0xFE : 0xFC;
            const bool isUnseen = wordSize == 2 && place % 2 == 0 && found[0] == sound &&
                                  ((data[place] ^ sample[place]) & unseenBits) != 0;
            const bool isCount = format < 2 && place == (format == 0 ? 5U : 2U);
            EXPECT_TRUE(isUnseen || isCount) << hex(data);
        });
    }
}

TEST(ExtractionRobustness, AChangedPacketOfAnElementLeavesTheOthersAlone) {
    const ZQRVANCPacketList list = {
        Caption::closedCaptionPacketWithData(bytes("96 69 08 4f 43 00 00 00"), 1, 11),
        ZQRVANCPacketImpl::initWithDID(0x41, 0x07, 12, bytes("08 ff ff 00")),
        ZQRVANCPacketImpl::initWithDID(0x43, 0x02, 571, bytes("51 15 0d 02"))};
    const ZQData element = *ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(list, 1, true, 4);
    const auto sound = foundIn436M(element);
    ASSERT_EQ(sound.size(), 3U);
    constexpr std::size_t header = 14, first = 2 + header, second = first + 12 + header,
                          third = second + 8 + header;
    ASSERT_EQ(element[second], 0x41);
    const auto sink = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    forEachTruncation(element, [&](const ZQData& data) {
        const auto found = foundIn436M(data);
        ASSERT_LE(found.size(), sound.size());
        EXPECT_TRUE(std::equal(found.begin(), found.end(), sound.begin())) << "a beginning of the packets";
        // A packet is there from its last word on, without checksum and padding.
        EXPECT_EQ(found.size(), std::size_t{data.size() >= first + 11} +
                                    std::size_t{data.size() >= second + 7} +
                                    std::size_t{data.size() >= third + 7});
    });
    forEachFlip(element, [&](const ZQData& data, std::size_t place) {
        const auto found = foundIn436M(data);
        EXPECT_LE(found.size(), sound.size());
        const bool isInPayload = place >= first && place < first + 12;
        if (isInPayload) {
            ASSERT_GE(found.size(), 2U);
            EXPECT_TRUE(std::equal(found.end() - 2, found.end(), sound.end() - 2));
        }
        for (const Found& packet : found) EXPECT_LE(packet.data.size(), data.size());
    });
    ZLGGetHandle().setSink(sink);
}

TEST(ExtractionRobustness, ChangedCaptionSamplesGiveWholePairsOrWholeCDPs) {
    const ZQData samples[] = {
        bytes("00 00 00 0c 63 64 61 74 94 20 94 2c 00 00 00 0a 63 64 74 32 15 2d"),
        bytes("00 00 00 14 63 63 64 70 96 69 0c 4f 43 00 00 74 00 00 fa 00"),
        *Caption::closedCaptionPacketWithData(cdp(), Caption::TypeCDP)->quicktimeData(),
    };
    for (const ZQData& sample : samples) {
        ASSERT_TRUE(ZQRCaptionSampleParser::packetFromSampleData(sample, 0));
        forEachChange(sample, [&](const ZQData& data) {
            for (const std::size_t index : {std::size_t{0}, std::size_t{1}, SIZE_MAX}) {
                const auto caption = std::dynamic_pointer_cast<Caption>(
                    ZQRCaptionSampleParser::packetFromSampleData(data, index));
                if (!caption) continue;
                const ZQData payload = caption->originalData();
                if (caption->originalType() == Caption::TypeCDP) {
                    EXPECT_EQ(payload.size(), payload[2]);
                    EXPECT_LE(payload.size() + 8, data.size());
                    continue;
                }
                EXPECT_TRUE(payload.size() == 2 || payload.size() == 4);
                for (const std::uint8_t byte : payload) EXPECT_TRUE(ZQRDataStream::isOddParityByte(byte, 8));
                EXPECT_EQ(caption->sdiData().size(), 89U);
                EXPECT_EQ(caption->dataFor608Fields(static_cast<int>(payload.size() / 2)), payload);
            }
        });
    }
}

TEST(ExtractionRobustness, ChangedPairsKeepTheirMeaningWhenWrittenAgain) {
    using Pair = ZQRVANCCEA608Packet;
    for (const char* sample :
         {"94 20", "94 2c", "94 ae", "91 ae", "97 a1", "c8 e9", "91 b0", "92 b9", "80 80"}) {
        SCOPED_TRACE(sample);
        forEachChange(bytes(sample), [&](const ZQData& data) {
            const auto pair = Pair::initWithData(data);
            ASSERT_EQ(pair.has_value(), data.size() >= 2);
            if (!pair) return;
            EXPECT_LE(pair->debugDescription().size(), 200U);
            EXPECT_LT(pair->type(), Pair::typeNames().size());
            const auto written = pair->data();
            for (const std::uint8_t byte : written) EXPECT_TRUE(ZQRDataStream::isOddParityByte(byte, 8));
            const auto again = Pair::initWithData(written);
            ASSERT_TRUE(again);
            EXPECT_EQ(again->data(), written);
            EXPECT_EQ(again->type(), pair->type());
        });
    }
}
