// MacCaption files: headers, lines with their suffixes and letters, and what is played and written.
#include "zenquor/sidecar/ZQRMCCSidecar.h"

#include <chrono>
#include <numeric>

#include "sidecar/Support.h"
#include "zenquor/core/Clock.h"
#include "zenquor/core/UUIDSource.h"
#include "zenquor/sidecar/detail/CreationDate.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

namespace zenquor {
namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;
using test::LogCapture;
using test::TempDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;
using Caption = ZQRVANCClosedCaptionPacket;

const ZQCKTimebase pal = test::pal;

constexpr const char* v1 = "File Format=MacCaption_MCC V1.0\n\n// a remark\n";
constexpr const char* v2 = "File Format=MacCaption_MCC V2.0\n\n";
/// DID 61, SDID 01, three words and a checksum that is right: 61 + 01 + 03 + 11 + 22 + 33 = CB.
constexpr const char* packet112233 = "\tT03112233CB\n";

/// Pins the wall clock and the identifiers while it lives.
class Pinned {
public:
    explicit Pinned(std::chrono::system_clock::time_point now) {
        Clock::pin([now] { return now; });
        UUIDSource::pin([] { return UUIDSource::UUID{0x01, 0x23, 0x45}; });
    }
    ~Pinned() {
        Clock::pin({});
        UUIDSource::pin({});
    }
};

class MCCSidecar : public testing::Test {
protected:
    ZQRMCCSidecarPtr open(const std::string& text) {
        return ZQRMCCSidecar::initForReadingWithURL(folder_.write("in.mcc", text));
    }
    Caption& packetAt(ZQRMCCSidecar& sidecar, std::int64_t frame) {
        packets_ = sidecar.vancPacketsAtTimecode(ZQCKTimecode::timecodeWithFrames(frame, sidecar.timebase()));
        EXPECT_EQ(packets_.size(), 1U);
        auto& caption = dynamic_cast<Caption&>(*packets_.at(0));
        EXPECT_EQ(caption.type(), Caption::TypeCDP);
        EXPECT_EQ(caption.lineNumber(), 9);
        return caption;
    }
    Bytes bytesAt(ZQRMCCSidecar& sidecar, std::int64_t frame) {
        const ZQData data = packetAt(sidecar, frame).data();
        return {data.begin(), data.end()};
    }
    /// Whether the frame has a CDP of our own around a null pair.
    bool isEmptyAt(ZQRMCCSidecar& sidecar, std::int64_t frame) {
        const Caption& packet = packetAt(sidecar, frame);
        return packet.data().size() == 89 && packet.dataFor608Fields(1) == Caption::empty608PacketData();
    }

