// What the check says about broken caption files: one small file for each finding.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <numeric>

#include "STLFile.h"
#include "Support.h"
#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

using namespace zenquor;
using namespace zenquor::test;
using testing::HasSubstr;
using Kind = ZQRCaptionRemark::Kind;
using Options = ZQRCaptionChecker::Options;

namespace {

ZQRCaptionChecker::Report check(std::string_view file, std::string_view extension = "",
                                const Options& options = Options()) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(file.data());
    return ZQRCaptionChecker::checkData({bytes, file.size()}, extension, options);
}

std::string textOf(const ZQRCaptionRemarkList& remarks) {
    std::string text;
    for (const auto& remark : remarks) {
        text += fmt::format("{} {} {} {}\n", ZQRCaptionRemark::nameOfKind(remark.kind),
                            describe(remark.timecode), remark.line.value_or(0), remark.text);
    }
    return text;
}

/// A broken file, and the remark that has to be among those about it.
struct Broken {
    std::string file;
    Kind kind;
    std::string timecode;  // empty for none
    std::string words;
    bool readable = true;
};

void expectRemarks(const std::vector<Broken>& cases, std::string_view extension = "",
                   const Options& options = {}) {
    for (const Broken& c : cases) {
        const auto report = check(c.file, extension, options);
        const bool isThere =
            std::any_of(report.remarks.begin(), report.remarks.end(), [&](const ZQRCaptionRemark& remark) {
                return remark.kind == c.kind && remark.text.find(c.words) != std::string::npos &&
                       (remark.timecode ? remark.timecode->description() : "") == c.timecode;
            });
        EXPECT_TRUE(isThere) << "wanted: " << ZQRCaptionRemark::nameOfKind(c.kind) << " " << c.timecode << " "
                             << c.words << "\nfound:\n"
                             << textOf(report.remarks);
        EXPECT_EQ(report.readable, c.readable) << c.words;
    }
}

// A pop-on caption as the field sends it: "Hi" on row 15, every code twice.
const std::string caption = "9420 9420 94ae 94ae 9470 9470 c8e9 942f 942f";
const std::string sccHeader = "Scenarist_SCC V1.0\n\n";
std::string scc(const std::string& lines) {
    return sccHeader + lines;
}

/// A caption distribution packet with empty triplets; the checksum is made right at the end.
struct Packet {
    int rate = 4;
    int count = 20;
    int sequence = 0;
    int footerSequence = -1;
    int flags = 0x43;  // caption data, service active
    std::vector<int> triplets = {0xFC, 0x80, 0x80, 0xFD, 0x80, 0x80};
    std::vector<int> sections;  // between the caption data and the footer
    int identifier = 0x96;
    int lengthError = 0;
    int checksumError = 0;

    std::vector<std::uint8_t> bytes() const {
        std::vector<int> all = {identifier,      0x69, 0,           rate << 4 | 0xF, flags, sequence >> 8,
                                sequence & 0xFF, 0x72, 0xE0 | count};
        all.insert(all.end(), triplets.begin(), triplets.end());
        for (std::size_t i = triplets.size() / 3; i < static_cast<std::size_t>(count); ++i) {
            all.insert(all.end(), {0xFA, 0x00, 0x00});
        }
        all.insert(all.end(), sections.begin(), sections.end());
        const int footer = footerSequence < 0 ? sequence : footerSequence;
        all.insert(all.end(), {0x74, footer >> 8, footer & 0xFF, 0});
        all[2] = static_cast<int>(all.size()) + lengthError;
        all.back() = (checksumError - std::accumulate(all.begin(), all.end(), 0)) & 0xFF;
        return {all.begin(), all.end()};
    }
};

std::string hexadecimal(std::vector<std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) text += fmt::format("{:02X}", byte);
    return text;
}

/// The packet as ancillary data with its checksum, which @p error falsifies.
std::string ancillary(const std::vector<std::uint8_t>& packet, int error = 0, int countError = 0) {
    std::vector<std::uint8_t> all = {0x61, 0x01, static_cast<std::uint8_t>(packet.size() + countError)};
    all.insert(all.end(), packet.begin(), packet.end());
    all.push_back(static_cast<std::uint8_t>(std::accumulate(all.begin(), all.end(), 0) + error));
    return hexadecimal(all);
}
std::string ancillary(const Packet& packet) {
    return ancillary(packet.bytes());
}

