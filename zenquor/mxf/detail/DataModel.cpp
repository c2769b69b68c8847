#include "zenquor/mxf/detail/DataModel.h"

#include <algorithm>
#include <array>

namespace zenquor::mxf::detail {
namespace {

/// Keys of sets differ in their last four bytes only.
constexpr UL setKey(std::uint32_t last) {
    return ul(0x060E2B34, 0x02530101, 0x0D010101, last);
}

constexpr SetRow setTable[] = {
    {SetKind::InterchangeObject, SetKind::InterchangeObject, "InterchangeObject", setKey(0x01010100)},
    {SetKind::Preface, SetKind::InterchangeObject, "Preface", setKey(0x01012F00)},
    {SetKind::Identification, SetKind::InterchangeObject, "Identification", setKey(0x01013000)},
    {SetKind::ContentStorage, SetKind::InterchangeObject, "ContentStorage", setKey(0x01011800)},
    {SetKind::EssenceContainerData, SetKind::InterchangeObject, "EssenceContainerData", setKey(0x01012300)},
    {SetKind::GenericPackage, SetKind::InterchangeObject, "GenericPackage", setKey(0x01013400)},
    {SetKind::MaterialPackage, SetKind::GenericPackage, "MaterialPackage", setKey(0x01013600)},
    {SetKind::SourcePackage, SetKind::GenericPackage, "SourcePackage", setKey(0x01013700)},
    {SetKind::GenericTrack, SetKind::InterchangeObject, "GenericTrack", setKey(0x01013800)},
    {SetKind::Track, SetKind::GenericTrack, "Track", setKey(0x01013B00)},
    {SetKind::StaticTrack, SetKind::GenericTrack, "StaticTrack", setKey(0x01013A00)},
    {SetKind::EventTrack, SetKind::GenericTrack, "EventTrack", setKey(0x01013900)},
    {SetKind::StructuralComponent, SetKind::InterchangeObject, "StructuralComponent", setKey(0x01010200)},
    {SetKind::Sequence, SetKind::StructuralComponent, "Sequence", setKey(0x01010F00)},
    {SetKind::SourceClip, SetKind::StructuralComponent, "SourceClip", setKey(0x01011100)},
    {SetKind::TimecodeComponent, SetKind::StructuralComponent, "TimecodeComponent", setKey(0x01011400)},
    {SetKind::DMSegment, SetKind::StructuralComponent, "DMSegment", setKey(0x01014100)},
    {SetKind::GenericDescriptor, SetKind::InterchangeObject, "GenericDescriptor", setKey(0x01012400)},
    {SetKind::FileDescriptor, SetKind::GenericDescriptor, "FileDescriptor", setKey(0x01012500)},
    {SetKind::MultipleDescriptor, SetKind::FileDescriptor, "MultipleDescriptor", setKey(0x01014400)},
    {SetKind::GenericPictureEssenceDescriptor, SetKind::FileDescriptor, "GenericPictureEssenceDescriptor",
     setKey(0x01012700)},
    {SetKind::CDCIEssenceDescriptor, SetKind::GenericPictureEssenceDescriptor, "CDCIEssenceDescriptor",
     setKey(0x01012800)},
    {SetKind::RGBAEssenceDescriptor, SetKind::GenericPictureEssenceDescriptor, "RGBAEssenceDescriptor",
     setKey(0x01012900)},
    {SetKind::MPEGVideoDescriptor, SetKind::CDCIEssenceDescriptor, "MPEGVideoDescriptor", setKey(0x01015100)},
    {SetKind::GenericSoundEssenceDescriptor, SetKind::FileDescriptor, "GenericSoundEssenceDescriptor",
     setKey(0x01014200)},
    {SetKind::WaveAudioDescriptor, SetKind::GenericSoundEssenceDescriptor, "WaveAudioDescriptor",
     setKey(0x01014800)},
    {SetKind::AES3AudioDescriptor, SetKind::WaveAudioDescriptor, "AES3AudioDescriptor", setKey(0x01014700)},
    {SetKind::GenericDataEssenceDescriptor, SetKind::FileDescriptor, "GenericDataEssenceDescriptor",
     setKey(0x01014300)},
    {SetKind::VBIDataDescriptor, SetKind::GenericDataEssenceDescriptor, "VBIDataDescriptor",
     setKey(0x01015B00)},
    {SetKind::ANCDataDescriptor, SetKind::GenericDataEssenceDescriptor, "ANCDataDescriptor",
     setKey(0x01015C00)},
    {SetKind::SubDescriptor, SetKind::InterchangeObject, "SubDescriptor", setKey(0x01015900)},
    {SetKind::AVCSubDescriptor, SetKind::SubDescriptor, "AVCSubDescriptor", setKey(0x01016E00)},
    {SetKind::JPEG2000SubDescriptor, SetKind::SubDescriptor, "JPEG2000SubDescriptor", setKey(0x01015A00)},
    {SetKind::JPEGXSSubDescriptor, SetKind::SubDescriptor, "JPEGXSSubDescriptor", setKey(0x01018102)},
    {SetKind::ContainerConstraintsSubDescriptor, SetKind::SubDescriptor, "ContainerConstraintsSubDescriptor",
     setKey(0x01016700)},
    {SetKind::PhysicalDescriptor, SetKind::GenericDescriptor, "PhysicalDescriptor", setKey(0x01014900)},
    {SetKind::TapeDescriptor, SetKind::PhysicalDescriptor, "TapeDescriptor", setKey(0x01012E00)},
    {SetKind::TaggedValue, SetKind::InterchangeObject, "TaggedValue", setKey(0x01013F00)},
};

constexpr PropertyRow propertyTable[] = {
#define ZENQUOR_MXF_PROPERTY(set, name, tag, type, required, a, b, c, d) \
    {Property::name, SetKind::set, #name, tag, PropertyType::type, required, ul(a, b, c, d)},
#include "zenquor/mxf/detail/Properties.inc"
#undef ZENQUOR_MXF_PROPERTY
};

constexpr bool setTableIsInOrder() {
    for (std::size_t i = 0; i < std::size(setTable); ++i) {
        if (setTable[i].kind != static_cast<SetKind>(i) || setTable[i].parent > setTable[i].kind)
            return false;
    }
    return true;
}
static_assert(std::size(setTable) == static_cast<std::size_t>(SetKind::Unknown) && setTableIsInOrder());

/// The coding of tags and lengths is no part of what a set is.
UL withoutCoding(UL key) {
    key[5] = 0;
    return key;
}

/// The rows of a table in the order of their labels, as places in it.
template <std::size_t count, typename LabelOf>
std::array<std::uint16_t, count> orderByLabel(LabelOf labelOf) {
    std::array<std::uint16_t, count> order;
    for (std::size_t i = 0; i < count; ++i) order[i] = static_cast<std::uint16_t>(i);
    std::sort(order.begin(), order.end(),
              [&](std::uint16_t a, std::uint16_t b) { return labelOf(a) < labelOf(b); });
    return order;
}

/// The place of @p label, or the number of rows when it stands in none.
template <std::size_t count, typename LabelOf>
std::size_t placeOf(const UL& label, const std::array<std::uint16_t, count>& order, LabelOf labelOf) {
    const auto at =
        std::lower_bound(order.begin(), order.end(), label,
                         [&](std::uint16_t place, const UL& wanted) { return labelOf(place) < wanted; });
    return at != order.end() && labelOf(*at) == label ? *at : count;
}

}  // namespace

std::span<const SetRow> setRows() {
    return setTable;
}

std::span<const PropertyRow> propertyRows() {
    return propertyTable;
}

SetKind setWithKey(const UL& key) {
    const auto labelOf = [](std::size_t i) { return withoutCoding(setTable[i].key); };
    static const auto order = orderByLabel<std::size(setTable)>(labelOf);
    return static_cast<SetKind>(placeOf(withoutCoding(key), order, labelOf));
}

const PropertyRow* propertyWithLabel(const UL& label) {
    const auto labelOf = [](std::size_t i) -> const UL& { return propertyTable[i].label; };
    static const auto order = orderByLabel<std::size(propertyTable)>(labelOf);
    const std::size_t place = placeOf(label, order, labelOf);
    return place == std::size(propertyTable) ? nullptr : &propertyTable[place];
}

bool isKindOf(SetKind kind, SetKind ancestor) {
    if (kind == SetKind::Unknown) return ancestor == SetKind::Unknown;
    if (ancestor == SetKind::Unknown) return false;
    while (kind != ancestor && rowOf(kind).parent != kind) kind = rowOf(kind).parent;
    return kind == ancestor;
}

}  // namespace zenquor::mxf::detail
