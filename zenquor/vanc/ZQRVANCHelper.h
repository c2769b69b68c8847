#pragma once
// Making, merging, packing and extracting ancillary data packets.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCFlags.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

class ZQRVANCClosedCaptionPacket;

/// Operations on packets and packet lists; it has no state.
///
/// The format of the 291M operations: 0 = 8-bit words behind an ancillary data flag, 1 = 8-bit words alone
/// (the form of MXF and MCC files), 2 = 10-bit words behind a flag, 3 = 10-bit words alone.
///
/// Thread-safety: Safe, as far as the packets and streams handed in allow.
/// Ownership:     packing and extraction of 8-bit words allocate once per result.
/// Standards:     SMPTE ST 291-1 (packets), ST 436-1 (elements of MXF ancillary data tracks).
class ZQRVANCHelper {
public:
    ZQRVANCHelper() = delete;

    /// Receives an extracted packet: its line, identifiers and user data words, in memory of their own.
    using PacketBlock =
        std::function<void(std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data)>;

    /// A packet of the kind that the identifiers name, or null for an unknown kind.
    static ZQRVANCPacketPtr vancPacketWithLine(std::int32_t line, std::int32_t did, std::int32_t sdid,
                                               ZQData data);

    /// Calls @p block once per good packet of the element at the stream's position. Broken packets are passed
    /// over in silence; a packet that claims more than there is ends the walk with an error in the log.
    static void extractVANCDataPacketFromSMPTE436MStream(ZQRDataStream& stream, const PacketBlock& block);
    /// Calls @p block if the stream, which holds exactly one packet, is good: sound checksum, words complete.
    /// A stream of 8-bit words may end without a checksum.
    static void extractVANCDataPacketFromSMPTE291MStream(ZQRDataStream& stream, std::int32_t line, int format,
                                                         const PacketBlock& block);
    /// Packs the list into one element, each packet padded with zeros to a multiple of @p packing bytes
    /// (below 1: not).
    /// @return nothing for an empty list, a format that does not exist or 10-bit words from data of odd
    /// length.
    static std::optional<ZQData> packVANCDataPacketsInSMPTE436MStream(const ZQRVANCPacketList& packets,
                                                                      int format, bool includeCRC,
                                                                      int packing);
    /// @return no bytes for no packet, a format that does not exist or 10-bit words from data of odd length.
    static ZQData packVANCDataPacketInSMPTE291MStream(const ZQRVANCPacketPtr& packet, int format,
                                                      bool includeCRC);

    /// The existing list with the new packets in place of those of the same kinds, at its end.
    static ZQRVANCPacketList addPackets(const ZQRVANCPacketList& newPackets,
                                        const ZQRVANCPacketList& existing);
    /// Appends; never replaces. No packet gives the list as it is.
    static ZQRVANCPacketList addPacket(const ZQRVANCPacketPtr& packet, const ZQRVANCPacketList& existing);
    /// The first caption packet of the list, or null.
    static std::shared_ptr<ZQRVANCClosedCaptionPacket> closedCaptionPacket(const ZQRVANCPacketList& packets);
    /// The kind of a packet; 0 for an unknown kind or none.
    static ZQRVANCFlags vancFlagsFromPacket(const ZQRVANCPacketPtr& packet);
    static ZQRVANCFlags vancFlagsFromPackets(const ZQRVANCPacketList& packets);
    /// The list without the packets of the flagged kinds, order kept.
    static ZQRVANCPacketList removePackets(const ZQRVANCPacketList& packets, ZQRVANCFlags flags);
    /// The list without the packets of the flagged kinds, and behind it the packets that clear the screen: a
    /// caption packet, then the OP-47 packets of lines 12 and 575. Cue messages are only taken out.
    static ZQRVANCPacketList clearPackets(const ZQRVANCPacketList& packets, ZQRVANCFlags flags);
};

}  // namespace zenquor
