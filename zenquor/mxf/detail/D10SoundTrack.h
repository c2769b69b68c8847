#pragma once
// Sound of the D-10 mapping: one element with eight AES3 channels (SMPTE ST 331, ST 386).

#include <vector>

#include "zenquor/mxf/detail/PCMTrack.h"

namespace zenquor::mxf::detail {

/// Takes interleaved little-endian samples of up to eight channels and stores AES3 words of them.
class D10SoundTrack final : public EssenceTrack {
public:
    static constexpr std::uint32_t mostChannels = 8;

    /// @param layout  of at most eight channels with 16 or 24 bits.
    D10SoundTrack(const SoundLayout& layout, const Context& context);

    void setPicture(const EssenceTrack& picture) override { picture_ = &picture; }
    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::span<const std::uint8_t> stored(std::span<const std::uint8_t> sample) override;
    std::uint8_t itemType() const override { return 0x06; }
    std::uint8_t elementType() const override { return 0x10; }
    UL dataDefinition() const override;
    UL container() const override;
    std::uint32_t constantBytes() const override;
    /// Silence, at the start of the cadence.
    std::optional<std::span<const std::uint8_t>> emptyElement() const override { return silence_; }
    std::string_view trackName() const override { return "Sound"; }
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    /// Writes the element of @p sample into @p element. @param unit  tells the place in the cadence.
    void translate(std::span<const std::uint8_t> sample, std::int64_t unit,
                   std::vector<std::uint8_t>& element) const;

    SoundLayout layout_;
    Context context_;
    const EssenceTrack* picture_ = nullptr;
    std::int64_t units_ = 0;
    std::vector<std::uint8_t> element_;
    std::vector<std::uint8_t> silence_;
};

}  // namespace zenquor::mxf::detail
