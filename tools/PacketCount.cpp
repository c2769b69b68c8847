#include "PacketCount.h"

#include <memory>
#include <span>

#include <fmt/format.h>

#include "PacketText.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCFlags.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

bool isNullPair(std::span<const std::uint8_t> pair) {
    return (pair[0] & 0x7F) == 0 && (pair[1] & 0x7F) == 0;
}

}  // namespace

void PacketCount::add(const std::string& kind, const ZQRVANCPacketPtr& packet) {
    ++kinds_[kind];
    for (const auto& part : describePacket(packet)) faulty_ += part.starts_with("FAULT") ? 1 : 0;
    const auto captions = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(packet);
    if (!captions) return;
    captions->enumerate608Pairs([&](int field, std::span<const std::uint8_t, 2> pair) {
        if (!isNullPair(pair)) ++kinds_[fmt::format("CEA-608 pairs in field {}", field)];
    });
}

std::string PacketCount::nameOf(const ZQRVANCPacketPtr& packet) {
    switch (ZQRVANCHelper::vancFlagsFromPacket(packet)) {
        case ZQRVANCFlagCaptions:
            return "CDP packets";
        case ZQRVANCFlagOP47:
            return "OP-47 packets";
        case ZQRVANCFlagSCTE104:
            return "SCTE-104 packets";
        default:
            return fmt::format("{:02X}/{:02X} packets", packet->DID(), packet->SDID());
    }
}

}  // namespace zenquor::tools
