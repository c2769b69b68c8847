// MPEG-2 pictures on their way into a file: order, access points, descriptors. Sequence headers are those of
// libavcodec.

#include "EssenceRig.h"

namespace zenquor::mxf::test {
namespace {

// 422P@ML header of 1920 x 1080 at 50 Mbit/s, 16:9, interlaced, colours 1/1/1.
const std::string sequence422 = "000001b3780438337a122578 000001b5185400010200 000001b52b0101011e0221c0";
const std::string sequence422HL = "000001b3780438337a122578 000001b5182400010200";
const std::string sequence420 = "000001b35a04382455732200 000001b5144200010100";   // 1440 x 1080, MP@HL
const std::string sequence720p = "000001b35002d036ffffe458 000001b5146a00010000";  // progressive, MP@H14
const std::string sequence576 = "000001b32d024013ffffe458 000001b5148200010000";   // square samples, MP@ML
const std::string sequenceD10 = "000001b32d0260337a1223d8 000001b5185400010080";   // 720 x 608, 16:9
const std::string sequenceD10of525 = "000001b32d0200237a1223d8 000001b5185400010080";  // 720 x 512, 4:3
const std::string frameCoding = "000001b58ffff3980000";  // interlaced frame picture, top field first
const std::string slice = "0000010113f87d";
const std::string closedGroup = "000001b800080040";
const std::string openGroup = "000001b800080000";

Bytes pictureHeader(unsigned temporalReference, char type) {
    const unsigned code = type == 'I' ? 1 : type == 'P' ? 2 : 3;
    return join({bytesOf("00000100"),
                 BitWriter().bits(temporalReference, 10).bits(code, 3).bits(0xFFFF, 16).finish()});
}

Bytes picture(unsigned temporalReference, char type, const std::string& front = "") {
    return join({bytesOf(front), pictureHeader(temporalReference, type), bytesOf(frameCoding + slice)});
}

TEST(MPEG2Essence, AnOpenGroupIsOrderedByItsTemporalReferences) {
    EssenceRig rig(codec::mpeg2Video, wrapping::xdcam);
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422 + closedGroup), picture(3, 'P'), picture(1, 'B'),
                         picture(2, 'B'), picture(6, 'P'), picture(4, 'B'), picture(5, 'B'),
                         picture(2, 'I', sequence422 + openGroup), picture(0, 'B'), picture(1, 'B'),
                         picture(5, 'P'), picture(3, 'B'), picture(4, 'B')}),
              "0:c0:0 3:22:-1 1:33:-2 2:33:-3 6:22:-4 4:33:-5 5:33:-6 "
              "9:40:0 7:33:-8 8:33:-9 12:22:-3 10:33:-4 11:33:-5");
    EXPECT_TRUE(rig.track->isReordered());
    EXPECT_EQ(rig.track->constantBytes(), 0u);
    const Described said(*rig.track);
    EXPECT_EQ(said[Property::MaxGOP], 7);
    EXPECT_EQ(said[Property::MaxBPictureCount], 2);
    EXPECT_EQ(said[Property::ConstantBFrames], 1);
    EXPECT_EQ(said[Property::ClosedGOP], 0);
    EXPECT_EQ(said[Property::IdenticalGOP], 1);  // no second group is whole yet
}

TEST(MPEG2Essence, LeadingPicturesOfAClosedGroupNeedTheirOwnGroupOnly) {
    EssenceRig rig(codec::mpeg2Video);
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422 + closedGroup), picture(1, 'P'),
                         picture(2, 'I', sequence422 + closedGroup), picture(0, 'B'), picture(1, 'B'),
                         picture(3, 'P'), picture(0, 'I', closedGroup)}),
              "0:c0:0 1:22:-1 4:c0:0 2:13:-1 3:13:-2 5:22:-3 6:80:0");
    const Described said(*rig.track);
    EXPECT_EQ(said[Property::ClosedGOP], 1);
    EXPECT_EQ(said[Property::IdenticalGOP], 0);
    EXPECT_EQ(said[Property::ConstantBFrames], 0);  // two behind one I, none behind a P
}

