#include "PacketText.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"
#include "zenquor/vanc/ZQRVANCSCTEPacket.h"

namespace zenquor::tools {
namespace {

using Parts = std::vector<std::string>;

/// What is wrong with a caption distribution packet on the wire; empty when it is sound.
std::string faultOf(const ZQData& cdp) {
    if (cdp.size() < 11 || cdp[0] != 0x96 || cdp[1] != 0x69) return "not a caption distribution packet";
    if (cdp[2] != cdp.size())
        return fmt::format("length byte {} in a packet of {} bytes", cdp[2], cdp.size());
    const auto sum = std::accumulate(cdp.begin(), cdp.end(), std::uint8_t{0});
    return sum == 0 ? "" : "wrong checksum";
}

Parts describeCaptions(const ZQRVANCClosedCaptionPacket& packet) {
    Parts parts;
    if (packet.originalType() == ZQRVANCClosedCaptionPacket::TypeCDP) {
        const ZQData cdp = packet.data();
        if (auto fault = faultOf(cdp); !fault.empty()) parts.push_back("FAULT " + fault);
        if (cdp.size() >= 7)
            parts.push_back(fmt::format("CDP {} bytes, sequence {}", cdp.size(), cdp[5] << 8 | cdp[6]));
    }
    packet.enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
        parts.push_back(fmt::format(
            "field {} {}", field, ZQRVANCCEA608Packet::initWithHiByte(pair[0], pair[1]).debugDescription()));
    });
    return parts;
}

std::string describeTeletext(const ZQRVANCTeletextPacket& packet) {
    const char field = packet.oddField() ? '1' : '2';
    if (packet.isIDL()) return fmt::format("line {} field {} filler", packet.lineNumber(), field);
    if (packet.isHeader()) {
        return fmt::format("line {} field {} page {}{:X}{:X}{}{}", packet.lineNumber(), field,
                           packet.magazine(), packet.pageTens(), packet.pageUnits(),
                           packet.controlErasePage() ? " erase" : "",
                           packet.controlSubtitle() ? " subtitle" : "");
    }
    const auto payload = packet.payload();
    const auto text =
        ZQRVANCTeletextPacket::decodedData({payload.data(), payload.size()}, packet.characterSet());
    return fmt::format("line {} field {} magazine {} row {} \"{}\"", packet.lineNumber(), field,
                       packet.magazine(), packet.packetNumber(),
                       utf8FromUTF16(ZQRVANCTeletextPacket::stringWithReplacedControlCharacters(text)));
}

Parts describeSubtitles(const ZQRVANCOP47Packet& packet) {
    Parts parts;
    if (!packet.valid()) parts.push_back("FAULT not a sound subtitling distribution packet");
    parts.push_back(fmt::format("OP-47 sequence {}", packet.sequenceNumber()));
    for (const auto& teletext : packet.packets()) parts.push_back(describeTeletext(teletext));
    return parts;
}

Parts describeCue(const ZQRVANCSCTEPacket& packet) {
    Parts parts{fmt::format("SCTE-104 message {} AS index {} DPI PID {}", packet.messageNumber(),
                            packet.ASIndex(), packet.DPIPID())};
    for (const auto& operation : packet.operations()) parts.push_back(operation.description());
    return parts;
}

}  // namespace

Parts describePacket(const ZQRVANCPacketPtr& packet) {
    if (const auto captions = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(packet))
        return describeCaptions(*captions);
    if (const auto subtitles = std::dynamic_pointer_cast<ZQRVANCOP47Packet>(packet))
        return describeSubtitles(*subtitles);
    if (const auto cue = std::dynamic_pointer_cast<ZQRVANCSCTEPacket>(packet)) return describeCue(*cue);
    return {fmt::format("{} bytes of another kind", packet->sdiData().size())};
}

}  // namespace zenquor::tools
