#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/vanc/detail/CaptionDistribution.h"

namespace zenquor {
namespace {

constexpr std::size_t atomHeaderSize = 8;
constexpr std::size_t smallestPatchedCDP = 10;

bool isPairData(std::span<const std::uint8_t> data) {
    return data.size() == 2 || data.size() == 4;
}

/// The CDP of the pairs with the next sequence number of the process.
std::optional<ZQData> nextCDP(std::span<const std::uint8_t> pairs) {
    static std::atomic<std::uint32_t> sequence{0};
    if (!isPairData(pairs)) return std::nullopt;
    const auto number = static_cast<std::uint16_t>(sequence.fetch_add(1, std::memory_order_relaxed));
    return detail::buildCaptionDistributionPacket(pairs, number, true);
}

ZQData inAtom(const ZQData& data, FourCC atom) {
    return ZQData::filling(atomHeaderSize + data.size(), [&](std::span<std::uint8_t> out) {
        writeBE32(out.data(), static_cast<std::uint8_t>(out.size()));
        writeBE32(out.data() + 4, atom);
        std::copy(data.begin(), data.end(), out.begin() + atomHeaderSize);
    });
}

}  // namespace

ZQRVANCClosedCaptionPacket::ZQRVANCClosedCaptionPacket(ZQData data, std::int32_t type, std::int32_t line)
    : ZQRVANCPacketImpl(captionDID, captionSDID, line, {}),
      originalType_(type),
      originalData_(std::move(data)) {}

std::shared_ptr<ZQRVANCClosedCaptionPacket> ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
    ZQData data, std::int32_t type, std::int32_t line) {
    return initWithClosedCaptionData(std::move(data), type, line);
}

std::shared_ptr<ZQRVANCClosedCaptionPacket> ZQRVANCClosedCaptionPacket::initWithClosedCaptionData(
    ZQData data, std::int32_t type, std::int32_t line) {
    return std::shared_ptr<ZQRVANCClosedCaptionPacket>(
        new ZQRVANCClosedCaptionPacket(std::move(data), type, line));
}

ZQRVANCClosedCaptionPacket::Content ZQRVANCClosedCaptionPacket::content() const {
    if (isReplaced_.load(std::memory_order_acquire)) return {cdp_, TypeCDP};
    return {originalData_, originalType_};
}

void ZQRVANCClosedCaptionPacket::convertToType(std::int32_t newType) {
    if (newType != TypeCDP || type() != TypeCEA608) return;
    const std::lock_guard lock(replacing_);
    if (type() != TypeCEA608) return;  // another thread was first
    cdp_ = nextCDP(originalData_).value_or(ZQData{});
    isReplaced_.store(true, std::memory_order_release);
}

ZQData ZQRVANCClosedCaptionPacket::sdiData() {
    convertToType(TypeCDP);
    return data();
}

void ZQRVANCClosedCaptionPacket::setSdiData(ZQData data) {
    const std::lock_guard lock(replacing_);
    cdp_ = std::move(data);
    isReplaced_.store(true, std::memory_order_release);
}

std::optional<ZQData> ZQRVANCClosedCaptionPacket::quicktimeData() const {
    const Content now = content();
    if (now.type == TypeCDP) return inAtom(now.data, fourCC("ccdp"));
    if (now.type == TypeCEA608) return inAtom(now.data, fourCC("cdat"));
    return std::nullopt;
}

std::optional<ZQData> ZQRVANCClosedCaptionPacket::dataFor608Fields(int fields) const {
    const Content now = content();
    if (now.type == TypeCDP) return extract608CaptionsFromSMPTE334CDP708Packet(now.data, fields);
    const bool isComplete = fields >= 0 && now.data.size() == static_cast<std::size_t>(fields) * 2;
    if (now.type != TypeCEA608 || !isComplete) return std::nullopt;
    return now.data;
}

void ZQRVANCClosedCaptionPacket::enumerate608Pairs(const PairBlock& visit) const {
    const Content now = content();
    if (now.type == TypeCDP) return detail::forEachPairInCaptionDistributionPacket(now.data, visit);
    const auto pairs = now.data.span();
    for (std::size_t i = 0; i + 2 <= std::min<std::size_t>(pairs.size(), 4); i += 2) {
        visit(static_cast<int>(i / 2) + 1, pairs.subspan(i).first<2>());
    }
}

std::optional<ZQData> ZQRVANCClosedCaptionPacket::dataFor708() const {
    const Content now = content();
    if (now.type == TypeCDP) return now.data;
    if (now.type == TypeCEA608) return nextCDP(now.data);
    return std::nullopt;
}

ZQData ZQRVANCClosedCaptionPacket::dataWithQTAtom(FourCC atom) const {
    return inAtom(content().data, atom);
}

ZQData ZQRVANCClosedCaptionPacket::empty608PacketData() {
    static const ZQData data = ZQData::copying(std::array<std::uint8_t, 2>{0x80, 0x80});
    return data;
}

ZQData ZQRVANCClosedCaptionPacket::clear608PacketData() {
    static const ZQData data = ZQData::copying(std::array<std::uint8_t, 2>{0x94, 0x2C});
    return data;
}

ZQData ZQRVANCClosedCaptionPacket::dataFormattedIn16Bit(std::span<const std::uint8_t> bytes) {
    return ZQData::filling(bytes.size() * 2, [&](std::span<std::uint8_t> out) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const std::uint16_t word = bytes[i];
            std::memcpy(out.data() + 2 * i, &word, sizeof word);
        }
    });
}

std::optional<ZQData> ZQRVANCClosedCaptionPacket::convert608CaptionsIntoSMPTE334CDP708PacketFormat(
    std::span<const std::uint8_t> data, std::uint32_t sequenceNumber, std::uint32_t flags) {
    if (!isPairData(data)) return std::nullopt;
    return detail::buildCaptionDistributionPacket(data, static_cast<std::uint16_t>(sequenceNumber),
                                                  (flags & 1) != 0);
}

std::optional<ZQData> ZQRVANCClosedCaptionPacket::extract608CaptionsFromSMPTE334CDP708Packet(
    std::span<const std::uint8_t> cdp, int fields) {
    if (fields != 1 && fields != 2) return std::nullopt;
    const auto pairs = detail::pairsInCaptionDistributionPacket(cdp);
    if (!pairs || !pairs->field1 || (fields == 2 && !pairs->field2)) return std::nullopt;
    return ZQData::filling(static_cast<std::size_t>(fields) * 2, [&](std::span<std::uint8_t> out) {
        std::memcpy(out.data(), pairs->field1->data(), 2);
        if (fields == 2) std::memcpy(out.data() + 2, pairs->field2->data(), 2);
    });
}

void ZQRVANCClosedCaptionPacket::setSMPTE334CDP708PacketSequenceNumber(std::span<std::uint8_t> bytes,
                                                                       std::uint16_t sequenceNumber,
                                                                       bool includesQTAtom) {
    const std::size_t skipped = includesQTAtom ? atomHeaderSize : 0;
    if (bytes.size() < skipped + smallestPatchedCDP) return;
    detail::finishCaptionDistributionPacket(bytes.subspan(skipped), sequenceNumber);
}

}  // namespace zenquor
