#include "zenquor/mxf/detail/PCMTrack.h"

#include <algorithm>
#include <cmath>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

// Samples of 48 kHz sound in five frames of 29.97, from the start of the sequence (SMPTE ST 382).
constexpr std::array<std::uint32_t, 5> cadence2997{1602, 1601, 1602, 1601, 1602};
constexpr std::uint32_t mostChannels = 64;
constexpr double highestSampleRate = 1'000'000;
constexpr std::uint64_t mostSamples = UINT16_MAX;  // of one edit unit

}  // namespace

std::optional<SoundLayout> SoundLayout::fromFormat(const StreamFormat& format) {
    SoundLayout layout;
    if (format.sampleRate > 0) {
        if (!(format.sampleRate <= highestSampleRate)) return std::nullopt;
        layout.sampleRate = static_cast<std::uint32_t>(std::lround(format.sampleRate));
    }
    if (format.bitsPerSample != 0) layout.bitsPerSample = format.bitsPerSample;
    layout.bytesPerSample =
        format.bytesPerSample != 0 ? format.bytesPerSample : (layout.bitsPerSample + 7) / 8;
    if (format.channelCount != 0) layout.channelCount = format.channelCount;
    const bool fits = layout.sampleRate > 0 && layout.bytesPerSample >= 1 && layout.bytesPerSample <= 4 &&
                      layout.bitsPerSample <= layout.bytesPerSample * 8 &&
                      layout.channelCount <= mostChannels;
    if (!fits) return std::nullopt;
    return layout;
}

std::uint32_t SoundLayout::mostSamplesPerUnit(Rational editRate) const {
    if (editRate.numerator <= 0 || editRate.denominator <= 0) return 0;
    const std::uint64_t units = static_cast<std::uint64_t>(editRate.numerator);
    const std::uint64_t samples =
        std::uint64_t{sampleRate} * static_cast<std::uint64_t>(editRate.denominator);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>((samples + units - 1) / units, mostSamples));
}

void SoundLayout::describe(MetadataSet& descriptor) const {
    descriptor.set(Property::AudioSamplingRate, Rational{static_cast<std::int32_t>(sampleRate), 1})
        .set(Property::Locked, 1)
        .set(Property::ChannelCount, channelCount)
        .set(Property::QuantizationBits, bitsPerSample);
}

PCMTrack::PCMTrack(const SoundLayout& layout, const Context& context, Mapping mapping)
    : layout_(layout), context_(context), mapping_(mapping), silence_(constantBytes()) {}

std::optional<UnitFacts> PCMTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                       std::string& why) {
    if (sample.empty() || sample.size() % layout_.blockAlign() != 0) {
        why = "its bytes are not whole samples of all channels";
        return std::nullopt;
    }
    const std::size_t count = sample.size() / layout_.blockAlign();
    if (units_ < static_cast<std::int64_t>(firstCounts_.size()))
        firstCounts_[static_cast<std::size_t>(units_)] =
            static_cast<std::uint32_t>(std::min<std::size_t>(count, UINT32_MAX));
    return UnitFacts{units_++, 0x80, 0};
}

std::optional<Rational> PCMTrack::exactEditRate() const {
    constexpr Rational film{24, 1}, pulledDown{24000, 1001};
    const bool isPulledDown =
        units_ > 0 && context_.editRate == film &&
        std::uint64_t{firstCounts_[0]} * 24000 == std::uint64_t{layout_.sampleRate} * 1001;
    return isPulledDown ? std::optional(pulledDown) : std::nullopt;
}

void PCMTrack::setEditRate(Rational editRate) {
    context_.editRate = editRate;
    silence_.assign(constantBytes(), 0);
}

UL PCMTrack::dataDefinition() const {
    return labels::soundDefinition;
}

UL PCMTrack::container() const {
    return mapping_ == Mapping::Wave ? labels::waveFrameWrapped : labels::aes3FrameWrapped;
}

std::uint32_t PCMTrack::constantBytes() const {
    return layout_.mostSamplesPerUnit(context_.editRate) * layout_.blockAlign();
}

std::optional<std::uint8_t> PCMTrack::sequenceOffset() const {
    if (context_.editRate != Rational{30000, 1001} || layout_.sampleRate != 48000 || units_ < 5)
        return std::nullopt;
    for (std::uint8_t offset = 0; offset < 5; ++offset) {
        std::array<std::uint32_t, 5> rotated = cadence2997;
        std::rotate(rotated.begin(), rotated.begin() + offset, rotated.end());
        if (rotated == firstCounts_) return offset;
    }
    return std::nullopt;
}

MetadataSet& PCMTrack::describe(HeaderMetadata& metadata) const {
    MetadataSet& descriptor =
        metadata.add(mapping_ == Mapping::Wave ? SetKind::WaveAudioDescriptor : SetKind::AES3AudioDescriptor);
    descriptor.set(Property::SampleRate, context_.editRate).set(Property::EssenceContainer, container());
    layout_.describe(descriptor);
    descriptor.set(Property::BlockAlign, layout_.blockAlign())
        .set(Property::AvgBps, std::int64_t{layout_.sampleRate} * layout_.blockAlign());
    if (const auto offset = sequenceOffset()) descriptor.set(Property::SequenceOffset, *offset);
    return descriptor;
}

}  // namespace zenquor::mxf::detail
