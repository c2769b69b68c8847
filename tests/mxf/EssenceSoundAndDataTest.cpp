// Sound and ancillary data on their way into a file, and what all essence does with broken samples.

#include "EssenceRig.h"
#include "zenquor/mxf/detail/BitReader.h"
#include "zenquor/mxf/detail/StartCode.h"

namespace zenquor::mxf::test {
namespace {

constexpr Rational rate25{25, 1}, rate2997{30000, 1001}, rate5994{60000, 1001}, rate2398{24000, 1001};

EssenceRig soundRig(std::int32_t codec, std::int32_t profile, Rational rate, std::uint32_t bits,
                    std::uint32_t channels) {
    EssenceRig rig(codec, profile, rate);
    rig.format.streamKind = streamKindAudio;
    rig.format.sampleRate = 48000;
    rig.format.bitsPerSample = bits;
    rig.format.bytesPerSample = bits / 8;
    rig.format.channelCount = channels;
    rig.track = EssenceTrack::create(rig.format, rig.context);
    return rig;
}

TEST(SoundEssence, ElementsHaveRoomForTheLargestFrameOfTheCadence) {
    struct Row {
        Rational rate;
        std::uint32_t bits, channels, bytes;
    };
    const Row rows[] = {
        {rate25, 16, 1, 1920 * 2},   {rate25, 24, 1, 1920 * 3},  {rate2997, 16, 1, 1602 * 2},
        {rate2997, 24, 2, 1602 * 6}, {rate5994, 24, 1, 801 * 3}, {rate2398, 16, 1, 2002 * 2},
        {{50, 1}, 16, 1, 960 * 2},   {{24, 1}, 16, 1, 2000 * 2}, {rate25, 32, 1, 1920 * 4},
    };
    for (const Row& row : rows) {
        const EssenceRig rig = soundRig(codec::pcmWave, wrapping::xdcam, row.rate, row.bits, row.channels);
        EXPECT_EQ(rig.track->constantBytes(), row.bytes) << row.rate.numerator << " " << row.bits;
        EXPECT_EQ(rig.track->emptyElement()->size(), row.bytes);
        EXPECT_EQ(rig.track->itemType(), 0x16);
    }
}

TEST(SoundEssence, WhatAFormatLeavesOutIsFilledIn) {
    StreamFormat format;
    format.streamKind = streamKindAudio;
    format.bitsPerSample = 20;
    const auto track = EssenceTrack::create(format, {0, rate25, false});
    ASSERT_NE(track, nullptr);
    const Described said(*track);
    EXPECT_EQ(said[Property::BlockAlign], 3);
    EXPECT_EQ(said[Property::QuantizationBits], 20);
    EXPECT_EQ(said[Property::ChannelCount], 1);
    EXPECT_EQ(said.set->rational(Property::AudioSamplingRate), (Rational{48000, 1}));
}

TEST(SoundEssence, WaveAndAES3DescriptorsTellTheSamples) {
    struct Row {
        std::int32_t codec;
        SetKind kind;
        std::uint8_t element;
        std::string container;
    };
    for (const Row& row : {Row{codec::pcmWave, SetKind::WaveAudioDescriptor, 0x01, "02060100"},
                           Row{0, SetKind::WaveAudioDescriptor, 0x01, "02060100"},
                           Row{codec::pcmAES3, SetKind::AES3AudioDescriptor, 0x03, "02060300"}}) {
        EssenceRig rig = soundRig(row.codec, wrapping::xdcam, rate25, 24, 2);
        EXPECT_EQ(rig.facts({Bytes(1920 * 6), Bytes(5), Bytes(), Bytes(1919 * 6)}),
                  "0:80:0 refused refused 1:80:0");
        EXPECT_EQ(rig.track->elementType(), row.element);
        const Described said(*rig.track);
        EXPECT_EQ(said.set->kind(), row.kind);
        EXPECT_EQ(said.container(), "060e2b34.04010101.0d010301." + row.container);
        EXPECT_EQ(said.set->rational(Property::SampleRate), rate25);
        EXPECT_EQ(said.set->rational(Property::AudioSamplingRate), (Rational{48000, 1}));
        EXPECT_EQ(said[Property::ChannelCount], 2);
        EXPECT_EQ(said[Property::QuantizationBits], 24);
        EXPECT_EQ(said[Property::BlockAlign], 6);
        EXPECT_EQ(said[Property::AvgBps], 288000);
        EXPECT_EQ(said[Property::Locked], 1);
        EXPECT_FALSE(said.set->has(Property::SequenceOffset));
    }
}

TEST(SoundEssence, TheSequenceOffsetIsTheFirstFramesPlaceInTheCadence) {
    const std::uint32_t cadence[] = {1602, 1601, 1602, 1601, 1602};
    for (unsigned offset = 0; offset < 5; ++offset) {
        EssenceRig rig = soundRig(codec::pcmWave, 0, rate2997, 16, 1);
        for (unsigned n = 0; n < 4; ++n) rig.add(Bytes(2 * cadence[(n + offset) % 5]));
        EXPECT_FALSE(Described(*rig.track).set->has(Property::SequenceOffset));
        rig.add(Bytes(2 * cadence[(4 + offset) % 5]));
        EXPECT_EQ(Described(*rig.track)[Property::SequenceOffset], offset);
    }
}

TEST(SoundEssence, FormatsThatCannotBeAreNotTaken) {
    EXPECT_EQ(soundRig(codec::pcmWave, 0, rate25, 40, 1).track, nullptr);
    EXPECT_EQ(soundRig(codec::pcmAES3, wrapping::d10, rate25, 24, 9).track, nullptr);
    EXPECT_EQ(soundRig(codec::pcmAES3, wrapping::d10, rate25, 32, 8).track, nullptr);
    EXPECT_EQ(EssenceRig(99).track, nullptr);
    StreamFormat format;
    format.streamKind = streamKindVideo;
    format.codec = codec::pcmWave;  // a codec of another kind of stream
    EXPECT_EQ(EssenceTrack::create(format, {}), nullptr);
}

TEST(D10Sound, SamplesBecomeWordsOfEightChannels) {
    EssenceRig rig = soundRig(codec::pcmAES3, wrapping::d10, rate25, 24, 4);
    const Bytes sample = bytesOf("010203 112233 fffefd 000080");
    ASSERT_TRUE(rig.add(sample));
    // Header: no place in a cadence, one sample, four channels; words little-endian, channel number in the low bits.
    EXPECT_EQ(hexOf(rig.track->stored(sample)),
              "0001000f"
              "10203000"
              "11213203"
              "f2efdf0f"
              "03000008"
              "04000000"
              "05000000"
              "06000000"
              "07000000");
    EXPECT_EQ(rig.track->constantBytes(), 4u + 1920 * 32);
    EXPECT_EQ(rig.track->itemType(), 0x06);
    EXPECT_EQ(rig.track->elementType(), 0x10);
    const Described said(*rig.track);
    EXPECT_EQ(said.set->kind(), SetKind::GenericSoundEssenceDescriptor);
    EXPECT_EQ(said[Property::ChannelCount], 4);
    EXPECT_EQ(said[Property::QuantizationBits], 24);
}

TEST(D10Sound, FramesOf525LinesCountThroughTheCadence) {
    EssenceRig rig = soundRig(codec::pcmAES3, wrapping::d10, rate2997, 16, 8);
    std::string headers;
    for (const std::size_t count : {1602, 1601, 1602, 1601, 1602, 1602}) {
        Bytes sample(count * 16);
        sample[0] = 0x34;
        sample[1] = 0x12;
        ASSERT_TRUE(rig.add(sample));
        const auto element = rig.track->stored(sample);
        EXPECT_EQ(element.size(), 4 + count * 32);
        headers += hexOf(element.first(8)) + " ";
    }
    EXPECT_EQ(headers,
              "014206ff00402301 024106ff00402301 034206ff00402301 044106ff00402301 054206ff00402301 "
              "014206ff00402301 ");
    EXPECT_EQ(rig.track->constantBytes(), 4u + 1602 * 32);
    EXPECT_EQ(hexOf(rig.track->emptyElement()->first(12)), "014206ff0000000001000000");
}

TEST(D10Sound, TheCountIsOfTheSamplesThatHaveRoom) {
    EssenceRig rig = soundRig(codec::pcmAES3, wrapping::d10, rate25, 16, 8);
    const Bytes sample(2000 * 16);
    ASSERT_TRUE(rig.add(sample));
    EXPECT_EQ(hexOf(rig.track->stored(sample).first(4)), "008007ff") << "1920, which is all that is stored";
}

TEST(D10Sound, SharesThePicturesContainer) {
    EssenceRig picture(codec::mpeg2Video, wrapping::d10);
    Bytes sample = bytesOf("000001b32d0260337a1223d8000001b5185400010080000001000008ffff000001018000");
    sample.resize(200000);
    ASSERT_TRUE(picture.add(sample));
    EssenceRig rig = soundRig(codec::pcmAES3, wrapping::d10, rate25, 24, 8);
    rig.track->setPicture(*picture.track);
    EXPECT_EQ(Described(*rig.track).container(), "060e2b34.04010101.0d010301.02010301");
}

TEST(AncillaryEssence, ElementsPassAndFramesWithoutPacketsSaySo) {
    for (const bool isPackets : {true, false}) {
        EssenceRig rig(isPackets ? codec::ancillary436M : codec::vbi436M, 0, rate2997);
        rig.format.streamKind = streamKindData;
        EXPECT_EQ(rig.facts({bytesOf("0000"), bytesOf("00")}), "0:80:0 refused");
        EXPECT_EQ(hexOf(*rig.track->emptyElement()), "0000");
        EXPECT_EQ(rig.track->constantBytes(), 0u);
        EXPECT_EQ(rig.track->itemType(), 0x17);
        EXPECT_EQ(rig.track->elementType(), isPackets ? 0x02 : 0x01);
        const Described said(*rig.track);
        EXPECT_EQ(said.set->kind(), isPackets ? SetKind::ANCDataDescriptor : SetKind::VBIDataDescriptor);
        EXPECT_EQ(said.container(),
                  isPackets ? "060e2b34.04010109.0d010301.020e0000" : "060e2b34.04010109.0d010301.020d0000");
        EXPECT_EQ(said.set->rational(Property::SampleRate), rate2997);
    }
}

TEST(EssenceOfAnyKind, EveryCutAndEveryFlippedBitIsStoredOrRefusedWithASentence) {
    struct Row {
        std::int32_t codec, profile;
        const char* sample;
    };
    const Row rows[] = {
        {codec::mpeg2Video, 0,
         "000001b3780438337a122578000001b5185400010200000001b52b0101011e0221c0000001b80008004000000100000dfff"
         "0000001b58fff"
         "f3980000000101137c"},
        {codec::mpeg2Video, wrapping::d10,
         "000001b32d0260337a1223d8000001b5185400010080000001000008ffff000001b58ffffb9800000001018000"},
        {codec::avcLongGOP, 0,
         "00000001091000000001677a001fb6cd9405005bb011000003000100000300320f1831960000000168ebe3cb22c00000000"
         "1060601c480"
         "000000014188b305ffd4576d6278"},
        {codec::avcIntra100, 0,
         "000000016e091000000001677a1029b6d420223319c6632321011198ce331918210224da444acf25224646cadd220c88191"
         "b1234ad10608180"
         "aa2417891a141808840a098230441210f01e0113f2e02200000300020000030065080000000168ce3348d00000000165888"
         " 0c20214f6f0aa"},
        {codec::proRes, 0, "0000002069637066001400004c617663078004388000010101000000ffffffff"},
    };
    for (const Row& row : rows) {
        const Bytes whole = bytesOf(row.sample);
        int refused = 0;
        const auto tryOne = [&](const Bytes& sample) {
            EssenceRig rig(row.codec, row.profile);
            for (int i = 0; i < 2; ++i) {
                const auto facts = rig.add(sample);
                ASSERT_EQ(facts.has_value(), rig.why.empty());
                if (!facts) ++refused;
                ASSERT_LE(facts.value_or(UnitFacts{}).keyFrameOffset, 0);
            }
            Described said(*rig.track);
            ASSERT_TRUE(said.set->has(Property::FrameLayout));
        };
        EssenceRig rig(row.codec, row.profile);
        ASSERT_TRUE(rig.add(whole)) << row.codec << rig.why;
        for (std::size_t cut = 0; cut < whole.size(); ++cut)
            tryOne(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut)));
        EXPECT_GT(refused, 2) << row.codec;
        for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
            Bytes flipped = whole;
            flipped[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
            tryOne(flipped);
        }
    }
}

