#include "zenquor/vanc/ZQRCaptionSampleParser.h"

#include <algorithm>
#include <array>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/core/FourCC.h"
#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

constexpr std::size_t atomHeaderSize = 8;
constexpr std::size_t smallestCDP = 12;

/// CDP number @p index of a 'ccdp' payload, or null.
ZQRVANCPacketPtr captionPacketFromCDPs(std::span<const std::uint8_t> payload, std::size_t index) {
    for (;; --index) {
        if (payload.size() < smallestCDP) return nullptr;
        const std::size_t length = payload[2];
        if (length == 0 || length > payload.size()) return nullptr;
        if (index == 0) {
            return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
                ZQData::copying(payload.first(length)), ZQRVANCClosedCaptionPacket::TypeCDP);
        }
        payload = payload.subspan(length);
    }
}

/// The pairs of both fields, gathered from the atoms of one sample.
struct FieldPairs {
    std::array<std::uint8_t, 4> bytes = {0x80, 0x80, 0x80, 0x80};
    std::size_t size = 0;

    void take(std::span<const std::uint8_t> payload, std::size_t index, std::size_t field) {
        if (payload.size() / 2 > index)
            std::copy_n(payload.begin() + 2 * index, 2, bytes.begin() + 2 * field);
        size = std::max(size, 2 * field + 2);
    }
    ZQRVANCPacketPtr packet() const {
        if (size == 0) return nullptr;
        return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            ZQData::filling(size,
                            [&](std::span<std::uint8_t> out) {
                                std::transform(bytes.begin(), bytes.begin() + size, out.begin(),
                                               ZQRDataStream::oddParityByte);
                            }),
            ZQRVANCClosedCaptionPacket::TypeCEA608);
    }
};

}  // namespace

ZQRVANCPacketPtr ZQRCaptionSampleParser::packetFromSampleData(std::span<const std::uint8_t> sample,
                                                              std::size_t index) {
    if (sample.size() <= atomHeaderSize) return nullptr;
    FieldPairs pairs;
    while (sample.size() >= atomHeaderSize) {
        const std::size_t size = readBE32(sample.data());
        if (size < atomHeaderSize || size > sample.size()) break;
        const auto payload = sample.first(size).subspan(atomHeaderSize);
        const FourCC type = readBE32(sample.data() + 4);
        if (type == fourCC("ccdp") && pairs.size == 0) return captionPacketFromCDPs(payload, index);
        if (type == fourCC("cdat")) pairs.take(payload, index, 0);
        if (type == fourCC("cdt2")) pairs.take(payload, index, 1);
        sample = sample.subspan(size);
    }
    return pairs.packet();
}

}  // namespace zenquor
