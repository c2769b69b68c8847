#pragma once
// Teletext subtitles as an ancillary data packet.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zenquor/core/Guarded.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"
#include "zenquor/vanc/ZQRVANCTeletextPacket.h"

namespace zenquor {

/// An OP-47 subtitling distribution packet: up to five teletext packets of one frame.
///
/// Lifecycle:     received: made by initWithDID(). Sent: beginOP47PacketWithLine(), appendPacket() for each
///                teletext packet, finishOP47Packet().
/// Thread-safety: readers may share a packet, and writers may put it on the wire at once. Setters and
///                appendPacket() are for its maker, before the packet is shared.
/// Ownership:     holds its teletext packets itself; only the data on the wire is memory of its own.
/// Standards:     OP-47, SMPTE RDD 8.
class ZQRVANCOP47Packet final : public ZQRVANCPacketImpl {
    struct Private {};

public:
    static constexpr std::int32_t subtitleDID = 0x43;
    static constexpr std::int32_t subtitleSDID = 0x02;
    /// The lines that carry the packets of the odd and the even field.
    static constexpr std::int32_t oddFieldLine = 12;
    static constexpr std::int32_t evenFieldLine = 575;
    static constexpr std::size_t maximumPackets = 5;
    /// One slot stays free when packets are appended one by one.
    static constexpr std::size_t maximumAppendedPackets = 4;
    static constexpr std::size_t minimumFinishedPackets = 3;
    static constexpr std::size_t headerSize = 9;
    static constexpr std::size_t footerSize = 4;

    /// An empty packet with the next sequence number of the process.
    static std::shared_ptr<ZQRVANCOP47Packet> beginOP47PacketWithLine(std::int32_t line);
    /// Adds a packet, of which the line becomes 10, 11, 12 and 13 in turn and the field that of line 12 or
    /// not. @return false, nothing changed, when there are four already.
    bool appendPacket(const ZQRVANCTeletextPacket& packet);
    /// Fills up with dummy packets to three. @return the packet handed in; null for null.
    static std::shared_ptr<ZQRVANCOP47Packet> finishOP47Packet(std::shared_ptr<ZQRVANCOP47Packet> packet);

    /// A received packet; valid() says whether @p data is sound.
    static std::shared_ptr<ZQRVANCOP47Packet> initWithDID(std::int32_t did, std::int32_t sdid,
                                                          std::int32_t line, ZQData data);
    ZQRVANCOP47Packet(Private, std::int32_t did, std::int32_t sdid, std::int32_t line, ZQData data);

    /// Reads a distribution packet. Teletext packets are kept, although the result is false, when only the
    /// footer is wrong: some devices sum up to 255 instead of 0.
    /// @return whether identifiers, lengths, footer and checksum are right.
    bool setBytes(std::span<const std::uint8_t> bytes);
    /// What the last setBytes() said; false for a packet that was begun.
    bool valid() const { return valid_; }
    /// 16 bits on the wire.
    std::int32_t sequenceNumber() const { return sequenceNumber_; }
    void setSequenceNumber(std::int32_t number);
    /// In the order on the wire; a view into this object, until the next change.
    std::span<const ZQRVANCTeletextPacket> packets() const { return std::span(packets_).first(count_); }
    /// Replaces the packets, lines and fields as they are set; keeps the first five.
    void setPackets(std::span<const ZQRVANCTeletextPacket> packets);

    /// The distribution packet built from the fields, not the bytes that were read. A teletext packet on line
    /// 0 of the even field cannot be described and is left out.
    ZQData sdiData() override;
    /// Reads @p data as setBytes() does.
    void setSdiData(ZQData data) override;
    /// The bytes that the packet was made with; none for a packet that was begun.
    const ZQData& originalData() const { return originalData_; }

    /// "OP47 … sequence: … packets: …" and a line for each teletext packet.
    std::string debugDescription() const override;

    /// The size of the distribution packet that the 9 bytes of @p header announce; 0 for a shorter header.
    static std::size_t lengthForHeader(std::span<const std::uint8_t> header);
    /// Whether the slot of this descriptor is in use.
    static bool validPacketDescriptor(std::uint8_t descriptor) { return descriptor != 0; }
    /// The checksum byte of a whole distribution packet, of which the last byte is not looked at: all bytes
    /// sum up to 0. 0 for fewer than two bytes.
    static std::uint8_t crcForBytes(std::span<const std::uint8_t> bytes);

private:
    ZQData serialised() const;
    void contentChanged() { serialised_.store(std::nullopt); }

    bool valid_ = false;
    std::int32_t sequenceNumber_ = 0;
    std::array<ZQRVANCTeletextPacket, maximumPackets> packets_{};
    std::size_t count_ = 0;
    const ZQData originalData_;
    Guarded<std::optional<ZQData>> serialised_;
};

}  // namespace zenquor
