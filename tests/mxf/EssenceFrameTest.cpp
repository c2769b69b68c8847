// ProRes, VC-3 and DV frames on their way into a file. Headers are those that libavcodec writes.

#include "EssenceRig.h"

namespace zenquor::mxf::test {
namespace {

struct ProResLook {
    std::string raster = "07800438";  // width and height
    std::string flags = "80";         // chroma format, interlacing
    std::string aspect = "00";        // aspect ratio, rate
    std::string colors = "010101";
    std::string alpha = "00";
    std::optional<std::uint8_t> weight = 0x15;  // the last of the matrices; none: the frame has no matrices
    std::size_t bytes = 400;
};

Bytes proRes(const ProResLook& look) {
    Bytes frame = bytesOf("00000000 69637066 0094 0000 4c617663" + look.raster + look.flags + look.aspect +
                          look.colors + look.alpha + "00" + (look.weight ? "03" : "00"));
    if (look.weight) {
        for (int matrix = 0; matrix < 2; ++matrix) {
            frame.insert(frame.end(), 63, 4);
            frame.push_back(*look.weight);
        }
    } else {
        frame[9] = 20;
    }
    frame.resize(look.bytes);
    for (unsigned i = 0; i < 4; ++i) frame[i] = static_cast<std::uint8_t>(look.bytes >> (24 - 8 * i));
    return frame;
}

EssenceRig proResRig() {
    EssenceRig rig(codec::proRes, wrapping::proRes);
    rig.format.width = 1440;  // a host may say so; the frame knows better
    rig.format.height = 1080;
    rig.format.isInterlaced = true;
    return rig;
}

TEST(ProResEssence, ProfilesAreToldByQuantisationAndWithoutAnyBySize) {
    struct Row {
        ProResLook look;
        std::string profile;
    };
    constexpr std::size_t macroblocks = 120 * 68;
    const auto ofSize = [](std::size_t bytesEach) {
        ProResLook look;
        look.weight = std::nullopt;
        look.bytes = macroblocks * bytesEach;
        return look;
    };
    const Row rows[] = {
        // Last weights of the matrices of libavcodec's two encoders.
        {{.weight = 0x3F}, "01"},
        {{.weight = 0x29}, "02"},
        {{.weight = 0x15}, "03"},
        {{.weight = 0x07}, "04"},
        {{.flags = "c0", .weight = 0x07}, "05"},
        {{.flags = "c0", .weight = 0x02}, "06"},
        // Bytes a macroblock at the rates of the profiles at 29.97: 45, 102, 147, 220, 330, 500 Mbit/s.
        {ofSize(23), "01"},
        {ofSize(52), "02"},
        {ofSize(75), "03"},
        {ofSize(112), "04"},
    };
    for (const Row& row : rows) {
        EssenceRig rig = proResRig();
        EXPECT_EQ(rig.facts({proRes(row.look), proRes(row.look)}), "0:80:0 1:80:0") << rig.why;
        EXPECT_EQ(Described(*rig.track).coding(), "060e2b34.0401010d.04010202.0306" + row.profile + "00");
    }
}

TEST(ProResEssence, TheFrameHeaderDescribesThePicture) {
    struct Row {
        ProResLook look;
        std::string raster, components, aspect, color;
        std::int64_t dominance, alphaDepth;
    };
    const std::string progressive = "1920x1080 shown 1920x1080 layout 0 lines 42,0";
    const std::string interlaced = "1920x540 shown 1920x540 layout 1 lines 21,584";
    const std::string hd709 = "03030000 01020000 02020000";
    const Row rows[] = {
        {{}, progressive, "10 2/1 0", "16:9", hd709, -1, -1},
        {{.flags = "84", .colors = "020202"}, interlaced, "10 2/1 0", "16:9", hd709, 1, -1},
        {{.flags = "88", .aspect = "20"}, interlaced, "10 2/1 0", "4:3", hd709, 2, -1},
        {{.flags = "c0", .aspect = "32", .alpha = "42"}, progressive, "10 1/1 0", "16:9", hd709, -1, 16},
        {{.flags = "c0", .aspect = "10", .alpha = "01"}, progressive, "10 1/1 0", "16:9", hd709, -1, 8},
        {{.raster = "05a00438", .aspect = "10"},
         "1440x1080 shown 1440x1080 layout 0 lines 42,0",
         "10 2/1 0",
         "4:3",
         hd709,
         -1,
         -1},
        {{.raster = "05a00438"},
         "1440x1080 shown 1440x1080 layout 0 lines 42,0",
         "10 2/1 0",
         "16:9",
         hd709,
         -1,
         -1},
        {{.colors = "091009"}, progressive, "10 2/1 0", "16:9", "03040000 010a0000 02060000", -1, -1},
        {{.colors = "091209"}, progressive, "10 2/1 0", "16:9", "03040000 010b0000 02060000", -1, -1},
    };
    for (const Row& row : rows) {
        EssenceRig rig = proResRig();
        ASSERT_TRUE(rig.add(proRes(row.look))) << rig.why;
        const Described said(*rig.track);
        const std::string which = row.look.flags + row.look.aspect + row.look.colors + row.look.alpha;
        EXPECT_EQ(said.raster(), row.raster) << which;
        EXPECT_EQ(said.components(), row.components) << which;
        EXPECT_EQ(said.aspect(), row.aspect) << which;
        EXPECT_EQ(said.color(), row.color) << which;
        EXPECT_EQ(said[Property::FieldDominance], row.dominance) << which;
        EXPECT_EQ(said[Property::AlphaSampleDepth], row.alphaDepth) << which;
        EXPECT_EQ(said.container(), "060e2b34.0401010d.0d010301.021c0100");
        ASSERT_NE(said.sub(), nullptr);
        EXPECT_EQ(said.sub()->kind(), SetKind::ContainerConstraintsSubDescriptor);
        EXPECT_EQ(rig.track->elementType(), 0x17);
        EXPECT_EQ(rig.track->constantBytes(), 0u);
    }
}

TEST(ProResEssence, BrokenFramesAreRefused) {
    EssenceRig rig = proResRig();
    Bytes cut = proRes({});
    cut.pop_back();
    EXPECT_FALSE(rig.add(cut));
    EXPECT_EQ(rig.why, "its ProRes frame is cut off");
    Bytes longHeader = proRes({});
    longHeader[8] = 2;
    EXPECT_FALSE(rig.add(longHeader));
    Bytes other = proRes({});
    other[4] = 'x';
    EXPECT_FALSE(rig.add(other));
    EXPECT_EQ(rig.why, "it does not begin with a ProRes frame header");
}

// @param fields  the byte that tells fields; @param raster  lines and samples; @param depth  of samples
Bytes vc3(const std::string& prefix, const std::string& raster, const std::string& depth,
          const std::string& id, const std::string& color, std::size_t bytes) {
    Bytes frame = bytesOf(prefix + "80a0" + std::string(32, '0') + raster + "000438000038880000000000");
    frame[33] = bytesOf(depth)[0];
    frame.resize(40);
    const Bytes tail = bytesOf(id + color);
    frame.insert(frame.end(), tail.begin(), tail.end());
    frame.resize(bytes);
    return frame;
}

TEST(VC3Essence, CompressionIdentifiersGiveLabelsAndSizes) {
    struct Row {
        Bytes frame;
        std::string raster, components, coding, color;
        std::uint32_t constantBytes;
    };
    const std::string progressive = "1920x1080 shown 1920x1080 layout 0 lines 42,0";
    const std::string hd709 = "03030000 01020000 02020000";
    const Row rows[] = {
        {vc3("000002800101", "04380780", "38", "000004d5", "80", 606208), progressive, "8 2/1 0", "03", hd709,
         606208},
        {vc3("000002800102", "021c0780", "38", "000004da", "00", 606208),
         "1920x540 shown 1920x540 layout 1 lines 21,584", "8 2/1 0", "08", hd709, 606208},
        {vc3("000002800101", "02d00500", "58", "000004e2", "00", 458752),
         "1280x720 shown 1280x720 layout 0 lines 26,0", "10 2/1 0", "10", hd709, 458752},
        {vc3("000002800301", "04380780", "58", "000004f7", "80", 917504), progressive, "10 2/1 0", "25",
         hd709, 0},
        {vc3("0000038c0301", "08700f00", "58", "000004f6", "c1", 7286784),
         "3840x2160 shown 3840x2160 layout 0 lines 1,0", "10 1/1 0", "24", hd709, 0},
        {vc3("000002800301", "04380780", "58", "000004f6", "c0", 1835008), progressive, "10 1/1 0", "24",
         "03030000 01020000 02050000", 0},
        {vc3("000002800301", "04380780", "78", "000004f7", "02", 917504), progressive, "12 2/1 0", "25",
         "03040000 01090000 02060000", 0},
    };
    for (const Row& row : rows) {
        EssenceRig rig(codec::vc3, wrapping::vc3);
        rig.format.isInterlaced = true;
        EXPECT_EQ(rig.facts({row.frame, row.frame}), "0:80:0 1:80:0") << rig.why;
        const Described said(*rig.track);
        EXPECT_EQ(said.raster(), row.raster) << row.coding;
        EXPECT_EQ(said.components(), row.components) << row.coding;
        EXPECT_EQ(said.coding(), "060e2b34.0401010a.04010202.71" + row.coding + "0000");
        EXPECT_EQ(said.color(), row.color) << row.coding;
        EXPECT_EQ(said.aspect(), "16:9");
        EXPECT_EQ(said.container(), "060e2b34.0401010a.0d010301.02110100");
        EXPECT_EQ(rig.track->constantBytes(), row.constantBytes) << row.coding;
        EXPECT_EQ(rig.track->elementType(), 0x0C);
    }
}

TEST(VC3Essence, TheIdentifiersEndsAndAHeaderAloneAreTaken) {
    EssenceRig rig(codec::vc3);
    EXPECT_EQ(rig.facts({vc3("000002800101", "04380780", "58", "000004d3", "80", 640),
                         vc3("000002800301", "04380780", "38", "000004fa", "80", 640)}),
              "0:80:0 1:80:0");
}

TEST(VC3Essence, HeadersOutsideTheStandardAreRefused) {
    EssenceRig rig(codec::vc3);
    EXPECT_FALSE(rig.add(vc3("000002800101", "04380780", "38", "000004d2", "80", 1000)));  // 1234
    EXPECT_FALSE(rig.add(vc3("000002800101", "04380780", "38", "000004fb", "80", 1000)));  // 1275
    EXPECT_EQ(rig.why, "it does not begin with a VC-3 header");
    EXPECT_FALSE(rig.add(vc3("000002800101", "04380780", "38", "000004d5", "80", 639)));
    EXPECT_FALSE(rig.add(vc3("000002800101", "00000780", "38", "000004d5", "80", 1000)));
    EXPECT_EQ(rig.why, "its VC-3 header tells no picture size");
}

Bytes dv(const std::string& header, const std::string& packs, std::size_t bytes) {
    Bytes frame(bytes);
    const Bytes head = bytesOf(header), source = bytesOf(packs);
    std::copy(head.begin(), head.end(), frame.begin());
    std::copy(source.begin(), source.end(), frame.begin() + 5 * 80 + 48);
    return frame;
}

TEST(DVEssence, SystemSignalAndApplicationGiveRasterAndLabels) {
    struct Row {
        std::int32_t codec;
        std::string header, packs;
        std::size_t bytes;
        std::string raster, components, aspect, container, coding;
    };
    const std::string sd625 = "720x288 shown 720x288 layout 1 lines 23,335";
    const std::string sd525 = "720x240 shown 720x240 layout 1 lines 23,285";
    const std::string p720 = "960x720 shown 960x720 layout 0 lines 26,0";
    const Row rows[] = {
        {codec::dv25, "1f0700bff8787878", "60ffffe0ff613fc8fcff", 144000, sd625, "8 2/2 5", "4:3", "02",
         "020102"},
        {codec::dvcPro25, "1f0700bff9797979", "60ffffe0ff613fcafcff", 144000, sd625, "8 4/1 0", "16:9", "41",
         "020202"},
        {codec::dv25, "1f07003ff9797979", "60ffffc0ff613fc8fcff", 120000, sd525, "8 4/1 0", "4:3", "01",
         "020101"},
        {codec::dvcPro25, "1f07003ff8787878", "60ffffc0ff613fcffcff", 120000, sd525, "8 4/1 0", "16:9", "40",
         "020201"},
        {codec::dv50, "1f0700bff9797979", "60ffffe4ff613fc8fcff", 288000, sd625, "8 2/1 0", "4:3", "51",
         "020204"},
        {codec::dv50, "1f07003ff9797979", "60ffffc4ff613fc8fcff", 240000, sd525, "8 2/1 0", "4:3", "50",
         "020203"},
        {codec::dv100, "1f0700bff9797979", "60fffff4ff613fcabcff", 576000,
         "1440x540 shown 1440x540 layout 1 lines 21,584", "8 2/1 0", "16:9", "61", "020206"},
        {codec::dv100, "1f07003ff9797979", "60ffffd4ff613fcabcff", 480000,
         "1280x540 shown 1280x540 layout 1 lines 21,584", "8 2/1 0", "16:9", "60", "020205"},
        {codec::dv100, "1f0700bff9797979", "60fffff8ff613fcafcff", 288000, p720, "8 2/1 0", "16:9", "63",
         "020208"},
        {codec::dv100, "1f07003ff9797979", "60ffffd8ff613fcafcff", 240000, p720, "8 2/1 0", "16:9", "62",
         "020207"},
    };
    for (const Row& row : rows) {
        EssenceRig rig(row.codec, wrapping::dvAndAVCIntra);
        const Bytes frame = dv(row.header, row.packs, row.bytes);
        EXPECT_EQ(rig.facts({frame, frame}), "0:80:0 1:80:0") << rig.why;
        EXPECT_EQ(rig.track->constantBytes(), row.bytes);
        EXPECT_EQ(rig.track->itemType(), 0x18);
        const Described said(*rig.track);
        EXPECT_EQ(said.raster(), row.raster) << row.container;
        EXPECT_EQ(said.components(), row.components) << row.container;
        EXPECT_EQ(said.aspect(), row.aspect) << row.container;
        EXPECT_EQ(said.container(), "060e2b34.04010101.0d010301.0202" + row.container + "01");
        EXPECT_EQ(said.coding(), "060e2b34.04010101.04010202." + row.coding + "00");
    }
}

TEST(DVEssence, FramesOfTheWrongSizeOrSignalAreRefused) {
    EssenceRig rig(codec::dv25);
    EXPECT_FALSE(rig.add(dv("1f0700bff8787878", "60ffffe0ff", 143999)));
    EXPECT_EQ(rig.why, "its size is not that of its DV format's frames");
    EXPECT_FALSE(rig.add(dv("1f0700bff8787878", "60ffffe1ff", 144000)));
    EXPECT_EQ(rig.why, "its DV header tells a signal that is not known");
    EXPECT_FALSE(rig.add(dv("3f0700bff8787878", "60ffffe0ff", 144000)));
    EXPECT_EQ(rig.why, "it does not begin with a DV header block");
}

}  // namespace
}  // namespace zenquor::mxf::test
