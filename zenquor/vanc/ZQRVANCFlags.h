#pragma once
// The packet kinds that are replaced and cleared as a kind.

#include <cstdint>

namespace zenquor {

/// A bit set of packet kinds; 0 is none, and the flag of every packet of unknown kind.
using ZQRVANCFlags = std::uint32_t;

inline constexpr ZQRVANCFlags ZQRVANCFlagCaptions = 1;  // DID 0x61, SDID 0x01: caption distribution packet
inline constexpr ZQRVANCFlags ZQRVANCFlagOP47 =
    2;  // DID 0x43, SDID 0x02: OP-47 subtitling distribution packet
inline constexpr ZQRVANCFlags ZQRVANCFlagSCTE104 = 4;  // DID 0x41, SDID 0x07: SCTE-104 message

}  // namespace zenquor
