#include "zenquor/writers/detail/CaptionSample.h"

#include <algorithm>
#include <span>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::detail {
namespace {

constexpr std::size_t atomHeaderBytes = 8;
constexpr std::size_t pairBytes = 2;

void putAtom(std::span<std::uint8_t> out, FourCC type, std::span<const std::uint8_t> payload) {
    writeBE32(out.data(), static_cast<std::uint32_t>(atomHeaderBytes + payload.size()));
    writeBE32(out.data() + 4, type);
    std::ranges::copy(payload, out.begin() + atomHeaderBytes);
}

std::optional<ZQData> sampleOfPairs(const ZQData& pairs) {
    if (pairs.size() < pairBytes) return std::nullopt;
    const std::size_t fields = pairs.size() < 2 * pairBytes ? 1 : 2;
    constexpr std::size_t atomBytes = atomHeaderBytes + pairBytes;
    return ZQData::filling(fields * atomBytes, [&](std::span<std::uint8_t> out) {
        putAtom(out, fourCC("cdat"), pairs.span().first(pairBytes));
        if (fields == 2)
            putAtom(out.subspan(atomBytes), fourCC("cdt2"), pairs.span().subspan(pairBytes, pairBytes));
    });
}

std::optional<ZQData> sampleOfCDP(const std::optional<ZQData>& cdp) {
    if (!cdp || cdp->empty()) return std::nullopt;
    return ZQData::filling(atomHeaderBytes + cdp->size(),
                           [&](std::span<std::uint8_t> out) { putAtom(out, fourCC("ccdp"), *cdp); });
}

std::optional<ZQData> pairsOf(const ZQRVANCClosedCaptionPacket& packet) {
    if (packet.originalType() == ZQRVANCClosedCaptionPacket::TypeCEA608) return packet.originalData();
    auto both = packet.dataFor608Fields(2);
    return both ? both : packet.dataFor608Fields(1);
}

}  // namespace

std::optional<ZQData> captionSample(const ZQRVANCClosedCaptionPacket* packet, FourCC kind) {
    if (!packet) return std::nullopt;
    if (kind == fourCC("c708")) return sampleOfCDP(packet->dataFor708());
    const auto pairs = pairsOf(*packet);
    return pairs ? sampleOfPairs(*pairs) : std::nullopt;
}

ZQData emptyCaptionSample(FourCC kind) {
    const auto empty = ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQRVANCClosedCaptionPacket::empty608PacketData(), ZQRVANCClosedCaptionPacket::TypeCEA608);
    return captionSample(empty.get(), kind).value_or(ZQData());
}

}  // namespace zenquor::detail
