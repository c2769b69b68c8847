#include "zenquor/audio/ZQRAudioMapper.h"

#include <cstring>
#include <vector>

#include "zenquor/audio/detail/ChannelMap.h"

namespace zenquor {
namespace {

/// No stream has frames larger than this; a description that says so maps to silence.
constexpr std::uint64_t largestFrame = 1 << 20;

/// The byte offset in the input frame that feeds each output, -1 for silence.
std::vector<std::int32_t> offsetsForMapping(std::span<const std::int32_t> mapping,
                                            std::uint32_t bytesPerSample, std::int32_t channels) {
    std::vector<std::int32_t> offsets;
    if (channels <= 0 || bytesPerSample == 0) return offsets;
    if (static_cast<std::uint64_t>(channels) * bytesPerSample > largestFrame) return offsets;
    offsets.reserve(static_cast<std::size_t>(channels));
    for (std::int32_t output = 0; output < channels; ++output) {
        const auto index = static_cast<std::size_t>(output);
        const std::int32_t input = index < mapping.size() ? mapping[index] : output;
        const bool exists = input >= 0 && input < channels;
        offsets.push_back(exists ? input * static_cast<std::int32_t>(bytesPerSample)
                                 : detail::ChannelMap::silence);
    }
    return offsets;
}

}  // namespace

ZQRAudioMapper::ZQRAudioMapper(std::span<const std::int32_t> offsets, std::uint32_t bytesPerSample)
    : map_(std::make_unique<const detail::ChannelMap>(offsets, bytesPerSample)) {}

ZQRAudioMapper::~ZQRAudioMapper() = default;

ZQRAudioMapperPtr ZQRAudioMapper::initWithMapping(std::span<const std::int32_t> mapping,
                                                  std::uint32_t bytesPerFrame, std::int32_t channels) {
    return ZQRAudioMapperPtr(
        new ZQRAudioMapper(offsetsForMapping(mapping, bytesPerFrame, channels), bytesPerFrame));
}

ZQData ZQRAudioMapper::mapAudioData(const ZQData& audio) const {
    const std::size_t frameBytes = map_->frameBytes();
    const std::size_t frames = frameBytes != 0 ? audio.size() / frameBytes : 0;
    const std::size_t mapped = frames * frameBytes;
    if (map_->isIdentity() && mapped == audio.size()) return audio;
    return ZQData::filling(audio.size(), [&](std::span<std::uint8_t> out) {
        map_->apply(audio.data(), out.data(), frames);
        if (mapped < out.size()) std::memset(out.data() + mapped, 0, out.size() - mapped);
    });
}

}  // namespace zenquor
