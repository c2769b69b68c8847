// Ancillary data played out of MXF files.
#include "zenquor/sidecar/ZQRMXFVANCSidecar.h"

#include <algorithm>
#include <array>

#include "mxf/FileRecipe.h"
#include "sidecar/SharedData.h"
#include "sidecar/Support.h"
#include "zenquor/core/ByteOrder.h"

namespace zenquor {
namespace {

using mxf::test::FileRecipe;
using test::LogCapture;
using test::TempDirectory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Bytes = FileRecipe::Bytes;

/// A caption packet of 14 user data words; what is in them does not matter here.
Bytes caption(std::uint8_t line) {
    Bytes packet{0, line, 1, 4, 0, 17, 0, 0, 0, 20, 0, 0, 0, 1, 0x61, 0x01, 14};
    packet.resize(14 + 20);
    return packet;
}

Bytes unknown() {
    return {0, 9, 1, 4, 0, 4, 0, 0, 0, 4, 0, 0, 0, 1, 0x45, 0x04, 1, 0x21};
}

Bytes element(const std::vector<Bytes>& packets) {
    Bytes bytes{static_cast<std::uint8_t>(packets.size() >> 8), static_cast<std::uint8_t>(packets.size())};
    for (const Bytes& packet : packets) bytes.insert(bytes.end(), packet.begin(), packet.end());
    return bytes;
}

/// Frame n carries a caption packet on line 10 + n and one that nobody knows; frame 2 carries none, frame 3 three hundred.
Bytes elementOfFrame(int frame) {
    if (frame == 2) return element({});
    if (frame == 3) return element(std::vector<Bytes>(300, caption(13)));
    return element({unknown(), caption(static_cast<std::uint8_t>(10 + frame))});
}

class MXFVANCSidecar : public testing::Test {
protected:
    MXFVANCSidecar() { recipe_.data = elementOfFrame; }

