#include "zenquor/sidecar/detail/StreamCheck.h"

#include <fmt/format.h>

#include "zenquor/sidecar/detail/TimecodeLabel.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;
using Captions = ZQRVANCClosedCaptionPacket;

constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding twoPackets{Kind::Count, 3};
constexpr Finding pairsLength{Kind::Count, 3};

/// CEA-608 pairs in packets of their own: one byte for field and line, then the pair.
constexpr std::int32_t line21SDID = 0x02;
constexpr std::size_t line21Size = 3;
constexpr std::uint8_t firstField = 0x80;

bool isDistributionPacket(const ZQRVANCPacket& packet) {
    return (packet.DID() & 0xFF) == Captions::captionDID && (packet.SDID() & 0xFF) == Captions::captionSDID;
}
bool isLine21Packet(const ZQRVANCPacket& packet) {
    return (packet.DID() & 0xFF) == Captions::captionDID && (packet.SDID() & 0xFF) == line21SDID;
}

}  // namespace

StreamCheck::StreamCheck(const ZQRCaptionChecker::Options& options) {
    report_.format = "stream";
    report_.dropFrame = options.timebase.dropFrameTimecode();
    packets_.setTimebase(options.timebase);
}

void StreamCheck::addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
    const Place place{timecode, std::nullopt};
    ++report_.blocks;
    checkOrder(place);
    int distributionPackets = 0;
    for (const auto& packet : packets) {
        if (!packet || (!isDistributionPacket(*packet) && !isLine21Packet(*packet))) continue;
        distributionPackets += isDistributionPacket(*packet) ? 1 : 0;
        addPacket(*packet, place);
        if (!report_.first) report_.first = timecode;
        report_.last = timecode;
    }
    if (distributionPackets > 1) {
        remarks_.add(twoPackets, place, [&] {
            return fmt::format("The frame carries {} caption packets; receivers expect one.",
                               distributionPackets);
        });
    }
}

void StreamCheck::addPacket(ZQRVANCPacket& packet, const Place& place) {
    ++report_.packets;
    if (isLine21Packet(packet)) {
        const ZQData data = packet.sdiData();
        const auto bytes = data.span();
        if (bytes.size() < line21Size) return;
        pairs_.addPair((bytes[0] & firstField) != 0 ? 1 : 2, bytes[1], bytes[2], place);
        return;
    }
    const auto* const captions = dynamic_cast<const Captions*>(&packet);
    // Bare pairs are looked at as they are: turning them into a packet would use up a sequence number.
    if (captions && captions->type() == Captions::TypeCEA608) {
        const ZQData data = captions->data();
        addPairs(data.span(), place);
        return;
    }
    const ZQData data = packet.sdiData();
    packets_.add(data.span(), place);
}

void StreamCheck::addPairs(std::span<const std::uint8_t> pairs, const Place& place) {
    if (pairs.size() != 2 && pairs.size() != 4) {
        remarks_.add(pairsLength, place, [&] {
            return fmt::format("The frame's CEA-608 data has {} bytes in place of two for each field.",
                               pairs.size());
        });
        return;
    }
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        pairs_.addPair(static_cast<int>(i / 2) + 1, pairs[i], pairs[i + 1], place);
    }
}

void StreamCheck::checkOrder(const Place& place) {
    const auto before = std::exchange(previous_, place.timecode);
    if (!before || frameDistance(*before, *place.timecode) > 0) return;
    remarks_.add(backwards, place, [&] {
        return fmt::format("The timecode runs backwards or stands still: the frame before is at {}.",
                           *before);
    });
}

ZQRCaptionChecker::Report StreamCheck::finish(const ZQCKTimecode& timecode) {
    pairs_.finish(timecode);
    report_.pairs = pairs_.pairs();
    report_.badParityBytes = pairs_.badParityBytes();
    report_.readable = report_.pairs > 0;
    report_.remarks = remarks_.finish();
    return std::move(report_);
}

}  // namespace zenquor::detail
