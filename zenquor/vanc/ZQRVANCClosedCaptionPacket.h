#pragma once
// Closed captions as an ancillary data packet.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include "zenquor/core/FourCC.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

namespace zenquor {

/// Captions of one frame: bare CEA-608 byte pairs or a whole caption distribution packet (CDP), converted on
/// demand.
///
/// A packet of pairs turns into a CDP when it is first put on the wire (sdiData() or convertToType(1)) and
/// stays one. originalType() and originalData() keep what it was made with, whatever happened since.
///
/// Thread-safety: Safe; writers may read, convert and wrap the same packet at once. Setters of the base
///                are for the maker, before the packet is shared.
/// Standards:     SMPTE ST 334-1 and ST 334-2 (CDP), CEA-608-E, CEA-708-E, QuickTime caption samples.
class ZQRVANCClosedCaptionPacket final : public ZQRVANCPacketImpl {
public:
    /// Values of type().
    enum Type : std::int32_t {
        TypeCEA608 = 0,  // two bytes per field, field 1 first, odd parity
        TypeCDP = 1,     // SMPTE 334 caption distribution packet
    };
    static constexpr std::int32_t captionDID = 0x61;
    static constexpr std::int32_t captionSDID = 0x01;
    static constexpr std::int32_t defaultLineNumber = 9;

    using PairBlock = std::function<void(int field, std::span<const std::uint8_t, 2> pair)>;

    static std::shared_ptr<ZQRVANCClosedCaptionPacket> closedCaptionPacketWithData(
        ZQData data, std::int32_t type, std::int32_t line = defaultLineNumber);
    static std::shared_ptr<ZQRVANCClosedCaptionPacket> initWithClosedCaptionData(ZQData data,
                                                                                 std::int32_t type,
                                                                                 std::int32_t line);

    std::int32_t type() const { return content().type; }
    /// The payload in the form that type() says.
    ZQData data() const { return content().data; }
    std::int32_t originalType() const { return originalType_; }
    const ZQData& originalData() const { return originalData_; }

    /// Only pairs to CDP exists, with the next sequence number; anything else does nothing. Data that is not
    /// 2 or 4 bytes long becomes a CDP of no bytes.
    void convertToType(std::int32_t type);
    /// The CDP; converts pairs first.
    ZQData sdiData() override;
    /// Replaces the payload by a CDP.
    void setSdiData(ZQData data) override;
    /// The payload as a movie's caption sample: in a 'ccdp' atom (CDP) or a 'cdat' atom (pairs); nothing for
    /// other types.
    std::optional<ZQData> quicktimeData() const;
    /// The pairs of @p fields fields (1 or 2), two bytes each; nothing when the packet does not hold them.
    std::optional<ZQData> dataFor608Fields(int fields) const;
    /// Calls @p visit with the field (1 or 2) and the bytes of every CEA-608 pair that the packet holds, in order. At 23.98
    /// and 24 frames per second a CDP holds more than one pair of a field. A broken CDP gives what can be read.
    void enumerate608Pairs(const PairBlock& visit) const;
    /// The CDP, built from pairs with the next sequence number without changing the packet; nothing for pairs
    /// of another length than 2 or 4.
    std::optional<ZQData> dataFor708() const;
    /// The payload behind an 8-byte atom header. The size is written as one byte.
    ZQData dataWithQTAtom(FourCC atom) const;

    /// One null pair, 80 80.
    static ZQData empty608PacketData();
    /// One "Erase Displayed Memory" on channel 1, 94 2C.
    static ZQData clear608PacketData();
    /// Each byte as a 16-bit value in host byte order.
    static ZQData dataFormattedIn16Bit(std::span<const std::uint8_t> bytes);
    /// Builds a CDP around one or two pairs.
    /// @param data   2 bytes (field 1) or 4 bytes (fields 1 and 2).
    /// @param flags  bit 0 set: 89 bytes with the service table of SDI; clear: 82 bytes.
    /// @return nothing when @p data has another length.
    static std::optional<ZQData> convert608CaptionsIntoSMPTE334CDP708PacketFormat(
        std::span<const std::uint8_t> data, std::uint32_t sequenceNumber, std::uint32_t flags);
    /// The pairs inside a CDP. The sequence counters and the checksum are not looked at.
    /// @param fields  1 or 2.
    /// @return nothing when the CDP is broken or a pair is missing.
    static std::optional<ZQData> extract608CaptionsFromSMPTE334CDP708Packet(std::span<const std::uint8_t> cdp,
                                                                            int fields);
    /// Writes the sequence number into header and footer and makes the checksum right; nothing for fewer than
    /// 10 bytes.
    /// @param includesQTAtom  the CDP starts 8 bytes in.
    static void setSMPTE334CDP708PacketSequenceNumber(std::span<std::uint8_t> bytes,
                                                      std::uint16_t sequenceNumber, bool includesQTAtom);

private:
    ZQRVANCClosedCaptionPacket(ZQData data, std::int32_t type, std::int32_t line);

    struct Content {
        const ZQData& data;
        std::int32_t type;
    };
    Content content() const;

    const std::int32_t originalType_;
    const ZQData originalData_;
    ZQData cdp_;  // the payload once isReplaced_ is set; complete before that
    std::atomic<bool> isReplaced_{false};
    std::mutex replacing_;
};

}  // namespace zenquor