    TempDirectory folder_;
    LogCapture log_;
    ZQRVANCPacketList packets_;
};

TEST_F(MCCSidecar, TheTimeCodeRateSelectsTheTimebase) {
    const std::pair<const char*, int> cases[] = {
        {"24", 1},    {"25", 2},     {"30DF", 3}, {"30", 4},   {"50", 5},     {"60", 7},     {"60DF", 6},
        {"30.00", 4}, {"29.97", -1}, {"", -1},    {" 25", -1}, {"23.98", -1}, {"59.94", -1}, {"30df", 4}};
    for (const auto& [rate, code] : cases) {
        const auto sidecar =
            open(std::string(v1) + "Time Code Rate=" + rate + "\n\n00:00:01:00" + packet112233);
        EXPECT_EQ(sidecar->valid(), code >= 0) << rate;
        EXPECT_TRUE(code < 0 || sidecar->timebase().frameRate() == code) << rate;
    }
    EXPECT_EQ(open(std::string(v1) + "00:00:01:00" + packet112233)->timebase().frameRate(), 3);
}

TEST_F(MCCSidecar, AHeaderNeedsAKnownFormatFirstAndACaption) {
    const std::string line = std::string("00:00:00:00") + packet112233;
    const std::pair<std::string, int> cases[] = {
        {v1 + line, 1},
        {v2 + line, 2},
        {"\xEF\xBB\xBF" + std::string(v2) + "a remark that is no caption\n" + line, 2},
        {"// remark\n\nFile Format=MacCaption_MCC V1.0\r\n" + line, 1},
        {"File Format=MacCaption_MCC V3.0\n" + line, 0},
        {"file format=MacCaption_MCC V1.0\n" + line, 0},
        {"UUID=1\n" + std::string(v1) + line, 0},
        {line + v1, 0},
        {line, 0},
        {v1, 0},
        {"", 0},
    };
    for (const auto& [text, version] : cases) {
        const auto sidecar = open(text);
        EXPECT_EQ(sidecar->valid(), version != 0) << text;
        EXPECT_TRUE(version == 0 || sidecar->version() == version) << text;
        EXPECT_TRUE(version != 0 || isEmptyAt(*sidecar, 0)) << text;
    }
    const auto sidecar = open(std::string(v1) + "UUID=ab=cd\nTitle=\u00DCber\n=\n" + line);
    const ZQDictionary entries = {
        {"File Format", "MacCaption_MCC V1.0"}, {"UUID", "ab=cd"}, {"Title", "\u00DCber"}, {"", ""}};
    EXPECT_EQ(sidecar->properties(), entries);
    EXPECT_FALSE(ZQRMCCSidecar::initForReadingWithURL(folder_.path("none.mcc"))->valid());
}

TEST_F(MCCSidecar, OnlyVersion2KnowsSuffixes) {
    const auto first = open(v1 + std::string("00:00:00:00") + packet112233);
    const auto second = open(v2 + std::string("00:00:00:00") + packet112233);
    const struct {
        const char* line;
        bool inVersion1, inVersion2;
        int field;
    } cases[] = {
        {"00:00:01;00\tT0101", true, true, 0},      {"00:00:01:00.1\tT0101", false, true, 1},
        {"00:00:01:00.0,1\tT0101", false, true, 1}, {"00:00:01:00.0x1\tT0101", false, true, 1},
        {"00:00:01:00.1,9\tT", false, true, 1},     {"00:00:01:00.0,1,21\tT", false, true, 1},
        {"00:00:01:00.0,10\tT", false, false, 0},   {"00:00:01:00.1,\tT", false, false, 0},
        {"00:00:01:00.1,9x\tT", false, false, 0},   {"00:00:01:00.1,99999999999", false, false, 0},
        {"00:00:01:00.2\tT", false, false, 0},      {"00:00:01:00.0", false, false, 0},
        {"00:00:01:00.0,", false, false, 0},        {"00:00:01:00.1", false, false, 0},
        {"00:00:01:00.", false, false, 0},          {"00:00:01:00 T", false, false, 0},
        {"00:00:01:00\tT g", false, false, 0},      {"00:00:01.00\tT", false, false, 0},
        {"00:00:01:00\t", true, true, 0},           {"00:00:01:00", false, false, 0},
    };
    for (const auto& [line, inVersion1, inVersion2, field] : cases) {
        EXPECT_EQ(first->decodeCaptionForLine(line) != nullptr, inVersion1) << line;
        const auto caption = second->decodeCaptionForLine(line);
        ASSERT_EQ(caption != nullptr, inVersion2) << line;
        if (!caption) continue;
        EXPECT_EQ(caption->field(), field) << line;
        EXPECT_EQ(caption->line(), 0) << line;
        EXPECT_FALSE(caption->endTimecode()) << line;
    }
    EXPECT_THAT(second->decodeCaptionForLine("00:00:01:00\tabG")->data(), ElementsAre(0xAB, 0xFA, 0, 0));
}

TEST_F(MCCSidecar, PlaysTheFirstLineOfATimecode) {
    const auto sidecar = open(v1 + std::string("Time Code Rate=25\n") + "00:00:01:00" + packet112233 +
                              "00:00:01:00\tT0144A7\n00:00:01:02\tT0144A7\n00:00:01:03\tT0144A8\n"
                              "00:00:01:04\tT0144A7\n");
    EXPECT_TRUE(isEmptyAt(*sidecar, 24));
    EXPECT_EQ(bytesAt(*sidecar, 25), (Bytes{0x11, 0x22, 0x33}));
    EXPECT_EQ(bytesAt(*sidecar, 25), (Bytes{0x11, 0x22, 0x33}));
    EXPECT_TRUE(isEmptyAt(*sidecar, 26));
    EXPECT_EQ(bytesAt(*sidecar, 27), (Bytes{0x44}));
    EXPECT_THAT(log_.lines, IsEmpty());
    EXPECT_TRUE(isEmptyAt(*sidecar, 28));
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMCCSidecar could not extract packet at timecode 00:00:01:03"));
    EXPECT_EQ(bytesAt(*sidecar, 30).size(), 89U) << "the frame of the last line was passed over";
}

TEST_F(MCCSidecar, ABadLineEndsPlayback) {
    const auto sidecar =
        open(v1 + std::string("00:00:00:01") + packet112233 + "00:00:00:02 T\n00:00:00:03" + packet112233);
    EXPECT_EQ(bytesAt(*sidecar, 1).size(), 3U);
    EXPECT_TRUE(isEmptyAt(*sidecar, 2));
    EXPECT_TRUE(isEmptyAt(*sidecar, 3));
    EXPECT_FALSE(sidecar->currentCaption());
    sidecar->close();
    EXPECT_TRUE(isEmptyAt(*sidecar, 4));
}

TEST_F(MCCSidecar, TheHeaderIsWrittenInItsOrder) {
    const Pinned pinned(sys_days(2024y / 12 / 29) + 23h + 59min + 58s);
    const ZQDictionary properties = {
        {"Creation Program", "a\r\nb"}, {"File Format", "MacCaption_MCC V1.0"}, {"Zone", 7}};
    const auto sidecar = ZQRMCCSidecar::initForWritingWithURL(folder_.path("out.mcc"), pal, properties);
    EXPECT_TRUE(sidecar->valid());
    sidecar->close();
    const std::string text = folder_.read("out.mcc");
    const std::string slashes(83, '/');
    EXPECT_EQ(text.find("File Format=MacCaption_MCC V2.0\n\n" + slashes + "\n// Computer Prompting"), 0U);
    const std::string entries = slashes +
                                "\n\nCreation Date=Sunday, December 29, 2025\nCreation Program=a  b\n"
                                "Creation Time=23:59:58\nTime Code Rate=25\n"
                                "UUID=01234500-0000-0000-0000-000000000000\nZone=7\n\n";
    EXPECT_EQ(text.substr(text.rfind(slashes)), entries);
    const std::string description = text.substr(33, text.rfind(slashes) + slashes.size() - 33);
    EXPECT_EQ(std::accumulate(description.begin(), description.end(), 0U,
                              [](unsigned sum, char c) { return sum * 31 + static_cast<unsigned>(c); }),
              0x19E6AA90U)
        << "taken from the licence text: it has to stand unchanged";
    EXPECT_EQ(sidecar->properties()["UUID"].stringValue(), "01234500-0000-0000-0000-000000000000");
    const ZQDictionary own = {{"UUID", "mine"}};
    EXPECT_EQ(ZQRMCCSidecar::initForWritingWithURL(folder_.path("own.mcc"), pal, own)->properties()["UUID"],
              ZQValue("mine"));
}

TEST_F(MCCSidecar, TheYearOfTheCreationDateIsThatOfItsWeek) {
    using namespace std::chrono;
    const std::pair<sys_days, const char*> cases[] = {
        {2024y / 12 / 28, "Saturday, December 28, 2024"}, {2024y / 12 / 29, "Sunday, December 29, 2025"},
        {2024y / 12 / 31, "Tuesday, December 31, 2025"},  {2025y / 1 / 1, "Wednesday, January 1, 2025"},
        {2022y / 12 / 31, "Saturday, December 31, 2022"}, {2023y / 1 / 1, "Sunday, January 1, 2023"},
        {2027y / 12 / 25, "Saturday, December 25, 2027"}, {2027y / 12 / 26, "Sunday, December 26, 2028"},
        {2021y / 1 / 2, "Saturday, January 2, 2021"},     {1969y / 12 / 27, "Saturday, December 27, 1969"}};
    for (const auto& [day, text] : cases) EXPECT_EQ(detail::creationDate(day + 23h), text);
    EXPECT_EQ(detail::creationTime(sys_days(1969y / 12 / 31) + 1h + 2min + 3s + 999ms), "01:02:03");
}

TEST_F(MCCSidecar, RatesWithoutANameAreLogged) {
    const std::pair<int, const char*> names[] = {{0, "30DF"}, {1, "24"}, {2, "25"},   {3, "30DF"},
                                                 {4, "30"},   {5, "50"}, {6, "60DF"}, {7, "60"}};
    const auto sidecar = ZQRMCCSidecar::initForWritingWithURL(folder_.path("out.mcc"), pal);
    for (const auto& [code, name] : names) {
        sidecar->setTimebase(ZQCKTimebase::timebaseForFramerate(code));
        EXPECT_EQ(sidecar->timebaseFormatString(), name);
    }
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMCCSidecar has unsupported frame-rate 0, using default"));
}

TEST_F(MCCSidecar, WritesALinePerCaptionPacketAndReadsItBack) {
    const auto path = folder_.path("out.mcc");
    const auto writer = ZQRMCCSidecar::initForWritingWithURL(path, ZQCKTimebase::timebaseForFramerate(6));
    const auto time = [&](std::int64_t frame) {
        return ZQCKTimecode::timecodeWithFrames(frame, writer->timebase());
    };
    const Bytes triples = {0x11, 0xFA, 0, 0, 0xFA, 0, 0};
    const auto inside = Caption::closedCaptionPacketWithData(ZQData::copying(triples), Caption::TypeCDP, 13);
    const auto pair =
        Caption::closedCaptionPacketWithData(Caption::clear608PacketData(), Caption::TypeCEA608);
    const auto broken = Caption::closedCaptionPacketWithData({}, Caption::TypeCDP);
    writer->addVancPackets({nullptr, inside, broken, ZQRVANCPacketImpl::initWithDID(0x41, 7, 9, {})},
                           time(3600));
    writer->addVancPackets({pair}, time(3601));
    EXPECT_EQ(pair->type(), Caption::TypeCDP);
    writer->close();
    // 61 + 01 + 07 + 11 + 2 * FA = 26E
    EXPECT_THAT(folder_.read("out.mcc"), HasSubstr("\n\n00:01:00;04\tT0711H6E\n00:01:00;05\tT59S594F67"));
    EXPECT_THAT(log_.lines, ElementsAre("ZQRMCCSidecar could not extract 708 captions from packet " +
                                        broken->description() + " at 00:01:00;04"));
    const auto reader = ZQRMCCSidecar::initForReadingWithURL(path);
    EXPECT_EQ(reader->timebase(), writer->timebase());
    EXPECT_EQ(reader->version(), 2);
    EXPECT_EQ(reader->properties()["UUID"], writer->properties()["UUID"]);
    EXPECT_EQ(bytesAt(*reader, 3600), triples);
    EXPECT_EQ(packetAt(*reader, 3601).data(), pair->data());
}

TEST_F(MCCSidecar, LinesThatCannotBeWrittenAreLogged) {
    const auto full = ZQRMCCSidecar::initForWritingWithURL("/dev/full", pal);
    EXPECT_FALSE(full->valid());
    log_.lines.clear();
    const Bytes bytes = {0x11};
    const auto packet = Caption::closedCaptionPacketWithData(ZQData::copying(bytes), Caption::TypeCDP);
    full->addVancPackets({packet}, ZQCKTimecode::timecodeWithFrames(1, pal));
    ASSERT_EQ(log_.lines.size(), 2U);
    EXPECT_EQ(log_.lines[1], "ZQRMCCSidecar could not write line 00:00:00:01\tT011174 at 00:00:00:01");
    full->close();
    full->addVancPackets({packet}, ZQCKTimecode::timecodeWithFrames(2, pal));
    EXPECT_EQ(log_.lines.size(), 3U) << "closed already";
}

}  // namespace
}  // namespace zenquor
