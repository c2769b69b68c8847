#pragma once
// Reads line 21 captions as a viewer sees them.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/ZQRCaptionRemark.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

/// Follows the screens of all four caption channels and all four text channels at once, and hands out what
/// stood on them as blocks.
///
/// A pop-on block lasts from the flip that shows it to the erasure or the next flip. A roll-up block is one
/// state of the window: from a carriage return, or the first character on an empty screen, to the next carriage
/// return or erasure, with every row then visible and its last row as it was in the end. A paint-on block
/// begins with the first character and ends where erasing, or painting anew, changes it. A picture that is
/// replaced by the same picture stays one block; one that was gone within its first frame gives none.
///
/// The channel is that of the field's last code. Codes of field 2 that arrive in field 1 (0x15 and 0x1D) select
/// channels 3 and 4 there, as this library sends them; codes of field 1 in field 2 count as channels 3 and 4.
/// A code that comes twice in succession acts once, also with one null pair between. Bit 7 of no byte decides
/// anything: bytes without odd parity are counted, reported and used.
///
/// Lifecycle:     pairs in the order of transmission, finish() at the end; then it may be used anew.
/// Thread-safety: One thread at a time. The handlers run inside the calls and must not call back.
/// Standards:     CEA-608-E, 47 CFR 79.101, SMPTE ST 334-1 and ST 334-2 (packets).
class ZQRCEA608Decoder final {
public:
    /// What was seen since the decoder was made.
    struct Statistics {
        std::uint64_t pairs = 0;  ///< all of them, null pairs too
        std::uint64_t nullPairs = 0;
        std::uint64_t parityErrors = 0;       ///< bytes
        std::uint64_t xdsPackets = 0;         ///< extended data packets that came to their end
        std::uint64_t xdsChecksumErrors = 0;  ///< those of them with a wrong sum
        std::uint64_t unknownCodes = 0;       ///< pairs without meaning
        std::uint64_t repeatedControls = 0;   ///< second copies that were dropped
        std::uint64_t blocks = 0;
    };

    /// @param blocks   receives each block as soon as its end is known; none is allowed.
    /// @param remarks  receives what is wrong with the stream; none is allowed.
    explicit ZQRCEA608Decoder(ZQRScreenBlockHandler blocks, ZQRCaptionRemarkHandler remarks = {});
    ZQRCEA608Decoder(ZQRCEA608Decoder&&) noexcept;
    ZQRCEA608Decoder& operator=(ZQRCEA608Decoder&&) noexcept;
    ~ZQRCEA608Decoder();

    /// Takes every valid pair of both fields out of a frame's caption packets, in their order: caption
    /// distribution packets, bare pairs, and CEA-608 packets of their own (DID 0x61, SDID 0x02). Other packets
    /// are passed over.
    void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode);
    /// @param field  1 or 2; a pair of another field is ignored.
    /// @param pair   first byte in the high half, with or without parity.
    void addPair(int field, std::uint16_t pair, const ZQCKTimecode& timecode);
    /// Ends what still stands on the screens.
    /// @param timecode  the first frame after the stream.
    void finish(const ZQCKTimecode& timecode);

    Statistics statistics() const;

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace zenquor
