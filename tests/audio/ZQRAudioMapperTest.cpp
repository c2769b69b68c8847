#include "zenquor/audio/ZQRAudioMapper.h"

#include <random>

#include <gtest/gtest.h>

#include "zenquor/audio/ZQRAudioMapping.h"

using namespace zenquor;

namespace {

/// What mapping means, byte by byte.
std::vector<std::uint8_t> mappedPlainly(const std::vector<std::uint8_t>& audio,
                                        const std::vector<std::int32_t>& mapping, std::size_t bytes,
                                        std::int32_t channels) {
    std::vector<std::uint8_t> out(audio.size());
    const std::size_t frameBytes = bytes * static_cast<std::size_t>(channels);
    for (std::size_t frame = 0; frame + frameBytes <= audio.size(); frame += frameBytes) {
        for (std::int32_t output = 0; output < channels; ++output) {
            const auto index = static_cast<std::size_t>(output);
            const std::int32_t input = index < mapping.size() ? mapping[index] : output;
            if (input < 0 || input >= channels) continue;
            std::copy_n(
                audio.begin() + static_cast<std::ptrdiff_t>(frame + static_cast<std::size_t>(input) * bytes),
                bytes, out.begin() + static_cast<std::ptrdiff_t>(frame + index * bytes));
        }
    }
    return out;
}

}  // namespace

TEST(ZQRAudioMapper, EveryLoopMapsLikeThePlainOne) {
    std::mt19937 random(16);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t bytes = std::size_t{1} << random() % 4 | (random() % 8 == 0 ? 1 : 0);
        const std::int32_t channels =
            random() % 2 == 0 ? 1 << random() % 7 : static_cast<std::int32_t>(random() % 20 + 1);
        std::vector<std::int32_t> mapping(random() % (static_cast<unsigned>(channels) + 2));
        const bool inPairs = random() % 2 == 0;
        for (std::size_t i = 0; i < mapping.size(); ++i) {
            mapping[i] = static_cast<std::int32_t>(random() % (static_cast<unsigned>(channels) + 2)) - 1;
            if (inPairs && i % 2 == 1) mapping[i] = mapping[i - 1] < 0 ? -1 : mapping[i - 1] + 1;
        }
        std::vector<std::uint8_t> audio(random() % 700);
        for (auto& byte : audio) byte = static_cast<std::uint8_t>(random());
        const auto mapper =
            ZQRAudioMapper::initWithMapping(mapping, static_cast<std::uint32_t>(bytes), channels);
        ASSERT_EQ(mapper->mapAudioData(ZQData::copying(audio)),
                  ZQData::copying(mappedPlainly(audio, mapping, bytes, channels)))
            << "round " << round << ", " << channels << " channels of " << bytes;
    }
}

TEST(ZQRAudioMapper, ZeroesPartialFramesAndWhatCannotBeMapped) {
    const ZQData audio = ZQData::copying(std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7});
    const auto identity = ZQRAudioMapper::initWithMapping({}, 1, 2);
    EXPECT_EQ(identity->mapAudioData(audio), ZQData::copying(std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 0}));
    const ZQData whole = audio.slice(0, 6);
    EXPECT_EQ(identity->mapAudioData(whole).data(), whole.data()) << "nothing to map, nothing copied";
    const ZQData silent = ZQData::copying(std::vector<std::uint8_t>(7));
    for (const auto& mapper :
         {ZQRAudioMapper::initWithMapping({}, 2, 0), ZQRAudioMapper::initWithMapping({}, 0, 2),
          ZQRAudioMapper::initWithMapping({}, 0xFFFFFFFF, INT32_MAX)}) {
        EXPECT_EQ(mapper->mapAudioData(audio), silent);
    }
}

TEST(ZQRAudioMapping, ChoosesInputsByWhatTheSourceHas) {
    const auto mono = ZQRAudioMapping::monoToStereoMapping();
    EXPECT_EQ(mono.inputChannelForOutput(0, 1), 0);
    EXPECT_EQ(mono.inputChannelForOutput(1, 1), 0);
    EXPECT_EQ(mono.inputChannelForOutput(2, 1), -1);
    EXPECT_EQ(mono.inputChannelForOutput(1, 2), 1);
    EXPECT_EQ(mono.inputChannelForOutput(0, 0), -1);
    EXPECT_EQ(ZQRAudioMapping::defaultAudioMapping().inputChannelForOutput(64, 100), -1);
    const std::uint32_t five[] = {3, 2, 1, 0, 9};
    auto mapping = ZQRAudioMapping::mappingWithValues(five);
    EXPECT_EQ(mapping.inputChannelForOutput(0, 4), 3);
    EXPECT_EQ(mapping.inputChannelForOutput(0, 2), -1) << "input 3 does not exist";
    EXPECT_EQ(mapping.inputChannelForOutput(1, 1), 0) << "the second choice";
    EXPECT_EQ(mapping.inputChannelForOutput(2, 4), 2);
    mapping.setChannel(64, 1, 1);
    const auto values = mapping.values();
    ASSERT_EQ(values.size(), 128U);
    EXPECT_EQ(values[64], 1U);
    EXPECT_EQ(values[127], ZQRAudioMapping::noInput);
    EXPECT_EQ(ZQRAudioMapping::mappingWithValues(values), mapping);
    EXPECT_EQ(ZQRAudioMapping::mappingWithValues(std::vector<std::uint32_t>(200, 7)).values().size(), 128U);
}
