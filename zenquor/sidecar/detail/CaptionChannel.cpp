#include "zenquor/sidecar/detail/CaptionChannel.h"

#include <algorithm>
#include <utility>

#include <fmt/core.h>

#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr int rows = CaptionScreen::rows;
constexpr int columns = CaptionScreen::columns;
constexpr unsigned transparentSpace = 9;

/// The senders' set names three characters by others that look a little like them; a viewer sees a single
/// quotation mark, a dash and a bullet.
constexpr char16_t asSeen(char16_t character) {
    switch (character) {
        case u'\u00B4':
            return u'\u2018';
        case u'\u2500':
            return u'\u2014';
        case u'\u00B7':
            return u'\u2022';
        default:
            return character;
    }
}

/// Miscellaneous control codes, by the low half of their second byte.
enum Control : unsigned {
    ResumeCaptionLoading = 0,
    Backspace = 1,
    AlarmOff = 2,
    AlarmOn = 3,
    DeleteToEndOfRow = 4,
    RollUp2 = 5,
    RollUp3 = 6,
    RollUp4 = 7,
    FlashOn = 8,
    ResumeDirectCaptioning = 9,
    TextRestart = 10,
    ResumeTextDisplay = 11,
    EraseDisplayedMemory = 12,
    CarriageReturn = 13,
    EraseNonDisplayedMemory = 14,
    EndOfCaption = 15,
};

}  // namespace

CaptionWindow* CaptionChannel::window() {
    if (isText_) return &text_;
    return hasMode_ && mode_ != Mode::PopOn ? &displayed_ : nullptr;
}

void CaptionChannel::obey(const CaptionCode& code, const ZQCKTimecode& timecode, CaptionReport& report) {
    const Now now{timecode, isText_ ? Mode::Text : mode_, service_, report};
    using Packet = ZQRVANCCEA608Packet;
    switch (code.kind) {
        case CaptionCode::Characters:
            for (const std::uint8_t character : {code.first, code.second}) {
                if (character != 0) put(Packet::basicCharacters()[character - 0x20U], now);
            }
            break;
        case CaptionCode::Address:
            return address(code, now);
        case CaptionCode::MidRow:
            return midRow(code.first, now);
        case CaptionCode::BlackText:
            cursor().colour = CaptionColour::Black;
            break;
        case CaptionCode::Tab:
            cursor().column = std::max(cursor().column, std::min(cursor().column + code.column, columns - 1));
            break;
        case CaptionCode::Special:
            return put(
                code.first == transparentSpace ? u'\0' : Packet::specialNorthAmericanCharacters()[code.first],
                now);
        case CaptionCode::West:
            return replaceLast(asSeen(Packet::frenchSpanishCharacters()[code.first]), now);
        case CaptionCode::East:
            return replaceLast(Packet::portugueseGermanDanishCharacters()[code.first], now);
        case CaptionCode::Control:
            return control(code.first, now);
        case CaptionCode::Background:  // takes the place of the space before it, which stays a space
        case CaptionCode::ExtendedData:
        case CaptionCode::Unknown:
            break;
    }
}

void CaptionChannel::finish(const ZQCKTimecode& timecode, CaptionReport& report) {
    const Now now{timecode, mode_, service_, report};
    displayed_.erase(now);
    text_.erase(now);
    const std::int32_t service = service_;
    *this = CaptionChannel();
    service_ = service;
}

void CaptionChannel::control(unsigned code, const Now& now) {
    switch (code) {
        case ResumeCaptionLoading:
            isText_ = false;
            hasMode_ = true;
            mode_ = Mode::PopOn;
            break;
        case Backspace:
            return backspace(now);
        case DeleteToEndOfRow:
            return deleteToEndOfRow(now);
        case RollUp2:
        case RollUp3:
        case RollUp4:
            return rollUp(static_cast<int>(code - RollUp2) + 2, now);
        case FlashOn:  // a spacing attribute, like a mid-row code
            return put(u' ', now);
        case ResumeDirectCaptioning:
            return paintOn();
        case TextRestart:
            return textRestart(now);
        case ResumeTextDisplay:
            isText_ = true;
            break;
        case EraseDisplayedMemory:
            return displayed_.erase(now);
        case CarriageReturn:
            return carriageReturn(now);
        case EraseNonDisplayedMemory:
            return hidden_.clear();
        case EndOfCaption:
            return flip(now);
        case AlarmOff:  // reserved
        case AlarmOn:
        default:
            break;
    }
}

void CaptionChannel::address(const CaptionCode& code, const Now& now) {
    Cursor& at = cursor();
    at.column = code.column;
    at.hasOverrun = false;
    if (!isText_) moveToRow(code.row, now);  // text keeps its row
    at.colour = code.colour;
    if (at.column > 0) takeColourOfRow();
}

void CaptionChannel::moveToRow(int row, const Now& now) {
    if (hasMode_ && mode_ == Mode::RollUp) return setBaseRow(std::max(row, depth_), now);
    cursor_.row = row;
    if (hasMode_ && mode_ == Mode::PaintOn && std::exchange(mayBeNew_, false))
        displayed_.divideAtNextChange();
}

/// An address in the midst of a row's characters changes none of their attributes.
void CaptionChannel::takeColourOfRow() {
    Cursor& at = cursor();
    const CaptionWindow* const seen = window();
    const CaptionScreen& screen = seen ? seen->screen() : hidden_;
    for (const int column : {at.column - 1, at.column}) {
        const Cell& cell = screen.cell(at.row, column);
        if (cell.character == 0) continue;
        at.colour = cell.colour;
        return;
    }
}

