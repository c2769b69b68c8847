#include "zenquor/sidecar/detail/DistributionPacket.h"

#include <algorithm>
#include <numeric>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

namespace zenquor::detail {
namespace {

using OP47 = ZQRVANCOP47Packet;

constexpr std::uint8_t identifier[] = {0x51, 0x15};
constexpr std::size_t lengthOffset = 2;
constexpr std::size_t formatOffset = 3;
constexpr std::uint8_t formatTeletext = 0x02;
constexpr std::uint8_t footerIdentifier = 0x74;

DistributionPacket::Sum sumOf(std::span<const std::uint8_t> bytes) {
    const auto sum = static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U));
    if (sum == 0) return DistributionPacket::Sum::Right;
    return sum == 0xFF ? DistributionPacket::Sum::OnesComplement : DistributionPacket::Sum::Wrong;
}

}  // namespace

DistributionPacket DistributionPacket::read(std::span<const std::uint8_t> bytes) {
    DistributionPacket packet;
    if (bytes.size() < OP47::headerSize ||
        !std::equal(std::begin(identifier), std::end(identifier), bytes.begin()) ||
        bytes[formatOffset] != formatTeletext) {
        return packet;
    }
    const std::size_t length = OP47::lengthForHeader(bytes);
    const std::size_t announced = length - OP47::headerSize - OP47::footerSize;
    const std::size_t there = bytes.size() - OP47::headerSize;
    const std::size_t size = ZQRVANCTeletextPacket::packetSize();
    packet.teletext = bytes.subspan(OP47::headerSize, std::min(announced, there / size * size));
    if (bytes.size() < length) return packet;
    const auto footer = bytes.subspan(length - OP47::footerSize, OP47::footerSize);
    if (footer[0] != footerIdentifier) return packet;
    packet.wellFormed = bytes.size() == length && bytes[lengthOffset] == (length & 0xFF);
    packet.sequenceNumber = readBE16(&footer[1]);
    packet.sum = sumOf(bytes.first(length));
    return packet;
}

bool SequenceWatch::follows(std::int32_t line, std::uint16_t number) {
    const bool first = count_ == 0;
    const bool followsAny = !first && number == static_cast<std::uint16_t>(last_ + 1);
    last_ = number;
    const auto found = std::find_if(lines_.begin(), lines_.begin() + static_cast<std::ptrdiff_t>(count_),
                                    [&](const Line& known) { return known.line == line; });
    if (found == lines_.begin() + static_cast<std::ptrdiff_t>(count_)) {
        if (count_ < lines_.size()) ++count_;
        lines_[oldest_] = {line, number};
        oldest_ = (oldest_ + 1) % lines_.size();
        return true;
    }
    const auto distance = static_cast<std::uint16_t>(number - found->last);
    const std::uint16_t step = distance <= longestStep ? distance : std::uint16_t{0};
    const bool steady = step != 0 && (found->usual == 0 || step == found->usual || step == found->step);
    const bool follows = followsAny || distance == 1 || steady;
    found->last = number;
    found->step = step;
    if (follows && step != 0) found->usual = step;
    return follows;
}

}  // namespace zenquor::detail
