#pragma once
// Subtitles as teletext rows in OP-47 packets.

#include <cstdint>
#include <memory>
#include <string_view>

#include "zenquor/sidecar/ZQRSubtitleOutput.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor {

class ZQRSubtitleSidecar;

/// Turns blocks into teletext page 888: two OP-47 packets per frame, for lines 12 and 575. The frame on which a
/// block is shown carries a page header, which erases the page, and a row for each line; the frame on which it
/// is hidden carries a header; all others carry fillers, and receivers keep the page on screen.
///
/// A packet has room for the header and three rows. Rows beyond those, and rows off the screen, are lost:
/// droppedRows() counts them, the log names them.
///
/// Thread-safety: Confined to the sidecar that made it.
/// Ownership:     refers to the sidecar weakly.
/// Standards:     OP-47, SMPTE RDD 8, ETS 300 706 (rows 1 to 24 of 40 characters, codes included).
class ZQRSubtitleOutputOP47 final : public ZQRSubtitleOutput {
public:
    static constexpr std::int32_t rows = 24;
    /// Lines are centred and set to the right within these.
    static constexpr std::int32_t columns = 32;
    static constexpr std::int32_t maximumIndent = 31;
    /// What colourControlFromString() gives for a name that it does not know.
    static constexpr std::int32_t unknownColour = 32;

    /// Chooses the character set by the sidecar's language, so that is to be set before; an unknown language is
    /// logged. Puts every line of the sidecar's blocks into a teletext box, unless it holds the codes already.
    static std::shared_ptr<ZQRSubtitleOutputOP47> initWithSidecar(
        const std::shared_ptr<ZQRSubtitleSidecar>& sidecar);

    std::int32_t maximumVerticalPosition() const override { return rows; }
    void beginFrameAtTimecode(const ZQCKTimecode& timecode) override;
    /// Rows are made when the block is shown.
    void prepareBlock(const ZQRSubtitleBlock&) override {}
    void showBlock(const ZQRSubtitleBlock& block) override;
    void hideBlock(const ZQRSubtitleBlock& block) override;
    /// Sends a header alone on this frame, which erases the page.
    void clear();
    /// The two packets, that for line 12 first; none before the first beginFrameAtTimecode().
    ZQRVANCPacketList finishFrame(bool firstFrame) override;

    /// The teletext character set of every row, 0 to 6.
    std::uint8_t teletextCharacterSet() const { return teletextCharacterSet_; }
    /// Rows that were never sent, since the start.
    std::uint64_t droppedRows() const { return droppedRows_; }
    /// The control code 0 to 7 of a colour of six hexadecimal digits, or unknownColour.
    static std::int32_t colourControlFromString(std::string_view colour);

private:
    ZQRSubtitleOutputOP47() = default;

    bool showLine(const ZQRSubtitleBlock& block, const ZQRSubtitleLinePtr& line, std::int64_t row,
                  bool forceDouble);
    bool append(const ZQRVANCTeletextPacket& packet);
    char16_t fillerCharacter() const;

    std::uint8_t teletextCharacterSet_ = 0;
    std::weak_ptr<ZQRSubtitleSidecar> sidecar_;
    std::shared_ptr<ZQRVANCOP47Packet> packet1_;
    std::shared_ptr<ZQRVANCOP47Packet> packet2_;
    bool clear_ = false;
    std::uint64_t droppedRows_ = 0;
};

}  // namespace zenquor
