#pragma once
// The data model of header metadata as one table: sets, properties, tags, labels, types (SMPTE ST 377-1, 377-4,
// 381-3, 382, 422).

#include <cstdint>
#include <span>
#include <string_view>

#include "zenquor/mxf/detail/UL.h"

namespace zenquor::mxf::detail {

/// Every set that is written or understood; the value is its place in setRows(). Abstract ones stand in it as
/// parents.
enum class SetKind : std::uint8_t {
    InterchangeObject,
    Preface,
    Identification,
    ContentStorage,
    EssenceContainerData,
    GenericPackage,
    MaterialPackage,
    SourcePackage,
    GenericTrack,
    Track,
    StaticTrack,
    EventTrack,
    StructuralComponent,
    Sequence,
    SourceClip,
    TimecodeComponent,
    DMSegment,
    GenericDescriptor,
    FileDescriptor,
    MultipleDescriptor,
    GenericPictureEssenceDescriptor,
    CDCIEssenceDescriptor,
    RGBAEssenceDescriptor,
    MPEGVideoDescriptor,
    GenericSoundEssenceDescriptor,
    WaveAudioDescriptor,
    AES3AudioDescriptor,
    GenericDataEssenceDescriptor,
    VBIDataDescriptor,
    ANCDataDescriptor,
    SubDescriptor,
    AVCSubDescriptor,
    JPEG2000SubDescriptor,
    JPEGXSSubDescriptor,
    ContainerConstraintsSubDescriptor,
    PhysicalDescriptor,
    TapeDescriptor,
    TaggedValue,
    Unknown  // any other; passed over
};

/// How a property's value lies in the file.
enum class PropertyType : std::uint8_t {
    U8,
    U16,
    U32,
    U64,
    I8,
    I16,
    I32,
    I64,
    Bool,
    Ratio,
    Label,
    Identifier,
    PackageIdentifier,
    Timestamp,
    ProductVersion,
    String,
    WeakReference,
    StrongReference,
    StrongReferenceArray,
    LabelBatch,
    U32Batch,
    I32Array,
    U16Array,
    Bytes
};

/// Every property of every set; the value is its place in propertyRows(). Named after the property.
enum class Property : std::uint16_t {
#define ZENQUOR_MXF_PROPERTY(set, name, tag, type, required, a, b, c, d) name,
#include "zenquor/mxf/detail/Properties.inc"
#undef ZENQUOR_MXF_PROPERTY
};

struct SetRow {
    SetKind kind;
    SetKind parent;  // itself for the root
    std::string_view name;
    UL key;
};

struct PropertyRow {
    Property property;
    SetKind set;  // that it belongs to, and to all that extend it
    std::string_view name;
    std::uint16_t tag;  // 0: dynamic, given by the primer of each file
    PropertyType type;
    bool isRequired;
    UL label;
};

std::span<const SetRow> setRows();
std::span<const PropertyRow> propertyRows();
inline const SetRow& rowOf(SetKind kind) {
    return setRows()[static_cast<std::size_t>(kind)];
}
inline const PropertyRow& rowOf(Property property) {
    return propertyRows()[static_cast<std::size_t>(property)];
}
/// Unknown when no set has the key; byte 5 (the coding of tags and lengths) is not compared.
SetKind setWithKey(const UL& key);
/// Null when no property has the label.
const PropertyRow* propertyWithLabel(const UL& label);
/// Whether @p kind is @p ancestor or extends it.
bool isKindOf(SetKind kind, SetKind ancestor);

}  // namespace zenquor::mxf::detail
