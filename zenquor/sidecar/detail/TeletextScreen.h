#pragma once
// A teletext page in time: which text stood on the screen from when to when.

#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/sidecar/ZQRTeletextPageReader.h"
#include "zenquor/sidecar/detail/TeletextEnhancement.h"
#include "zenquor/sidecar/detail/TeletextPage.h"

namespace zenquor::detail {

/// Frames from @p from to @p to, over midnight where that is nearer; nothing when time ran backwards or the
/// timebase is another one.
std::optional<std::int64_t> framesBetween(const ZQCKTimecode& from, const ZQCKTimecode& to);

/// Gathers the packets of one page into changes of the picture, and makes a block of each picture.
///
/// Lifecycle:     setFrame() before the packets of a frame.
/// Thread-safety: One thread at a time.
class TeletextScreen {
public:
    struct Counts {
        std::uint64_t repeats = 0;
        std::uint64_t unseenBlocks = 0;
        std::uint64_t blocks = 0;
    };

    TeletextScreen(std::optional<std::uint32_t> characterSet, ZQRScreenBlockHandler blocks)
        : characterSet_(characterSet), blocks_(std::move(blocks)) {}

    void setPage(std::int32_t page) { page_ = page; }
    /// @return false when the timecode runs backwards: what stood on the screen ends then.
    bool setFrame(const ZQCKTimecode& timecode);
    void setHeader(const ZQRVANCTeletextPacket& header);
    /// @return the number of characters with wrong parity.
    int setRow(int row, std::span<const std::uint8_t> payload);
    void addEnhancement(std::span<const std::uint8_t> payload);
    /// Ends what stands on the screen at @p timecode and forgets the page.
    void finish(const ZQCKTimecode& timecode);

    /// Whether a picture was completed since the last call that had text outside its boxes.
    bool takeTextOutsideBoxes() { return std::exchange(textOutsideBoxes_, false); }
    const Counts& counts() const { return counts_; }

private:
    /// What has come since the picture was last complete.
    struct Change {
        ZQCKTimecode begin;
        ZQCKTimecode last;
        std::optional<ZQCKTimecode> erased;
        std::optional<ZQCKTimecode> written;
        bool hasRows = false;
    };
    struct Shown {
        TeletextPicture picture;
        ZQCKTimecode in;
    };

    Change& change();
    void settle();
    void settlePicture(const Change& change);
    void end(const ZQCKTimecode& timecode);
    std::uint32_t displayedSet() const;

    std::optional<std::uint32_t> characterSet_;
    ZQRScreenBlockHandler blocks_;
    std::int32_t page_ = 0;
    std::optional<ZQCKTimecode> frame_;
    TeletextPage memory_;   // as received
    TeletextPage settled_;  // as it was when the picture was last complete
    TeletextEnhancement enhancement_;
    std::optional<Change> change_;
    std::optional<Shown> shown_;
    bool textOutsideBoxes_ = false;
    Counts counts_;
};

}  // namespace zenquor::detail
