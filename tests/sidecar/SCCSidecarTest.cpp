// Scenarist files: what is read and played, and how pairs become lines.
#include "zenquor/sidecar/ZQRSCCSidecar.h"

#include "sidecar/Support.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::TempDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Caption = ZQRVANCClosedCaptionPacket;

const ZQCKTimebase drop = ZQCKTimebase::timebaseForFramerate(3);

ZQCKTimecode at(std::int64_t frame, ZQCKTimebase timebase = drop) {
    return ZQCKTimecode::timecodeWithFrames(frame, timebase);
}

ZQRVANCPacketPtr packetOf(std::uint16_t pair) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(pair >> 8), static_cast<std::uint8_t>(pair)};
    return Caption::closedCaptionPacketWithData(ZQData::copying(bytes), Caption::TypeCEA608);
}

class SCCSidecar : public testing::Test {
protected:
    ZQRSCCSidecarPtr open(std::string_view lines) {
        return ZQRSCCSidecar::initForReadingWithURL(
            folder_.write("in.scc", "Scenarist_SCC V1.0\n\n" + std::string(lines)));
    }
    ZQRSCCSidecarPtr create(ZQCKTimebase timebase = drop) {
        return ZQRSCCSidecar::initForWritingWithURL(folder_.path("out.scc"), timebase);
    }
    /// The pair of each frame as hexadecimal text, "-" for the null pair.
    std::string play(ZQRSCCSidecar& sidecar, std::int64_t first, int count) {
        std::string text;
        for (std::int64_t frame = first; frame < first + count; ++frame) {
            const auto packets = sidecar.vancPacketsAtTimecode(at(frame));
            const auto caption = std::dynamic_pointer_cast<Caption>(packets.at(0));
            EXPECT_EQ(packets.size(), 1U);
            EXPECT_EQ(caption->type(), Caption::TypeCEA608);
            const ZQData data = caption->data();
            const bool isEmpty = data == Caption::empty608PacketData();
            text += isEmpty ? "-" : fmt::format("{:02x}{:02x}", data[0], data[1]);
            text += ' ';
        }
        if (!text.empty()) text.pop_back();
        return text;
    }
    /// The lines that pairs, one a frame from frame 0 on, are written as; 0 is the null pair.
    std::string collect(const std::vector<std::uint16_t>& pairs) {
        const auto sidecar = create();
        std::int64_t frame = 0;
        for (const std::uint16_t pair : pairs) {
            sidecar->addVancPackets({packetOf(pair == 0 ? 0x8080 : pair)}, at(frame++));
        }
        sidecar->close();
        const std::string text = folder_.read("out.scc");
        EXPECT_EQ(text.substr(0, 20), "Scenarist_SCC V1.0\n\n");
        return text.substr(20);
    }

    TempDirectory folder_;
    LogCapture log_;
};

TEST_F(SCCSidecar, PlaysOnePairAFrameFromTheTimecodeOn) {
    const auto sidecar = open(
        "// a remark\r\n00:00:01:00\t9420 9420 94ae 94AE 9470 9470 c8e5 942f\r\n\r\n"
        "00:00:01:10\tE0E0\n");
    ASSERT_TRUE(sidecar->valid());
    EXPECT_EQ(play(*sidecar, 28, 16), "- - 9420 9420 94ae 94ae 9470 9470 c8e5 942f - - e0e0 - - -");
    EXPECT_EQ(sidecar->timecodeType(), 1);
    EXPECT_THAT(log_.lines, IsEmpty());
    sidecar->close();
    sidecar->close();  // what was played is nothing to write, however often
    EXPECT_EQ(play(*sidecar, 44, 1), "-");
    EXPECT_THAT(log_.lines, IsEmpty());
}

TEST_F(SCCSidecar, FramesAreSkippedAndRepeatedAsTheHostAsks) {
    const auto sidecar = open("00:00:00:10\t1111 2222 3333\n00:00:00:13\t4444\n00:00:00:20\t5555\n");
    EXPECT_EQ(play(*sidecar, 11, 1), "2222");
    EXPECT_EQ(play(*sidecar, 11, 1), "2222");
    EXPECT_EQ(play(*sidecar, 13, 1), "4444");
    EXPECT_EQ(play(*sidecar, 25, 1), "-");
    EXPECT_EQ(play(*sidecar, 20, 1), "5555") << "the last line stays";
}

TEST_F(SCCSidecar, TimecodesFollowDropFrameCounting) {
    // 00:01:00;00 does not exist and is the frame after 00:00:59;29; ":" counts the same.
    const auto sidecar = open("00:00:59:29\t1111\n00:01:00:00\t2222\n00:01:00;84\t3333\n");
    EXPECT_EQ(play(*sidecar, 1799, 3), "1111 2222 -");
    EXPECT_EQ(play(*sidecar, 1827, 1), "3333") << "a frame number out of range is the second's last";
    // The host's own count of frames decides, whatever its rate.
    const auto other = open("00:00:10;00\t1111\n");
    const auto packets = other->vancPacketsAtTimecode(at(300, ZQCKTimebase::timebaseForFramerate(2)));
    EXPECT_EQ((*std::dynamic_pointer_cast<Caption>(packets.at(0))->dataFor608Fields(1))[0], 0x11);
}

