// Subtitle files of other makers: what the index beside them measured must hold for what is read here.

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "SharedData.h"
#include "Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLBlock.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

namespace zenquor {
namespace {

using test::LogCapture;

/// What the index says about the files of a folder, by path inside the data folder.
std::map<std::string, std::string> indexOf(const std::string& folder, const std::string& extension) {
    std::map<std::string, std::string> rows;
    std::istringstream index(test::readSharedData("INDEX.tsv"));
    for (std::string line; std::getline(index, line);) {
        const std::string name = line.substr(0, line.find('\t'));
        if (name.starts_with(folder) && name.ends_with(extension)) rows[name] = line;
    }
    return rows;
}

/// The groups of the first match; empty, and a failure, without one.
std::vector<std::string> find(const std::string& text, const char* pattern) {
    std::smatch match;
    if (!std::regex_search(text, match, std::regex(pattern))) {
        ADD_FAILURE() << "no " << pattern << " in " << text;
        return std::vector<std::string>(8);
    }
    return {match.begin() + 1, match.end()};
}

std::int32_t number(const std::string& text, int base = 10) {
    return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, base));
}

/// The numbers of a list such as "0, 2"; base 16 for keys such as "'FF': 1, '00': 2".
std::set<std::int32_t> numbers(const std::string& text, const char* pattern = "(\\d+)", int base = 10) {
    std::set<std::int32_t> values;
    const std::regex one(pattern);
    for (std::sregex_iterator match(text.begin(), text.end(), one), end; match != end; ++match) {
        values.insert(number((*match)[1], base));
    }
    return values;
}

/// Plays from the first block to behind the last, frame by frame: every line of a block that lasts must be
/// sent, or counted as dropped. @return the teletext rows sent.
std::size_t playRows(ZQRSubtitleSidecar& sidecar) {
    const auto& blocks = sidecar.subtitleBlocks();
    std::size_t rows = 0;
    std::size_t lines = 0;
    std::uint32_t end = 0;
    for (const auto& block : blocks) {
        const std::uint32_t out = block->timecodeOut().framesSinceMidnight();
        if (block->timecodeIn().framesSinceMidnight() < out) lines += block->lines().size();
        end = std::max(end, out);
    }
    auto frame = blocks.empty() ? ZQCKTimecode() : blocks.front()->timecodeIn();
    for (auto left = static_cast<int>(end - frame.framesSinceMidnight()) + 2; left > 0; --left) {
        const auto packets = sidecar.vancPacketsAtTimecode(frame);
        EXPECT_EQ(packets.size(), 2U);
        const auto sent = ZQRVANCOP47Packet::initWithDID(0x43, 2, 12, packets.at(0)->sdiData());
        EXPECT_TRUE(sent->valid());
        for (const auto& packet : sent->packets()) rows += packet.valid() && packet.isDisplayable();
        frame.addFrames(1);
    }
    const auto output = std::static_pointer_cast<ZQRSubtitleOutputOP47>(sidecar.output());
    EXPECT_EQ(rows + output->droppedRows(), lines);
    return rows;
}

void compareGeneralBlock(const ZQREBUSTLSidecar& file, const std::string& row) {
    const auto head = find(
        row,
        "CPN (\\S+) DFC (\\S+) DSC '(.)' CCT '(..)' LC '(..)' TNB (\\d+)\\s+TNS (\\d+)\\s+TNG (\\d+)\\s");
    const auto more = find(row, "MNC (\\d+) MNR (\\d+) TCS '(.)' TCP (\\d{8}) TCF (\\d{8}) CO '([^']*)'");
    EXPECT_EQ(file.diskFormatCode(), head[1]);
    EXPECT_EQ(file.languageCode(), number(head[4], 16));
    const std::pair<std::int32_t, std::string> fields[] = {
        {file.codePageNumber(), head[0]},
        {file.displayStandardCode(), head[2]},
        {file.characterCodeTableNumber(), head[3]},
        {file.totalNumberOfTTIBlocks(), head[5]},
        {file.totalNumberOfSubtitles(), head[6]},
        {file.totalNumberOfSubtitleGroups(), head[7]},
        {file.maximumNumberOfDisplayableCharactersInAnyTextRow(), more[0]},
        {file.maximumNumberOfDisplayableRows(), more[1]},
        {file.timecodeStatus(), more[2]}};
    for (const auto& [field, text] : fields) EXPECT_EQ(field, number(text)) << row;
    ASSERT_TRUE(file.timecodeStartOfProgramme() && file.timecodeFirstInCue());
    EXPECT_EQ(file.timecodeStartOfProgramme()->descriptionWithSeparator(""), more[3]);
    EXPECT_EQ(file.timecodeFirstInCue()->descriptionWithSeparator(""), more[4]);
    EXPECT_EQ(file.countryOfOrigin(), more[5]);
}

