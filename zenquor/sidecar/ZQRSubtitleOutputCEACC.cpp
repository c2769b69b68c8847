#include "zenquor/sidecar/ZQRSubtitleOutputCEACC.h"

#include <algorithm>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"
#include "zenquor/sidecar/detail/IntegerText.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

constexpr std::uint32_t packetWithServiceTable = 1;

/// The column where a line of @p length characters starts; negative for one that is too long and not at the
/// left.
std::int32_t columnOfLine(std::int32_t length, std::int32_t justification, bool roundUp) {
    const std::int32_t room = ZQRSubtitleOutputCEACC::columns - length;
    switch (justification) {
        case ZQRSubtitleBlock::Right:
            return room;
        case ZQRSubtitleBlock::Centered:
            return room / 2 + (roundUp && length % 2 != 0 ? 1 : 0);
        default:
            return 0;
    }
}

}  // namespace

std::shared_ptr<ZQRSubtitleOutputCEACC> ZQRSubtitleOutputCEACC::initWithSidecar(
    const std::shared_ptr<ZQRSubtitleSidecar>& sidecar) {
    std::shared_ptr<ZQRSubtitleOutputCEACC> output(new ZQRSubtitleOutputCEACC);
    output->sidecar_ = sidecar;
    if (sidecar) {
        const ZQDictionary& properties = sidecar->properties();
        output->channel_ =
            static_cast<std::int32_t>(properties[ZHLSRTSidecar_Property_ClosedCaptionChannel].integerValue());
        output->allowSpecialWestEuropeanCharacters_ =
            properties[ZHLSRTSidecar_Property_AllowSpecialWestEuropean].boolValue();
    }
    return output;
}

void ZQRSubtitleOutputCEACC::queue(const std::vector<ZQRVANCCEA608Packet>& packets) {
    pendingPackets_.insert(pendingPackets_.end(), packets.begin(), packets.end());
}

void ZQRSubtitleOutputCEACC::prepareBlock(const ZQRSubtitleBlock& block) {
    const auto sidecar = sidecar_.lock();
    const ZQRSubtitleLineList lines = block.lines();
    const auto count = static_cast<std::int64_t>(lines.size());
    std::int64_t row = block.verticalPosition();
    if (sidecar && sidecar->validateVerticalPosition()) row = std::min(row, rows - count);
    queue(ZQRVANCCEA608Packet::packetsForStartOfCaptionOnChannel(channel()));
    for (const auto& line : lines) queueLine(*line, block.justification(), detail::saturated(row++));
}

void ZQRSubtitleOutputCEACC::queueLine(const ZQRSubtitleLine& line, std::int32_t justification,
                                       std::int32_t row) {
    const auto sidecar = sidecar_.lock();
    std::u16string text = line.string();
    if (text.size() > static_cast<std::size_t>(columns)) {
        ZLGGetHandle().error("ZQRSubtitleOutputCEACC will trim line {} with length {}", line, text.size());
        text.resize(columns);
    }
    const std::int32_t length = detail::saturated(static_cast<std::int64_t>(line.length()));
    const std::int32_t column = columnOfLine(length, justification, sidecar && sidecar->centeredRoundUp());
    queue(ZQRVANCCEA608Packet::packetsForPosition(column, row, false, channel()));
    queue(ZQRVANCCEA608Packet::packetsEncodingString(
        text, row, channel(), sidecar ? sidecar->fillerCharacter() : 0, allowSpecialWestEuropeanCharacters_));
}

void ZQRSubtitleOutputCEACC::showBlock(const ZQRSubtitleBlock&) {
    queue(ZQRVANCCEA608Packet::packetsForFlipCaptionsOnChannel(channel()));
}

void ZQRSubtitleOutputCEACC::hideBlock(const ZQRSubtitleBlock&) {
    queue(ZQRVANCCEA608Packet::packetsForClearCaptionOnChannel(channel()));
}

ZQRVANCCEA608Packet ZQRSubtitleOutputCEACC::nextPacket(bool firstFrame) {
    if (!pendingPackets_.empty()) {
        const ZQRVANCCEA608Packet packet = pendingPackets_.front();
        pendingPackets_.pop_front();
        return packet;
    }
    if (firstFrame) return ZQRVANCCEA608Packet::initNULLPacketForChannel(channel());
    return ZQRVANCCEA608Packet::initWithControlCode(ZQRVANCCEA608Packet::EraseDisplayedMemory, channel());
}

ZQRVANCPacketList ZQRSubtitleOutputCEACC::finishFrame(bool firstFrame) {
    const ZQRVANCCEA608Packet packet = nextPacket(firstFrame);
    ZLGHandle& log = ZLGGetHandle();
    if (log.isEnabled(ZLGLevel::Default)) log.log("{}", packet.debugDescription());
    const auto cdp = ZQRVANCClosedCaptionPacket::convert608CaptionsIntoSMPTE334CDP708PacketFormat(
        packet.data(), sequenceNumber_++, packetWithServiceTable);
    return {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(cdp.value_or(ZQData()),
                                                                    ZQRVANCClosedCaptionPacket::TypeCDP)};
}

}  // namespace zenquor
