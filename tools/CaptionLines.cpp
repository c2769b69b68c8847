#include "CaptionLines.h"

#include <algorithm>

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"

namespace zenquor::tools {
namespace {

constexpr std::size_t bytesPerPair = 2;
constexpr std::size_t quotedCharacters = 24;

std::int64_t frameOf(const ZQCKTimecode& timecode) {
    return static_cast<std::int64_t>(timecode.framesSinceMidnight());
}

}  // namespace

std::shared_ptr<ZQRMCCSidecar> CaptionLines::openSidecar() const {
    if (isScenarist_) return ZQRSCCSidecar::initForReadingWithURL(path_);
    return ZQRMCCSidecar::initForReadingWithURL(path_);
}

std::shared_ptr<CaptionLines> CaptionLines::open(const std::filesystem::path& path, bool isScenarist,
                                                 ZQErrorPtr* error) {
    auto lines = std::make_shared<CaptionLines>();
    lines->path_ = path;
    lines->isScenarist_ = isScenarist;
    const auto scanned = lines->openSidecar();
    if (!scanned->valid()) {
        failCaption(error,
                    fmt::format("\"{}\" holds no readable caption. \"zenquor captions --check\" says why.",
                                path.string()));
        return nullptr;
    }
    lines->scan(*scanned);
    lines->sidecar_ = lines->openSidecar();
    return lines;
}

void CaptionLines::scan(ZQRMCCSidecar& sidecar) {
    first_ = lineTimecode_ = *sidecar.currentCaption()->timecode();
    scanLine(*sidecar.currentCaption());
    while (const auto text = sidecar.inputFile()->readLine()) {
        const auto caption = sidecar.decodeCaptionForLine(*text);
        if (!caption) return scanRest(sidecar, *text);
        ++line_;
        scanLine(*caption);
    }
}

/// Finds the place of a line on the timeline and what the sidecar will drop of it.
void CaptionLines::scanLine(const ZQRSidecarCaption& caption) {
    const std::int64_t day = caption.timecode()->timebase().framesPerDay();
    std::int64_t step = frameOf(*caption.timecode()) - frameOf(lineTimecode_);
    if (step < -day / 2) {
        step += day;
        if (lineAfterMidnight_ == 0) lineAfterMidnight_ = line_;
    }
    lineOffset_ += step;
    lineTimecode_ = *caption.timecode();
    const std::int64_t pairs =
        isScenarist_ ? static_cast<std::int64_t>(caption.data().size() / bytesPerPair) : 1;
    // The sidecar counts from midnight: a line that runs past it is never due.
    const bool runsPastMidnight = frameOf(lineTimecode_) + pairs > day;
    const std::int64_t lost =
        runsPastMidnight ? pairs : std::clamp<std::int64_t>(frames_ - lineOffset_, 0, pairs);
    if (isScenarist_ && lineOffset_ >= 0) pairsLost_ += lost;
    if (lineOffset_ < 0 || (!isScenarist_ && lost > 0))
        ++(lineOffset_ + 1 == frames_ ? linesOfSameFrame_ : linesBackwards_);
    frames_ = std::clamp(lineOffset_ + pairs, frames_, day);
}

void CaptionLines::scanRest(ZQRMCCSidecar& sidecar, std::string_view badLine) {
    badLine_ = badLine.substr(0, quotedCharacters);
    while (const auto text = sidecar.inputFile()->readLine())
        linesBehindBadLine_ += sidecar.decodeCaptionForLine(*text) ? 1 : 0;
}

std::vector<std::string> CaptionLines::notes() const {
    std::vector<std::string> notes;
    const bool isBlank = badLine_.find_first_not_of(" \t") == std::string::npos;
    if (!isBlank || linesBehindBadLine_ > 0)
        notes.push_back(fmt::format(
            "Nothing is played from the line \"{}\" on, which cannot be read. Caption lines behind it: {}.",
            badLine_, linesBehindBadLine_));
    const auto add = [&](std::int64_t count, const char* what) {
        if (count > 0) notes.push_back(fmt::format("Not played: {} ({}).", what, count));
    };
    add(linesOfSameFrame_, "lines with the timecode of the line before, since a frame takes one");
    add(linesBackwards_, "lines that run backwards in time");
    add(pairsLost_,
        "byte pairs of lines that begin before the line before has been sent, or that run past midnight");
    return notes;
}

/// The sidecar has passed over the lines of the new day, which count as long ago: it starts anew at the first.
void CaptionLines::goOnAfterMidnight() {
    if (lineAfterMidnight_ == 0) return;
    sidecar_ = openSidecar();
    std::optional<std::string> text;
    for (std::int64_t line = 0; line < lineAfterMidnight_; ++line) text = sidecar_->inputFile()->readLine();
    if (text) sidecar_->setCurrentCaption(sidecar_->decodeCaptionForLine(*text));
}

ZQRVANCPacketList CaptionLines::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const std::int64_t frame = frameOf(timecode);
    if (playedFrame_ - frame > static_cast<std::int64_t>(timecode.timebase().framesPerDay() / 2))
        goOnAfterMidnight();
    playedFrame_ = frame;
    return sidecar_->vancPacketsAtTimecode(timecode);
}

}  // namespace zenquor::tools
