#pragma once
// Reads a teletext subtitle page as a viewer sees it.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQRCaptionRemark.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

class ZQRVANCTeletextPacket;

/// Follows one page of a teletext service and hands out what stood on the screen as blocks.
///
/// Without a page in the options it follows the first page whose header says that it is a subtitle page, and
/// keeps to it; subtitlePages() tells which others there were. The subcode is not looked at.
///
/// A block lasts as long as the same rows stand on the screen. A page that is sent again, with or without
/// erasing it first, stays one block: a change counts as complete when the page is sent anew, or when no row has
/// come for settleFrames frames. The block then begins with the frame of the first row that changed something
/// to be seen, and the one before it ends with the header that erased the page, or at that same frame. Text
/// that was replaced within the frame in which it came gives no block. A timecode that runs backwards ends what
/// stands on the screen, and the page is read from there as new.
///
/// On a subtitle or newsflash page only text inside boxes is shown, on others everything; text that is
/// concealed, a page whose display is inhibited, mosaics, row 0 and row 25 are not. A start or end of box counts
/// also where only one of its two codes arrived. Characters with wrong parity become spaces, or what an equal
/// page before or after had in their place. Packets X/26 put letters with diacritical marks and characters of
/// the second Latin set (G2) into the rows; their other uses, and packets X/27 to X/31, are passed over.
///
/// Lifecycle:     packets in the order of transmission, finish() at the end; then it may be used anew.
/// Thread-safety: One thread at a time. The handlers run inside the calls and must not call back.
/// Ownership:     memory does not grow with the stream; a frame of filler packets allocates nothing.
/// Standards:     ETSI EN 300 706 (levels 1 and, for characters, 1.5), OP-47, SMPTE RDD 8.
class ZQRTeletextPageReader final {
public:
    /// Header and rows of a page may be spread over frames; rows that come this many frames after the last one,
    /// or sooner, still belong to the same change. Line by line insertion needs two: a row in each field.
    static constexpr std::int64_t settleFrames = 2;
    /// A change is complete after this many frames even when rows keep coming.
    static constexpr std::int64_t longestChangeFrames = 12;
    /// The same finding is told again after this many frames without it.
    static constexpr std::int64_t remarkRunFrames = 250;

    struct Options {
        /// Magazine, tens and units in hexadecimal digits, 0x100 to 0x8FF: 0x888 for page 888. Nothing follows
        /// the first subtitle page.
        std::optional<std::int32_t> page{};
        /// Character set 0 to 13 as ZQRVANCTeletextPacket numbers them, instead of the one in the header.
        std::optional<std::uint32_t> characterSet{};
    };

    /// What was seen since the reader was made. "The page" is the one that is followed.
    struct Statistics {
        std::uint64_t packets = 0;                  ///< OP-47 packets
        std::uint64_t malformedPackets = 0;         ///< OP-47 packets whose form is wrong
        std::uint64_t checksumErrors = 0;           ///< OP-47 packets whose bytes sum up to neither 0 nor 255
        std::uint64_t onesComplementChecksums = 0;  ///< OP-47 packets whose bytes sum up to 255
        std::uint64_t sequenceGaps = 0;             ///< OP-47 packets that do not follow their predecessor
        std::uint64_t teletextPackets = 0;          ///< all of them
        std::uint64_t badTeletextPackets = 0;       ///< run-in, framing code, address or header damaged
        std::uint64_t fillers = 0;                  ///< independent data lines
        std::uint64_t headers = 0;                  ///< of the page
        std::uint64_t rows = 0;                     ///< of the page, 1 to 24
        std::uint64_t parityErrors = 0;             ///< characters in rows of the page
        std::uint64_t repeats = 0;                  ///< transmissions that changed nothing on the screen
        std::uint64_t unseenBlocks = 0;             ///< texts that were gone within their first frame
        std::uint64_t blocks = 0;
    };

    /// @param blocks   receives each block as soon as its end is known; none is allowed.
    /// @param remarks  receives what is wrong with the stream; none is allowed.
    explicit ZQRTeletextPageReader(Options options, ZQRScreenBlockHandler blocks,
                                   ZQRCaptionRemarkHandler remarks = {});
    ZQRTeletextPageReader(ZQRTeletextPageReader&&) noexcept;
    ZQRTeletextPageReader& operator=(ZQRTeletextPageReader&&) noexcept;
    ~ZQRTeletextPageReader();

    /// Takes the teletext packets out of the OP-47 packets (DID 0x43, SDID 0x02) of a frame, in their order,
    /// read ones as well as bare data. Damaged ones are read as far as they go, those whose bits run the other
    /// way round too. Other packets are passed over.
    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    /// One packet from elsewhere, such as a DVB stream. Calls with the same timecode belong to one frame.
    void addTeletextPacket(const ZQRVANCTeletextPacket& packet, const ZQCKTimecode& timecode);
    /// Ends what still stands on the screen.
    /// @param timecode  the first frame after the stream.
    void finish(const ZQCKTimecode& timecode);

    /// The page that is followed; nothing as long as none was found.
    std::optional<std::int32_t> page() const;
    /// All pages of which a header came, in rising order, in the form of Options::page.
    std::vector<std::int32_t> pages() const;
    /// Those of them that are subtitle pages by their headers.
    std::vector<std::int32_t> subtitlePages() const;
    Statistics statistics() const;

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace zenquor
