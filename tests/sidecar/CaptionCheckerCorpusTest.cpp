// The check against files of other makers whose facts were counted by somebody else.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "SharedData.h"
#include "zenquor/sidecar/ZQRCaptionChecker.h"

using namespace zenquor;
using namespace zenquor::test;

namespace {

/// The lines of the index by file name.
std::map<std::string, std::string> index() {
    std::map<std::string, std::string> facts;
    std::istringstream lines(readSharedData("INDEX.tsv"));
    for (std::string line; std::getline(lines, line);) facts[line.substr(0, line.find('\t'))] = line;
    return facts;
}

}  // namespace

TEST(CaptionCheckerCorpus, CountsAreThoseOfTheIndex) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const std::regex measured(
        "measured: ([0-9]+) timecoded lines.*separator (.) .*?([0-9]+) words, ([0-9]+) bytes with bad odd "
        "parity, "
        "([0-9]+) non-hex");
    int files = 0;
    for (const auto& [name, facts] : index()) {
        std::smatch match;
        if (name.substr(0, 4) != "scc/" || !std::regex_search(facts, match, measured)) continue;
        ++files;
        const auto report = ZQRCaptionChecker::checkFile(sharedData(name));
        EXPECT_EQ(report.format, "SCC") << name;
        EXPECT_EQ(report.blocks, std::stol(match[1])) << name;
        EXPECT_TRUE(report.blocks == 0 || report.dropFrame == (match[2] == ";")) << name;
        EXPECT_EQ(report.pairs, std::stol(match[3])) << name;
        EXPECT_EQ(report.badParityBytes, std::stol(match[4])) << name;
        EXPECT_EQ(report.badWords, std::stol(match[5])) << name;
        const auto count = [&](ZQRCaptionRemark::Kind kind) {
            return std::count_if(report.remarks.begin(), report.remarks.end(),
                                 [&](const ZQRCaptionRemark& remark) { return remark.kind == kind; });
        };
        EXPECT_EQ(count(ZQRCaptionRemark::Kind::Parity), report.badParityBytes > 0 ? 1 : 0) << name;
    }
    EXPECT_GE(files, 30);
}

TEST(CaptionCheckerCorpus, EverySubtitleFileIsReadToItsEnd) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const std::regex timings("([0-9]+) timing lines");
    const std::regex blocks("; ([0-9]+) TTI");
    int files = 0;
    for (const auto& [name, facts] : index()) {
        std::smatch match;
        const bool isSRT = name.substr(0, 4) == "srt/" && std::regex_search(facts, match, timings);
        const bool isSTL = name.substr(0, 8) == "ebustl/t" && std::regex_search(facts, match, blocks);
        if (!isSRT && !isSTL) continue;
        ++files;
        const auto report = ZQRCaptionChecker::checkFile(sharedData(name));
        EXPECT_EQ(report.format, isSRT ? "SubRip" : "EBU STL") << name;
        EXPECT_EQ(report.blocks, std::stol(match[1])) << name;
        const bool isOtherEncoding =
            facts.find("utf-16") != std::string::npos || facts.find("not UTF-8") != std::string::npos;
        bool isTold = false;
        for (const auto& remark : report.remarks)
            isTold = isTold || remark.text.find("UTF-8") != std::string::npos;
        EXPECT_EQ(isTold, isOtherEncoding) << name;
    }
    EXPECT_GE(files, 20);
}
