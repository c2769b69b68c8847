#include "zenquor/audio/ZQRAudioConverter.h"

#include <gtest/gtest.h>

#include "zenquor/core/ZLGHandle.h"

using namespace zenquor;
using namespace zenquor::platform;

namespace {

AudioStreamBasicDescription lpcm(std::uint32_t flags, std::uint32_t bytes, std::uint32_t channels,
                                 std::uint32_t bits) {
    return {48000, audioFormatLinearPCM, flags, bytes, 1, bytes, channels, bits, 0};
}
AudioBufferList interleaved(std::vector<std::uint8_t>& audio, std::uint32_t channels) {
    return {{channels, static_cast<std::uint32_t>(audio.size()), audio.data()}};
}
std::vector<std::uint8_t> bytesOf(const AudioBuffer& buffer) {
    const auto* bytes = static_cast<const std::uint8_t*>(buffer.data);
    return {bytes, bytes + buffer.dataByteSize};
}

}  // namespace

TEST(ZQRAudioConverter, GivesOneBufferPerChannelForMXF) {
    // 24 bits in the high bits of 32, two channels, to packed 24 bits per channel.
    const auto converter = ZQRAudioConverter::initWithInputASBD(lpcm(20, 8, 2, 24), lpcm(0x2C, 3, 2, 24));
    ASSERT_TRUE(converter);
    std::vector<std::uint8_t> audio = {0xEE, 1, 2, 3, 0xEE, 4, 5, 6, 0xEE, 7, 8, 0x89, 0xEE, 10, 11, 12};
    const AudioBufferList* output = nullptr;
    ASSERT_TRUE(converter->convertInputBufferList(interleaved(audio, 2), output, 2));
    ASSERT_EQ(output->size(), 2U);
    EXPECT_EQ(bytesOf((*output)[0]), (std::vector<std::uint8_t>{1, 2, 3, 7, 8, 0x89}));
    EXPECT_EQ(bytesOf((*output)[1]), (std::vector<std::uint8_t>{4, 5, 6, 10, 11, 12}));
    std::vector<std::uint8_t> large(8 * 5000, 0x11);
    ASSERT_TRUE(converter->convertInputBufferList(interleaved(large, 2), output, 5000))
        << "more than a frame's samples";
    EXPECT_EQ(bytesOf((*output)[1]), std::vector<std::uint8_t>(15000, 0x11));
}

TEST(ZQRAudioConverter, GivesOneInterleavedBufferForOneStream) {
    const auto converter = ZQRAudioConverter::initWithInputASBD(lpcm(20, 8, 2, 24), lpcm(12, 6, 2, 24));
    ASSERT_TRUE(converter);
    EXPECT_EQ(converter->numberOfChannels(), 2U);
    std::vector<std::uint8_t> audio = {0, 1, 2, 3, 0, 4, 5, 6};
    const AudioBufferList* output = nullptr;
    ASSERT_TRUE(converter->convertInputBufferList(interleaved(audio, 2), output, 1));
    ASSERT_EQ(output->size(), 1U);
    EXPECT_EQ(bytesOf((*output)[0]), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(ZQRAudioConverter, TellsWhatFailed) {
    std::vector<std::string> errors;
    auto& log = ZLGGetHandle();
    const auto sink = log.setSink([&](ZLGLevel, std::string_view text) { errors.emplace_back(text); });
    EXPECT_FALSE(ZQRAudioConverter::initWithInputASBD({}, lpcm(12, 6, 2, 24)));
    const auto converter = ZQRAudioConverter::initWithInputASBD(lpcm(12, 4, 2, 16), lpcm(0x2C, 2, 2, 16));
    std::vector<std::uint8_t> audio(7);
    const AudioBufferList* output = nullptr;
    ZQErrorPtr error;
    EXPECT_FALSE(converter->convertInputBufferList(interleaved(audio, 2), output, 2, &error));
    EXPECT_FALSE(converter->convertInputBufferList(interleaved(audio, 2), output, 2));
    EXPECT_EQ(output, nullptr);
    log.setSink(sink);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), ZQRAudioConverter::errorDomain);
    ASSERT_EQ(errors.size(), 3U);
    EXPECT_EQ(errors[0], "ZQRAudioConverter: Could not create Audio Converter with error -50");
    EXPECT_EQ(errors[1], "ZQRAudioConverter can't convert audio buffer with error -50. Got 2 samples");
}
