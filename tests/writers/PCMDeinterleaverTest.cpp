// The fast loops against the rule written out sample by sample.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "zenquor/writers/detail/PCMDeinterleaver.h"

namespace zenquor::detail {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A sample's value in its high bits is kept, whatever the sizes.
Bytes plainly(const Bytes& source, const PCMShape& shape, std::uint32_t firstChannel, std::size_t count) {
    Bytes track;
    for (std::size_t frame = 0; frame < count; ++frame) {
        for (std::uint32_t c = firstChannel; c < firstChannel + shape.trackChannels; ++c) {
            std::uint32_t value = 0;  // the sample in the high bits of 32
            for (std::uint32_t b = 0; c < shape.sourceChannels && b < shape.sourceBytes; ++b) {
                const std::size_t at = (frame * shape.sourceChannels + c) * shape.sourceBytes + b;
                value |= std::uint32_t{source[at]} << (8 * (4 - shape.sourceBytes + b));
            }
            Bytes sample;
            for (std::uint32_t b = 0; b < shape.trackBytes; ++b) {
                sample.push_back(static_cast<std::uint8_t>(value >> (24 - 8 * b)));
            }
            if (!shape.bigEndianTrack) sample = Bytes(sample.rbegin(), sample.rend());
            track.insert(track.end(), sample.begin(), sample.end());
        }
    }
    return track;
}

TEST(PCMDeinterleaver, AgreesWithTheRuleForEveryLayout) {
    std::mt19937 random(7);
    for (const std::uint32_t sourceBytes : {2u, 3u, 4u})
        for (const std::uint32_t trackBytes : {2u, 3u})
            for (const bool big : {false, true})
                for (const std::uint32_t sourceChannels : {1u, 2u, 3u, 8u, 16u})
                    for (const std::uint32_t trackChannels : {1u, 2u, 6u})
                        for (const std::size_t count : {1u, 2u, 5u}) {
                            const PCMShape shape{sourceChannels, sourceBytes, trackChannels, trackBytes, big};
                            Bytes source(count * shape.sourceFrameBytes());
                            for (auto& byte : source) byte = static_cast<std::uint8_t>(random());
                            for (std::uint32_t channel = 0; channel < sourceChannels + 2;
                                 channel += trackChannels) {
                                // The bytes behind the track stay untouched.
                                Bytes track(count * shape.trackFrameBytes() + 3, 0xA5);
                                ASSERT_TRUE(deinterleaveSamples(source, shape, channel, count, track));
                                Bytes expected = plainly(source, shape, channel, count);
                                expected.insert(expected.end(), {0xA5, 0xA5, 0xA5});
                                ASSERT_EQ(track, expected)
                                    << sourceBytes << " bytes x " << sourceChannels << " to " << trackBytes
                                    << " x " << trackChannels << " from " << channel
                                    << (big ? " big" : " little");
                            }
                        }
}

TEST(PCMDeinterleaver, PacksALiteralStereoFrame) {
    // 0x112233 and 0x445566, high-aligned in 32 bits, little-endian.
    const Bytes source{0x00, 0x33, 0x22, 0x11, 0x00, 0x66, 0x55, 0x44};
    Bytes track(6);
    ASSERT_TRUE(deinterleaveSamples(source, {2, 4, 2, 3, false}, 0, 1, track));
    EXPECT_EQ(track, (Bytes{0x33, 0x22, 0x11, 0x66, 0x55, 0x44}));
    ASSERT_TRUE(deinterleaveSamples(source, {2, 4, 2, 3, true}, 0, 1, track));
    EXPECT_EQ(track, (Bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
}

TEST(PCMDeinterleaver, RefusesSizesThatDoNotFit) {
    Bytes source(64), track(64);
    EXPECT_FALSE(deinterleaveSamples(source, {2, 5, 1, 3, false}, 0, 1, track));
    EXPECT_FALSE(deinterleaveSamples(source, {2, 4, 1, 4, false}, 0, 1, track));
    EXPECT_FALSE(deinterleaveSamples(source, {0, 4, 1, 3, false}, 0, 1, track));
    EXPECT_FALSE(deinterleaveSamples(source, {2, 4, 0, 3, false}, 0, 1, track));
    EXPECT_FALSE(deinterleaveSamples(source, {2, 4, 1, 3, false}, 0, 9, track));
    EXPECT_FALSE(deinterleaveSamples(source, {2, 4, 2, 3, false}, 0, 8, std::span(track).first(47)));
}

}  // namespace
}  // namespace zenquor::detail
