// Audio of one video frame, 1920 samples of 16 channels, against copying it.

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "Interleaved.h"
#include "zenquor/audio/ZQRAudioConverter.h"
#include "zenquor/audio/ZQRAudioMapper.h"

using namespace zenquor;

namespace {

constexpr std::uint32_t channels = 16;
constexpr std::uint32_t samples = 1920;

ZQData audioBlock(std::uint32_t bytesPerSample) {
    std::vector<std::uint8_t> bytes(samples * channels * bytesPerSample);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 7);
    return ZQData::copying(bytes);
}

bench::Job yardstick(const ZQData& audio) {
    const auto copy = std::make_shared<std::vector<std::uint8_t>>(audio.size());
    return {"memcpy", [audio, copy] {
                bench::keep(audio);
                std::memcpy(copy->data(), audio.data(), audio.size());
                bench::keep(*copy);
            }};
}

bool benchMapping(std::uint32_t bytesPerSample) {
    const ZQData audio = audioBlock(bytesPerSample);
    const struct {
        const char* name;
        std::vector<std::int32_t> mapping;
    } cases[] = {
        {"pairs swapped", {2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13}},
        {"any order", {5, 0, 11, 3, 14, 7, 2, 9, 1, 15, 4, 12, 8, 6, 13, 10}},
        {"any order, some silent", {5, -1, 11, 3, -1, 7, 2, -1, 1, 15, -1, -1, 8, 6, 13, -1}},
    };
    std::vector<bench::Job> jobs = {yardstick(audio)};
    for (const auto& c : cases) {
        const auto mapper = ZQRAudioMapper::initWithMapping(c.mapping, bytesPerSample, channels);
        jobs.push_back({c.name, [mapper, audio] { bench::keep(mapper->mapAudioData(audio)); }, 2});
    }
    return bench::compare("Channel mapping, 16 channels of " + std::to_string(bytesPerSample * 8) + " bits",
                          jobs);
}

void benchConversion() {
    using namespace platform;
    const ZQData audio = audioBlock(4);
    const AudioStreamBasicDescription in = {48000,
                                            audioFormatLinearPCM,
                                            audioFormatFlagIsSignedInteger | audioFormatFlagIsAlignedHigh,
                                            64,
                                            1,
                                            64,
                                            16,
                                            24,
                                            0};
    const AudioStreamBasicDescription out = {
        48000,
        audioFormatLinearPCM,
        audioFormatFlagIsSignedInteger | audioFormatFlagIsPacked | audioFormatFlagIsNonInterleaved,
        3,
        1,
        3,
        16,
        24,
        0};
    const auto converter = ZQRAudioConverter::initWithInputASBD(in, out);
    const AudioBufferList input = {
        {channels, static_cast<std::uint32_t>(audio.size()), const_cast<std::uint8_t*>(audio.data())}};
    bench::compare("Conversion, 24 in 32 bits interleaved to 3-byte samples per channel",
                   {yardstick(audio), {"convert", [&] {
                                           const AudioBufferList* output = nullptr;
                                           converter->convertInputBufferList(input, output, samples);
                                           bench::keep(output);
                                       }}});
}

}  // namespace

int main() {
    bool good = benchMapping(2);
    good = benchMapping(4) && good;
    benchConversion();
    return good ? 0 : 1;
}
