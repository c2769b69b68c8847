#include "zenquor/mxf/detail/D10SoundTrack.h"

#include <algorithm>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::size_t headerBytes = 4;
constexpr std::size_t wordBytes = 4;
constexpr std::size_t bytesPerSample = wordBytes * D10SoundTrack::mostChannels;
constexpr std::int64_t cadenceFrames = 5;  // of 525-line systems

}  // namespace

D10SoundTrack::D10SoundTrack(const SoundLayout& layout, const Context& context)
    : layout_(layout), context_(context) {
    const std::size_t samples = layout_.mostSamplesPerUnit(context_.editRate);
    translate(std::vector<std::uint8_t>(samples * layout_.blockAlign()), 0, silence_);
}

std::optional<UnitFacts> D10SoundTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                            std::string& why) {
    if (sample.empty() || sample.size() % layout_.blockAlign() != 0 ||
        sample.size() / layout_.blockAlign() > UINT16_MAX) {
        why = "its bytes are not a frame's samples of all channels";
        return std::nullopt;
    }
    return UnitFacts{units_++, 0x80, 0};
}

std::span<const std::uint8_t> D10SoundTrack::stored(std::span<const std::uint8_t> sample) {
    translate(sample, units_ > 0 ? units_ - 1 : 0, element_);
    return element_;
}

void D10SoundTrack::translate(std::span<const std::uint8_t> sample, std::int64_t unit,
                              std::vector<std::uint8_t>& element) const {
    const std::size_t count = sample.size() / layout_.blockAlign();
    element.assign(headerBytes + count * bytesPerSample, 0);
    const bool isSteady = context_.editRate == Rational{25, 1};
    element[0] = isSteady ? 0 : static_cast<std::uint8_t>(unit % cadenceFrames + 1);
    // What is longer than its frame is cut when it is stored; the count is of what stays.
    const std::size_t kept = std::min<std::size_t>(count, layout_.mostSamplesPerUnit(context_.editRate));
    element[1] = static_cast<std::uint8_t>(kept);
    element[2] = static_cast<std::uint8_t>(kept >> 8);
    element[3] = static_cast<std::uint8_t>((1u << layout_.channelCount) - 1);
    const std::uint8_t* in = sample.data();
    std::uint8_t* out = element.data() + headerBytes;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::uint32_t channel = 0; channel < mostChannels; ++channel, out += wordBytes) {
            std::uint32_t value = 0;  // 24 bits, left-aligned
            for (std::uint32_t k = 0; channel < layout_.channelCount && k < layout_.bytesPerSample; ++k)
                value |= std::uint32_t{*in++} << (8 * (3 - layout_.bytesPerSample + k));
            const std::uint32_t word = value << 4 | channel;
            for (std::size_t k = 0; k < wordBytes; ++k) out[k] = static_cast<std::uint8_t>(word >> (8 * k));
        }
    }
}

UL D10SoundTrack::dataDefinition() const {
    return labels::soundDefinition;
}

UL D10SoundTrack::container() const {
    return picture_ != nullptr ? picture_->container() : labels::aes3FrameWrapped;
}

std::uint32_t D10SoundTrack::constantBytes() const {
    return static_cast<std::uint32_t>(headerBytes +
                                      layout_.mostSamplesPerUnit(context_.editRate) * bytesPerSample);
}

MetadataSet& D10SoundTrack::describe(HeaderMetadata& metadata) const {
    MetadataSet& descriptor = metadata.add(SetKind::GenericSoundEssenceDescriptor);
    descriptor.set(Property::SampleRate, context_.editRate).set(Property::EssenceContainer, container());
    layout_.describe(descriptor);
    descriptor.set(Property::ChannelCount, layout_.channelCount > 4 ? 8 : 4);
    return descriptor;
}

}  // namespace zenquor::mxf::detail
