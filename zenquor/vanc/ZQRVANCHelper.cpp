#include "zenquor/vanc/ZQRVANCHelper.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory_resource>
#include <utility>
#include <vector>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCSCTEPacket.h"
#include "zenquor/vanc/detail/AncillaryWords.h"

namespace zenquor {
namespace {

using detail::AncillaryWords;

struct PacketKind {
    std::int32_t did;
    std::int32_t sdid;
    ZQRVANCFlags flag;
};
constexpr PacketKind packetKinds[] = {
    {ZQRVANCClosedCaptionPacket::captionDID, ZQRVANCClosedCaptionPacket::captionSDID, ZQRVANCFlagCaptions},
    {ZQRVANCOP47Packet::subtitleDID, ZQRVANCOP47Packet::subtitleSDID, ZQRVANCFlagOP47},
    {ZQRVANCSCTEPacket::scteDID, ZQRVANCSCTEPacket::scteSDID, ZQRVANCFlagSCTE104},
};

constexpr std::size_t elementHeaderSize = 14;
constexpr std::uint8_t wrappingVANCFrame = 1;

/// The header before each packet of a 436M element, as far as it is read.
struct ElementHeader {
    std::uint16_t line;
    std::uint8_t sampleCoding;
    std::uint16_t sampleCount;
    std::uint32_t arraySize;  // count times element size, modulo 2^32
};

ElementHeader readElementHeader(const std::uint8_t* bytes) {
    return {readBE16(bytes), bytes[3], readBE16(bytes + 4), readBE32(bytes + 6) * readBE32(bytes + 10)};
}

void writeElementHeader(std::uint8_t* bytes, std::int32_t line, int format, std::size_t size,
                        std::size_t padded) {
    writeBE16(bytes, static_cast<std::uint16_t>(line));
    bytes[2] = wrappingVANCFrame;
    bytes[3] = detail::isEightBitFormat(format) ? 4 : 7;  // luma samples of 8 or 10 bits
    writeBE16(bytes + 4, static_cast<std::uint16_t>(size));
    writeBE32(bytes + 6, static_cast<std::uint32_t>(padded));
    writeBE32(bytes + 10, 1);
}

/// The stream format of a payload sample coding: 4 to 6 are 8-bit samples, 7 to 9 10-bit ones.
std::optional<int> formatForSampleCoding(std::uint8_t coding) {
    if (coding >= 4 && coding <= 6) return detail::eightBit;
    if (coding >= 7 && coding <= 9) return detail::tenBit;
    return std::nullopt;
}

AncillaryWords wordsOfPacket(const ZQRVANCPacket& packet, const ZQData& data) {
    return {static_cast<std::uint8_t>(packet.DID()), static_cast<std::uint8_t>(packet.SDID()), data};
}

/// One packet on its way into an element: user data words, or the whole packet when it is in 10-bit words.
struct ElementPart {
    const ZQRVANCPacket* packet;
    ZQData data;
    std::size_t size;    // of the packed packet
    std::size_t padded;  // the same with its padding
};

std::optional<ElementPart> elementPart(ZQRVANCPacket& packet, int format, bool includeCRC, int packing) {
    ElementPart part{&packet, packet.sdiData(), 0, 0};
    if (detail::isEightBitFormat(format)) {
        part.size = detail::eightBitSize(part.data.size(), format, includeCRC);
    } else {
        auto packed = detail::packTenBitWords(wordsOfPacket(packet, part.data), format, includeCRC);
        if (!packed) return std::nullopt;
        part.data = *std::move(packed);
        part.size = part.data.size();
    }
    const std::size_t unit = packing >= 1 ? static_cast<std::size_t>(packing) : 1;
    part.padded = (part.size + unit - 1) / unit * unit;
    return part;
}

std::uint8_t* writeElementPart(const ElementPart& part, int format, bool includeCRC, std::uint8_t* out) {
    writeElementHeader(out, part.packet->lineNumber(), format, part.size, part.padded);
    const std::span payload(out + elementHeaderSize, part.size);
    if (detail::isEightBitFormat(format)) {
        detail::writeEightBitWords(wordsOfPacket(*part.packet, part.data), format, includeCRC, payload);
    } else {
        std::copy(part.data.begin(), part.data.end(), payload.begin());
    }
    std::fill_n(payload.data() + part.size, part.padded - part.size, std::uint8_t{0});
    return payload.data() + part.padded;
}

/// A header that erases the subtitle page, and the packet of the other field, which says nothing.
void appendSubtitleErasure(ZQRVANCPacketList& list) {
    constexpr char16_t white = 7;
    const auto odd = ZQRVANCOP47Packet::beginOP47PacketWithLine(ZQRVANCOP47Packet::oddFieldLine);
    odd->appendPacket(ZQRVANCTeletextPacket::initSubtitleHeaderWithColour(white, u'?', 0));
    list.push_back(ZQRVANCOP47Packet::finishOP47Packet(odd));
    list.push_back(ZQRVANCOP47Packet::finishOP47Packet(
        ZQRVANCOP47Packet::beginOP47PacketWithLine(ZQRVANCOP47Packet::evenFieldLine)));
}

}  // namespace

ZQRVANCPacketPtr ZQRVANCHelper::vancPacketWithLine(std::int32_t line, std::int32_t did, std::int32_t sdid,
                                                   ZQData data) {
    using Caption = ZQRVANCClosedCaptionPacket;
    if (did == Caption::captionDID && sdid == Caption::captionSDID) {
        return Caption::closedCaptionPacketWithData(std::move(data), Caption::TypeCDP, line);
    }
    if (did == ZQRVANCOP47Packet::subtitleDID && sdid == ZQRVANCOP47Packet::subtitleSDID) {
        return ZQRVANCOP47Packet::initWithDID(did, sdid, line, std::move(data));
    }
    if (did == ZQRVANCSCTEPacket::scteDID && sdid == ZQRVANCSCTEPacket::scteSDID) {
        return ZQRVANCSCTEPacket::initWithDID(did, sdid, line, std::move(data));
    }
    return nullptr;
}

void ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(ZQRDataStream& stream,
                                                             const PacketBlock& block) {
    std::array<std::uint8_t, elementHeaderSize> bytes;
    std::size_t count = 0;
    stream.readBytes(std::span(bytes).first(2), &count);
    if (count != 2) return;
    for (unsigned packets = readBE16(bytes.data()); packets > 0; --packets) {
        stream.readBytes(bytes, &count);
        if (count != bytes.size()) return;
        const ElementHeader header = readElementHeader(bytes.data());
        if (const auto format = formatForSampleCoding(header.sampleCoding)) {
            auto payload =
                stream.streamAtPosition(static_cast<std::size_t>(stream.position()), header.sampleCount);
            extractVANCDataPacketFromSMPTE291MStream(payload, header.line, *format, block);
        }
        if (!stream.setPosition(header.arraySize, ZQRDataStream::SeekMode::Relative)) {
            ZLGGetHandle().error("ZQRClosedCaptionData received error while parsing SMPTE436MData");
            return;
        }
    }
}

void ZQRVANCHelper::extractVANCDataPacketFromSMPTE291MStream(ZQRDataStream& stream, std::int32_t line,
                                                             int format, const PacketBlock& block) {
    if (!detail::isAncillaryFormat(format)) return;
    if (detail::isEightBitFormat(format)) {
        const auto packet = detail::readEightBitWords(stream.unreadBytes(), format);
        if (packet) block(line, packet->did, packet->sdid, ZQData::copying(packet->data));
    } else {
        const auto packet = detail::readTenBitWords(stream, format);
        if (packet) block(line, packet->did, packet->sdid, packet->data);
    }
}

std::optional<ZQData> ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(const ZQRVANCPacketList& packets,
                                                                          int format, bool includeCRC,
                                                                          int packing) {
    if (packets.empty() || !detail::isAncillaryFormat(format)) return std::nullopt;
    // The parts of an ordinary frame fit on the stack, so that the result is the only allocation.
    std::array<std::byte, 2048> memory;
    std::pmr::monotonic_buffer_resource resource(memory.data(), memory.size());
    std::pmr::vector<ElementPart> parts(&resource);
    parts.reserve(packets.size());
    std::size_t size = 2;
    for (const ZQRVANCPacketPtr& packet : packets) {
        if (!packet) continue;
        auto part = elementPart(*packet, format, includeCRC, packing);
        if (!part) return std::nullopt;
        size += elementHeaderSize + part->padded;
        parts.push_back(*std::move(part));
    }
    return ZQData::filling(size, [&](std::span<std::uint8_t> out) {
        writeBE16(out.data(), static_cast<std::uint16_t>(parts.size()));
        std::uint8_t* next = out.data() + 2;
        for (const ElementPart& part : parts) next = writeElementPart(part, format, includeCRC, next);
    });
}

ZQData ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(const ZQRVANCPacketPtr& packet, int format,
                                                          bool includeCRC) {
    if (!packet || !detail::isAncillaryFormat(format)) return {};
    const ZQData data = packet->sdiData();
    const AncillaryWords words = wordsOfPacket(*packet, data);
    if (!detail::isEightBitFormat(format)) {
        return detail::packTenBitWords(words, format, includeCRC).value_or(ZQData{});
    }
    return ZQData::filling(
        detail::eightBitSize(data.size(), format, includeCRC),
        [&](std::span<std::uint8_t> out) { detail::writeEightBitWords(words, format, includeCRC, out); });
}

ZQRVANCPacketList ZQRVANCHelper::addPackets(const ZQRVANCPacketList& newPackets,
                                            const ZQRVANCPacketList& existing) {
    ZQRVANCPacketList list = removePackets(existing, vancFlagsFromPackets(newPackets));
    list.insert(list.end(), newPackets.begin(), newPackets.end());
    return list;
}

ZQRVANCPacketList ZQRVANCHelper::addPacket(const ZQRVANCPacketPtr& packet,
                                           const ZQRVANCPacketList& existing) {
    ZQRVANCPacketList list = existing;
    if (packet) list.push_back(packet);
    return list;
}

std::shared_ptr<ZQRVANCClosedCaptionPacket> ZQRVANCHelper::closedCaptionPacket(
    const ZQRVANCPacketList& packets) {
    for (const ZQRVANCPacketPtr& packet : packets) {
        if (vancFlagsFromPacket(packet) != ZQRVANCFlagCaptions) continue;
        if (auto caption = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(packet)) return caption;
    }
    return nullptr;
}

ZQRVANCFlags ZQRVANCHelper::vancFlagsFromPacket(const ZQRVANCPacketPtr& packet) {
    if (!packet) return 0;
    for (const PacketKind& kind : packetKinds) {
        if (packet->DID() == kind.did && packet->SDID() == kind.sdid) return kind.flag;
    }
    return 0;
}

ZQRVANCFlags ZQRVANCHelper::vancFlagsFromPackets(const ZQRVANCPacketList& packets) {
    ZQRVANCFlags flags = 0;
    for (const ZQRVANCPacketPtr& packet : packets) flags |= vancFlagsFromPacket(packet);
    return flags;
}

ZQRVANCPacketList ZQRVANCHelper::removePackets(const ZQRVANCPacketList& packets, ZQRVANCFlags flags) {
    ZQRVANCPacketList list;
    list.reserve(packets.size());
    std::copy_if(packets.begin(), packets.end(), std::back_inserter(list),
                 [&](const ZQRVANCPacketPtr& packet) { return (vancFlagsFromPacket(packet) & flags) == 0; });
    return list;
}

ZQRVANCPacketList ZQRVANCHelper::clearPackets(const ZQRVANCPacketList& packets, ZQRVANCFlags flags) {
    using Caption = ZQRVANCClosedCaptionPacket;
    ZQRVANCPacketList list = removePackets(packets, flags);
    if ((flags & ZQRVANCFlagCaptions) != 0) {
        list.push_back(
            Caption::closedCaptionPacketWithData(Caption::clear608PacketData(), Caption::TypeCEA608));
    }
    if ((flags & ZQRVANCFlagOP47) != 0) appendSubtitleErasure(list);
    return list;
}

}  // namespace zenquor
