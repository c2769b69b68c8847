#include "zenquor/vanc/ZQRDataStream.h"

#include <gtest/gtest.h>

#include "Bytes.h"

using zenquor::ZQData;
using zenquor::ZQRDataStream;
using Mode = ZQRDataStream::SeekMode;

TEST(ZQRDataStream, BitsAcrossBytesComeMostSignificantFirstAndTheLastBitCanBeRead) {
    auto stream = ZQRDataStream::initWithData(bytes("A5 3C"));
    std::uint8_t value = 0xEE;
    EXPECT_FALSE(stream.readBits(1, value)) << "bit reading has not begun";
    ASSERT_TRUE(stream.beginReadBits());
    EXPECT_FALSE(stream.readBits(9, value));
    EXPECT_FALSE(stream.readBits(0, value));
    EXPECT_EQ(value, 0xEE);
    EXPECT_TRUE(stream.readBits(3, value));
    EXPECT_EQ(value, 0b101);
    EXPECT_TRUE(stream.readBits(7, value));
    EXPECT_EQ(value, 0b0010100);
    EXPECT_FALSE(stream.isEndOfStream()) << "the data is loaded but not read";
    EXPECT_TRUE(stream.readBits(6, value));
    EXPECT_EQ(value, 0b111100);
    EXPECT_TRUE(stream.isEndOfStream());
    EXPECT_FALSE(stream.readBits(1, value));
}

TEST(ZQRDataStream, AWordThatEndsBeyondTheDataIsNotRead) {
    auto stream = ZQRDataStream::initWithData(bytes("FF"));
    ASSERT_TRUE(stream.beginReadBits());
    std::uint8_t value = 0;
    EXPECT_TRUE(stream.readBits(4, value));
    EXPECT_FALSE(stream.readBits(5, value));
    auto empty = ZQRDataStream::initWithData(ZQData{});
    EXPECT_FALSE(empty.beginReadBits());
    EXPECT_TRUE(empty.isEndOfStream());
    EXPECT_TRUE(empty.skipBits(100)) << "without bit reading there is nothing to skip";
}

TEST(ZQRDataStream, SeekingStaysInsideTheView) {
    const struct {
        std::int64_t offset;
        Mode mode;
        bool moves;
        std::int64_t position;
    } cases[] = {
        {4, Mode::Absolute, true, 4},          {5, Mode::Absolute, false, 2}, {-1, Mode::Absolute, false, 2},
        {2, Mode::Relative, true, 4},          {-2, Mode::Relative, true, 0}, {3, Mode::Relative, false, 2},
        {INT64_MAX, Mode::Relative, false, 2}, {1, Mode::FromEnd, true, 3},   {-1, Mode::FromEnd, false, 2},
        {INT64_MIN, Mode::FromEnd, false, 2},
    };
    for (const auto& c : cases) {
        auto stream = ZQRDataStream::initWithData(bytes("00 01 02 03 04 05"), 2, 4);
        ASSERT_TRUE(stream.setPosition(2, Mode::Absolute));
        EXPECT_EQ(stream.setPosition(c.offset, c.mode), c.moves);
        EXPECT_EQ(stream.position(), c.position);
    }
}

TEST(ZQRDataStream, ASubStreamCountsFromTheStartOfTheDataNotOfTheView) {
    const auto view = ZQRDataStream::initWithData(bytes("00 01 02 03 04 05"), 2, 4);
    auto part = view.streamAtPosition(1, 2);
    std::uint8_t read[4] = {};
    std::size_t count = 0;
    EXPECT_TRUE(part.readBytes(read, &count));
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(read[0], 1);
    EXPECT_FALSE(part.readBytes(read, &count));
    EXPECT_EQ(view.streamAtPosition(4, 100).size(), 2U) << "clipped to the data";
    EXPECT_EQ(view.streamAtPosition(100, 1).size(), 0U);
}

TEST(ZQRDataStream, TenBitWordsCarryEvenParityAndItsInverse) {
    const struct {
        std::uint8_t value;
        const char* wide;
    } cases[] = {{0x61, "01 61"}, {0x01, "01 01"}, {0x41, "02 41"}, {0x00, "02 00"}, {0xFF, "02 ff"}};
    for (const auto& c : cases) {
        auto out = ZQRDataStream::initForWriting();
        out.beginWriteBits();
        std::uint32_t sum = 0;
        out.write10BitParityWordPacked16(false, c.value, &sum);
        EXPECT_EQ(hex(out.outputData()), c.wide);
        auto in = ZQRDataStream::initWithData(out.outputData());
        ASSERT_TRUE(in.beginReadBits());
        std::uint8_t value = 0;
        std::uint8_t parity = 0;
        std::uint32_t readSum = 0;
        ASSERT_TRUE(in.read10BitParityWordPacked16(true, value, parity, &readSum));
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(readSum & 0x1FF, sum);
    }
    auto tight = ZQRDataStream::initForWriting();
    tight.beginWriteBits();
    for (int i = 0; i < 3; ++i) tight.write10BitParityWordPacked16(true, 0x61);
    tight.writeBits(32, 1);
    EXPECT_EQ(hex(tight.outputData()), "58 56 15") << "the last 6 bits of 30 are never written";
}

TEST(ZQRDataStream, OddParityAndHammingRefuseEverySingleBitError) {
    EXPECT_EQ(ZQRDataStream::oddParityByte(0x00), 0x80);
    EXPECT_EQ(ZQRDataStream::oddParityByte(0x81), 0x01);
    EXPECT_EQ(ZQRDataStream::oddParityByte(0x14), 0x94);
    // ETS 300 706, table 2: code words of the numbers 0, 1, 2, 7, 8 and 15.
    const std::uint8_t words[][2] = {{0, 0x15}, {1, 0x02}, {2, 0x49}, {7, 0x2F}, {8, 0xD0}, {15, 0xEA}};
    for (const auto& [nibble, word] : words) EXPECT_EQ(ZQRDataStream::encodeHamming84Byte(nibble), word);
    for (int nibble = 0; nibble < 16; ++nibble) {
        const std::uint8_t word = ZQRDataStream::encodeHamming84Byte(static_cast<std::uint8_t>(nibble));
        std::uint8_t decoded = 0xFF;
        EXPECT_TRUE(ZQRDataStream::decodeHamming84Byte(word, decoded));
        EXPECT_EQ(decoded, nibble);
        for (int bit = 0; bit < 8; ++bit) {
            EXPECT_FALSE(
                ZQRDataStream::decodeHamming84Byte(static_cast<std::uint8_t>(word ^ 1 << bit), decoded));
        }
    }
}
