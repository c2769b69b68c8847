#include "zenquor/mxf/detail/AncillaryTrack.h"

#include <array>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

constexpr std::array<std::uint8_t, 2> noPackets{};  // a count of 0

}  // namespace

std::optional<UnitFacts> AncillaryTrack::add(std::span<const std::uint8_t> sample, std::uint64_t,
                                             std::string& why) {
    if (sample.size() < noPackets.size()) {
        why = "it is too short for a count of packets";
        return std::nullopt;
    }
    return UnitFacts{units_++, 0x80, 0};
}

std::optional<std::span<const std::uint8_t>> AncillaryTrack::emptyElement() const {
    return noPackets;
}

UL AncillaryTrack::dataDefinition() const {
    return labels::dataDefinition;
}

UL AncillaryTrack::container() const {
    return content_ == Content::Packets ? labels::ancillaryPackets : labels::vbiLines;
}

std::string_view AncillaryTrack::trackName() const {
    return content_ == Content::Packets ? "Ancillary data" : "VBI lines";
}

MetadataSet& AncillaryTrack::describe(HeaderMetadata& metadata) const {
    MetadataSet& descriptor =
        metadata.add(content_ == Content::Packets ? SetKind::ANCDataDescriptor : SetKind::VBIDataDescriptor);
    return descriptor.set(Property::SampleRate, context_.editRate)
        .set(Property::EssenceContainer, container());
}

}  // namespace zenquor::mxf::detail