std::string mcc(const std::string& lines, const std::string& rate = "30DF",
                const std::string& version = "1.0") {
    return "File Format=MacCaption_MCC V" + version +
           "\n\n// Time Code Rate=[24, 25]\nTime Code Rate=" + rate + "\n\n" + lines;
}
std::string mccLines(const std::vector<Packet>& packets) {
    std::string lines;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        lines += fmt::format("01:00:00:{:02}\t{}\n", i, ancillary(packets[i]));
    }
    return lines;
}

const std::string srtBlock = "1\n00:00:10,000 --> 00:00:12,000\nHello\n\n";

}  // namespace

TEST(CaptionChecker, CleanFilesGiveNoRemark) {
    Packet second;
    second.sequence = 1;
    const struct {
        std::string file, format;
        std::int64_t blocks, pairs, packets;
    } cases[] = {
        {scc("01:00:00;00\t" + caption + "\n\n01:00:02;00\t942c 942c\n"), "SCC", 2, 11, 0},
        {scc("01:00:00;00\t9420 9420 9470 9470 c8e9 942f 942f\n01:00:00;07\t942c 942c\n"), "SCC", 2, 9, 0},
        {mcc(mccLines({Packet(), second})), "MCC", 2, 4, 2},
        {mcc("01:00:00:00\t" + ancillary(Packet()) + "\n", "30"), "MCC", 1, 2, 1},
        {mcc("01:00:00:00.1,9\t" + ancillary(Packet()) + "\n", "30", "2.0"), "MCC", 1, 2, 1},
        {srtBlock + "2\n00:00:13,000 --> 00:00:14,000\nIt's \u201Cfine\u201D\n", "SubRip", 2, 0, 0},
        {"\xEF\xBB\xBF" + srtBlock, "SubRip", 1, 0, 0},
        {withField(withField(stlFile({{"\x0D\x0B\x0BHello\x0A\x0A"}, {"\302ete", 3, 4}}), 243, "00002"), 256,
                   "0000000000000100"),
         "EBU STL", 2, 0, 0},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::string file = cases[i].file;
        if (cases[i].format == "EBU STL") file[1024 + 128 + 1] = 2;
        const auto report = check(file);
        EXPECT_EQ(textOf(report.remarks), "") << cases[i].format << i;
        EXPECT_TRUE(report.readable) << i;
        EXPECT_EQ(report.format, cases[i].format);
        EXPECT_EQ(report.blocks, cases[i].blocks) << i;
        EXPECT_EQ(report.pairs, cases[i].pairs) << i;
        EXPECT_EQ(report.packets, cases[i].packets) << i;
    }
}

TEST(CaptionChecker, SCCLinesAreCheckedToTheEnd) {
    const std::string good = "01:00:00;00\t" + caption + "\n";
    const std::string later = "01:00:09;00\t942c 942c\n";
    expectRemarks({
        {good, Kind::Format, "", "lacks its header", false},
        {good + sccHeader, Kind::Format, "", "does not stand alone in the first line", false},
        {"Scenarist_SCC V1.0 \n" + good, Kind::Format, "", "does not stand alone in the first line", false},
        {"\xEF\xBB\xBF" + scc(good), Kind::Format, "", "byte order mark"},
        {scc(""), Kind::Loss, "", "no caption line", false},
        {scc(good + "01:00:05;00 942c 942c\n" + later), Kind::Format, "01:00:05;00", "must be a tab"},
        {scc(good + "01:00:05;00 942c 942c\n" + later + later), Kind::Loss, "",
         "stops reading at this line: 2 caption lines behind it are not played"},
        {scc(good + " 01:00:05;00\t942c 942c\n"), Kind::Format, "01:00:05;00", "at the start of its line"},
        {scc(good + "whatever\n"), Kind::Format, "", "\"whatever\" does not start with a timecode"},
        {scc("01:00:00;00\t9420 94zz 9420\n"), Kind::Format, "01:00:00;00", "\"94zz\" is not hexadecimal",
         false},
        {scc("01:00:00;00\t9420 94 9420\n"), Kind::Format, "01:00:00;00", "\"94\" has 2 digits"},
        {scc("01:00:00;31\t942c 942c\n"), Kind::Timecode, "01:00:00;29",
         "has frame 31, but a second ends with 29"},
        {scc("01:01:00;01\t942c 942c\n"), Kind::Timecode, "01:01:00;02", "drop-frame counting leaves out"},
        {scc("25:00:00;00\t942c 942c\n"), Kind::Timecode, "23:00:00;00", "hour 25"},
        {scc("01:60:00;00\t942c 942c\n"), Kind::Timecode, "01:59:00;02", "minute 60"},
        {scc("01:00:00.00\t942c 942c\n"), Kind::Timecode, "01:00:00;00", "not separated", false},
        {scc(good + "01:00:09:00\t942c 942c\n"), Kind::Timecode, "01:00:09;00", "starts with drop-frame"},
        {scc(later + good), Kind::Timecode, "01:00:00;00",
         "runs backwards: the line before is at 01:00:09;00"},
        {scc(later + later), Kind::Timecode, "01:00:09;00", "same timecode"},
        {scc(good + "01:00:00;08\t942c 942c\n"), Kind::Timing, "01:00:00;00",
         "needs 9 frames, one for each pair, but the next line starts after 8: 1 too many"},
        {scc(good + "01:00:00;05\t942c 942c\n"), Kind::Timing, "01:00:00;00", "appears 3 frames too late"},
        {scc("01:00:00;00\t9420 9420 9470 9470 4869 942f 942f\n"), Kind::Parity, "01:00:00;04",
         "48 does not have odd parity: a receiver may leave it out. Found 2 times, the last at 01:00:00;04."},
        {scc("01:00:00;00\t9420 94ae 94ae 9470 9470 c8e9 942f\n"), Kind::Code, "01:00:00;00",
         "2 of 4 control codes come only once, the first of them 1420 (Resume Caption Loading); the others "
         "come "
         "twice."},
        {scc(good + "01:00:09;00\t1c60 1c60\n01:00:10;00\t9040 16a8\n"), Kind::Code, "01:00:10;01",
         "without meaning, 1628"},
        {scc("01:00:00;00\t9420 9420 9470 9470 c8e9\n01:00:01;00\t94ae 94ae\n"), Kind::Loss, "01:00:00;04",
         "erased at 01:00:01;00 before it was shown"},
        {scc("01:00:00;00\t9420 9420 9470 9470 c8e9\n"), Kind::Loss, "01:00:00;04", "never shown"},
        {scc(good + "\r01:00:09;00\t942c 942c\n"), Kind::Format, "", "carriage return alone"},
    });
}

