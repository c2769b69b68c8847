#include "DigitalCaptions.h"

#include <algorithm>

namespace zenquor::tools {
namespace {

// SMPTE ST 334-2: the header, and the sections that may stand before or be the caption data.
constexpr std::size_t headerSize = 7;
constexpr std::uint8_t timecodeSection = 0x71, captionSection = 0x72;
constexpr std::size_t timecodeSectionSize = 5, captionSectionHeader = 2, tripletSize = 3;
constexpr std::uint8_t countMask = 0x1F;
constexpr std::uint8_t validFlag = 0x04, digitalType = 0x02;  // of a triplet: types 2 and 3 are CEA-708

}  // namespace

bool holdsDigitalCaptions(const ZQRVANCClosedCaptionPacket& packet) {
    if (packet.originalType() != ZQRVANCClosedCaptionPacket::TypeCDP) return false;
    const ZQData& cdp = packet.originalData();
    std::size_t at = headerSize;
    if (cdp.size() > at && cdp[at] == timecodeSection) at += timecodeSectionSize;
    if (cdp.size() < at + captionSectionHeader || cdp[at] != captionSection) return false;
    const std::size_t triplets = cdp[at + 1] & countMask;
    at += captionSectionHeader;
    const std::size_t end = std::min(cdp.size(), at + triplets * tripletSize);
    for (; at + tripletSize <= end; at += tripletSize) {
        if ((cdp[at] & validFlag) != 0 && (cdp[at] & digitalType) != 0) return true;
    }
    return false;
}

}  // namespace zenquor::tools