TEST_F(SCCSidecar, ALineOverMidnightEndsBeforeItStarts) {
    const auto sidecar = open("23:59:59;28\t1111 2222 3333\n");
    const std::int64_t last = drop.framesPerDay() - 1;
    EXPECT_EQ(play(*sidecar, last - 1, 2), "- -");
}

TEST_F(SCCSidecar, LinesThatOverlapStartLate) {
    const auto sidecar = open(
        "00:00:00:00\t1111 2222 3333\n00:00:00:01\t4444 5555 6666 7777\n00:00:00:09\t\n"
        "00:00:00:09\t8888 9999\n00:00:00:11\tAAAA\n");
    EXPECT_EQ(play(*sidecar, 0, 12), "1111 2222 3333 6666 7777 - - - - - 9999 aaaa");
}

TEST_F(SCCSidecar, ABadLineEndsPlayback) {
    for (const char* bad : {"00:00:00:05\tG", "00:00:00:05 2222", "00:00:00:05\t2222x", "not a line", " "}) {
        const auto sidecar =
            open(std::string("header remark\n00:00:00:01\t1111\n") + bad + "\n00:00:00:06\t3333\n");
        EXPECT_TRUE(sidecar->valid());
        EXPECT_EQ(play(*sidecar, 0, 8), "- 1111 - - - - - -") << bad;
        EXPECT_FALSE(sidecar->currentCaption());
    }
}

TEST_F(SCCSidecar, OnlyFilesWithTheHeaderAndACaptionAreValid) {
    const std::pair<const char*, bool> cases[] = {
        {"Scenarist_SCC V1.0\n00:00:00:01\t1111\n", true},
        {"\xEF\xBB\xBFScenarist_SCC V1.0\r\n\r\n00:00:00:01\t1111", true},
        {"// remark\n\nScenarist_SCC V1.0\n00:00:00:01\t\n", true},
        {"Scenarist_SCC V1.0 \n00:00:00:01\t1111\n", false},
        {"Scenarist_SCC V1.1\n00:00:00:01\t1111\n", false},
        {"00:00:00:01\t1111\n", false},
        {"Scenarist_SCC V1.0\n00:00:00:01 1111\n", false},
        {"Scenarist_SCC V1.0\n", false},
        {"", false},
    };
    for (const auto& [text, isValid] : cases) {
        const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(folder_.write("in.scc", text));
        EXPECT_EQ(sidecar->valid(), isValid) << text;
        if (!isValid) {
            EXPECT_EQ(play(*sidecar, 0, 3), "- - -");
        }
    }
    const auto missing = ZQRSCCSidecar::initForReadingWithURL(folder_.path("none.scc"));
    EXPECT_FALSE(missing->valid());
    EXPECT_EQ(play(*missing, 0, 2), "- -");
}

TEST_F(SCCSidecar, PairsAreCollectedIntoLines) {
    const struct {
        const char* what;
        std::vector<std::uint16_t> pairs;
        const char* text;
    } cases[] = {
        {"a repeated command stays", {0x9420, 0x9420, 0x94AE}, "00:00:00;00\t9420 9420 94AE\n\n"},
        {"a command after three pairs starts a line",
         {0x9420, 0x9420, 0x94AE, 0x9420, 0x9420},
         "00:00:00;00\t9420 9420 94AE\n\n00:00:00;03\t9420 9420\n\n"},
        {"one null pair is left out", {0, 0x9420, 0, 0xC8E5}, "00:00:00;01\t9420 C8E5\n\n"},
        {"two null pairs end a line", {0x9420, 0, 0, 0xC8E5}, "00:00:00;00\t9420\n\n00:00:00;03\tC8E5\n\n"},
        {"pairs between null pairs", {0x9420, 0, 0xC8E5, 0, 0xC8E5}, "00:00:00;00\t9420 C8E5 C8E5\n\n"},
        {"an end of caption and a null pair end a line",
         {0x942F, 0x942F, 0, 0xC8E5},
         "00:00:00;00\t942F 942F\n\n00:00:00;03\tC8E5\n\n"},
        {"so does an erasure, even pairs later",
         {0x942C, 0xC8E5, 0, 0xC8E5},
         "00:00:00;00\t942C C8E5\n\n00:00:00;03\tC8E5\n\n"},
        {"text behind a carriage return starts a line",
         {0x94AD, 0x94AD, 0x9470, 0xC8E5},
         "00:00:00;00\t94AD 94AD\n\n00:00:00;02\t9470 C8E5\n\n"},
        {"unless a null pair stands between", {0x94AD, 0, 0x9470}, "00:00:00;00\t94AD 9470\n\n"},
        {"another channel starts a line",
         {0x9420, 0x1C20, 0x1520, 0x9D20, 0x9D20, 0x9420},
         "00:00:00;00\t9420\n\n00:00:00;01\t1C20\n\n00:00:00;02\t1520\n\n00:00:00;03\t9D20 9D20\n\n"
         "00:00:00;05\t9420\n\n"},
        {"extended data is field 2's first channel; its end and a null pair end a line",
         {0x0103, 0x1520, 0x8F2F, 0, 0x94A7},
         "00:00:00;00\t0103 1520 8F2F\n\n00:00:00;04\t94A7\n\n"},
        {"parity neither hides a command nor a null pair",
         {0x1420, 0x1C20, 0x0080, 0x8000, 0x4142},
         "00:00:00;00\t1420\n\n00:00:00;01\t1C20\n\n00:00:00;04\t4142\n\n"},
        {"nothing", {0, 0, 0}, ""},
    };
    for (const auto& [what, pairs, text] : cases) EXPECT_EQ(collect(pairs), text) << what;
    EXPECT_THAT(log_.lines, IsEmpty());
}

