// Caption distribution packets, CEA-608 pairs and the caption atoms of movies.

#include <algorithm>
#include <vector>

#include "Check.h"
#include "zenquor/vanc/ZQRCaptionSampleParser.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

using namespace zenquor;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

void readCDP(const ZQData& data) {
    const auto one = Caption::extract608CaptionsFromSMPTE334CDP708Packet(data, 1);
    const auto both = Caption::extract608CaptionsFromSMPTE334CDP708Packet(data, 2);
    FUZZ_CHECK(!both || (one && both->slice(0, 2) == *one));
    if (!both) return;
    const auto cdp = Caption::convert608CaptionsIntoSMPTE334CDP708PacketFormat(*both, 7, 1);
    FUZZ_CHECK(cdp && Caption::extract608CaptionsFromSMPTE334CDP708Packet(*cdp, 2) == both);
}

void readSample(const ZQData& data) {
    for (const std::size_t index : {std::size_t{0}, std::size_t{1}, SIZE_MAX}) {
        const auto caption =
            std::dynamic_pointer_cast<Caption>(ZQRCaptionSampleParser::packetFromSampleData(data, index));
        if (!caption || caption->type() != Caption::TypeCEA608) continue;
        const std::size_t size = caption->data().size();
        FUZZ_CHECK(size == 2 || size == 4);
        FUZZ_CHECK(caption->sdiData().size() == 89);
        FUZZ_CHECK(caption->dataFor608Fields(static_cast<int>(size / 2)) == caption->originalData());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const ZQData data = ZQData::copying({bytes, size});
    readCDP(data);
    readSample(data);
    if (const auto pair = ZQRVANCCEA608Packet::initWithData(data))
        FUZZ_CHECK(!pair->debugDescription().empty());
    for (const bool inAtom : {false, true}) {
        std::vector<std::uint8_t> copy(bytes, bytes + size);
        Caption::setSMPTE334CDP708PacketSequenceNumber(copy, 0x1234, inAtom);
        FUZZ_CHECK(size >= 10 || std::equal(copy.begin(), copy.end(), bytes));
    }
    return 0;
}
