// Subtitle files of other makers: what the index beside them measured must hold for what is read here.

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "SharedData.h"
#include "Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
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

/// The times of the first and the last block.
std::vector<std::string> timesOf(const ZQRSubtitleBlockList& blocks) {
    const auto& first = *blocks.front();
    const auto& last = *blocks.back();
    return {first.timecodeIn().description(), first.timecodeOut().description(),
            last.timecodeIn().description(), last.timecodeOut().description()};
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
        const auto general = find(row, "DFC (\\S+) .*LC '(..)' TNB (\\d+)\\s.* TCP (\\d{8}) .* CO '([^']*)'");
        EXPECT_EQ(sidecar->diskFormatCode(), general[0]);
        EXPECT_EQ(sidecar->languageCode(), number(general[1], 16));
        EXPECT_EQ(sidecar->totalNumberOfTTIBlocks(), number(general[2]));
        EXPECT_EQ(sidecar->timecodeStartOfProgramme().value().descriptionWithSeparator(""), general[3]);
        EXPECT_EQ(sidecar->countryOfOrigin(), general[4]);
        const auto texts = find(
            row, "; (\\d+) TTI, first TCI (\\S+) TCO (\\S+), last TCI (\\S+) TCO (\\S+), .* VP \\[(\\d+)");
        const auto& blocks = sidecar->subtitleBlocks();
        ASSERT_EQ(blocks.size(), static_cast<std::size_t>(number(texts[0])));
        EXPECT_EQ(timesOf(blocks), std::vector<std::string>(texts.begin() + 1, texts.begin() + 5));
        const auto highest =
            std::min_element(blocks.begin(), blocks.end(), [](const auto& one, const auto& other) {
                return one->verticalPosition() < other->verticalPosition();
            });
        EXPECT_EQ((*highest)->verticalPosition(), number(texts[5]));
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