TEST(CaptionChecker, CodesThatComeTwiceAreNotTakenForSingleOnes) {
    const std::string cases[] = {
        "9420 9420 94ae 94ae 9470 9470 c8e9 942f 942f",
        "9420 8080 9420 9470 9470 c8e9 942f 942f",  // one null pair between
        "9420 9420 9425 9425 94ad 94ad c8e9",       // rolled up, so nothing waits to be shown
    };
    for (const auto& words : cases) {
        EXPECT_EQ(textOf(check(scc("01:00:00;00\t" + words + "\n")).remarks), "") << words;
    }
    // Nor is anything missing where no code comes twice.
    EXPECT_EQ(textOf(check(scc("01:00:00;00\t9420 9470 c8e9 942f\n")).remarks), "");
    // Across the end of a line, when the next one follows without a pause; not when it does not.
    const std::string start = "01:00:00;00\t9420\n01:00:00;0";
    EXPECT_EQ(textOf(check(scc(start + "1\t9420 9470 9470 c8e9 942f 942f\n")).remarks), "");
    EXPECT_THAT(textOf(check(scc(start + "5\t9420 9470 9470 c8e9 942f 942f\n")).remarks),
                HasSubstr("only once"));
}

TEST(CaptionChecker, MCCLinesAreCheckedToTheEnd) {
    const std::string data = ancillary(Packet());
    const std::string good = "01:00:00:00\t" + data + "\n";
    const std::string later = "01:00:09:00\t" + data + "\n";
    const std::string noSum = data.substr(0, data.size() - 2);
    expectRemarks({
        {"Time Code Rate=30\n" + good, Kind::Format, "", "does not say in its first line", false},
        {"Time Code Rate=30DF\nFile Format=MacCaption_MCC V1.0\n" + good, Kind::Format, "", "not the first",
         false},
        {mcc(good, "30DF", "3.0"), Kind::Format, "", "neither", false},
        {"File Format=MacCaption_MCC V1.0\n" + good, Kind::Format, "", "lacks its entry \"Time Code Rate\""},
        {mcc(good, "29.97"), Kind::Format, "", "\"29.97\" is none of", false},
        {mcc(good, "30 DF"), Kind::Format, "", "is read as \"30\""},
        {mcc(good, "25"), Kind::Format, "01:00:00:00",
         "made for 29.97 frames per second, but the timecodes count 25"},
        {mcc(""), Kind::Loss, "", "no caption line", false},
        {mcc("01:00:00:00.1\t" + data + "\n"), Kind::Format, "01:00:00;00", "only version 2.0", false},
        {mcc("01:00:00:00.0,10\t" + data + "\n", "30DF", "2.0"), Kind::Format, "01:00:00;00",
         "cannot read the field and line \".0,10\"", false},
        {mcc(good + "01:00:05:00 " + data + "\n" + later), Kind::Format, "01:00:05;00", "must be a tab"},
        {mcc(good + "01:00:05:00 " + data + "\n" + later), Kind::Loss, "",
         "1 caption line behind it is not played"},
        {mcc(good + "01:00:05:00\t" + data + "g\n"), Kind::Format, "01:00:05;00", "\"g\" stands for nothing"},
        {mcc(good + "01:00:05:00\t" + data + "W\n"), Kind::Format, "01:00:05;00", "\"W\" stands for nothing"},
        {mcc("01:00:00:00\t" + data + "0\n"), Kind::Count, "01:00:00;00", "half a byte"},
        {mcc("01:00:00:00\t6Z1\n"), Kind::Count, "01:00:00;00", "half a byte"},
        {mcc("01:00:00:00\t6101\n"), Kind::Count, "01:00:00;00", "2 bytes: too few"},
        {mcc("01:00:00:00\t" + noSum + "\n"), Kind::Checksum, "01:00:00;00", "lacks its checksum"},
        {mcc("01:00:00:00\t" + noSum + "00\n"), Kind::Checksum, "01:00:00;00",
         "is 00 where the checksum belongs"},
        {mcc("01:00:00:00\t" + noSum + "Z\n"), Kind::Checksum, "01:00:00;00",
         "is 00 where the checksum belongs"},
        {mcc("01:00:00:00\t" + ancillary(Packet().bytes(), 1) + "\n"), Kind::Checksum, "01:00:00;00",
         "should be"},
        {mcc("01:00:00:00\t" + ancillary(Packet().bytes(), 0, 4) + "\n"), Kind::Count, "01:00:00;00",
         "data count is 77"},
        {mcc(good + good), Kind::Loss, "01:00:00;00", "plays the first line of a frame only"},
        {mcc(later + good), Kind::Timecode, "01:00:00;00", "runs backwards"},
        {mcc("01:00:00:31\t" + data + "\n"), Kind::Timecode, "01:00:00;29", "has frame 31"},
        {mcc("01:00:00;00\t" + data + "\n", "30"), Kind::Timecode, "01:00:00:00", "written as drop-frame"},
        {mcc(good + "nonsense\n" + later), Kind::Format, "", "neither an entry"},
    });
}