TEST(BitReaderOfHeaders, GolombCodesFollowTheStandardsTable) {
    // 1 010 011 00100 00101 0001000 11111111…: 0 1 2 3 4 7, then ones
    const Bytes bytes = bytesOf("a64288ff");
    detail::BitReader bits(bytes);
    for (const std::uint32_t expected : {0u, 1u, 2u, 3u, 4u, 7u}) EXPECT_EQ(bits.unsignedGolomb(), expected);
    EXPECT_FALSE(bits.isBroken());
    const Bytes endless(5);
    detail::BitReader zeros(endless);
    EXPECT_EQ(zeros.unsignedGolomb(), 0u);
    EXPECT_TRUE(zeros.isBroken());
    const Bytes signs =
        BitWriter().signedGolomb(0).signedGolomb(1).signedGolomb(-1).signedGolomb(-7).finish();
    detail::BitReader sign(signs);
    for (const std::int32_t expected : {0, 1, -1, -7}) EXPECT_EQ(sign.signedGolomb(), expected);
    detail::BitReader past(bytes);
    EXPECT_EQ(past.bits(32), 0xA64288FFu);
    EXPECT_FALSE(past.isBroken());
    EXPECT_EQ(past.bits(1), 0u);
    EXPECT_TRUE(past.isBroken());
}

TEST(StartCodes, AreFoundAtEveryPlaceUpToTheLastByte) {
    using detail::nextStartCode;
    const Bytes bytes = bytesOf("00000001b3 000001 00 01 000001");
    EXPECT_EQ(nextStartCode(bytes, 0), 4u);
    EXPECT_EQ(nextStartCode(bytes, 4), 8u);
    EXPECT_EQ(nextStartCode(bytes, 8), bytes.size());  // nothing stands behind the last one
    EXPECT_EQ(nextStartCode(bytes, bytes.size()), bytes.size());
    EXPECT_EQ(nextStartCode(bytesOf("000001b3"), 0), 3u);
    EXPECT_EQ(nextStartCode(bytesOf("00010000"), 0), 4u);
    EXPECT_EQ(nextStartCode({}, 0), 0u);
}

}  // namespace
}  // namespace zenquor::mxf::test
