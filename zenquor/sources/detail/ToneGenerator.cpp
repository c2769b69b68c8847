#include "zenquor/sources/detail/ToneGenerator.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace zenquor::detail {
namespace {

constexpr std::size_t cycleFrames = 480;  // of 100 Hz
constexpr std::uint32_t firstToneHundredHertz = 10;
constexpr double levelDecibel = -18;

}  // namespace

ToneGenerator::ToneGenerator(const SourceFormat& format) : bytesPerFrame_(format.audioBytesPerFrame()) {
    const std::uint32_t sampleBytes = format.audioBits == 16 ? 2 : 4;
    // 24-bit samples lie in the high bytes of their container.
    const std::uint32_t shift = sampleBytes * 8 - format.audioBits;
    const double amplitude = std::pow(10, levelDecibel / 20) * ((1 << (format.audioBits - 1)) - 1);
    cycle_.resize(cycleFrames * bytesPerFrame_);
    std::uint8_t* out = cycle_.data();
    for (std::size_t i = 0; i < cycleFrames; ++i) {
        for (std::uint32_t channel = 0; channel < format.audioChannels; ++channel) {
            const std::size_t phase = i * (firstToneHundredHertz + channel) % cycleFrames;
            const double angle = 2 * std::numbers::pi * static_cast<double>(phase) / cycleFrames;
            const auto sample = static_cast<std::uint32_t>(std::lround(amplitude * std::sin(angle))) << shift;
            for (std::uint32_t byte = 0; byte < sampleBytes; ++byte)
                *out++ = static_cast<std::uint8_t>(sample >> (8 * byte));
        }
    }
}

ZQData ToneGenerator::samples(std::uint64_t first, std::size_t frames) const {
    return ZQData::filling(frames * bytesPerFrame_, [&](std::span<std::uint8_t> out) {
        std::size_t from = static_cast<std::size_t>(first % cycleFrames) * bytesPerFrame_;
        for (std::size_t done = 0; done < out.size(); from = 0) {
            const std::size_t size = std::min(cycle_.size() - from, out.size() - done);
            std::memcpy(out.data() + done, cycle_.data() + from, size);
            done += size;
        }
    });
}

}  // namespace zenquor::detail