TEST(CaptionChecker, DistributionPacketsAreTakenApart) {
    const auto one = [](auto change) {
        Packet packet;
        change(packet);
        return mcc(mccLines({packet}));
    };
    const auto two = [](auto change) {
        Packet second;
        second.sequence = 1;
        change(second);
        return mcc(mccLines({Packet(), second}));
    };
    const std::string first = "01:00:00;00", second = "01:00:00;01";
    // The start of a caption channel packet of number n and s times two bytes.
    const auto start = [](int n, int s) { return std::vector<int>{0xFF, n << 6 | s, 0x22}; };
    const auto together = [](std::vector<int> a, const std::vector<int>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    expectRemarks({
        {one([](Packet& p) { p.identifier = 0x95; }), Kind::Format, first, "does not start with 96 69"},
        {one([](Packet& p) { p.lengthError = 1; }), Kind::Count, first,
         "says that it has 74 bytes, but it has 73"},
        {one([](Packet& p) { p.checksumError = 1; }), Kind::Checksum, first, "The packet's checksum is"},
        {one([](Packet& p) { p.rate = 9; }), Kind::Format, first, "rate code 9 means nothing"},
        {one([](Packet& p) { p.count = 18; }), Kind::Count, first,
         "18 triplets of caption data; at 29.97 frames per second it takes 20"},
        {one([](Packet& p) { p.footerSequence = 7; }), Kind::Sequence, first,
         "0 in its header and 7 in its footer"},
        {one([](Packet& p) {
             p.sections = {0x75, 0x01, 0x00};
         }),
         Kind::Code, first, "section 75"},
        {one([](Packet& p) {
             p.sections = {0x73, 0xF9};
         }),
         Kind::Count, first, "section 73 says that it has 65"},
        {one([](Packet& p) { p.flags = 0xC3; }), Kind::Format, first, "promise a time code"},
        {one([](Packet& p) { p.flags = 0x03; }), Kind::Format, first, "holds caption data, but its flags"},
        {one([](Packet& p) { p.triplets = {0xFE, 0x02, 0x21, 0xFC, 0x80, 0x80}; }), Kind::Code, first,
         "stands behind CEA-708 data"},
        {one([](Packet& p) {
             p.triplets = {0xFC, 0x80, 0x00};
         }),
         Kind::Parity, first, "00 does not have odd parity"},
        {two([](Packet& p) { p.sequence = 5; }), Kind::Sequence, second, "goes from 0 to 5"},
        {two([](Packet& p) { p.sequence = 0; }), Kind::Sequence, second,
         "sequence number of the one before, 0"},
        {one([&](Packet& p) { p.triplets = together(start(0, 1), start(2, 1)); }), Kind::Sequence, first,
         "caption channel's sequence number goes from 0 to 2"},
        {one([&](Packet& p) { p.triplets = together(start(3, 2), start(0, 1)); }), Kind::Count, first,
         "lacks its last 2 bytes"},
        {one([&](Packet& p) {
             p.triplets = together(start(3, 1), {0xFE, 0x22, 0x22});
         }),
         Kind::Code, first, "goes on behind the end"},
    });
    Packet wrapping;
    wrapping.triplets = together(start(3, 1), start(0, 1));
    EXPECT_EQ(textOf(check(mcc(mccLines({wrapping}))).remarks), "");
    // Counters of 4 and 8 bits, as some writers have them, wrap early; size 0 means 128 bytes.
    for (const int last : {0x0F, 0xFF, 0xFFFF}) {
        Packet before, after;
        before.sequence = last;
        after.triplets = start(1, 0);
        EXPECT_EQ(textOf(check(mcc(mccLines({before, after}))).remarks), "") << last;
    }
}

TEST(CaptionChecker, SubRipBlocksAreFoundBehindWhatStopsTheReader) {
    const auto at = [](const std::string& times, const std::string& text = "Hello") {
        return "1\n" + times + "\n" + text + "\n\n";
    };
    const auto saying = [&](const std::string& text) { return at("00:00:10,000 --> 00:00:12,000", text); };
    const std::string second = "2\n00:00:20,000 --> 00:00:22,000\nMore\n\n";
    const std::string bare = "00:00:20,000 --> 00:00:22,000\nMore\n\n";
    const std::string ten = "00:00:10;00";
    std::string utf16 = "\xFF\xFE";
    for (const char c : srtBlock) utf16 += {c, '\0'};
    expectRemarks(
        {
            {"", Kind::Loss, "", "holds no subtitle", false},
            {utf16, Kind::Format, "", "UTF-16", false},
            {saying("Gr\374\337e"), Kind::Format, "", "not UTF-8"},
            {saying("One\n// two"), Kind::Loss, "", "taken for a comment"},
            {at("0:00:10,000 --> 00:00:12,000") + second, Kind::Format, "", "\"0:00:10,000\" is not written",
             false},
            {srtBlock + "2\n00:00:20.000 --> 00:00:22,000\nMore\n\n" + second, Kind::Loss, "",
             "it cannot read the times. 2 of 3 blocks are lost"},
            {srtBlock + "\n" + second, Kind::Loss, "",
             "expects the times of a block here. 1 of 2 blocks are lost"},
            {srtBlock + "2\n00:00:20,000 --> 00:00:22,000\n\n3\n00:00:30,000 --> 00:00:32,000\nMore\n",
             Kind::Loss, "", "the block has no text. 2 of 3 blocks are lost"},
            {at("00:00:10,000-->00:00:12,000"), Kind::Format, "", "needs one space", false},
            {at("00:00:10,000 --> 00:00:72,000"), Kind::Timecode, "", "\"00:00:72,000\" does not exist"},
            {at("00:00:10,000 --> 00:00:09,000"), Kind::Timecode, ten,
             "ends at 00:00:09;00, before it begins"},
            {at("00:00:10,000 --> 00:00:10,000"), Kind::Timecode, ten, "on the frame on which it begins"},
            {srtBlock + bare, Kind::Format, "00:00:20;00", "has no number"},
            {srtBlock + "5\n" + bare, Kind::Format, "00:00:20;00", "number 5 where 2 was to come"},
            {srtBlock + "2\n00:00:05,000 --> 00:00:06,000\nMore\n\n", Kind::Timecode, "00:00:05;00",
             "run backwards"},
            {srtBlock + "2\n00:00:11,000 --> 00:00:13,000\nMore\n\n", Kind::Overlap, "00:00:11;00",
             "before the one before it ends, at 00:00:12;00"},
            {saying("<b>Hello"), Kind::Code, ten, "\"<b>\" is not understood"},
            {saying("{\\an8}Hello"), Kind::Code, ten, "will be shown as text"},
            {saying(std::string(33, 'x')), Kind::Length, ten, "33 characters, and a row 32"},
            {saying("1\n2\n3\n4\n5"), Kind::Length, ten,
             "takes 5 rows of 32 characters, and there is room for 4"},
            {saying(std::string(1001, 'x')), Kind::Length, ten,
             "1001 characters, more than any screen holds"},
            {saying("Über"), Kind::Code, ten, "cannot send \"Ü\"; \"U\" is sent"},
            {saying("日本"), Kind::Loss, ten,
             "cannot send 2 characters, here and later (\"日本\"): they are left out"},
            {saying("\xF0\x9F\x98\x80"), Kind::Loss, ten, "left out"},
            // Loading takes a start of 2 pairs, a position of 2 and 16 of text.
            {srtBlock + "2\n00:00:10,500 --> 00:00:15,000\nThirty-two characters in one row\n\n",
             Kind::Timing, "00:00:10;15", "late. Make it shorter"},
            {"1\n00:00:00,000 --> 00:00:02,000\nabcd\n\n", Kind::Timing, "00:00:00;00",
             "takes 6 frames to send, and there are 0 before it is due: it appears 6 frames late"},
        },
        ".srt");
}

TEST(CaptionChecker, SubRipIsMeasuredByItsTarget) {
    Options options;
    options.columns = 38;
    options.allowWestEuropean = true;
    const auto file = [](const std::string& text) {
        return "1\n00:00:10,000 --> 00:00:12,000\n" + text + "\n\n";
    };
    EXPECT_EQ(textOf(check(file(std::string(38, 'x')), "", options).remarks), "");
    EXPECT_EQ(textOf(check(file("Über"), "", options).remarks), "");
    options.teletext = true;
    EXPECT_THAT(textOf(check(file("Řeka"), "", options).remarks),
                HasSubstr("teletext character set lacks \"Ř\""));
    EXPECT_EQ(textOf(check("1\n00:00:00,000 --> 00:00:02,000\nAt once\n\n", "", options).remarks), "");
    // Two pairs show the caption before; then come a start of 2, a position of 2 and 6 of text.
    const auto after = [](const char* begin) {
        return fmt::format(
            "1\n00:00:10,000 --> 00:00:10,300\nHello\n\n2\n00:00:10,{} --> 00:00:12,000\nabcdefghijkl\n",
            begin);
    };
    EXPECT_EQ(textOf(check(after("400")).remarks), "");
    EXPECT_THAT(
        textOf(check(after("367")).remarks),
        HasSubstr("takes 10 frames to send, and there are 9 before it is due: it appears 1 frame late"));
    // At 50 frames a second a field's pairs come on every second frame.
    options = Options();
    options.timebase = ZQCKTimebase::timebaseForFramerate(5);
    EXPECT_THAT(textOf(check("1\n00:00:00,000 --> 00:00:02,000\nabcd\n\n", "", options).remarks),
                HasSubstr("takes 12 frames"));
}

TEST(CaptionChecker, STLFieldsAndBlocksAreCompared) {
    // One subtitle, announced as one.
    const auto file = [](TextBlock block) { return withField(stlFile({block}), 243, "00001"); };
    const std::string good = withField(file({"Hello"}), 256, "0000000000000000");
    const auto changed = [&](std::size_t offset, std::string_view field) {
        return withField(good, offset, field);
    };
    const auto with = [&](TextBlock block) { return withField(file(block), 256, "0000000000000000"); };
    const auto blocks = [](std::initializer_list<TextBlock> list, const char* subtitles) {
        return withField(withField(stlFile(list), 243, subtitles), 256, "0000000000000000");
    };
    const auto block = [](int number, int in, int out, int cumulative = 0, int extension = 0xFF) {
        TextBlock result{"Hello", in, out};
        result.number = number;
        result.cumulative = cumulative;
        result.extension = extension;
        return result;
    };
    TextBlock low{"One\x8ATwo"}, odd{"Hello"}, early{"Hello", 5, 4};
    low.row = 23;
    odd.row = 0;
    odd.justification = 7;
    const std::string one = "00:00:01:00";
    ASSERT_EQ(textOf(check(good).remarks), "");
    expectRemarks({
        {changed(3, "STL24.01"), Kind::Format, "", "\"STL24.01\" is neither", false},
        {changed(0, "123"), Kind::Format, "", "code page \"123\""},
        {changed(11, "7"), Kind::Format, "", "display standard \"7\""},
        {changed(12, "01"), Kind::Code, "", "\"01\" (Cyrillic)"},
        {changed(14, "2F"), Kind::Format, "", "language code \"2F\""},
        {changed(272, "12"), Kind::Format, "", "disk 2 of 1"},
        {changed(238, "00002"), Kind::Count, "", "announces 2 blocks, but holds 1", false},
        {changed(238, "00000"), Kind::Loss, "", "does not read the last 1"},
        {good + "x", Kind::Count, "", "1 bytes that make no whole block"},
        {changed(243, "00004"), Kind::Count, "", "announces 4 subtitles, but holds 1"},
        {changed(255, "0"), Kind::Timecode, "", "not to be used"},
        {changed(256, "0000000x"), Kind::Timecode, "",
         "start of the programme, \"0000000x\", is not made of digits"},
        {changed(256, "10000000"), Kind::Timecode, one, "do not count from the same time"},
        {changed(264, "00000500"), Kind::Timecode, one,
         "first subtitle is at 00:00:05:00, but it is at 00:00:01:00"},
        {good.substr(0, 1000), Kind::Format, "", "fewer than its general block", false},
        {with(block(1, 1, 2, 0, 0xF3)), Kind::Format, one, "extension number F3 is reserved"},
        {with(block(1, 1, 2, 0, 0)), Kind::Sequence, one, "goes on in a block that is missing"},
        {blocks({block(1, 1, 2), block(4, 3, 4)}, "00002"), Kind::Sequence, "00:00:03:00",
         "4 comes behind subtitle 1"},
        {with(block(1, 1, 2, 1)), Kind::Sequence, one, "begins here has no last"},
        {with(block(1, 1, 2, 3)), Kind::Sequence, one, "that has no first one"},
        {with(odd), Kind::SafeArea, one, "Subtitle 1: The row 0 lies outside the 1 to 23"},
        {with(odd), Kind::Format, one, "justification code 7"},
        {with(low), Kind::SafeArea, one, "runs out of the screen"},
        {with(block(1, 70, 80)), Kind::Timecode, "00:00:59:00", "has second 70"},
        {with(early), Kind::Timecode, "00:00:05:00", "before it begins"},
        {with(block(1, 5, 5)), Kind::Timecode, "00:00:05:00", "on the frame on which it begins"},
        {blocks({block(1, 5, 6), block(2, 3, 4)}, "00002"), Kind::Timecode, "00:00:03:00", "run backwards"},
        {blocks({block(1, 1, 4), block(2, 3, 5)}, "00002"), Kind::Overlap, "00:00:03:00",
         "ends, at 00:00:04:00"},
        {with({"a\206b"}), Kind::Code, one, "control code 86 is reserved"},
        {with({"a\200b"}), Kind::Code, one, "for open subtitles"},
        {withField(with({"a\007b"}), 11, "0"), Kind::Code, one, "teletext code 07"},
        {with({"\302B"}), Kind::Code, one, "accent C2 cannot stand on \"B\""},
        {with({"a\xC2"}), Kind::Code, one, "has no letter behind it"},
        {with({"a\217b"}), Kind::Format, one, "behind the unused space"},
        {with({"1\2122\2123\2124"}), Kind::Length, one, "4 rows of text"},
        {with({std::string(37, 'x')}), Kind::Length, one, "takes 41 columns"},
    });
    // 40 columns, with the box codes that are there or will be added.
    const std::string full(36, 'x');
    EXPECT_EQ(textOf(check(with({full + "\212" + full})).remarks), "");
    EXPECT_EQ(textOf(check(with({"\013\013" + full + "\012\012"})).remarks), "");
    // A whole cumulative set, a text over two blocks and notes at time zero are as they should be.
    EXPECT_EQ(textOf(check(blocks({block(0, 0, 0), block(1, 1, 9, 1), block(2, 2, 9, 2), block(3, 3, 9, 3),
                                   block(4, 10, 12, 0, 0), block(4, 10, 12)},
                                  "00005"))
                         .remarks),
              "");
}

TEST(CaptionChecker, RepeatedFindingsAreToldOnceAndTheListIsBounded) {
    std::string file = sccHeader;
    for (int i = 0; i < 3000; ++i) {
        file += fmt::format("{:02}:{:02}:{:02};05\t{} {}\n", i / 3600, i / 60 % 60, i % 60, caption, caption);
        file += fmt::format("{:02}:{:02}:{:02};06\t4a4a zz\n", i / 3600, i / 60 % 60, i % 60);
    }
    const auto report = check(file);
    EXPECT_LT(report.remarks.size(), 30U);
    EXPECT_EQ(report.badWords, 3000);
    EXPECT_THAT(textOf(report.remarks), HasSubstr("2990 more like this follow, the last at 00:49:59;05."));

    std::string characters = "1\n00:00:10,000 --> 00:00:12,000\n";
    Options teletext;
    teletext.teletext = true;
    for (char16_t c = 0x400; c < 0x600; ++c)
        characters += utf8FromUTF16({&c, 1}) + (c % 32 == 31 ? "\n" : "");
    const auto many = check(characters, ".srt", teletext);
    EXPECT_EQ(many.remarks.size(), ZQRCaptionChecker::maximumRemarks + 1);
    EXPECT_THAT(many.remarks.back().text, HasSubstr("more findings are not listed here"));
}

TEST(CaptionChecker, FilesAreToldApartByContentAndAnswerWhenTheyAreNone) {
    const TempDirectory folder;
    const auto formatOf = [&](const std::string& name, std::string_view content) {
        return ZQRCaptionChecker::checkFile(folder.write(name, content)).format;
    };
    EXPECT_EQ(formatOf("a.txt", srtBlock), "SubRip");
    EXPECT_EQ(formatOf("b.srt", scc("00:00:00;00\t942c\n")), "SCC");
    EXPECT_EQ(formatOf("c", "00:00:00:00\t942c 942c\n"), "SCC");
    EXPECT_EQ(formatOf("d", "00:00:00:00\t6101T49S\n"), "MCC");
    EXPECT_EQ(formatOf("e.STL", ""), "EBU STL");
    EXPECT_EQ(formatOf("f.srt", ""), "SubRip");
    EXPECT_EQ(formatOf("g", generalBlock(0)), "EBU STL");
    const auto unknown = ZQRCaptionChecker::checkFile(folder.write("h.txt", "Dear reader"));
    EXPECT_EQ(unknown.format, "unknown");
    ASSERT_EQ(unknown.remarks.size(), 1U);
    for (const auto& path : {folder.path("missing.scc"), folder.path("")}) {
        const auto report = ZQRCaptionChecker::checkFile(path);
        EXPECT_FALSE(report.readable);
        ASSERT_EQ(report.remarks.size(), 1U);
        EXPECT_THAT(report.remarks[0].text, HasSubstr("cannot be read"));
    }
}

TEST(CaptionChecker, StreamsAreCheckedFrameByFrame) {
    const auto base = ZQCKTimebase::timebaseForFramerate(3);
    const auto frame = [&](int n) { return ZQCKTimecode::timecodeWithFrames(n, base); };
    const auto cdp = [](const Packet& packet) -> ZQRVANCPacketPtr {
        return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(ZQData::copying(packet.bytes()), 1);
    };
    const auto pair = [](std::uint8_t hi, std::uint8_t lo) -> ZQRVANCPacketPtr {
        const std::uint8_t bytes[] = {hi, lo};
        return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(ZQData::copying(bytes), 0);
    };
    ZQRCaptionChecker clean;
    for (int i = 0; i < 10; ++i) {
        Packet packet;
        packet.sequence = i;
        clean.addVancPackets({cdp(packet)}, frame(i));
    }
    const auto cleanReport = clean.finish(frame(10));
    EXPECT_EQ(textOf(cleanReport.remarks), "");
    EXPECT_TRUE(cleanReport.readable);
    EXPECT_EQ(cleanReport.packets, 10);
    EXPECT_EQ(cleanReport.pairs, 20);
    EXPECT_EQ(describe(cleanReport.last), "00:00:00;09");

    ZQRCaptionChecker broken;
    Packet jump;
    jump.sequence = 8;
    jump.rate = 3;
    jump.count = 24;
    broken.addVancPackets({cdp(Packet())}, frame(5));
    broken.addVancPackets({cdp(jump), cdp(Packet())}, frame(4));
    broken.addVancPackets({pair(0x14, 0x20), pair(0x41, 0x80)}, frame(6));
    const std::string text = textOf(broken.finish(frame(7)).remarks);
    for (const char* const words :
         {"timecode 00:00:00;04 0 The timecode runs backwards", "carries 2 caption packets",
          "goes from 0 to 8", "made for 25 frames per second, but the timecodes count 29.97",
          "parity 00:00:00;06"}) {
        EXPECT_THAT(text, HasSubstr(words));
    }
    ZQRCaptionChecker silent;
    silent.addVancPackets({}, frame(0));
    EXPECT_FALSE(silent.finish(frame(1)).readable);
}

TEST(CaptionChecker, AnHourOfCaptionsTakesFarLessThanASecond) {
    std::string file = sccHeader;
    for (int i = 0; i < 3600; ++i) {
        file += fmt::format("01:{:02}:{:02};02\t", i / 60, i % 60);
        for (int j = 0; j < 3; ++j) file += caption + " ";
        file += "\n\n";
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(check(file).pairs, 3600 * 27);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}
