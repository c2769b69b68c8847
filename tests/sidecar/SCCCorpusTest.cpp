// Every Scenarist file of other makers, played frame by frame, written from what was played, and played again.
#include <algorithm>
#include <cstdio>
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

/// The file as lines, up to the first that does not decode.
struct Content {
    std::vector<ZQRSidecarCaptionPtr> captions;
    bool isWhole = true;

    std::size_t words() const {
        std::size_t count = 0;
        for (const auto& caption : captions) count += caption->data().size() / 2;
        return count;
    }
};

Content readContent(const fs::path& path) {
    const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    Content content;
    if (!sidecar->valid()) return content;
    content.captions.push_back(sidecar->currentCaption());
    while (const auto line = sidecar->inputFile()->readLine()) {
        const auto caption = sidecar->decodeCaptionForLine(*line);
        content.isWhole = caption != nullptr;
        if (!caption) break;
        content.captions.push_back(caption);
    }
    return content;
}

std::uint32_t startOf(const ZQRSidecarCaption& caption) {
    return caption.timecode()->framesSinceMidnight();
}

/// What playing should give: each line from its timecode on, but not before the lines before it are through.
Playout expectedPlayout(const Content& content) {
    Playout playout;
    std::size_t free = 0;
    for (const auto& caption : content.captions) {
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

Range rangeOf(const Content& content) {
    Range range = {drop.framesPerDay(), 0};
    for (const auto& caption : content.captions) {
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

/// A pair may move ahead of its frame only by single null pairs inside its line. @return how many did.
std::size_t countMoved(const Playout& before, const Playout& after) {
    std::size_t moved = 0;
    EXPECT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
        EXPECT_EQ(before[i].second, after[i].second) << i;
        const std::uint32_t ahead = before[i].first - after[i].first;
        if (ahead == 0) continue;
        ++moved;
        const std::uint32_t gap = i == 0 ? 0 : before[i].first - before[i - 1].first;
        const std::uint32_t aheadBefore = i == 0 ? 0 : before[i - 1].first - after[i - 1].first;
        EXPECT_TRUE(gap == 1 || gap == 2) << i;
        EXPECT_EQ(ahead, aheadBefore + gap - 1) << i;
    }
    return moved;
}

std::size_t countOverlaps(const Content& content) {
    std::size_t overlaps = 0;
    std::size_t free = 0;
    for (const auto& caption : content.captions) {
        if (startOf(*caption) < free) ++overlaps;
        free = std::max(free, startOf(*caption) + caption->data().size() / 2);
    }
    return overlaps;
}

std::size_t wordsThatAreNotNull(const Content& content) {
    std::size_t count = 0;
    for (const auto& caption : content.captions) {
        for (std::size_t i = 0; i + 1 < caption->data().size(); i += 2) {
            count += isNull({caption->data()[i], caption->data()[i + 1]}) ? 0 : 1;
        }
    }
    return count;
}

/// The file's lines by their form alone: the first good one is looked for, the next bad one is the end.
struct Form {
    std::size_t readable = 0, bad = 0;
    std::string firstBad;
};

Form formOf(const fs::path& path) {
    const std::regex good(R"(\d\d[:;]\d\d[:;]\d\d[:;]\d\d\t[0-9A-Fa-f ]*)");
    Form form;
    std::ifstream file(path, std::ios::binary);
    bool isEnded = false;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty()) continue;
        if (!std::regex_match(line, good)) {
            isEnded = isEnded || form.readable > 0;
            if (form.bad++ == 0) form.firstBad = line.substr(0, 20);
        } else if (!isEnded) {
            ++form.readable;
        }
    }
    return form;
}

void compareWithMeasured(const Content& content, const Form& form, const Measured& measured) {
    EXPECT_EQ(content.captions.size(), form.readable);
    if (form.bad != 0) return;
    EXPECT_TRUE(content.isWhole);
    EXPECT_EQ(content.captions.size(), measured.lines);
    EXPECT_EQ(content.words(), measured.words);
    if (content.captions.empty()) return;
    EXPECT_EQ(content.captions.front()->timecode(), ZQCKTimecode::timecodeWithString(measured.first, drop));
    EXPECT_EQ(content.captions.back()->timecode(), ZQCKTimecode::timecodeWithString(measured.last, drop));
}

TEST(SCCCorpus, FilesOfOtherMakersSurviveBeingPlayedWrittenAndPlayedAgain) {
    ZENQUOR_NEEDS_SHARED_DATA();
    const test::TempDirectory folder;
    const auto index = readIndex();
    ASSERT_FALSE(index.empty());
    for (const auto& [name, measured] : index) {
        SCOPED_TRACE(name);
        const fs::path path = test::sharedData("scc/" + name);
        const Content content = readContent(path);
        const Form form = formOf(path);
        compareWithMeasured(content, form, measured);
        const auto writer = ZQRSCCSidecar::initForWritingWithURL(folder.path("out.scc"), drop);
        const Range range = content.captions.empty() ? Range{} : rangeOf(content);
        const Playout played = play(path, range, writer.get());
        EXPECT_EQ(played, expectedPlayout(content));
        writer->close();
        const Playout again = play(folder.path("out.scc"), range, nullptr);
        std::printf("%s: %zu of %zu lines, %zu words, %zu played, %zu moved ahead, %zu lost to %zu overlaps",
                    name.c_str(), content.captions.size(), measured.lines, content.words(), played.size(),
                    countMoved(played, again), wordsThatAreNotNull(content) - played.size(),
                    countOverlaps(content));
        if (form.bad != 0) std::printf(", %zu bad lines such as \"%s\"", form.bad, form.firstBad.c_str());
        std::printf("\n");
    }
}

}  // namespace
}  // namespace zenquor
