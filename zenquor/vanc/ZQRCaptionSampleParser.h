#pragma once
// Caption samples of movie files back into packets.

#include <cstddef>
#include <cstdint>
#include <span>

#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

/// Reads the atoms of a 'c608' or 'c708' track's sample.
///
/// Thread-safety: Safe; it has no state.
/// Standards:     QuickTime caption samples: 'cdat' and 'cdt2' (CEA-608 pairs), 'ccdp' (SMPTE ST 334-2).
class ZQRCaptionSampleParser {
public:
    ZQRCaptionSampleParser() = delete;

    /// The caption packet number @p index of a sample, counted from 0: bare pairs (with parity made odd) or a
    /// CDP.
    /// @return null when the sample has none.
    static ZQRVANCPacketPtr packetFromSampleData(std::span<const std::uint8_t> sample, std::size_t index);
};

}  // namespace zenquor
