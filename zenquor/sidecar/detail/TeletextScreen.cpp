#include "zenquor/sidecar/detail/TeletextScreen.h"

#include <array>
#include <string>
#include <utility>

namespace zenquor::detail {
namespace {

using Reader = ZQRTeletextPageReader;

constexpr std::uint8_t white = 7;
constexpr std::array<const char*, 8> colourNames = {"000000", "FF0000", "00FF00", "FFFF00",
                                                    "0000FF", "FF00FF", "00FFFF", "FFFFFF"};

/// One run for each stretch of a line that has a colour other than white.
void addRuns(ZQRSubtitleBlock& block, const TeletextPicture::Row& row, std::size_t offset) {
    constexpr auto type = ZQRSubtitleFormatting::typeColour;
    for (std::size_t begin = 0, end = 0; begin < row.colours.size(); begin = end) {
        const std::uint8_t colour = row.colours[begin];
        while (end < row.colours.size() && row.colours[end] == colour) ++end;
        if (colour == white) continue;
        block.pushFormatting(ZQRSubtitleFormatting::formatting(
            type, colourNames[colour], {static_cast<std::uint32_t>(offset + begin), 0}));
        block.popFormatting(type, offset + end);
    }
}

ZQRScreenBlockPtr makeBlock(const TeletextPicture& picture) {
    auto block = ZQRScreenBlock::screenBlock();
    ZQRSubtitleLineList lines;
    std::vector<ZQRScreenBlock::Row> rows;
    std::size_t offset = 0;
    for (const TeletextPicture::Row& row : picture.rows) {
        lines.push_back(ZQRSubtitleLine::initWithString(row.text));
        rows.push_back(row.place);
        addRuns(*block, row, offset);
        offset += row.text.size();
    }
    block->setMode(ZQRScreenBlock::Mode::Teletext);
    block->setVerticalPosition(rows.front().row);
    block->setLines(std::move(lines));
    block->setRows(std::move(rows));
    return block;
}

}  // namespace

std::optional<std::int64_t> framesBetween(const ZQCKTimecode& from, const ZQCKTimecode& to) {
    if (from.timebase() != to.timebase()) return std::nullopt;
    const auto day = static_cast<std::int64_t>(from.timebase().framesPerDay());
    const std::int64_t frames =
        (std::int64_t{to.framesSinceMidnight()} - from.framesSinceMidnight() + day) % day;
    return frames > day / 2 ? std::nullopt : std::optional(frames);
}

bool TeletextScreen::setFrame(const ZQCKTimecode& timecode) {
    const bool runsOn = !frame_ || framesBetween(*frame_, timecode);
    if (!runsOn) finish(frame_->addingFrames(1));
    frame_ = timecode;
    if (change_ && framesBetween(change_->last, timecode) > Reader::settleFrames) settle();
    return runsOn;
}

TeletextScreen::Change& TeletextScreen::change() {
    if (change_ && framesBetween(change_->begin, *frame_) > Reader::longestChangeFrames) settle();
    if (!change_) change_ = Change{*frame_, *frame_, {}, {}, false};
    change_->last = *frame_;
    return *change_;
}

void TeletextScreen::setHeader(const ZQRVANCTeletextPacket& header) {
    if (change_ && change_->hasRows) settle();
    Change& now = change();
    memory_.setHeader(header);
    enhancement_.restart();
    if (header.controlErasePage() && !now.erased) now.erased = *frame_;
}

int TeletextScreen::setRow(int row, std::span<const std::uint8_t> payload) {
    Change& now = change();
    const auto result = memory_.setRow(row, payload);
    now.hasRows = true;
    if (result.changed && !now.written) now.written = *frame_;
    return result.parityErrors;
}

void TeletextScreen::addEnhancement(std::span<const std::uint8_t> payload) {
    change();
    enhancement_.read(payload, [&](const TeletextEnhancement::Place& place, char16_t character) {
        if (place.row <= TeletextPage::rowCount) {
            memory_.setEnhancement(place.row, place.column, character);
        }
    });
}

std::uint32_t TeletextScreen::displayedSet() const {
    return characterSet_.value_or(ZQRVANCTeletextPacket::displayedCharacterSet(memory_.characterSet()));
}

void TeletextScreen::settle() {
    const Change change = *std::exchange(change_, std::nullopt);
    if (!memory_.fits(settled_)) {
        settlePicture(change);
        settled_ = memory_;
        return;
    }
    counts_.repeats += change.hasRows;
    memory_.repairFrom(settled_);
    const bool repaired = settled_.repairFrom(memory_);
    if (!repaired) return;
    TeletextPicture picture = memory_.picture(displayedSet());
    if (shown_ && !picture.empty()) shown_->picture = std::move(picture);
}

void TeletextScreen::settlePicture(const Change& change) {
    TeletextPicture picture = memory_.picture(displayedSet());
    textOutsideBoxes_ = textOutsideBoxes_ || memory_.hasTextOutsideBoxes();
    if (shown_ ? picture == shown_->picture : picture.empty()) {
        counts_.repeats += change.hasRows;
        return;
    }
    end(change.erased ? *change.erased : change.written.value_or(change.begin));
    if (!picture.empty()) shown_ = Shown{std::move(picture), change.written.value_or(change.begin)};
}

void TeletextScreen::end(const ZQCKTimecode& timecode) {
    if (!shown_) return;
    const Shown shown = *std::exchange(shown_, std::nullopt);
    if (shown.in == timecode) {
        ++counts_.unseenBlocks;
        return;
    }
    ++counts_.blocks;
    if (!blocks_) return;
    const auto block = makeBlock(shown.picture);
    block->setService(page_);
    block->setTimecodeIn(shown.in);
    block->setTimecodeOut(timecode);
    blocks_(block);
}

void TeletextScreen::finish(const ZQCKTimecode& timecode) {
    if (change_) settle();
    // Text of the last frame was seen, also by a caller that names that frame instead of the one after it.
    if (shown_) end(shown_->in == timecode ? timecode.addingFrames(1) : timecode);
    memory_ = settled_ = TeletextPage();
    frame_.reset();
}

}  // namespace zenquor::detail