/// The space that it takes carries the colour that it brings.
void CaptionChannel::midRow(unsigned style, const Now& now) {
    if (style < 7) cursor().colour = static_cast<CaptionColour>(style);
    put(u' ', now);
}

void CaptionChannel::put(char16_t character, const Now& now) {
    Cursor& at = cursor();
    const Cell cell{character, at.colour};
    if (at.column == columns) {
        if (cell.isVisible()) remarkOverrun(now);
        at.column = columns - 1;
    }
    write(at.row, at.column, cell, now);
    ++at.column;
}

void CaptionChannel::replaceLast(char16_t character, const Now& now) {
    Cursor& at = cursor();
    if (at.column > 0) --at.column;
    put(character, now);
}

void CaptionChannel::backspace(const Now& now) {
    Cursor& at = cursor();
    at.column = std::min(at.column, columns - 1);  // behind the last column there is none to step back from
    if (at.column > 0) write(at.row, --at.column, {}, now);
}

void CaptionChannel::deleteToEndOfRow(const Now& now) {
    const int row = cursor().row;
    const int column = std::min(cursor().column, columns - 1);
    const auto edit = [&](CaptionScreen& screen) { screen.eraseRow(row, column); };
    CaptionWindow* const seen = window();
    if (!seen) return edit(hidden_);
    // Spaces may stay: nobody sees them, and the next characters overwrite them.
    if (!seen->screen().rowIsEmpty(row, column)) seen->replace(now, edit);
}

void CaptionChannel::carriageReturn(const Now& now) {
    if (isText_) return textCarriageReturn(now);
    if (!hasMode_ || mode_ != Mode::RollUp) return;
    const int bottom = cursor_.row;
    displayed_.replace(now, [&](CaptionScreen& screen) { screen.roll(bottom - depth_ + 1, bottom); });
    cursor_ = {bottom};
}

void CaptionChannel::textCarriageReturn(const Now& now) {
    if (textCursor_.row == rows) {
        text_.replace(now, [](CaptionScreen& screen) { screen.roll(1, rows); });
    } else {
        text_.divideAtNextChange();
    }
    textCursor_ = {std::min(textCursor_.row + 1, rows)};
}

void CaptionChannel::rollUp(int depth, const Now& received) {
    const Now now{received.timecode, Mode::RollUp, service_, received.report};
    isText_ = false;
    if (!hasMode_ || mode_ != Mode::RollUp) {
        displayed_.erase(now);
        hidden_.clear();
        cursor_ = {};
        hasMode_ = true;
        mode_ = Mode::RollUp;
        depth_ = depth;
        return;
    }
    const int bottom = cursor_.row;
    for (; depth_ > depth; --depth_) {
        const int top = bottom - depth_ + 1;
        if (displayed_.screen().rowIsEmpty(top)) continue;
        displayed_.replace(now, [&](CaptionScreen& screen) { screen.eraseRow(top); });
    }
    depth_ = depth;
    setBaseRow(std::max(bottom, depth), now);
}

void CaptionChannel::setBaseRow(int row, const Now& now) {
    const int before = std::exchange(cursor_.row, row);
    if (row == before || displayed_.screen().isEmpty()) return;
    const int count = std::min(depth_, before);
    displayed_.rearrange(now, [&](CaptionScreen& screen) { screen.moveRows(count, before, row); });
}

void CaptionChannel::paintOn() {
    const bool resumes = hasMode_ && mode_ == Mode::PaintOn;
    isText_ = false;
    hasMode_ = true;
    mode_ = Mode::PaintOn;
    // The code comes again whenever the channel got the line back; only a new place then means a new caption.
    mayBeNew_ = resumes && displayed_.isOpen();
    if (!resumes) displayed_.divideAtNextChange();
}

void CaptionChannel::flip(const Now& now) {
    isText_ = false;
    hasMode_ = true;
    mode_ = Mode::PopOn;
    cursor_ = {};  // for captions that come without any address
    CaptionScreen shown = displayed_.screen();
    if (!shown.looksLike(hidden_)) {
        displayed_.replace({now.timecode, Mode::PopOn, service_, now.report},
                           [&](CaptionScreen& screen) { screen = hidden_; });
    }
    hidden_ = shown;
}

void CaptionChannel::textRestart(const Now& now) {
    isText_ = true;
    text_.erase(now);
    textCursor_ = {1};
}

void CaptionChannel::write(int row, int column, const Cell& cell, const Now& now) {
    if (CaptionWindow* const seen = window()) return seen->put(row, column, cell, now);
    hidden_.put(row, column, cell);
    if (hasMode_ || toldOfMissingMode_ || !cell.isVisible()) return;
    toldOfMissingMode_ = true;
    now.report.remark(
        Kind::Code, now.timecode,
        fmt::format("Text on CC{} before the code that says how to show it; it was loaded like a "
                    "pop-on caption.",
                    service_));
}

void CaptionChannel::remarkOverrun(const Now& now) {
    Cursor& at = cursor();
    if (std::exchange(at.hasOverrun, true)) return;
    now.report.remark(
        Kind::SafeArea, now.timecode,
        fmt::format("Row {} of {}{} is longer than {} characters; what follows is written over the "
                    "last column.",
                    at.row, isText_ ? "T" : "CC", service_, columns));
}

}  // namespace zenquor::detail
