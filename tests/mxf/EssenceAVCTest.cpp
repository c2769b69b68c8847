// AVC on its way into a file. Literal access units are the first bytes of what libx264 writes, up to the slice
// headers.

#include <functional>
#include "EssenceRig.h"

#include "zenquor/mxf/detail/AVCPictureOrder.h"

namespace zenquor::mxf::test {
namespace {

std::vector<Bytes> all(std::initializer_list<const char*> samples) {
    std::vector<Bytes> list;
    for (const char* sample : samples) list.push_back(bytesOf(sample));
    return list;
}

// 1280 x 720 High 4:2:2, open GOPs of 12.
const char* const openGOPStart =
    "00000001091000000001677a001fb6cd9405005bb011000003000100000300320f1831960000000168ebe3cb22c0000000016588"
    "8400"
    "47dae3985bd757da423e838996cbc51b42";
const char* const openGOPEntry =  // an I picture with a recovery point
    "00000001091000000001677a001fb6cd9405005bb011000003000100000300320f1831960000000168ebe3cb22c0000000010606"
    "01c480"
    "000000014188b305ffd4576d6278ad3e89b4d2c26c1d039397";

TEST(AVCEssence, OpenGroupsStartWithRecoveryPointsThatTheirLeadingPicturesGoBehind) {
    EssenceRig rig(codec::avcLongGOP, wrapping::xavcLongGOP);
    const std::vector<Bytes> samples =
        all({openGOPStart, "00000001093000000001419a226c447fb78364c0fb7247c2cb69235a7a02f3",
             "00000001095000000001019e41790b7ff107ef669ddc46c63d738d7dec5e11",
             "00000001093000000001419a445304472d4e9a97d321b44af5ff7727ffe7b8",
             "00000001095000000001019e636a42dfb6b53e965d33a65fffe6b138ded2bf",
             "00000001093000000001419a661814f11f2d923e384da258638a3d8b667045",
             "00000001095000000001019e856a42dfb6b4aec188cce0c3ffcbc96c34bf1d",
             "00000001093000000001419a881814f11f2744344b0c8bf56f5be4220b55f3",
             "00000001095000000001019ea76a42dfbc5da3b111d0fe4667ff5e0d9f1815",
             "00000001093000000001419aaa1814f11f2dcd2f7bca321b44af423fc1338c",
             "00000001095000000001019ec96a42dfbc604e99f682eee8aee5a778769caf", openGOPEntry,
             "00000001095000000001019eeb442dffb3bfd6721ebffa6f3c489998eb32f8",
             "00000001093000000001419aee7c99444d2c4727fb5568157076b3e8b8a7d5"});
    EXPECT_EQ(rig.facts(samples),
              "0:c4:0 2:22:-1 1:33:-2 4:22:-3 3:33:-4 6:22:-5 5:33:-6 8:22:-7 7:33:-8 10:22:-9 9:33:-10 "
              "12:40:0 11:33:-12 14:22:-2");
    EXPECT_TRUE(rig.track->isReordered());
    const Described said(*rig.track);
    EXPECT_EQ(said.raster(), "1280x720 shown 1280x720 layout 0 lines 26,0");
    EXPECT_EQ(said.components(), "10 2/1 0");
    EXPECT_EQ(said.coding(), "060e2b34.0401010d.04010202.01316001");
    EXPECT_EQ(said.container(), "060e2b34.0401010a.0d010301.02106001");
    EXPECT_EQ(said.aspect(), "16:9");
    EXPECT_EQ(said[Property::WhiteReflevel], 940);
    EXPECT_EQ(said[Property::ColorRange], 897);
    const MetadataSet* sub = said.sub();
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(sub->kind(), SetKind::AVCSubDescriptor);
    const std::pair<Property, std::int64_t> values[] = {
        {Property::AVCDecodingDelay, 2},
        {Property::AVCProfile, 122},
        {Property::AVCProfileConstraint, 0},
        {Property::AVCLevel, 31},
        {Property::AVCCodedContentKind, 1},
        {Property::AVCMaximumRefFrames, 4},
        {Property::AVCMaximumGOPSize, 11},
        {Property::AVCMaximumBPictureCount, 1},
        {Property::AVCClosedGOPIndicator, 0},
        {Property::AVCConstantBPictureFlag, 1},
        {Property::AVCSequenceParameterSetFlag, 0xB0},
        {Property::AVCPictureParameterSetFlag, 0xB0},
    };
    for (const auto& [property, value] : values)
        EXPECT_EQ(sub->integer(property), value) << detail::rowOf(property).name;
}

TEST(AVCEssence, PyramidsOfInterlacedBPicturesAreOrderedByTheirCounts) {
    EssenceRig rig(codec::avcLongGOP, wrapping::xavcLongGOP);
    EXPECT_EQ(rig.facts(all(
                  {"0000000109100000000167640028acd90078044fde0220000003002000000643e2c5b2c00000000168fba3cb2"
                   "2c0000000010601013280000000016588820b0dffccd44633d757db446292a8981d0036",
                   "00000001093000000001060101328000000001419a225e447fb3f539f026abf8681e35a68830c5a5",
                   "00000001095000000001060101328000000001219e415f88efebebc0e5f3850bcc7aff3a3aff597e",
                   "00000001095000000001060101328000000001019e60df4429ffeec4ca18180ccade539d651d0a69",
                   "00000001095000000001060101328000000001019e61dea429ff9085493f89500b578fffee91b0f0",
                   "00000001095000000001060101328000000001419a63dd6b25737f0b04c3757f455b042e179f3271",
                   "00000001095000000001060101328000000001219e82dea513097f8d5974feeb0871efefd14c1edb",
                   "00000001095000000001060101328000000001019ea35ea429ff8e280d05b380c4ccd4e3f59f3473"})),
              "0:c4:0 4:22:-1 2:33:-2 1:33:-3 3:33:-4 7:22:-5 5:33:-6 6:33:-7");
    const Described said(*rig.track);
    EXPECT_EQ(said.raster(), "1920x544 shown 1920x540 layout 1 lines 21,584");
    EXPECT_EQ(said.components(), "8 2/2 6");
    EXPECT_EQ(said[Property::FieldDominance], 2);
    EXPECT_EQ(said.sub()->integer(Property::AVCCodedContentKind), 2);
}

TEST(AVCEssence, UsabilityInformationTellsAspectColourRateAndDelay) {
    struct Row {
        const char* sequence;
        std::string aspect, color;
        std::int64_t delay, maximumBitRate, whiteLevel;
    };
    const Row rows[] = {
        // 704 x 576 with square samples, colours 5/1/5, a decoder model of 8 Mbit/s, two reordered pictures
        {"6764001eacd940b0126c05a828082a00000300020000030064cd0001e848003d09c50600f162d960", "11:9",
         "03020000 01020000 02010000", 2, 8'000'000, 235},
        // 720 x 576 with samples of 64:45, colours not told, nothing reordered
        {"6764001eacd940b4126ffc010000b440000003004000000c83c58b6580", "16:9", "03020000 01020000 02010000",
         2, -1, 235},
    };
    for (const Row& row : rows) {
        EssenceRig rig(codec::avcLongGOP);
        const Bytes unit = join({bytesOf("00000001"), bytesOf(row.sequence),
                                 bytesOf("0000000168ebecb22c000000016588840010ffffff")});
        EXPECT_EQ(rig.facts({unit}), "0:c4:0") << rig.why;
        const Described said(*rig.track);
        EXPECT_EQ(said.aspect(), row.aspect);
        EXPECT_EQ(said.color(), row.color);
        EXPECT_EQ(said[Property::WhiteReflevel], row.whiteLevel);
        EXPECT_EQ(said.sub()->integer(Property::AVCDecodingDelay), row.delay);
        EXPECT_EQ(said.sub()->integer(Property::AVCMaximumBitrate).value_or(-1), row.maximumBitRate);
        EXPECT_FALSE(said.sub()->has(Property::AVCMaximumGOPSize));  // no group is whole yet
    }
}

/// Baseline 352 x 288 with the order counted by @p order, which writes everything from its type on.
Bytes sequenceWith(const std::function<void(BitWriter&)>& order) {
    BitWriter bits;
    bits.bits(66, 8).bits(0x40, 8).bits(30, 8).golomb(0).golomb(0);  // frame numbers of 4 bits
    order(bits);
    bits.golomb(2).bits(0, 1).golomb(21).golomb(17).bits(1, 1).bits(1, 1).bits(0, 2);
    return join({bytesOf("0000000167"), bits.finish()});
}
const Bytes plainParameters =
    join({bytesOf("0000000168"), BitWriter().golomb(0).golomb(0).bits(0, 1).bits(0, 1).golomb(0).finish()});

Bytes sliceOf(char type, std::uint32_t frameNumber, bool isReference, bool isIDR = false,
              unsigned typeOffset = 5, const std::function<void(BitWriter&)>& order = {}) {
    BitWriter bits;
    bits.golomb(0)
        .golomb((type == 'I'   ? 2
                 : type == 'P' ? 0
                               : 1) +
                typeOffset)
        .golomb(0)
        .bits(frameNumber, 4);
    if (isIDR) bits.golomb(0);
    if (order) order(bits);
    const std::uint8_t nal = static_cast<std::uint8_t>((isReference ? 0x40 : 0) | (isIDR ? 5 : 1));
    return join({bytesOf("00000001"), Bytes{nal}, bits.bits(0x155, 12).finish()});
}

TEST(AVCEssence, OrderOfType1FollowsTheCycleOfReferences) {
    EssenceRig rig(codec::avcLongGOP);
    // One reference every four counts; pictures that are no references lie two before.
    const Bytes sequence = sequenceWith([](BitWriter& bits) {
        bits.golomb(1).bits(1, 1).signedGolomb(-2).signedGolomb(1).golomb(1).signedGolomb(4);
    });
    EXPECT_EQ(
        rig.facts({join({sequence, plainParameters, sliceOf('I', 0, true, true)}), sliceOf('P', 1, true),
                   sliceOf('B', 2, false), sliceOf('P', 2, true), sliceOf('B', 3, false),
                   join({sequence, plainParameters, sliceOf('I', 0, true, true)}), sliceOf('P', 1, true)}),
        "0:c4:0 2:22:-1 1:33:-2 4:22:-3 3:33:-4 5:c4:0 7:22:-1");
    EXPECT_TRUE(rig.track->isReordered());
    EXPECT_EQ(Described(*rig.track).coding(), "060e2b34.0401010d.04010202.01311101");  // constrained baseline
}

TEST(AVCEssence, OrderOfType2IsThatOfDecoding) {
    EssenceRig rig(codec::avcLongGOP);
    const Bytes start = join({sequenceWith([](BitWriter& bits) { bits.golomb(2); }), plainParameters,
                              sliceOf('I', 0, true, true)});
    ASSERT_EQ(rig.facts({start}), "0:c4:0");
    std::uint32_t number = 1;
    for (unsigned n = 1; n < 40; ++n) {
        const bool isReference = n % 3 != 0;
        const auto facts = rig.add(sliceOf('P', number % 16, isReference));
        ASSERT_TRUE(facts) << rig.why;
        ASSERT_EQ(facts->displayPosition, n);  // also when the frame number has wrapped
        if (isReference) ++number;
    }
    EXPECT_FALSE(rig.track->isReordered());
    EXPECT_EQ(Described(*rig.track).sub()->integer(Property::AVCDecodingDelay), 0);
}

TEST(AVCEssence, PairsOfFieldPicturesCountAsFrames) {
    BitWriter bits;  // Main, 720 x 576 in fields, order of 6 bits told by its low bits
    bits.bits(77, 8).bits(0, 8).bits(30, 8).golomb(0).golomb(0).golomb(0).golomb(2);
    bits.golomb(2).bits(0, 1).golomb(44).golomb(17).bits(0, 2).bits(1, 1).bits(0, 2);
    const Bytes sets = join({bytesOf("0000000167"), bits.finish(), plainParameters});
    const auto pair = [&](char type, std::uint32_t number, std::uint32_t order, bool isReference,
                          bool isIDR = false) {
        const auto field = [&](bool isBottom) {
            BitWriter slice;
            slice.golomb(0)
                .golomb(type == 'I'   ? 7u
                        : type == 'P' ? 5u
                                      : 6u)
                .golomb(0)
                .bits(number, 4)
                .bits(1, 1);
            slice.bits(isBottom ? 1 : 0, 1);
            if (isIDR) slice.golomb(0);
            slice.bits(order + (isBottom ? 0 : 1), 6);
            const std::uint8_t nal = static_cast<std::uint8_t>((isReference ? 0x40 : 0) | (isIDR ? 5 : 1));
            return join({bytesOf("00000001"), Bytes{nal}, slice.bits(0x155, 12).finish()});
        };
        return join({field(true), field(false)});
    };
    EssenceRig rig(codec::avcLongGOP);
    EXPECT_EQ(rig.facts({join({sets, pair('I', 0, 0, true, true)}), pair('P', 1, 4, true),
                         pair('B', 2, 2, false), pair('P', 2, 8, true), pair('B', 3, 6, false)}),
              "0:c4:0 2:22:-1 1:33:-2 4:22:-3 3:33:-4");
    const Described said(*rig.track);
    EXPECT_EQ(said.raster(), "720x288 shown 720x288 layout 1 lines 23,336");
    EXPECT_EQ(said[Property::FieldDominance], 2);
    EXPECT_EQ(said.sub()->integer(Property::AVCDecodingDelay), 0xFF);  // the sequence does not tell
    EXPECT_EQ(said.coding(), "060e2b34.0401010d.04010202.01312001");
}

TEST(AVCEssence, CroppingIsCountedInSamplesOfTheColours) {
    struct Row {
        std::uint32_t chromaFormat, left, right, top, bottom;
        std::string raster;
    };
    const Row rows[] = {
        {1, 3, 2, 1, 4, "352x288 shown 342x278 layout 0 lines 1,0"},
        {2, 3, 2, 1, 4, "352x288 shown 342x283 layout 0 lines 1,0"},
        {3, 3, 2, 1, 4, "352x288 shown 347x283 layout 0 lines 1,0"},
    };
    for (const Row& row : rows) {
        BitWriter bits;  // High 4:4:4 Predictive
        bits.bits(244, 8).bits(0, 8).bits(30, 8).golomb(0).golomb(row.chromaFormat);
        if (row.chromaFormat == 3) bits.bits(0, 1);
        bits.golomb(0).golomb(0).bits(0, 2).golomb(0).golomb(2).golomb(1).bits(0, 1);
        bits.golomb(21).golomb(17).bits(0b111, 3);
        bits.golomb(row.left).golomb(row.right).golomb(row.top).golomb(row.bottom).bits(0, 1);
        EssenceRig rig(codec::avcLongGOP);
        EXPECT_EQ(rig.facts({join(
                      {bytesOf("0000000167"), bits.finish(), plainParameters, sliceOf('I', 0, true, true)})}),
                  "0:c4:0");
        EXPECT_EQ(Described(*rig.track).raster(), row.raster);
        EXPECT_EQ(Described(*rig.track).coding(), "060e2b34.0401010d.04010202.01317001");
    }
}

TEST(AVCEssence, FullRangeShowsInTheLevels) {
    BitWriter bits;  // Main, 352 x 288, order of decoding, usability information with the range alone
    bits.bits(77, 8)
        .bits(0, 8)
        .bits(30, 8)
        .golomb(0)
        .golomb(0)
        .golomb(2)
        .golomb(2)
        .bits(0, 1)
        .golomb(21)
        .golomb(17);
    bits.bits(0b1101, 4).bits(0b001, 3).bits(5, 3).bits(0b10, 2).bits(0, 6);
    EssenceRig rig(codec::avcLongGOP);
    rig.facts({join({bytesOf("0000000167"), bits.finish(), plainParameters, sliceOf('I', 0, true, true)})});
    const Described said(*rig.track);
    EXPECT_EQ(said[Property::BlackRefLevel], 0);
    EXPECT_EQ(said[Property::WhiteReflevel], 255);
    EXPECT_EQ(said[Property::ColorRange], 256);
}

TEST(AVCEssence, PaddingDoesNotMakeParameterSetsDiffer) {
    const Bytes sequence = sequenceWith([](BitWriter& bits) { bits.golomb(2); });
    const Bytes key = sliceOf('I', 0, true, true);
    for (const bool differ : {false, true}) {
        EssenceRig rig(codec::avcLongGOP);
        Bytes other = sequence;
        if (differ) other[7] ^= 1;  // the level
        rig.facts({join({sequence, plainParameters, key}),
                   join({other, Bytes(100), plainParameters, Bytes(9), key}),
                   join({sequence, plainParameters, key})});
        const Described said(*rig.track);
        const MetadataSet* sub = said.sub();
        EXPECT_EQ(sub->integer(Property::AVCSequenceParameterSetFlag), differ ? 0x30 : 0xB0);
        EXPECT_EQ(sub->integer(Property::AVCPictureParameterSetFlag), 0xB0);
    }
}

TEST(AVCEssence, LowBitsOfTheOrderWrapInBothDirections) {
    detail::AVCSequence sequence;
    sequence.orderLowBits = 4;
    detail::AVCPictureOrder order;
    const auto next = [&](std::uint32_t low, bool isReference, bool isIDR = false) {
        detail::AVCSlice slice;
        slice.orderLow = low;
        slice.isReference = isReference;
        slice.isIDR = isIDR;
        return order.next(slice, sequence).order;
    };
    EXPECT_EQ(next(0, true, true), 0);
    EXPECT_EQ(next(6, true), 6);
    EXPECT_EQ(next(12, true), 12);
    EXPECT_EQ(next(2, true), 18);
    EXPECT_EQ(next(14, false), 14);  // shown before the wrap
    EXPECT_EQ(next(4, false), 20);
    EXPECT_EQ(next(0, true, true), 0);
    EXPECT_EQ(next(12, false), -4);
}

TEST(AVCEssence, APictureIsOfTheTypeOfItsMostDependentSlice) {
    EssenceRig rig(codec::avcLongGOP);
    const Bytes start = join({sequenceWith([](BitWriter& bits) { bits.golomb(2); }), plainParameters,
                              sliceOf('I', 0, true, true)});
    EXPECT_EQ(rig.facts({start, join({sliceOf('I', 1, true, false, 0), sliceOf('P', 1, true, false, 0)}),
                         sliceOf('I', 2, true)}),
              "0:c4:0 1:22:-1 2:00:-2");  // an I picture that is no entry still goes back to one
}

TEST(AVCEssence, RecoveryPointsWithoutDelayAreEntriesAndOthersAreNot) {
    EssenceRig rig(codec::avcLongGOP);
    const Bytes start = join({sequenceWith([](BitWriter& bits) { bits.golomb(2); }), plainParameters,
                              sliceOf('I', 0, true, true)});
    // Supplemental information: type 6, one byte; a user text of 3 bytes stands in front of the second.
    const Bytes atOnce = bytesOf("00000001060601c480"), behindText = bytesOf("0000000106050361626306 01c480");
    const Bytes inThree = bytesOf("000000010606012480"), otherInformation = bytesOf("00000001060101c480");
    EXPECT_EQ(rig.facts({start, sliceOf('P', 1, true), join({atOnce, sliceOf('I', 2, true)}),
                         join({behindText, sliceOf('I', 3, true)}), join({inThree, sliceOf('I', 4, true)}),
                         join({otherInformation, sliceOf('I', 5, true)})}),
              "0:c4:0 1:22:-1 2:80:0 3:80:0 4:00:-1 5:00:-2");
}

TEST(AVCEssence, SlicesBeforeTheirParameterSetsAreRefused) {
    EssenceRig rig(codec::avcLongGOP);
    EXPECT_EQ(rig.facts({sliceOf('P', 1, true), bytesOf("000000010910"), {}}), "refused refused refused");
    EXPECT_EQ(rig.why, "it holds no AVC slice");
    EXPECT_FALSE(rig.add(sliceOf('P', 1, true)));
    EXPECT_EQ(rig.why, "the parameter sets of its slices have not come yet");
    EXPECT_EQ(rig.facts(all({openGOPStart})), "0:c4:0");
}

// Parameter sets of libx264's AVC-Intra classes, and the start of an IDR slice.
const char* const intra100i =
    "677a1029b6d420223319c6632321011198ce331918210224da444acf25224646cadd220c88191b1234ad10608180aa"
    "2417891a141808840a098230441210f01e0113f2e0220000030002000003006508";
const char* const intra100p720 =
    "677a1029b6d4202a331dc762a1084054663b8ec542021025642c89e885e4214b90830695d106469720c8d74308"
    "11c21e4c910f014016ec04400000030040000019210";
const char* const intra50i =
    "676e1028a6d42032330c7118886210191986388c44302102564e30fe6cc60300184f9e6cd02d1864e3605be05a98c32"
    "34e79a61861a730c33c05a044fde1c20000030002000003006508";
const char* const intra200p =
    "677a1032b6d420223319c6632321011198ce331918210256b93d7d7e4fe33f11f19e08b88c5443c0780227e2701100"
    "00030001000003003284";
const char* const intra300 = "677a1033b6cf00f0010fb011000003000100000300328400";

TEST(AVCEssence, IntraClassesAreLabelledByClassAndRaster) {
    struct Row {
        std::int32_t codec;
        Rational rate;
        const char* sequence;
        std::string raster, components, coding;
    };
    const Row rows[] = {
        {codec::avcIntra100,
         {25, 1},
         intra100i,
         "1920x540 shown 1920x540 layout 1 lines 21,584",
         "10 2/1 0",
         "060e2b34.0401010a.04010202.01323102"},
        {codec::avcIntra100,
         {30000, 1001},
         intra100i,
         "1920x540 shown 1920x540 layout 1 lines 21,584",
         "10 2/1 0",
         "060e2b34.0401010a.04010202.01323101"},
        {codec::avcIntra100,
         {50, 1},
         intra100p720,
         "1280x720 shown 1280x720 layout 0 lines 26,0",
         "10 2/1 0",
         "060e2b34.0401010a.04010202.01323109"},
        {codec::avcIntra50,
         {25, 1},
         intra50i,
         "1440x540 shown 1440x540 layout 1 lines 21,584",
         "10 2/2 6",
         "060e2b34.0401010a.04010202.01322102"},
        {codec::avcIntra200,
         {25, 1},
         intra200p,
         "1920x1080 shown 1920x1080 layout 0 lines 42,0",
         "10 2/1 0",
         "060e2b34.0401010d.04010202.01323204"},
        {codec::avcIntra200,
         {24, 1},
         intra200p,
         "1920x1080 shown 1920x1080 layout 0 lines 42,0",
         "10 2/1 0",
         "060e2b34.0401010a.04010202.01323001"},
        {codec::avcIntra480,
         {25, 1},
         intra300,
         "3840x2160 shown 3840x2160 layout 0 lines 1,0",
         "10 2/1 0",
         "060e2b34.0401010a.04010202.01323001"},
    };
    for (const Row& row : rows) {
        EssenceRig rig(row.codec, wrapping::dvAndAVCIntra, row.rate);
        rig.format.width = 1440;
        rig.format.height = 1080;
        rig.format.isInterlaced = true;
        Bytes sample = join({bytesOf("00000001091000000001"), bytesOf(row.sequence),
                             bytesOf("0000000168ce3348d00000000165888 0c20214f6f0aa")});
        sample.resize(1000);
        EXPECT_EQ(rig.facts({sample, sample}), "0:c4:0 1:c4:0") << rig.why;
        EXPECT_EQ(rig.track->constantBytes(), 1000u);
        EXPECT_FALSE(rig.track->isReordered());
        const Described said(*rig.track);
        EXPECT_EQ(said.raster(), row.raster) << row.sequence;
        EXPECT_EQ(said.components(), row.components) << row.sequence;
        EXPECT_EQ(said.coding(), row.coding) << row.sequence;
        EXPECT_EQ(said.aspect(), "16:9") << row.sequence;
        EXPECT_EQ(said.sub()->integer(Property::AVCDecodingDelay), 0);
        EXPECT_EQ(said.sub()->integer(Property::AVCSequenceParameterSetFlag), 0xA0);
        EXPECT_EQ(said.sub()->integer(Property::AVCAverageBitrate),
                  8000 * row.rate.numerator / row.rate.denominator);
    }
}

TEST(AVCEssence, IntraFramesWithoutParameterSetsAreDescribedByTheirClass) {
    EssenceRig rig(codec::avcIntra100, wrapping::dvAndAVCIntra);
    rig.format.width = 1440;
    rig.format.height = 1080;
    rig.format.isInterlaced = true;
    EXPECT_EQ(rig.facts({bytesOf("0000000165 888 0c20214f6f0aa"), bytesOf("0000000161 888 0c20214f6f0aa")}),
              "0:84:0 1:80:0");
    const Described said(*rig.track);
    EXPECT_EQ(said.raster(), "1920x540 shown 1920x540 layout 1 lines 21,584");
    EXPECT_EQ(said.coding(), "060e2b34.0401010a.04010202.01323102");
    EXPECT_EQ(said.components(), "10 2/1 0");
}

TEST(AVCEssence, IntraClassesTakeNoPredictedPictures) {
    EssenceRig rig(codec::avcIntra100, wrapping::xavcIntra);
    EXPECT_EQ(rig.facts({bytesOf(openGOPStart), bytesOf("00000001093000000001419a226c447fb78364c0")}),
              "0:c4:0 refused");
    EXPECT_EQ(rig.why, "it is no intra picture, as every picture of its class is");
}

}  // namespace
}  // namespace zenquor::mxf::test
