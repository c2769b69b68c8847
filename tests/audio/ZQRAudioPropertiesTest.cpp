#include "zenquor/audio/ZQRAudioProperties.h"

#include <cmath>

#include <gtest/gtest.h>

using namespace zenquor;
using platform::AudioStreamBasicDescription;

namespace {

AudioStreamBasicDescription lpcm(double rate, std::uint32_t flags, std::uint32_t bytes,
                                 std::uint32_t channels, std::uint32_t bits) {
    return {rate, platform::audioFormatLinearPCM, flags, bytes, 1, bytes, channels, bits, 0};
}

}  // namespace

TEST(ZQRAudioProperties, DescribeTheStreamOfTheNativeChannels) {
    const auto properties = ZQRAudioProperties::initWithBitRate(24, 4, 48000, 8);
    EXPECT_EQ(properties->nativeChannelCount(), 2U) << "two, whatever the number of channels";
    properties->setAudioFormatFlagIsSignedInteger(true);
    properties->setAudioFormatFlagIsAlignedHigh(true);
    EXPECT_EQ(properties->audioStreamBasicDescription(), lpcm(48000, 20, 8, 2, 24));
    properties->setNativeChannelCount(16);
    EXPECT_EQ(properties->audioStreamBasicDescription(), lpcm(48000, 20, 64, 16, 24));
    EXPECT_EQ(properties->packedInterleavedASBD(), lpcm(48000, 12, 48, 16, 24));
    EXPECT_EQ(properties->packedInterleavedASBDWithForcedEightChannelCount(), lpcm(48000, 12, 24, 8, 24));
    properties->setAudioFormatFlagIsNonInterleaved(true);
    EXPECT_EQ(properties->audioStreamBasicDescription(), lpcm(48000, 52, 4, 16, 24));
    properties->setBitRate(32);
    EXPECT_EQ(properties->packedInterleavedASBD(), AudioStreamBasicDescription{});
    EXPECT_EQ(properties->packedInterleavedASBDWithForcedEightChannelCount(), AudioStreamBasicDescription{});
    const auto sixteen = ZQRAudioProperties::initWithBitRate(16, 4, 48000, 2);
    EXPECT_EQ(sixteen->packedInterleavedASBD(), sixteen->audioStreamBasicDescription());
    EXPECT_EQ(sixteen->packedInterleavedASBDWithForcedEightChannelCount(), lpcm(48000, 0, 32, 8, 16));
}

TEST(ZQRAudioProperties, TakeOverADescriptionAndCopy) {
    const auto interleaved = ZQRAudioProperties::initWithDescription(lpcm(44100.9, 0x7F & ~32, 24, 8, 24));
    EXPECT_EQ(interleaved->bytes(), 3U);
    EXPECT_EQ(interleaved->scale(), 44100U);
    EXPECT_EQ(interleaved->nativeChannelCount(), 8U);
    EXPECT_TRUE(interleaved->audioFormatFlagIsFloat() && interleaved->audioFormatFlagIsBigEndian() &&
                interleaved->audioFormatFlagIsPacked() && interleaved->audioFormatFlagIsNonMixable());
    EXPECT_EQ(ZQRAudioProperties::initWithDescription(lpcm(48000, 36, 2, 16, 16))->bytes(), 2U);
    EXPECT_EQ(ZQRAudioProperties::initWithDescription(lpcm(NAN, 4, 2, 0, 16))->bytes(), 0U) << "no channels";
    interleaved->setWriteBytes(3);
    interleaved->setAudioAlignment(512);
    const auto copy = interleaved->copy();
    interleaved->setWriteBytes(2);
    interleaved->setAudioFormatFlagIsFloat(false);
    EXPECT_EQ(copy->writeBytes(), 3U);
    EXPECT_EQ(copy->audioAlignment(), 512U);
    EXPECT_EQ(copy->audioStreamBasicDescription(), lpcm(44100, 0x5F, 24, 8, 24));
    EXPECT_EQ(copy->audioPropertiesString(), "44100 Hz, 24 Bit, 8 channels selected, total channel: 8");
    EXPECT_TRUE(copy->description().ends_with(
        "> - bitrate: 24, bytes 3, writeBytes 3, scale 44100, numberOfChannels 8, nativechannelcount 8"));
}
