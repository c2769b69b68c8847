#include "zenquor/platform/AudioConverter.h"

#include <cstring>

#include <gtest/gtest.h>

using namespace zenquor::platform;

namespace {

enum : std::uint32_t { f = 1, be = 2, s = 4, packed = 8, high = 16, planar = 32 };

AudioStreamBasicDescription lpcm(std::uint32_t flags, std::uint32_t bytes, std::uint32_t bits,
                                 std::uint32_t channels = 1) {
    const std::uint32_t frame = (flags & planar) != 0 ? bytes : bytes * channels;
    return {48000, zenquor::fourCC("lpcm"), flags, frame, 1, frame, channels, bits, 0};
}

/// Mono samples through a converter; empty when it refuses.
std::vector<std::uint8_t> converted(const AudioStreamBasicDescription& from,
                                    const AudioStreamBasicDescription& to, std::vector<std::uint8_t> in) {
    std::unique_ptr<AudioConverter> converter;
    if (AudioConverter::create(from, to, converter) != noErr) return {};
    const auto frames = static_cast<std::uint32_t>(in.size() / from.bytesPerFrame);
    std::vector<std::uint8_t> out(std::size_t{frames} * to.bytesPerFrame, 0xCC);
    AudioBufferList output = {{1, static_cast<std::uint32_t>(out.size()), out.data()}};
    EXPECT_EQ(converter->convertComplexBuffer(frames, {{1, static_cast<std::uint32_t>(in.size()), in.data()}},
                                              output),
              noErr);
    return out;
}
std::vector<std::uint8_t> bytesOf(std::initializer_list<float> values) {
    std::vector<std::uint8_t> bytes(values.size() * 4);
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
}

}  // namespace

TEST(AudioConverter, MovesNumbersBetweenContainersBitExactly) {
    using Bytes = std::vector<std::uint8_t>;
    const struct {
        AudioStreamBasicDescription from, to;
        Bytes in, out;
    } cases[] = {
        {lpcm(s, 2, 16), lpcm(s | be, 2, 16), {0x34, 0x92}, {0x92, 0x34}},
        {lpcm(s | packed, 3, 24), lpcm(s | high, 4, 24), {0x56, 0x34, 0x92}, {0, 0x56, 0x34, 0x92}},
        {lpcm(s | packed, 3, 24), lpcm(s, 4, 24), {0x56, 0x34, 0x92}, {0x56, 0x34, 0x92, 0xFF}},
        {lpcm(s, 4, 24), lpcm(s | packed | be, 3, 24), {0x56, 0x34, 0x92, 0xFF}, {0x92, 0x34, 0x56}},
        {lpcm(s | high, 4, 24), lpcm(s | packed, 2, 16), {0xEE, 0x56, 0x34, 0x92}, {0x34, 0x92}},
        {lpcm(s | high, 4, 24), lpcm(s | packed, 4, 32), {0xEE, 0x56, 0x34, 0x92}, {0, 0x56, 0x34, 0x92}},
        {lpcm(s, 2, 16), lpcm(s | packed, 3, 24), {0xFF, 0x7F}, {0, 0xFF, 0x7F}},
        {lpcm(0, 2, 16), lpcm(s, 2, 16), {0x00, 0x80}, {0x00, 0x00}},
        {lpcm(s, 2, 16), lpcm(f, 4, 32), {0x00, 0x80, 0x00, 0x40}, bytesOf({-1.0F, 0.5F})},
        {lpcm(f, 4, 32), lpcm(s, 2, 16), bytesOf({-1.0F, 0.5F, 2.0F}), {0x00, 0x80, 0x00, 0x40, 0xFF, 0x7F}},
        {lpcm(f, 4, 32), lpcm(f | be, 4, 32), {1, 2, 3, 4}, {4, 3, 2, 1}},
        {lpcm(f | be, 4, 32), lpcm(f, 8, 64), {0x3F, 0x80, 0, 0}, {0, 0, 0, 0, 0, 0, 0xF0, 0x3F}},
        {lpcm(s, 5, 40), lpcm(s, 2, 16), {1, 2, 3, 4, 5}, {}},
        {lpcm(s, 2, 24), lpcm(s, 2, 16), {1, 2}, {}},
        {lpcm(f, 4, 24), lpcm(s, 2, 16), {1, 2, 3, 4}, {}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(converted(cases[i].from, cases[i].to, cases[i].in), cases[i].out) << "case " << i;
    }
    // Every 16-bit number survives the way through floating point, longer than one stretch.
    Bytes all(2 * 65536);
    for (std::size_t i = 0; i < 65536; ++i) {
        all[2 * i] = static_cast<std::uint8_t>(i);
        all[2 * i + 1] = static_cast<std::uint8_t>(i >> 8);
    }
    EXPECT_EQ(converted(lpcm(f, 4, 32), lpcm(s, 2, 16), converted(lpcm(s, 2, 16), lpcm(f, 4, 32), all)), all);
}

TEST(AudioConverter, MapsBuffersOfAnyGroupingAndSilencesWhatHasNoInput) {
    std::unique_ptr<AudioConverter> converter;
    ASSERT_EQ(AudioConverter::create(lpcm(s, 2, 16, 3), lpcm(s | planar, 2, 16, 4), converter), noErr);
    std::vector<std::uint8_t> pair = {1, 0, 2, 0, 4, 0, 5, 0};
    std::vector<std::uint8_t> single = {3, 0, 6, 0};
    const AudioBufferList input = {{2, 8, pair.data()}, {1, 4, single.data()}};
    std::vector<std::uint8_t> out(16, 0xCC);
    AudioBufferList output;
    for (std::size_t i = 0; i < 4; ++i) output.push_back({1, 4, out.data() + 4 * i});
    ASSERT_EQ(converter->convertComplexBuffer(2, input, output), noErr);
    EXPECT_EQ(out, (std::vector<std::uint8_t>{1, 0, 4, 0, 2, 0, 5, 0, 3, 0, 6, 0, 0, 0, 0, 0}));
    const std::vector<std::uint8_t> before = out;
    EXPECT_EQ(converter->convertComplexBuffer(2, {input[0]}, output), parameterErr)
        << "the third channel is missing";
    EXPECT_EQ(converter->convertComplexBuffer(3, input, output), parameterErr) << "too short";
    EXPECT_EQ(out, before);
    auto other = lpcm(s, 2, 16, 3);
    other.sampleRate = 44100;
    EXPECT_EQ(AudioConverter::create(lpcm(s, 2, 16, 3), other, converter), parameterErr) << "no resampling";
}
