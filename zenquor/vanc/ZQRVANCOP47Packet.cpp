#include "zenquor/vanc/ZQRVANCOP47Packet.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/vanc/ZQRVANCTeletextDummyIDLPacketGenerator.h"
#include "zenquor/vanc/detail/ByteSum.h"

namespace zenquor {
namespace {

using Teletext = ZQRVANCTeletextPacket;

constexpr std::uint8_t identifier[] = {0x51, 0x15};
constexpr std::size_t lengthOffset = 2;
constexpr std::size_t formatOffset = 3;
constexpr std::size_t descriptorOffset = 4;
constexpr std::uint8_t formatTeletext = 0x02;
constexpr std::uint8_t footerIdentifier = 0x74;
constexpr std::uint8_t oddFieldFlag = 0x80;
constexpr std::uint8_t lineMask = 0x1F;
constexpr std::uint32_t lineBeforeFirstAppended = 9;

std::uint8_t descriptorOf(const Teletext& packet) {
    return static_cast<std::uint8_t>((packet.oddField() ? oddFieldFlag : 0) |
                                     (packet.lineNumber() & lineMask));
}

}  // namespace

ZQRVANCOP47Packet::ZQRVANCOP47Packet(Private, std::int32_t did, std::int32_t sdid, std::int32_t line,
                                     ZQData data)
    : ZQRVANCPacketImpl(did, sdid, line, {}), originalData_(std::move(data)) {}

std::shared_ptr<ZQRVANCOP47Packet> ZQRVANCOP47Packet::beginOP47PacketWithLine(std::int32_t line) {
    static std::atomic<std::uint32_t> sequence{0};
    auto packet = std::make_shared<ZQRVANCOP47Packet>(Private{}, subtitleDID, subtitleSDID, line, ZQData{});
    packet->sequenceNumber_ = static_cast<std::int32_t>(sequence.fetch_add(1, std::memory_order_relaxed));
    return packet;
}

bool ZQRVANCOP47Packet::appendPacket(const ZQRVANCTeletextPacket& packet) {
    if (count_ >= maximumAppendedPackets) return false;
    Teletext& appended = packets_[count_++];
    appended = packet;
    appended.setOddField(lineNumber() == oddFieldLine);
    appended.setLineNumber(lineBeforeFirstAppended + static_cast<std::uint32_t>(count_));
    contentChanged();
    return true;
}

std::shared_ptr<ZQRVANCOP47Packet> ZQRVANCOP47Packet::finishOP47Packet(
    std::shared_ptr<ZQRVANCOP47Packet> packet) {
    auto& generator = ZQRVANCTeletextDummyIDLPacketGenerator::sharedGenerator();
    while (packet && packet->count_ < minimumFinishedPackets) {
        packet->appendPacket(Teletext::initWithDummyIDLPacketGenerator(generator));
    }
    return packet;
}

std::shared_ptr<ZQRVANCOP47Packet> ZQRVANCOP47Packet::initWithDID(std::int32_t did, std::int32_t sdid,
                                                                  std::int32_t line, ZQData data) {
    auto packet = std::make_shared<ZQRVANCOP47Packet>(Private{}, did, sdid, line, std::move(data));
    packet->setBytes(packet->originalData_);
    return packet;
}

bool ZQRVANCOP47Packet::setBytes(std::span<const std::uint8_t> bytes) {
    contentChanged();
    valid_ = false;
    count_ = 0;
    if (bytes.size() < headerSize ||
        !std::equal(std::begin(identifier), std::end(identifier), bytes.begin()) ||
        bytes[formatOffset] != formatTeletext) {
        return false;
    }
    const std::size_t length = lengthForHeader(bytes);
    if (bytes.size() != length || bytes[lengthOffset] != (length & 0xFF)) return false;
    for (const std::uint8_t descriptor : bytes.subspan(descriptorOffset, maximumPackets)) {
        if (!validPacketDescriptor(descriptor)) continue;
        const auto teletext =
            bytes.subspan(headerSize + count_ * Teletext::packetSize(), Teletext::packetSize());
        packets_[count_] = Teletext::initWithBytes(teletext);
        packets_[count_].setLineNumber(descriptor & lineMask);
        packets_[count_].setOddField((descriptor & oddFieldFlag) != 0);
        ++count_;
    }
    const auto footer = bytes.last(footerSize);
    if (footer[0] != footerIdentifier) return false;
    sequenceNumber_ = readBE16(&footer[1]);
    valid_ = footer[3] == crcForBytes(bytes);
    return valid_;
}

void ZQRVANCOP47Packet::setSequenceNumber(std::int32_t number) {
    sequenceNumber_ = number;
    contentChanged();
}

void ZQRVANCOP47Packet::setPackets(std::span<const ZQRVANCTeletextPacket> packets) {
    count_ = std::min(packets.size(), maximumPackets);
    std::copy_n(packets.begin(), count_, packets_.begin());
    contentChanged();
}

ZQData ZQRVANCOP47Packet::sdiData() {
    return serialised_.with([&](std::optional<ZQData>& data) {
        if (!data) data = serialised();
        return *data;
    });
}

ZQData ZQRVANCOP47Packet::serialised() const {
    std::array<std::uint8_t, headerSize> header{identifier[0], identifier[1], 0, formatTeletext};
    std::array<const Teletext*, maximumPackets> sent{};
    std::size_t count = 0;
    for (const Teletext& packet : packets()) {
        const std::uint8_t descriptor = descriptorOf(packet);
        if (!validPacketDescriptor(descriptor)) continue;
        header[descriptorOffset + count] = descriptor;
        sent[count++] = &packet;
    }
    const std::size_t length = lengthForHeader(header);
    header[lengthOffset] = static_cast<std::uint8_t>(length);
    return ZQData::filling(length, [&](std::span<std::uint8_t> out) {
        auto next = std::copy(header.begin(), header.end(), out.begin());
        for (const Teletext* packet : std::span(sent).first(count)) {
            const auto bytes = packet->data();
            next = std::copy(bytes.begin(), bytes.end(), next);
        }
        const auto footer = out.last(footerSize);
        footer[0] = footerIdentifier;
        writeBE16(&footer[1], static_cast<std::uint16_t>(sequenceNumber_));
        footer[3] = crcForBytes(out);
    });
}

void ZQRVANCOP47Packet::setSdiData(ZQData data) {
    setBytes(data);
}

std::string ZQRVANCOP47Packet::debugDescription() const {
    std::string text =
        fmt::format("OP47 {} sequence: {} packets: {}", description(), sequenceNumber_, count_);
    for (const Teletext& packet : packets()) text.append("\n").append(packet.debugDescription());
    return text;
}

std::size_t ZQRVANCOP47Packet::lengthForHeader(std::span<const std::uint8_t> header) {
    if (header.size() < headerSize) return 0;
    const auto descriptors = header.subspan(descriptorOffset, maximumPackets);
    const auto used = std::count_if(descriptors.begin(), descriptors.end(), validPacketDescriptor);
    return headerSize + static_cast<std::size_t>(used) * Teletext::packetSize() + footerSize;
}

std::uint8_t ZQRVANCOP47Packet::crcForBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 2) return 0;
    return static_cast<std::uint8_t>(-detail::byteSum(bytes.first(bytes.size() - 1)));
}

}  // namespace zenquor