TEST_F(SCCSidecar, ClassifiesPairs) {
    for (int hi = 0; hi < 0x80; ++hi) {
        const auto first = static_cast<std::uint8_t>(hi);
        const bool isPrefix = hi == 0x14 || hi == 0x15 || hi == 0x1C || hi == 0x1D;
        EXPECT_EQ(ZQRSCCSidecar::isChannelPacket(first), isPrefix) << hi;
        for (int lo = 0; lo < 0x80; ++lo) {
            const bool isMode = lo == 0x20 || (lo >= 0x25 && lo <= 0x27) || (lo >= 0x29 && lo <= 0x2B);
            EXPECT_EQ(ZQRSCCSidecar::isChannelPacket(first, static_cast<std::uint8_t>(lo)),
                      (hi >= 1 && hi <= 0x0E) || (isPrefix && isMode));
        }
    }
}

TEST_F(SCCSidecar, LinesGetTheLabelOfTheHostsFrame) {
    const auto sidecar = create();
    sidecar->addVancPackets({packetOf(0x9420)}, at(1800, ZQCKTimebase::timebaseForFramerate(4)));
    sidecar->flushLine();
    EXPECT_EQ(folder_.read("out.scc"), "Scenarist_SCC V1.0\n\n00:01:00;02\t9420\n\n");
    sidecar->setTimebase(ZQCKTimebase::timebaseForFramerate(4));
    sidecar->addVancPackets({packetOf(0x9420)}, at(1800));
    sidecar->close();
    EXPECT_THAT(folder_.read("out.scc"), HasSubstr("\n00:01:00:00\t9420\n\n"));
}

TEST_F(SCCSidecar, TakesPairsOutOfCDPsAndLogsPacketsWithout) {
    const auto sidecar = create();
    const auto cdp = Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(
        std::array<std::uint8_t, 4>{0x94, 0x20, 0x15, 0x2C}, 7, 1);
    const auto broken = Caption::closedCaptionPacketWithData(ZQData{}, Caption::TypeCDP);
    sidecar->addVancPackets({nullptr, ZQRVANCPacketImpl::initWithDID(0x61, 1, 9, {}), broken,
                             Caption::closedCaptionPacketWithData(*cdp, Caption::TypeCDP)},
                            at(5));
    sidecar->close();
    EXPECT_THAT(folder_.read("out.scc"), testing::EndsWith("\n00:00:00;05\t9420\n\n"));
    EXPECT_THAT(log_.lines, ElementsAre("ZQRSCCSidecar could not extract 608 captions from packet " +
                                        broken->description() + " at 00:00:00;05"));
}

TEST_F(SCCSidecar, LinesThatCannotBeWrittenAreLogged) {
    const auto full = ZQRSCCSidecar::initForWritingWithURL("/dev/full", drop);
    EXPECT_FALSE(full->valid());
    log_.lines.clear();
    full->addVancPackets({packetOf(0x9420)}, at(0));
    full->close();
    ASSERT_EQ(log_.lines.size(), 2U);
    EXPECT_THAT(log_.lines[0], HasSubstr("could not write line with error"));
    EXPECT_EQ(log_.lines[1], "ZQRSCCSidecar could not write line 00:00:00;00\t9420");
    full->addVancPackets({packetOf(0x942F)}, at(1));
    full->close();
    EXPECT_EQ(log_.lines.back(), "ZQRSCCSidecar could not write line 00:00:00;01\t942F") << "closed already";
    EXPECT_FALSE(ZQRSCCSidecar::initForWritingWithURL(folder_.path("none/out.scc"), drop)->valid());
}

TEST_F(SCCSidecar, ALongLineIsReadInProportion) {
    std::string line = "00:00:00:00\t";
    for (int i = 0; i < 200000; ++i) line += "9420 ";
    const auto sidecar = open(line + "\n00:00:00:01\t1111\n");
    ASSERT_TRUE(sidecar->valid());
    EXPECT_EQ(sidecar->currentCaption()->data().size(), 400000U);
    EXPECT_EQ(play(*sidecar, 199999, 2), "9420 -");
}

}  // namespace
}  // namespace zenquor
