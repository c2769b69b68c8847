#pragma once
// Ancillary packets and lines of the vertical blanking, an element per frame (SMPTE ST 436-1).

#include "zenquor/mxf/detail/EssenceTrack.h"

namespace zenquor::mxf::detail {

/// Elements are stored as they come; a frame without packets has an element that says so.
class AncillaryTrack final : public EssenceTrack {
public:
    enum class Content { Packets, Lines };

    AncillaryTrack(const Context& context, Content content) : context_(context), content_(content) {}

    std::optional<UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t flags,
                                 std::string& why) override;
    std::optional<std::span<const std::uint8_t>> emptyElement() const override;
    void setEditRate(Rational editRate) override { context_.editRate = editRate; }
    std::uint8_t itemType() const override { return 0x17; }
    std::uint8_t elementType() const override { return content_ == Content::Packets ? 0x02 : 0x01; }
    UL dataDefinition() const override;
    UL container() const override;
    std::uint32_t constantBytes() const override { return 0; }
    std::string_view trackName() const override;
    MetadataSet& describe(HeaderMetadata& metadata) const override;

private:
    Context context_;
    Content content_;
    std::int64_t units_ = 0;
};

}  // namespace zenquor::mxf::detail
