#pragma once
// PCM as samples of a wave file or as AES3 data, frame wrapped (SMPTE ST 382).

#include <array>
#include <vector>

#include "zenquor/mxf/detail/EssenceTrack.h"

namespace zenquor::mxf::detail {

/// What a sound's format says once the gaps are filled in.
struct SoundLayout {
    std::uint32_t sampleRate = 48000;
    std::uint32_t bitsPerSample = 16;
    std::uint32_t bytesPerSample = 2;
    std::uint32_t channelCount = 1;

    /// @return nothing when the numbers cannot belong together.
    static std::optional<SoundLayout> fromFormat(const StreamFormat& format);
    std::uint32_t blockAlign() const { return bytesPerSample * channelCount; }
    /// The largest number of samples that one edit unit of the cadence holds.
    std::uint32_t mostSamplesPerUnit(Rational editRate) const;
    /// Rate, channels and bits, as every sound descriptor has them.
    void describe(MetadataSet& descriptor) const;
};

/// Samples of any number of channels, interleaved, little-endian; stored as they come.
class PCMTrack final : public EssenceTrack {
public:
    enum class Mapping { Wave, AES3 };

    PCMTrack(const SoundLayout& layout, const Context& context, Mapping mapping);

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::optional<Rational> exactEditRate() const override;
    void setEditRate(Rational editRate) override;
    std::uint8_t itemType() const override { return 0x16; }
    std::uint8_t elementType() const override { return mapping_ == Mapping::Wave ? 0x01 : 0x03; }
    UL dataDefinition() const override;
    UL container() const override;
    std::uint32_t constantBytes() const override;
    /// Silence.
    std::optional<std::span<const std::uint8_t>> emptyElement() const override { return silence_; }
    std::string_view trackName() const override { return "Sound"; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    /// The place of the first unit in the cadence of five frames at 29.97; nothing at other rates or as long as
    /// that is open.
    std::optional<std::uint8_t> sequenceOffset() const;

    SoundLayout layout_;
    Context context_;
    Mapping mapping_;
    std::int64_t units_ = 0;
    std::array<std::uint32_t, 5> firstCounts_{};  // samples of the first units
    std::vector<std::uint8_t> silence_;
};

}  // namespace zenquor::mxf::detail
