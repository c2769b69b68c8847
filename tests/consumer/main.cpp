// The smallest host: builds a caption packet, packs it as SMPTE 291M and says which library did it.
#include <cstdio>

#include "zenquor/core/Version.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

int main() {
    const auto packet = zenquor::ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        zenquor::ZQRVANCClosedCaptionPacket::clear608PacketData(), 0);
    const auto packed = zenquor::ZQRVANCHelper::packVANCDataPacketInSMPTE291MStream(packet, 1, true);
    std::printf("libzenquor %s: %zu bytes\n", zenquor::versionString(), packed.size());
    return packed.size() == 93 ? 0 : 1;
}
