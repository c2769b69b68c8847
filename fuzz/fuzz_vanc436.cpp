// SMPTE 436M elements: walked, made into packets, packed and walked again.

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCPacketImpl.h"

using namespace zenquor;

namespace {

ZQRVANCPacketList packetsIn(const ZQData& element) {
    ZQRVANCPacketList packets;
    auto stream = ZQRDataStream::initWithData(element);
    ZQRVANCHelper::extractVANCDataPacketFromSMPTE436MStream(
        stream, [&](std::int32_t line, std::uint8_t did, std::uint8_t sdid, const ZQData& data) {
            const auto known = ZQRVANCHelper::vancPacketWithLine(line, did, sdid, data);
            packets.push_back(known ? known : ZQRVANCPacketImpl::initWithDID(did, sdid, line, data));
        });
    return packets;
}

std::optional<ZQData> pack(const ZQRVANCPacketList& packets) {
    return ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(packets, 1, true, 4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ZLGGetHandle().setLevel(ZLGLevel::Off);
    const ZQRVANCPacketList packets = packetsIn(ZQData::copying({bytes, size}));
    const auto element = pack(packets);
    FUZZ_CHECK(element.has_value() != packets.empty());
    if (!element) return 0;
    const ZQRVANCPacketList again = packetsIn(*element);
    FUZZ_CHECK(again.size() == packets.size());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        FUZZ_CHECK(again[i]->DID() == packets[i]->DID() && again[i]->SDID() == packets[i]->SDID());
        FUZZ_CHECK(again[i]->lineNumber() == packets[i]->lineNumber());
        if (ZQRVANCHelper::vancFlagsFromPacket(again[i]) != ZQRVANCFlagSCTE104)
            FUZZ_CHECK(again[i]->sdiData() == packets[i]->sdiData());
    }
    // A broken cue message may lose operations when it is written; what has been read back stays as it is.
    const auto settled = pack(again);
    FUZZ_CHECK(settled && pack(packetsIn(*settled)) == settled);
    return 0;
}