    std::filesystem::path write(const std::string& name = "in.mxf") {
        const Bytes bytes = recipe_.build();
        return folder_.write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    /// The lines of the next frame's packets.
    static std::vector<std::int32_t> lines(ZQRMXFVANCSidecar& sidecar, std::int64_t frame = 0) {
        std::vector<std::int32_t> found;
        const auto timecode = ZQCKTimecode::timecodeWithFrames(frame, test::pal);
        for (const auto& packet : sidecar.vancPacketsAtTimecode(timecode))
            found.push_back(packet->lineNumber());
        return found;
    }

    TempDirectory folder_;
    FileRecipe recipe_;
    LogCapture log_;
};

TEST_F(MXFVANCSidecar, PlaysFrameAfterFrameWhateverTheTimecode) {
    const auto sidecar = ZQRMXFVANCSidecar::initWithURL(write());
    ASSERT_TRUE(sidecar->valid());
    EXPECT_EQ(sidecar->timecodeType(), 1);
    EXPECT_EQ(sidecar->startTimecode().framesSinceMidnight(), 90000u);
    EXPECT_THAT(lines(*sidecar, 5000), ElementsAre(10));
    EXPECT_THAT(lines(*sidecar, 3), ElementsAre(11));
    EXPECT_THAT(lines(*sidecar, 3), IsEmpty());
    EXPECT_THAT(lines(*sidecar), SizeIs(300));  // far more than the sink begins with
    EXPECT_THAT(lines(*sidecar), ElementsAre(14));
    sidecar->close();
    sidecar->addVancPackets({}, {});
    EXPECT_THAT(lines(*sidecar), ElementsAre(15));
    EXPECT_THAT(lines(*sidecar), IsEmpty());  // behind the end
    EXPECT_THAT(log_.lines, IsEmpty());
}

TEST_F(MXFVANCSidecar, SeeksByFrameAndSaysWhereItCannot) {
    recipe_.isReordered = true;  // packets are found at every frame, whatever the pictures depend on
    const auto sidecar = ZQRMXFVANCSidecar::initWithURL(write());
    sidecar->prepareToReadFromFrame(4);
    EXPECT_THAT(lines(*sidecar), ElementsAre(14));
    sidecar->prepareToReadFromFrame(1);
    sidecar->receivedDataSample(element({caption(99)}));
    EXPECT_THAT(lines(*sidecar), ElementsAre(99, 11));
    sidecar->receivedDataSample(element({caption(99)}));
    sidecar->prepareToReadFromFrame(6);  // what is pending goes all the same
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMXFVANCSidecar could not seek to frame 6 with error 1"));
    sidecar->prepareToReadFromFrame(0);
    EXPECT_THAT(lines(*sidecar), ElementsAre(10));
}

TEST_F(MXFVANCSidecar, GoesByTheExtensionInAnyCase) {
    EXPECT_TRUE(ZQRMXFVANCSidecar::initWithURL(write("IN.MXF"))->valid());
    for (const char* name : {"in", "in.mx", "in.mxf2", "mxf"}) {
        const auto sidecar = ZQRMXFVANCSidecar::initWithURL(write(name));
        EXPECT_FALSE(sidecar->valid()) << name;
        sidecar->prepareToReadFromFrame(0);
        EXPECT_THAT(lines(*sidecar), IsEmpty());
    }
    EXPECT_THAT(log_.lines, IsEmpty());
}

TEST_F(MXFVANCSidecar, SaysWhyAFileCannotBePlayed) {
    EXPECT_FALSE(ZQRMXFVANCSidecar::initWithURL(folder_.path("absent.mxf"))->valid());
    EXPECT_FALSE(ZQRMXFVANCSidecar::initWithURL(folder_.write("text.mxf", "no such thing"))->valid());
    recipe_.isClip = true;
    EXPECT_FALSE(ZQRMXFVANCSidecar::initWithURL(write())->valid());  // sound alone
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMXFVANCSidecar unable to open MXF Demuxer with error -2\n",
                                        "ZQRMXFVANCSidecar unable to open MXF Demuxer with error -7\n"));
}

TEST_F(MXFVANCSidecar, PassesOverADataTrackWithoutElements) {
    recipe_.hasEmptyTrack = recipe_.isEmptyTrackOfPackets = true;
    const auto sidecar = ZQRMXFVANCSidecar::initWithURL(write());
    ASSERT_TRUE(sidecar->valid());
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMXFVANCSidecar unable to create parser for stream 2\n"));
    EXPECT_THAT(lines(*sidecar), ElementsAre(10));
}

TEST_F(MXFVANCSidecar, CanBeSetUpAnew) {
    const auto sidecar = ZQRMXFVANCSidecar::initWithURL(folder_.path("absent.mxf"));
    EXPECT_TRUE(sidecar->setupWithURL(write()));
    EXPECT_THAT(lines(*sidecar), ElementsAre(10));
    EXPECT_EQ(sidecar->startTimecode().framesSinceMidnight(), 90000u);
    sidecar->receivedDataSample(element({caption(99)}));
    EXPECT_FALSE(sidecar->setupWithURL(folder_.path("absent.mxf")));
    EXPECT_THAT(lines(*sidecar), IsEmpty()) << "nothing of the file before";
    EXPECT_EQ(sidecar->startTimecode().framesSinceMidnight(), 0u);
}

/// Identifiers of each element's packets, found by looking for the elements' key alone.
std::vector<std::vector<int>> packetsByKey(const std::string& file, std::size_t lengthBytes) {
    constexpr std::uint8_t key[] = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02, 0x01, 0x01,
                                    0x0D, 0x01, 0x03, 0x01, 0x17, 0x01, 0x02, 0x01};
    const Bytes bytes(file.begin(), file.end());
    std::vector<std::vector<int>> elements;
    for (auto at = bytes.begin();; ++at) {
        at = std::search(at, bytes.end(), std::begin(key), std::end(key));
        if (at == bytes.end()) return elements;
        const std::uint8_t* p = &*at + 16 + lengthBytes;
        elements.emplace_back();
        const unsigned count = readBE16(p);
        p += 2;
        for (unsigned i = 0; i < count; ++i, p += 14 + readBE32(p + 6)) {
            const int kind = p[14] << 8 | p[15];
            if (kind == 0x6101 || kind == 0x4302 || kind == 0x4107) elements.back().push_back(kind);
        }
    }
}

TEST(MXFVANCSidecarOnFilesOfOthers, PlaysEveryKnownPacket) {
    ZENQUOR_NEEDS_SHARED_DATA();
    struct Row {
        const char* name;
        std::size_t lengthBytes, frames, packets;
    };
    const Row rows[] = {{"bmx_op1a_proreshq_1080p25_anc.mxf", 4, 25, 27},
                        {"gst_mxfmux_mpeg2_pcm_vanc.mxf", 1, 50, 50},
                        {"bmx_op1a_mpeg2_vbi.mxf", 4, 0, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto path = test::sharedData("../media/" + std::string(row.name));
        const auto expected =
            packetsByKey(test::readSharedData("../media/" + std::string(row.name)), row.lengthBytes);
        EXPECT_EQ(expected.size(), row.frames);
        const auto sidecar = ZQRMXFVANCSidecar::initWithURL(path);
        ASSERT_TRUE(sidecar->valid());
        std::size_t total = 0;
        for (const auto& kinds : expected) {
            std::vector<int> played;
            for (const auto& packet : sidecar->vancPacketsAtTimecode({}))
                played.push_back(packet->DID() << 8 | packet->SDID());
            EXPECT_EQ(played, kinds);
            total += played.size();
        }
        EXPECT_EQ(total, row.packets);
        for (int i = 0; i < 6; ++i) EXPECT_THAT(sidecar->vancPacketsAtTimecode({}), IsEmpty());
    }
}

}  // namespace
}  // namespace zenquor