TEST(MPEG2Essence, LostLeadingPicturesLeaveTheOrderBehindThemTrue) {
    EssenceRig rig(codec::mpeg2Video);
    EXPECT_EQ(rig.facts({picture(2, 'I', sequence422 + openGroup), picture(5, 'P'), picture(3, 'B'),
                         picture(4, 'B'), picture(2, 'I', sequence422 + openGroup), picture(0, 'B'),
                         picture(1, 'B')}),
              "2:40:0 5:22:-1 3:33:-2 4:33:-3 8:40:0 6:33:-5 7:33:-6");
}

TEST(MPEG2Essence, WithoutGroupHeadersTheReferencesRunOnModulo1024) {
    EssenceRig rig(codec::mpeg2Video);
    for (unsigned n = 0; n < 3000; ++n) {
        const auto facts = rig.add(picture(n % 1024, n == 0 ? 'I' : 'P', n == 0 ? sequence422 : ""));
        ASSERT_TRUE(facts);
        ASSERT_EQ(facts->displayPosition, n);
        ASSERT_EQ(facts->keyFrameOffset, -static_cast<std::int32_t>(n));
    }
}

TEST(MPEG2Essence, AnIPictureThatCountsAgainStartsAGroupWithoutAHeader) {
    EssenceRig rig(codec::mpeg2Video);
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422), picture(3, 'P'), picture(1, 'B'), picture(2, 'B'),
                         picture(2, 'I', sequence422), picture(0, 'B'), picture(1, 'B'), picture(3, 'P')}),
              "0:c0:0 3:22:-1 1:33:-2 2:33:-3 6:40:0 4:33:-5 5:33:-6 7:22:-3");
}

TEST(MPEG2Essence, NoTwoPicturesGetOnePlaceWhateverTheReferencesSay) {
    EssenceRig rig(codec::mpeg2Video);
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422), picture(0, 'P'), picture(900, 'P'), picture(0, 'B')}),
              "0:c0:0 1:22:-1 2:22:-2 3:33:-3");
}

TEST(MPEG2Essence, OfTwoFieldPicturesTheFirstTellsTypeAndOrder) {
    EssenceRig rig(codec::mpeg2Video);
    const std::string bottomField = "000001b58ffff2180000", topField = "000001b58ffff1180000";
    const auto pair = [&](unsigned reference, char first, char second, const std::string& front) {
        return join({bytesOf(front), pictureHeader(reference, first), bytesOf(bottomField + slice),
                     pictureHeader(reference, second), bytesOf(topField + slice)});
    };
    EXPECT_EQ(rig.facts({pair(0, 'I', 'P', sequence422 + closedGroup), pair(2, 'P', 'P', ""),
                         pair(1, 'B', 'B', "")}),
              "0:c0:0 2:22:-1 1:33:-2");
    EXPECT_EQ(Described(*rig.track)[Property::FieldDominance], 2);
}

