#include "CaptionComparison.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "TimeMapping.h"

namespace zenquor::tools {
namespace {

// How far ahead the next equal text is looked for: a few texts may be missing, a repeated one must not match
// its twin minutes later.
constexpr std::size_t lookAhead = 8;
constexpr std::size_t maximumDifferences = 20;

/// The words and line breaks, whatever spaces stand between.
std::string words(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const char shown = c == '\t' ? ' ' : c;
        const bool afterBreak = result.empty() || result.back() == '\n' || result.back() == ' ';
        if (shown == ' ' && afterBreak) continue;
        if (shown == '\n' && !result.empty() && result.back() == ' ') result.pop_back();
        result += shown;
    }
    while (!result.empty() && result.back() == ' ') result.pop_back();
    return result;
}

double secondsAfter(const ZQCKTimecode& asked, const ZQCKTimecode& real) {
    return static_cast<double>(framesBetween(asked, real)) / asked.timebase().realFramesPerSecond();
}

std::string quoted(std::string text) {
    for (char& c : text) c = c == '\n' ? '|' : c;
    return fmt::format("\"{}\"", text);
}

/// What a viewer sees in place of the block.
std::string differenceOf(const CaptionStream::Wanted& block, const ZQRScreenBlockList& seen,
                         std::size_t next) {
    const auto isDuring = [&](const ZQRScreenBlockPtr& shown) {
        return framesBetween(block.in, shown->timecodeIn()) >= 0 &&
               framesBetween(shown->timecodeIn(), block.out) >= 0;
    };
    const auto from = seen.begin() + static_cast<std::ptrdiff_t>(next);
    const auto to = seen.begin() + static_cast<std::ptrdiff_t>(std::min(seen.size(), next + lookAhead));
    const auto instead = std::find_if(from, to, isDuring);
    return fmt::format("Subtitle {} at {}, {}, is not seen as it was written{}.", block.number, block.in,
                       quoted(block.text), instead == to ? "" : ", but as " + quoted((*instead)->text()));
}

}  // namespace

CaptionComparison CaptionComparison::of(const std::vector<CaptionStream::Wanted>& wanted,
                                        const ZQRScreenBlockList& seen) {
    CaptionComparison result;
    result.wanted = wanted.size();
    std::size_t next = 0, untold = 0;
    for (const auto& block : wanted) {
        // What appeared before its time belongs to a subtitle before it.
        while (next < seen.size() && framesBetween(seen[next]->timecodeIn(), block.in) > 0) ++next;
        std::size_t at = next;
        const std::size_t end = std::min(seen.size(), next + lookAhead);
        while (at < end && words(seen[at]->text()) != words(block.text)) ++at;
        if (at == end) {
            if (result.differences.size() >= maximumDifferences) {
                ++untold;
            } else {
                result.differences.push_back(differenceOf(block, seen, next));
            }
            continue;
        }
        const double in = secondsAfter(block.in, seen[at]->timecodeIn());
        const double out = secondsAfter(block.out.addingFrames(1), seen[at]->timecodeOut());
        result.meanIn += in;
        result.meanOut += out;
        if (std::abs(in) > std::abs(result.worstIn)) result.worstIn = in;
        if (std::abs(out) > std::abs(result.worstOut)) result.worstOut = out;
        ++result.shownAsWritten;
        next = at + 1;
    }
    if (untold > 0) result.differences.push_back(fmt::format("So are {} more.", untold));
    const double count = result.shownAsWritten > 0 ? static_cast<double>(result.shownAsWritten) : 1.0;
    result.meanIn /= count;
    result.meanOut /= count;
    return result;
}

}  // namespace zenquor::tools
