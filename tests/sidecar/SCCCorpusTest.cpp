// Every Scenarist file of other makers, played frame by frame, written from what was played, and played again.
#include <algorithm>
#include <map>
#include <regex>

#include "sidecar/SharedData.h"
#include "sidecar/Support.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

namespace fs = std::filesystem;
using Caption = ZQRVANCClosedCaptionPacket;
using Pair = std::pair<std::uint8_t, std::uint8_t>;
using Playout = std::vector<std::pair<std::uint32_t, Pair>>;  // frames that carry more than a null pair

const ZQCKTimebase drop = ZQCKTimebase::timebaseForFramerate(3);

bool isNull(const Pair& pair) {
    return ((pair.first | pair.second) & 0x7F) == 0;
}

/// What was measured about a file when it was collected.
struct Measured {
    std::size_t lines = 0, words = 0;
    std::string first, last;
};

std::map<std::string, Measured> readIndex() {
    const std::regex form(
        R"(scc/([^\t]+\.scc)\t.*measured: (\d+) timecoded lines, first (\S+) last (\S+), .* (\d+) words)");
    std::map<std::string, Measured> index;
    std::ifstream file(test::sharedData("INDEX.tsv"));
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (!std::regex_search(line, match, form)) continue;
        index[match[1]] = {std::stoul(match[2]), std::stoul(match[5]), match[3], match[4]};
    }
    return index;
}

using Captions = std::vector<ZQRSidecarCaptionPtr>;

/// The file's lines, up to the first that does not decode.
Captions readCaptions(const fs::path& path) {
    const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    Captions captions;
    if (sidecar->valid()) captions.push_back(sidecar->currentCaption());
    while (const auto line = sidecar->inputFile()->readLine()) {
        const auto caption = sidecar->decodeCaptionForLine(*line);
        if (!caption) break;
        captions.push_back(caption);
    }
    return captions;
}

std::uint32_t startOf(const ZQRSidecarCaption& caption) {
    return caption.timecode()->framesSinceMidnight();
}

/// What playing should give: each line from its timecode on, but not before the lines before it are through.
Playout expectedPlayout(const Captions& captions) {
    Playout playout;
    std::size_t free = 0;
    for (const auto& caption : captions) {
        const std::size_t start = startOf(*caption);
        const std::size_t pairs = caption->data().size() / 2;
        for (std::size_t i = free > start ? free - start : 0; i < pairs; ++i) {
            const Pair pair(caption->data()[2 * i], caption->data()[2 * i + 1]);
            if (!isNull(pair)) playout.emplace_back(start + i, pair);
        }
        free = std::max({free, start + pairs, start + 1});
    }
    return playout;
}

struct Range {
    std::uint32_t first = 0, end = 0;
};

Range rangeOf(const Captions& captions) {
    Range range = {drop.framesPerDay(), 0};
    for (const auto& caption : captions) {
        range.first = std::min(range.first, startOf(*caption));
        range.end = std::max<std::uint32_t>(range.end, startOf(*caption) + caption->data().size() / 2);
    }
    return range;
}

/// Plays the frames; hands each frame's packets also to @p writer, if there is one.
Playout play(const fs::path& path, Range range, ZQRSCCSidecar* writer) {
    const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    Playout playout;
    for (std::uint32_t frame = range.first; frame < range.end; ++frame) {
        const auto timecode = ZQCKTimecode::timecodeWithFrames(frame, drop);
        const auto packets = sidecar->vancPacketsAtTimecode(timecode);
        const auto data = std::dynamic_pointer_cast<Caption>(packets.at(0))->data();
        const Pair pair(data[0], data[1]);
        if (!isNull(pair)) playout.emplace_back(frame, pair);
        if (writer) writer->addVancPackets(packets, timecode);
    }
    return playout;
}

/// A pair may move ahead of its frame only by single null pairs inside its line.
void expectMovedByNullPairsOnly(const Playout& before, const Playout& after) {
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_EQ(before[i].second, after[i].second) << i;
        const std::uint32_t ahead = before[i].first - after[i].first;
        if (ahead == 0) continue;
        ASSERT_GT(i, 0U);
        const std::uint32_t gap = before[i].first - before[i - 1].first;
        const std::uint32_t aheadBefore = before[i - 1].first - after[i - 1].first;
        EXPECT_TRUE(gap == 1 || gap == 2) << i;
        EXPECT_EQ(ahead, aheadBefore + gap - 1) << i;
    }
}

/// Files with blanks in place of the tab are not read; all others are as they were measured.
void compareWithMeasured(const Captions& captions, const std::string& text, const Measured& measured) {
    if (text.find('\t') == std::string::npos) {
        EXPECT_TRUE(captions.empty());
        return;
    }
    ASSERT_EQ(captions.size(), measured.lines);
    std::size_t words = 0;
    for (const auto& caption : captions) words += caption->data().size() / 2;
    EXPECT_EQ(words, measured.words);
    EXPECT_EQ(captions.front()->timecode(), ZQCKTimecode::timecodeWithString(measured.first, drop));
    EXPECT_EQ(captions.back()->timecode(), ZQCKTimecode::timecodeWithString(measured.last, drop));
}

TEST(SCCCorpus, FilesOfOtherMakersSurviveBeingPlayedWrittenAndPlayedAgain) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const test::TempDirectory folder;
    const auto index = readIndex();
    ASSERT_FALSE(index.empty());
    for (const auto& [name, measured] : index) {
        SCOPED_TRACE(name);
        const fs::path path = test::sharedData("scc/" + name);
        const Captions captions = readCaptions(path);
        compareWithMeasured(captions, test::readSharedData("scc/" + name), measured);
        const auto writer = ZQRSCCSidecar::initForWritingWithURL(folder.path("out.scc"), drop);
        const Range range = rangeOf(captions);
        const Playout played = play(path, range, writer.get());
        EXPECT_EQ(played, expectedPlayout(captions));
        writer->close();
        expectMovedByNullPairsOnly(played, play(folder.path("out.scc"), range, nullptr));
    }
}

}  // namespace
}  // namespace zenquor