TEST(MPEG2Essence, TheSequenceHeaderDescribesThePicture) {
    struct Row {
        std::string sequence, raster, aspect, components, coding, color;
        std::int64_t profile, bitRate, content, standard;
    };
    const std::string hd709 = "03030000 01020000 02020000";
    const Row rows[] = {
        {sequence422, "1920x544 shown 1920x540 layout 1 lines 21,584", "16:9", "8 2/1 0",
         "060e2b34.04010103.04010202.01020300", hd709, 0x85, 50'000'000, 2, 4},
        {sequence422HL, "1920x544 shown 1920x540 layout 1 lines 21,584", "16:9", "8 2/1 0",
         "060e2b34.04010103.04010202.01040300", hd709, 0x82, 50'000'000, 2, 4},
        // High profile: no label tells it, that of 4:2:2 comes nearest.
        {"000001b3780438337a122578 000001b5114400010200", "1920x544 shown 1920x540 layout 1 lines 21,584",
         "16:9", "8 2/1 0", "060e2b34.04010103.04010202.01040300", hd709, 0x14, 50'000'000, 2, 4},
        {sequence420, "1440x544 shown 1440x540 layout 1 lines 21,584", "4:3", "8 2/2 6",
         "060e2b34.04010103.04010202.01030300", hd709, 0x44, 35'000'000, 2, 4},
        {sequence720p, "1280x720 shown 1280x720 layout 0 lines 26,0", "16:9", "8 2/2 6",
         "060e2b34.04010108.04010202.01050300", hd709, 0x46, 104'857'200, 1, 5},
        {sequence576, "720x288 shown 720x288 layout 1 lines 23,336", "5:4", "8 2/2 6",
         "060e2b34.04010103.04010202.01011100", "03020000 01020000 02010000", 0x48, 104'857'200, 2, 1},
    };
    for (const Row& row : rows) {
        EssenceRig rig(codec::mpeg2Video);
        rig.format.width = 1440;  // what a host says counts less
        rig.format.height = 486;
        ASSERT_TRUE(rig.add(picture(0, 'I', row.sequence + closedGroup))) << row.sequence;
        const Described said(*rig.track);
        EXPECT_EQ(said.set->kind(), SetKind::MPEGVideoDescriptor);
        EXPECT_EQ(said.raster(), row.raster);
        EXPECT_EQ(said.aspect(), row.aspect) << row.sequence;
        EXPECT_EQ(said.components(), row.components) << row.sequence;
        EXPECT_EQ(said.coding(), row.coding);
        EXPECT_EQ(said.color(), row.color) << row.sequence;
        EXPECT_EQ(said.container(), "060e2b34.04010102.0d010301.02046001");
        EXPECT_EQ(said[Property::ProfileAndLevel], row.profile);
        EXPECT_EQ(said[Property::BitRate], row.bitRate);
        EXPECT_EQ(said[Property::CodedContentType], row.content) << row.sequence;
        EXPECT_EQ(said[Property::SignalStandard], row.standard);
        EXPECT_EQ(said[Property::LowDelay], 0);
        EXPECT_EQ(said[Property::WhiteReflevel], 235);
        EXPECT_EQ(said[Property::ColorRange], 225);
    }
}

TEST(MPEG2Essence, TheFormatsAspectRatioCountsAboveTheEssenceAndItsSizeOnlyWithoutAny) {
    EssenceRig rig(codec::mpeg2Video);
    rig.format.aspectX = 4;
    rig.format.aspectY = 3;
    rig.format.width = 720;
    rig.format.height = 480;
    rig.format.isInterlaced = true;
    ASSERT_TRUE(rig.add(picture(0, 'I')));
    EXPECT_FALSE(Described(*rig.track).set->has(Property::MaxGOP));  // no group is whole yet
    EXPECT_EQ(Described(*rig.track).raster(), "720x240 shown 720x240 layout 1 lines 20,283");
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422)}), "1:c0:0");
    EXPECT_EQ(Described(*rig.track).raster(), "1920x544 shown 1920x540 layout 1 lines 21,584");
    EXPECT_EQ(Described(*rig.track).aspect(), "4:3");
}

TEST(MPEG2Essence, ASecondRasterIsTold) {
    EssenceRig rig(codec::mpeg2Video);
    rig.facts({picture(0, 'I', sequence422 + closedGroup), picture(0, 'I', sequence422HL + closedGroup)});
    EXPECT_EQ(Described(*rig.track)[Property::SingleSequence], 1);
    rig.facts({picture(0, 'I', sequence420 + closedGroup)});
    EXPECT_EQ(Described(*rig.track)[Property::SingleSequence], 0);
    EXPECT_EQ(Described(*rig.track)[Property::StoredWidth], 1920);
}

TEST(MPEG2Essence, StreamsOfIPicturesAloneAreLabelledSo) {
    EssenceRig rig(codec::mpeg2Video);
    rig.facts({picture(0, 'I', sequence422HL + closedGroup), picture(0, 'I', sequence422HL + closedGroup)});
    EXPECT_EQ(Described(*rig.track).coding(), "060e2b34.04010103.04010202.01040200");
    EXPECT_EQ(Described(*rig.track)[Property::MaxGOP], 1);
    rig.facts({picture(1, 'P')});
    EXPECT_EQ(Described(*rig.track).coding(), "060e2b34.04010103.04010202.01040300");
}