/// The times of the first and the last block.
std::vector<std::string> timesOf(const ZQRSubtitleBlockList& blocks) {
    const auto& first = *blocks.front();
    const auto& last = *blocks.back();
    return {first.timecodeIn().description(), first.timecodeOut().description(),
            last.timecodeIn().description(), last.timecodeOut().description()};
}

void compareTextBlocks(const ZQREBUSTLSidecar& sidecar, const std::string& row) {
    const auto facts = find(row,
                            "; (\\d+) TTI, first TCI (\\S+) TCO (\\S+), last TCI (\\S+) TCO (\\S+), EBN "
                            "\\{([^}]*)\\}, CS \\[([^\\]]*)\\] JC \\[([^\\]]*)\\]");
    const auto& blocks = sidecar.subtitleBlocks();
    ASSERT_EQ(blocks.size(), static_cast<std::size_t>(number(facts.at(0))));
    EXPECT_EQ(timesOf(blocks), std::vector<std::string>(facts.begin() + 1, facts.begin() + 5));
    const auto place = find(row, "VP \\[([^\\]]*)\\] CF \\[([^\\]]*)\\]");
    std::set<std::int32_t> extensions, statuses, justifications, rows, comments;
    for (const auto& block : blocks) {
        const auto& text = dynamic_cast<const ZQREBUSTLBlock&>(*block);
        extensions.insert(text.extensionBlockNumber());
        statuses.insert(text.cumulativeStatus());
        justifications.insert(text.justification());
        rows.insert(text.verticalPosition());
        comments.insert(text.comment());
    }
    EXPECT_EQ(extensions, numbers(facts[5], "'([0-9A-Fa-f]+)'", 16));
    EXPECT_EQ(statuses, numbers(facts[6]));
    EXPECT_EQ(justifications, numbers(facts[7]));
    EXPECT_EQ(rows, numbers(place.at(0)));
    EXPECT_EQ(comments, numbers(place[1]));
}

TEST(SubtitleCorpus, readsEBUSTLFilesAsMeasuredAndPlaysThem) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const auto index = indexOf("ebustl/", ".stl");
    ASSERT_FALSE(index.empty());
    for (const auto& [name, row] : index) {
        SCOPED_TRACE(name);
        const LogCapture log;
        const auto sidecar = ZQREBUSTLSidecar::initForReadingWithURL(test::sharedData(name), {});
        EXPECT_TRUE(sidecar->valid());
        compareGeneralBlock(*sidecar, row);
        compareTextBlocks(*sidecar, row);
        EXPECT_GT(playRows(*sidecar), 0U);
    }
}

/// Why the reader takes or plays fewer blocks than a file has timing lines. The reader wants numbers, times of twelve
/// characters with a comma, LF or CR LF, UTF-8, and takes the first thing that is otherwise for the end.
const std::map<std::string, std::pair<std::size_t, const char*>> partlyRead = {
    {"srt/astisub_example-in-carriage-return.srt", {0, "lines end in CR alone"}},
    {"srt/astisub_example-in-non-utf8.srt", {0, "UTF-16"}},
    {"srt/astisub_missing-sequence-in.srt", {0, "no numbers, times without milliseconds"}},
    {"srt/mantas_utf16.srt", {0, "UTF-16"}},
    {"srt/babelsubs_Untimed_text.srt", {43, "every block runs from 99:59:59 to 99:59:59, so none is shown"}},
};

TEST(SubtitleCorpus, readsSubRipFilesAsMeasuredOrForAKnownReasonLess) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const auto index = indexOf("srt/", ".srt");
    ASSERT_FALSE(index.empty());
    for (const auto& [name, row] : index) {
        SCOPED_TRACE(name);
        const LogCapture log;
        const auto sidecar = ZQRSRTSidecar::initForReadingWithURL(
            test::sharedData(name),
            {{ZHLSRTSidecar_Property_Output, 0}, {ZHLSRTSidecar_Property_Timebase, 2}});
        const auto& blocks = sidecar->subtitleBlocks();
        auto facts =
            find(row, "(\\d+) timing lines, first (\\S+) --> (\\S+)\\s+last (\\S+) --> ([^\\s,]+,?\\d*)");
        const auto part = partlyRead.find(name);
        const bool isWhole = part == partlyRead.end();
        EXPECT_EQ(blocks.size(),
                  isWhole ? static_cast<std::size_t>(number(facts.at(0))) : part->second.first);
        playRows(*sidecar);
        if (!isWhole || blocks.empty()) continue;
        for (auto& time : facts) {
            if (const auto timecode = ZQCKTimecode::timecodeWithString(time, test::pal))
                time = timecode->description();
        }
        EXPECT_EQ(timesOf(blocks), std::vector<std::string>(facts.begin() + 1, facts.end()));
    }
}

}  // namespace
}  // namespace zenquor
