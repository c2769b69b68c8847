#pragma once
// A screen that a viewer watches, and when what stands on it began.

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQRCaptionRemark.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/sidecar/detail/CaptionScreen.h"

namespace zenquor::detail {

/// Where findings go.
struct CaptionReport {
    ZQRScreenBlockHandler blocks;
    ZQRCaptionRemarkHandler remarks;
    std::uint64_t blockCount = 0;

    void remark(ZQRCaptionRemark::Kind kind, const ZQCKTimecode& timecode, std::string text) const {
        if (remarks) remarks({kind, timecode, std::nullopt, std::move(text)});
    }
};

/// Turns the life of a screen into blocks. A block is open from the first visible character until something
/// ends it; what it holds is what stood there at the end.
class CaptionWindow {
public:
    using Mode = ZQRScreenBlock::Mode;

    /// The moment, and the mode that a block beginning now has.
    struct Now {
        const ZQCKTimecode& timecode;
        Mode mode;
        std::int32_t service;
        CaptionReport& report;
    };

    const CaptionScreen& screen() const { return screen_; }
    bool isOpen() const { return isOpen_; }

    /// Writes one cell. It ends the block when divideAtNextChange() was called before and the cell changes the
    /// picture, or when nothing is left.
    void put(int row, int column, const CaptionScreen::Cell& cell, const Now& now);
    /// Ends the block and begins the next with the screen as @p edit leaves it.
    template <typename Edit>
    void replace(const Now& now, const Edit& edit) {
        end(now);
        edit(screen_);
        beginIfVisible(now);
    }
    /// As replace(), but what has not been written to since it appeared stays the same block: rows are rolled
    /// and then moved to their place, one frame later.
    template <typename Edit>
    void rearrange(const Now& now, const Edit& edit) {
        if (isWritten_) return replace(now, edit);
        edit(screen_);
    }
    /// Ends the block and clears the screen.
    void erase(const Now& now);
    /// What is written from now on is something new, not more of the same block.
    void divideAtNextChange() { dividesAtNextChange_ = isOpen_; }

private:
    void end(const Now& now);
    void beginIfVisible(const Now& now);

    CaptionScreen screen_;
    ZQCKTimecode in_;
    Mode mode_ = Mode::PopOn;
    bool isOpen_ = false;
    bool isWritten_ = false;  // since the block began
    bool dividesAtNextChange_ = false;
};

}  // namespace zenquor::detail
