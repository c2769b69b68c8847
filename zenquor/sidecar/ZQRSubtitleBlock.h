#pragma once
// One subtitle: what is shown, where, and from when to when.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/sidecar/ZQRSubtitleFormatting.h"
#include "zenquor/sidecar/ZQRSubtitleLine.h"

namespace zenquor {

/// A subtitle with its lines and colour runs, and the wrapping that fits it to a raster of characters.
///
/// Lifecycle:     filled by a reader, prepared once, then shown by one output.
/// Thread-safety: One thread at a time; timecodes and the line list may also be read by another.
class ZQRSubtitleBlock : public ZQObject {
public:
    /// Values of justification().
    enum Justification : std::int32_t { Unchanged = 0, Left = 1, Centered = 2, Right = 3 };
    /// Runs opened inside this many others are not kept: no picture shows them, and a hostile file could nest
    /// them without end.
    static constexpr std::size_t maximumNestedRuns = 32;
    /// Text carried from line to line while wrapping is cut to this many code units, twice what a
    /// screen holds.
    static constexpr std::size_t maximumCarry = 2048;

    /// Called with a run, the character's index in the line and its offset into the run.
    using FormattingBlock =
        std::function<void(const ZQRSubtitleFormatting& formatting, std::size_t index, std::size_t offset)>;

    static std::shared_ptr<ZQRSubtitleBlock> subtitleBlock() {
        return std::shared_ptr<ZQRSubtitleBlock>(new ZQRSubtitleBlock);
    }

    /// The number in the file, from 1.
    std::int32_t subtitleNumber() const { return subtitleNumber_; }
    void setSubtitleNumber(std::int32_t number) { subtitleNumber_ = number; }
    /// Row of the first line on the output's raster; a line of double height takes two rows.
    std::int32_t verticalPosition() const { return verticalPosition_; }
    void setVerticalPosition(std::int32_t row) { verticalPosition_ = row; }
    std::int32_t justification() const { return justification_; }
    void setJustification(std::int32_t justification) { justification_ = justification; }
    /// First frame on screen.
    ZQCKTimecode timecodeIn() const { return timecodeIn_.load(); }
    void setTimecodeIn(const ZQCKTimecode& timecode) { timecodeIn_.store(timecode); }
    /// End of the block; see ZQRSubtitleSidecar for the frame on which it leaves the screen.
    ZQCKTimecode timecodeOut() const { return timecodeOut_.load(); }
    void setTimecodeOut(const ZQCKTimecode& timecode) { timecodeOut_.store(timecode); }
    /// Top to bottom. The list is a copy, the lines are shared.
    ZQRSubtitleLineList lines() const { return lines_.load(); }
    void setLines(ZQRSubtitleLineList lines) { lines_.store(std::move(lines)); }
    std::int32_t numberOfLines() const;

    /// Whether the block is meant for the screen.
    virtual bool displayable() const { return true; }
    /// Whether the first line contains the double-height code 0x0D.
    bool doubleHeight() const;

    /// Strips (unless justification is Unchanged), wraps to @p width characters and cuts to @p height lines;
    /// 0 and less mean no limit. Words that do not fit move to the next line, and from the last line to one
    /// more line. Does nothing to a block that is not displayable.
    void prepareForRenderingWidth(std::int32_t width, std::int32_t height);
    /// Adds the lines of an overlapping block below and moves up for them; the later out time stays.
    void mergeBlock(const ZQRSubtitleBlock& other);

    /// Opens a run.
    void pushFormatting(ZQRSubtitleFormattingPtr formatting);
    /// Ends the run opened last at a character position of the whole block; without an open one that is
    /// logged.
    void popFormatting(std::int32_t type, std::size_t position);
    /// Ends all open colour runs.
    void popAllFormattingAtPosition(std::size_t position);
    /// Calls @p block, character by character, for each run that covers the character and was not the one
    /// reported last. A line of another block gives no calls.
    void enumerateFormattingForLine(const ZQRSubtitleLinePtr& line, const FormattingBlock& block) const;

    std::string description() const override;
    virtual std::string debugDescriptionHeader() const;
    /// The header and every line on a line of its own.
    std::string debugDescription() const;

    /// "unchanged", "left", "centered", "right".
    static const std::array<std::string_view, 4>& justifyStrings();

protected:
    ZQRSubtitleBlock() = default;

private:
    using FormattingList = std::vector<ZQRSubtitleFormattingPtr>;

    void wrapToWidth(std::size_t width);
    std::u16string wrapLine(ZQRSubtitleLine& line, std::u16string_view carry, std::size_t width) const;
    void limitCarry(std::u16string& carry, bool& cut) const;
    void trimToHeight(std::size_t height);
    /// Negative moves up; @p lines counts single or double rows as the block's height demands.
    void moveByLines(std::int64_t lines);

    std::map<std::int32_t, FormattingList> formatting_;
    std::map<std::int32_t, FormattingList> formattingStack_;
    bool loggedNesting_ = false;
    std::int32_t subtitleNumber_ = 0;
    std::int32_t verticalPosition_ = 0;
    std::int32_t justification_ = Unchanged;
    Guarded<ZQCKTimecode> timecodeIn_;
    Guarded<ZQCKTimecode> timecodeOut_;
    Guarded<ZQRSubtitleLineList> lines_;
};

using ZQRSubtitleBlockPtr = std::shared_ptr<ZQRSubtitleBlock>;
using ZQRSubtitleBlockList = std::vector<ZQRSubtitleBlockPtr>;

}  // namespace zenquor
