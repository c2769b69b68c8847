// One video frame's sound cut into the tracks of a movie, 1920 samples of 16 channels, against copying it.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Interleaved.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/writers/detail/PCMDeinterleaver.h"

using namespace zenquor;

namespace {

constexpr std::uint32_t channels = 16;
constexpr std::size_t samples = 1920;

ZQData audioBlock(std::uint32_t bytesPerSample) {
    return ZQData::filling(samples * channels * bytesPerSample, [](std::span<std::uint8_t> out) {
        for (std::size_t i = 0; i < out.size(); ++i) out[i] = static_cast<std::uint8_t>(i * 31 + i / 7);
    });
}

/// All tracks of a frame, each into bytes of its own, as the movie writer does it.
bench::Job cut(const std::string& name, const ZQData& audio, const detail::PCMShape& shape, double limit) {
    return {name,
            [audio, shape] {
                for (std::uint32_t channel = 0; channel < channels; channel += shape.trackChannels) {
                    bench::keep(ZQData::filling(samples * shape.trackFrameBytes(), [&](auto out) {
                        detail::deinterleaveSamples(audio, shape, channel, samples, out);
                    }));
                }
            },
            limit};
}

bool benchTracks(std::uint32_t sourceBytes, std::uint32_t trackBytes) {
    const ZQData audio = audioBlock(sourceBytes);
    const auto copy = std::make_shared<std::vector<std::uint8_t>>(audio.size());
    const std::vector<bench::Job> jobs = {
        {"memcpy",
         [audio, copy] {
             bench::keep(audio);
             std::memcpy(copy->data(), audio.data(), audio.size());
             bench::keep(*copy);
         }},
        cut("8 stereo tracks", audio, {channels, sourceBytes, 2, trackBytes, false}, 6),
        cut("16 mono tracks", audio, {channels, sourceBytes, 1, trackBytes, false}, 12),
        cut("16 mono tracks, big-endian", audio, {channels, sourceBytes, 1, trackBytes, true}, 12),
    };
    return bench::compare("Tracks of " + std::to_string(trackBytes * 8) + " bits from 16 channels in " +
                              std::to_string(sourceBytes * 8),
                          jobs);
}

}  // namespace

int main() {
    const bool packed = benchTracks(4, 3);
    const bool words = benchTracks(2, 2);
    return packed && words ? 0 : 1;
}
