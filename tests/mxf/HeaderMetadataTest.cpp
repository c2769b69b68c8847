// Sets of properties in memory and in the file: every type there and back, and reading what is odd or broken.
#include "zenquor/mxf/detail/HeaderMetadata.h"

#include <gtest/gtest.h>

#include "Hex.h"

namespace zenquor::mxf::detail {
namespace {

using test::bytesOf;
using test::hexOf;

const std::string primerKey = "060e2b34020501010d01020101050100";
const std::string trackKey = "060e2b34025301010d01010101013b00";
const std::string instanceLabel = "060e2b34010101010101150200000000";
const std::string trackIDLabel = "060e2b34010101020107010100000000";
const std::string trackNumberLabel = "060e2b34010101020104010300000000";
const std::string uid = "00112233445566778899aabbccddeeff";

HeaderMetadata readHex(const std::string& hex, std::vector<std::string>* faults = nullptr) {
    std::vector<std::string> told;
    HeaderMetadata metadata = HeaderMetadata::read(bytesOf(hex), told);
    if (faults)
        *faults = told;
    else
        EXPECT_TRUE(told.empty()) << told.front();
    return metadata;
}

/// A value of the property's type that differs from property to property.
void give(MetadataSet& set, const PropertyRow& row, const MetadataSet& other) {
    const auto seed = static_cast<std::int32_t>(row.property) + 1;
    const UL label = ul(0x060E2B34, 0x04010101, 0x01020304, static_cast<std::uint32_t>(seed));
    const std::int32_t numbers[] = {seed, 7, 65535};
    const UL labels[] = {label, UL{}};
    const MetadataSet* sets[] = {&other, &set};
    const std::uint8_t raw[] = {static_cast<std::uint8_t>(seed), 0, 255};
    switch (row.type) {
        case PropertyType::U8:
        case PropertyType::I8:
            set.set(row.property, seed & 0x7F);
            break;
        case PropertyType::U16:
        case PropertyType::U32:
        case PropertyType::U64:
            set.set(row.property, 65535 - seed);
            break;
        case PropertyType::I16:
        case PropertyType::I32:
        case PropertyType::I64:
            set.set(row.property, -seed);
            break;
        case PropertyType::Bool:
            set.set(row.property, 1);
            break;
        case PropertyType::Ratio:
            set.set(row.property, Rational{30000, -seed});
            break;
        case PropertyType::Label:
            set.set(row.property, label);
            break;
        case PropertyType::Identifier:
            set.setUUID(row.property, label.bytes);
            break;
        case PropertyType::PackageIdentifier:
            set.set(row.property, UMID{0x06, 0x0A, static_cast<std::uint8_t>(seed)});
            break;
        case PropertyType::Timestamp:
            set.setTime(row.property, 1795255200123);
            break;
        case PropertyType::ProductVersion:
            set.setVersion(row.property, 1, 2, 3);
            break;
        case PropertyType::String:
            set.setText(row.property, "Zürich \xF0\x9F\x8E\xAC");
            break;
        case PropertyType::WeakReference:
        case PropertyType::StrongReference:
            set.set(row.property, other);
            break;
        case PropertyType::StrongReferenceArray:
            set.set(row.property, sets);
            break;
        case PropertyType::LabelBatch:
            set.set(row.property, labels);
            break;
        case PropertyType::U32Batch:
        case PropertyType::I32Array:
        case PropertyType::U16Array:
            set.setIntegers(row.property, numbers);
            break;
        case PropertyType::Bytes:
            set.setBytes(row.property, raw);
            break;
    }
}

TEST(HeaderMetadata, EveryPropertyGoesThereAndBack) {
    HeaderMetadata metadata;
    const MetadataSet& other = metadata.add(SetKind::Preface);
    for (const SetRow& row : setRows()) metadata.add(row.kind);
    for (const PropertyRow& row : propertyRows()) {
        if (row.property == Property::InstanceUID) continue;
        for (MetadataSet& set : metadata.sets()) {
            if (isKindOf(set.kind(), row.set)) give(set, row, other);
        }
    }
    ByteSink out;
    metadata.write(out);
    std::vector<std::string> faults;
    const HeaderMetadata again = HeaderMetadata::read(out.bytes(), faults);
    EXPECT_TRUE(faults.empty());
    ASSERT_EQ(again.sets().size(), metadata.sets().size());
    for (const MetadataSet& set : metadata.sets()) {
        const MetadataSet* found = again.find(set.instance());
        ASSERT_NE(found, nullptr) << rowOf(set.kind()).name;
        EXPECT_EQ(found->kind(), set.kind());
        EXPECT_EQ(found->values(), set.values()) << rowOf(set.kind()).name;
    }
    ByteSink twice;
    again.write(twice);
    EXPECT_EQ(twice.bytes(), out.bytes());
}

TEST(HeaderMetadata, ValuesLieInTheFileAsTheirTypesSay) {
    HeaderMetadata metadata;
    MetadataSet& preface = metadata.add(SetKind::Preface);
    MetadataSet& picture = metadata.add(SetKind::MPEGVideoDescriptor);
    const std::int32_t lines[] = {21, -584};
    picture.set(Property::PaddingBits, -2)
        .set(Property::AspectRatio, Rational{16, 9})
        .setIntegers(Property::VideoLineMap, lines)
        .set(Property::LowDelay, 1);
    preface.setTime(Property::LastModifiedDate, 1795255200123)
        .set(Property::DMSchemes, std::span<const UL>())
        .set(Property::Version, 0x10103);
    const std::pair<std::string, const char*> cases[] = {
        {hexOf(picture.bytes(Property::PaddingBits)), "fffe"},
        {hexOf(picture.bytes(Property::AspectRatio)), "0000001000000009"},
        {hexOf(picture.bytes(Property::VideoLineMap)), "000000020000000400000015fffffdb8"},
        {hexOf(picture.bytes(Property::LowDelay)), "01"},
        {hexOf(preface.bytes(Property::DMSchemes)), "0000000000000010"},
        {hexOf(preface.bytes(Property::Version)), "0103"},
        {hexOf(preface.bytes(Property::LastModifiedDate)), "07ea0b150a00001e"},
        {*preface.time(Property::LastModifiedDate), "2026-11-21 10:00:00.120"},
    };
    for (const auto& [value, expected] : cases) EXPECT_EQ(value, expected);
    EXPECT_EQ(picture.integers(Property::VideoLineMap), (std::vector<std::int64_t>{21, -584}));
    EXPECT_EQ(picture.integer(Property::PaddingBits), -2);
    EXPECT_FALSE(picture.integer(Property::StoredWidth));
    EXPECT_FALSE(preface.setBytes(Property::Version, bytesOf("01")).integer(Property::Version));
    EXPECT_FALSE(preface.setBytes(Property::LastModifiedDate, bytesOf("0000000000000000"))
                     .time(Property::LastModifiedDate));
}

TEST(HeaderMetadata, ValuesBeyondAPropertysLengthAreCutWhereThatMakesSense) {
    MetadataSet set(SetKind::MaterialPackage, UUID{1});
    std::string text(65533, 'x');
    text.replace(32766, 1, "\xF0\x9F\x8E\xAC");  // its two halves stand on both sides of the limit
    set.setText(Property::Name, text);
    EXPECT_EQ(set.bytes(Property::Name).size(), 65532u);
    const std::vector<const MetadataSet*> many(5000, &set);
    set.set(Property::Tracks, many);
    EXPECT_EQ(set.references(Property::Tracks).size(), 4095u);
    set.setBytes(Property::UserComments, std::vector<std::uint8_t>(65536));
    EXPECT_FALSE(set.has(Property::UserComments));
}

TEST(HeaderMetadata, ThePrimerDecidesWhatATagMeansAndDynamicTagsCountDown) {
    // The tags of track number and track ID are exchanged, and one is dynamic.
    const HeaderMetadata metadata =
        readHex(primerKey +
                "8300003e"
                "00000003"
                "00000012"
                "3c0a" +
                instanceLabel + "4801" + trackNumberLabel + "fffe" + trackIDLabel + trackKey +
                "24"
                "4801"
                "0004"
                "15010500"
                "fffe"
                "0004"
                "000003e9"
                "3c0a"
                "0010" +
                uid);
    ASSERT_EQ(metadata.sets().size(), 1u);
    EXPECT_EQ(metadata.sets()[0].integer(Property::TrackNumber), 0x15010500);
    EXPECT_EQ(metadata.sets()[0].integer(Property::TrackID), 1001);
    EXPECT_EQ(hexOf(metadata.sets()[0].instance()), uid);

    HeaderMetadata own;
    own.add(SetKind::Preface).set(Property::IsRIPPresent, 1);
    own.add(SetKind::MPEGVideoDescriptor).set(Property::MaxGOP, 12);
    ByteSink out;
    own.write(out);
    EXPECT_NE(hexOf(out.bytes()).find("ffff060e2b340101010e0404050300000000"), std::string::npos);
    EXPECT_NE(hexOf(out.bytes()).find("fffe060e2b34010101050401060201080000"), std::string::npos);
}

TEST(HeaderMetadata, OddFormsAreRead) {
    const std::string primer = primerKey +
                               "82002c"
                               "00000002"
                               "00000012"
                               "3c0a" +
                               instanceLabel + "4801" + trackIDLabel;
    const std::string berTrack = "060e2b34021301010d01010101013b00";
    const std::string fill =
        "060e2b34010101010301021001000000"
        "820002"
        "ffff";
    const std::string dark =
        "060e2b34025301010d01010101017f7f"
        "06"
        "3c0a00020000";
    // Fill and an unknown set in between, a dark property, an unknown dynamic tag, lengths in BER form; the second of
    // two sets with one identifier counts.
    std::vector<std::string> faults;
    const HeaderMetadata metadata = readHex(fill + primer + dark + trackKey +
                                                "1c"
                                                "3c0a0010" +
                                                uid + "480100040000000a" + fill + berTrack +
                                                "26"
                                                "3c0a8110" +
                                                uid +
                                                "480183000004"
                                                "00000014"
                                                "8000"
                                                "05"
                                                "0102030405",
                                            &faults);
    ASSERT_EQ(metadata.sets().size(), 1u);
    EXPECT_EQ(metadata.sets()[0].integer(Property::TrackID), 20);
    EXPECT_EQ(faults.size(), 1u);  // 8000 is not listed
}

TEST(HeaderMetadata, WhatIsBrokenIsToldAndTheRestIsRead) {
    const std::string primer = primerKey +
                               "8300002c"
                               "00000002"
                               "00000012"
                               "3c0a" +
                               instanceLabel + "4801" + trackIDLabel;
    const std::string track = trackKey +
                              "1c"
                              "3c0a0010" +
                              uid + "480100040000000a";
    const struct {
        const char* what;
        std::string hex;
        std::size_t sets;
    } cases[] = {
        {"no primer", track, 1},
        {"entries of a primer that are too large",
         primerKey +
             "08"
             "00000002"
             "00000013" +
             track,
         1},
        {"a primer with a count beyond its end",
         primerKey +
             "1a"
             "ffffffff"
             "00000012"
             "3c0a" +
             instanceLabel + track,
         1},
        {"no identifier",
         primer + trackKey +
             "08"
             "480100040000000a",
         1},
        {"a property past the end of its set",
         primer + trackKey +
             "1c"
             "3c0a0010" +
             uid + "480100050000000a",
         1},
        {"half a tag",
         primer + trackKey +
             "15"
             "3c0a0010" +
             uid + "48",
         1},
        {"a set past the end",
         primer + track + trackKey +
             "83ffffff"
             "3c0a",
         1},
        {"zeros", primer + track + "0000000000000000", 1},
        {"tags of one byte",
         primer +
             "060e2b34020301010d01010101013b00"
             "03"
             "010101" +
             track,
         1},
    };
    for (const auto& row : cases) {
        std::vector<std::string> faults;
        EXPECT_EQ(readHex(row.hex, &faults).sets().size(), row.sets) << row.what;
        EXPECT_FALSE(faults.empty()) << row.what;
    }
}

}  // namespace
}  // namespace zenquor::mxf::detail
