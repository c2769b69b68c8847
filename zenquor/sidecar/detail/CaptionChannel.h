#pragma once
// One caption channel and the text channel beside it: modes, cursors and memories.

#include "zenquor/sidecar/detail/CaptionWindow.h"

namespace zenquor::detail {

/// Obeys the codes of one channel.
///
/// Standards: CEA-608-E annex C, 47 CFR 79.101.
class CaptionChannel {
public:
    void setService(std::int32_t service) { service_ = service; }

    /// Obeys anything but null pairs and extended data.
    void obey(const CaptionCode& code, const ZQCKTimecode& timecode, CaptionReport& report);
    /// Ends what is on the screens and forgets everything.
    void finish(const ZQCKTimecode& timecode, CaptionReport& report);

private:
    using Mode = ZQRScreenBlock::Mode;
    using Now = CaptionWindow::Now;
    using Cell = CaptionScreen::Cell;

    struct Cursor {
        int row = CaptionScreen::rows;
        int column = 0;  ///< 32 behind the last column, where the next character overwrites it
        CaptionColour colour = CaptionColour::White;
        bool hasOverrun = false;
    };

    void control(unsigned code, const Now& now);
    void address(const CaptionCode& code, const Now& now);
    void moveToRow(int row, const Now& now);
    void takeColourOfRow();
    void midRow(unsigned style, const Now& now);
    void put(char16_t character, const Now& now);
    void replaceLast(char16_t character, const Now& now);
    void backspace(const Now& now);
    void deleteToEndOfRow(const Now& now);
    void carriageReturn(const Now& now);
    void textCarriageReturn(const Now& now);
    void rollUp(int depth, const Now& received);
    void paintOn();
    void flip(const Now& now);
    void textRestart(const Now& now);
    void setBaseRow(int row, const Now& now);
    void write(int row, int column, const Cell& cell, const Now& now);
    void remarkOverrun(const Now& now);

    Cursor& cursor() { return isText_ ? textCursor_ : cursor_; }
    /// The screen that is written to, where a viewer sees it; null while loading.
    CaptionWindow* window();

    std::int32_t service_ = 1;
    bool hasMode_ = false;
    Mode mode_ = Mode::PopOn;
    bool isText_ = false;
    bool toldOfMissingMode_ = false;
    bool mayBeNew_ = false;  // painting resumed over text: a new place would start a new caption
    int depth_ = 2;
    Cursor cursor_;
    Cursor textCursor_{1};
    CaptionWindow displayed_;
    CaptionScreen hidden_;
    CaptionWindow text_;
};

}  // namespace zenquor::detail
