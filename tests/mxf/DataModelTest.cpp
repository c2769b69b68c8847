// The table of sets and properties, and the names of labels.
#include "zenquor/mxf/detail/DataModel.h"

#include <set>

#include <gtest/gtest.h>

#include "Hex.h"
#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::detail {
namespace {

UL labelOf(std::string_view hex) {
    return UL::read(test::bytesOf(hex).data());
}

TEST(DataModel, EveryPropertyIsFoundByItsLabelWhateverTheVersion) {
    std::set<std::uint16_t> tags;
    for (const PropertyRow& row : propertyRows()) {
        EXPECT_EQ(&rowOf(row.property), &row) << row.name;
        UL label = row.label;
        label[7] = 0x7F;
        ASSERT_EQ(propertyWithLabel(label), &row) << row.name;
        label[15] ^= 1;
        EXPECT_NE(propertyWithLabel(label), &row) << row.name;
        EXPECT_TRUE(row.tag == 0 || tags.insert(row.tag).second) << row.name;
        EXPECT_LT(row.tag, 0x8000) << row.name;
    }
    EXPECT_EQ(propertyWithLabel(UL{}), nullptr);
}

TEST(DataModel, EverySetIsFoundByItsKeyWhateverTheCodingOfLengths) {
    for (const SetRow& row : setRows()) {
        UL key = row.key;
        EXPECT_EQ(setWithKey(key), row.kind) << row.name;
        key[5] = 0x13;
        key[7] = 0x02;
        EXPECT_EQ(setWithKey(key), row.kind) << row.name;
        EXPECT_TRUE(isKindOf(row.kind, row.parent)) << row.name;
    }
    EXPECT_EQ(setWithKey(labelOf("060e2b34 02530101 0d010101 01017f00")), SetKind::Unknown);
    EXPECT_EQ(setWithKey(UL{}), SetKind::Unknown);
}

TEST(DataModel, AKindIsOneOfItsAncestorsAndNoOther) {
    EXPECT_TRUE(isKindOf(SetKind::AES3AudioDescriptor, SetKind::FileDescriptor));
    EXPECT_TRUE(isKindOf(SetKind::TapeDescriptor, SetKind::GenericDescriptor));
    EXPECT_FALSE(isKindOf(SetKind::TapeDescriptor, SetKind::FileDescriptor));
    EXPECT_FALSE(isKindOf(SetKind::GenericDescriptor, SetKind::MultipleDescriptor));
    EXPECT_FALSE(isKindOf(SetKind::Unknown, SetKind::InterchangeObject));
    EXPECT_FALSE(isKindOf(SetKind::Preface, SetKind::Unknown));
}

TEST(Labels, PatternsContainersAndCodingsHaveNamesForPeople) {
    const std::pair<const char*, const char*> patterns[] = {
        {"060e2b34 04010101 0d010201 01010900", "OP1a"},
        {"060e2b34 04010102 0d010201 01020100", "OP1b"},
        {"060e2b34 04010101 0d010201 03030500", "OP3c"},
        {"060e2b34 04010102 0d010201 10020000", "OP-Atom"},
        {"060e2b34 04010101 0d010201 01040000", "060e2b34.04010101.0d010201.01040000"},
    };
    for (const auto& [hex, name] : patterns) EXPECT_EQ(labels::nameOfOperationalPattern(labelOf(hex)), name);

    const struct {
        const char *hex, *essence, *wrapping;
    } containers[] = {
        {"060e2b34 04010102 0d010301 02046101", "MPEG-2 video", "frame"},
        {"060e2b34 0401010a 0d010301 02106002", "AVC", "clip"},
        {"060e2b34 04010101 0d010301 02010101", "D-10 50 Mb/s 625", "frame"},
        {"060e2b34 04010101 0d010301 02024102", "DV-based 25 625", "clip"},
        {"060e2b34 04010101 0d010301 02050229", "uncompressed pictures", "frame"},
        {"060e2b34 04010101 0d010301 0205022a", "uncompressed pictures", "clip"},
        {"060e2b34 04010101 0d010301 02060300", "PCM (AES3)", "frame"},
        {"060e2b34 04010105 0d010301 02060800", "PCM (wave)", "custom"},
        {"060e2b34 04010109 0d010301 020e0000", "ancillary data (436M)", "frame"},
        {"060e2b34 0401010d 0d010301 021c0100", "ProRes", "frame"},
        {"060e2b34 04010103 0d010301 027f0100", "multiple wrappings", ""},
    };
    for (const auto& row : containers) {
        const auto name = labels::nameOfContainer(labelOf(row.hex));
        ASSERT_TRUE(name) << row.hex;
        EXPECT_EQ(name->essence, row.essence) << row.hex;
        EXPECT_EQ(name->wrapping, row.wrapping) << row.hex;
    }
    EXPECT_FALSE(labels::nameOfContainer(labelOf("060e2b34 0401010d 0d010301 02770100")));
    EXPECT_FALSE(labels::nameOfContainer(UL{}));

    const std::pair<const char*, const char*> codings[] = {
        {"060e2b34 04010103 04010202 01040300", "MPEG-2 422P@HL long GOP"},
        {"060e2b34 04010103 04010202 01011000", "MPEG-2 MP@ML intra"},
        {"060e2b34 04010101 04010202 01010000", "MPEG-2 MP@ML"},
        {"060e2b34 04010101 04010202 01020103", "D-10 40 Mb/s 625"},
        {"060e2b34 0401010a 04010202 71010000", "VC-3 CID 1235"},
        {"060e2b34 0401010a 04010202 71280000", "VC-3 CID 1274"},
        {"060e2b34 04010101 0e040201 02040100", "VC-3"},
        {"060e2b34 0401010d 04010202 03060400", "ProRes 422 HQ"},
        {"060e2b34 0401010a 04010202 01323102", "AVC-Intra 100 1080i50"},
        {"060e2b34 0401010d 04010202 01316001", "AVC High 4:2:2"},
        {"060e2b34 0401010a 04010201 01020201", "uncompressed 4:2:2 10 bit (v210)"},
        {"060e2b34 0401010d 04010202 03070400", ""},
    };
    for (const auto& [hex, name] : codings) EXPECT_EQ(labels::nameOfPictureCoding(labelOf(hex)), name) << hex;
}

TEST(Labels, ColoursGoFromTheirNumbersToLabelsAndToNames) {
    using Named = std::string (*)(const UL&);
    using Coded = std::optional<UL> (*)(std::uint32_t);
    const struct {
        Coded label;
        Named name;
        std::uint32_t code;
        const char *hex, *text;
    } cases[] = {
        {labels::primariesForCode, labels::nameOfPrimaries, 1, "060e2b34 04010106 04010101 03030000", "709"},
        {labels::primariesForCode, labels::nameOfPrimaries, 5, "060e2b34 04010106 04010101 03020000",
         "601-625"},
        {labels::primariesForCode, labels::nameOfPrimaries, 9, "060e2b34 0401010d 04010101 03040000", "2020"},
        {labels::transferForCode, labels::nameOfTransfer, 1, "060e2b34 04010101 04010101 01020000", "709"},
        {labels::transferForCode, labels::nameOfTransfer, 18, "060e2b34 0401010d 04010101 010b0000", "HLG"},
        {labels::equationsForCode, labels::nameOfEquations, 6, "060e2b34 04010101 04010101 02010000", "601"},
        {labels::equationsForCode, labels::nameOfEquations, 9, "060e2b34 0401010d 04010101 02060000", "2020"},
    };
    for (const auto& row : cases) {
        const auto label = row.label(row.code);
        ASSERT_TRUE(label) << row.hex;
        EXPECT_EQ(test::hexOf(label->bytes), test::hexOf(test::bytesOf(row.hex)));
        EXPECT_EQ(row.name(*label), row.text);
    }
    for (const Coded coded : {labels::primariesForCode, labels::transferForCode, labels::equationsForCode})
        EXPECT_FALSE(coded(2));
    EXPECT_EQ(labels::nameOfPrimaries(labelOf("060e2b34 0401010d 04010101 037f0000")),
              "060e2b34.0401010d.04010101.037f0000");
}

}  // namespace
}  // namespace zenquor::mxf::detail
