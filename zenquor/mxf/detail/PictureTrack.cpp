#include "zenquor/mxf/detail/PictureTrack.h"

#include <array>

#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {

UL PictureTrack::dataDefinition() const {
    return labels::pictureDefinition;
}

std::int64_t PictureTrack::nominalRate() const {
    const Rational rate = context_.editRate;
    if (rate.numerator <= 0 || rate.denominator <= 0) return 0;
    return (std::int64_t{rate.numerator} + rate.denominator / 2) / rate.denominator;
}

MetadataSet& PictureTrack::addDescriptor(HeaderMetadata& metadata, SetKind kind, const UL& coding,
                                         PictureDescription picture) const {
    picture.fallBackTo(format_);
    MetadataSet& descriptor = metadata.add(kind);
    descriptor.set(Property::SampleRate, context_.editRate)
        .set(Property::EssenceContainer, container())
        .set(Property::PictureEssenceCoding, coding);
    picture.describe(descriptor, format_);
    return descriptor;
}

MetadataSet& PictureTrack::addSubDescriptor(HeaderMetadata& metadata, MetadataSet& descriptor, SetKind kind) {
    MetadataSet& sub = metadata.add(kind);
    const std::array<const MetadataSet*, 1> list{&sub};
    descriptor.set(Property::SubDescriptors, std::span<const MetadataSet* const>(list));
    return sub;
}

}  // namespace zenquor::mxf::detail