TEST(MPEG2Essence, WhatIsNoPictureIsRefusedWithASentence) {
    EssenceRig rig(codec::mpeg2Video);
    EXPECT_FALSE(rig.add({}));
    EXPECT_EQ(rig.why, "it holds no MPEG-2 picture header");
    EXPECT_FALSE(rig.add(bytesOf(sequence422 + closedGroup)));
    EXPECT_EQ(rig.why, "it holds no MPEG-2 picture header");
    EXPECT_FALSE(rig.add(pictureHeader(0, 'I')));
    EXPECT_EQ(rig.why, "its MPEG-2 picture is cut off or of an unknown type");
    EXPECT_FALSE(
        rig.add(bytesOf("00000100 0027fff8" + slice)));  // a picture of DC coefficients, which MPEG-2 has not
    EXPECT_EQ(rig.why, "its MPEG-2 picture is cut off or of an unknown type");
    EXPECT_EQ(rig.facts({picture(0, 'I', sequence422)}), "0:c0:0");  // what was refused does not count
}

TEST(D10Essence, RateAndSystemGiveTheLabels) {
    struct Row {
        const std::string& sequence;
        std::size_t bytes;
        Rational rate;
        std::string kind, raster, aspect;
        std::int64_t yOffset;
    };
    const std::string raster625 = "720x304 shown 720x288 layout 1 lines 7,320";
    const std::string raster525 = "720x256 shown 720x243 layout 1 lines 7,270";
    const Row rows[] = {
        {sequenceD10, 250000, {25, 1}, "01", raster625, "16:9", 16},
        {sequenceD10of525, 208540, {30000, 1001}, "02", raster525, "4:3", 13},
        {sequenceD10, 200000, {25, 1}, "03", raster625, "16:9", 16},
        {sequenceD10of525, 166832, {30000, 1001}, "04", raster525, "4:3", 13},
        {sequenceD10, 150000, {25, 1}, "05", raster625, "16:9", 16},
        {sequenceD10of525, 125125, {30000, 1001}, "06", raster525, "4:3", 13},
    };
    for (const Row& row : rows) {
        EssenceRig rig(codec::mpeg2Video, wrapping::d10, row.rate);
        Bytes sample = picture(0, 'I', row.sequence + closedGroup);
        sample.resize(row.bytes);
        EXPECT_EQ(rig.facts({sample, sample}), "0:c0:0 1:c0:0");
        EXPECT_EQ(rig.track->constantBytes(), row.bytes);
        EXPECT_FALSE(rig.track->isReordered());
        EXPECT_EQ(rig.track->itemType(), 0x05);
        EXPECT_EQ(rig.track->elementType(), 0x01);
        const Described said(*rig.track);
        EXPECT_EQ(said.set->kind(), SetKind::CDCIEssenceDescriptor);
        EXPECT_EQ(said.container(), "060e2b34.04010101.0d010301.0201" + row.kind + "01");
        EXPECT_EQ(said.coding(), "060e2b34.04010101.04010202.010201" + row.kind);
        EXPECT_EQ(said.raster(), row.raster);
        EXPECT_EQ(said.aspect(), row.aspect);
        EXPECT_EQ(said[Property::DisplayYOffset], row.yOffset);
        EXPECT_EQ(said[Property::FieldDominance], 1);
    }
}

TEST(D10Essence, PredictedPicturesAreRefused) {
    EssenceRig rig(codec::mpeg2Video, wrapping::d10);
    EXPECT_EQ(rig.facts({picture(0, 'P', sequenceD10)}), "refused");
    EXPECT_EQ(rig.why, "it is no intra picture, as every D-10 picture is");
}

}  // namespace
}  // namespace zenquor::mxf::test
