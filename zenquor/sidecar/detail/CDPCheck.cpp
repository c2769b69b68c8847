#include "zenquor/sidecar/detail/CDPCheck.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding identifier{Kind::Format, 3};
constexpr Finding lengthByte{Kind::Count, 3};
constexpr Finding checksum{Kind::Checksum, 3};
constexpr Finding unknownRate{Kind::Format};
constexpr Finding otherRate{Kind::Format};
constexpr Finding footerSequence{Kind::Sequence, 3};
constexpr Finding sequenceGap{Kind::Sequence, 5};
constexpr Finding sequenceRepeat{Kind::Sequence, 3};
constexpr Finding tripletCount{Kind::Count, 3};
constexpr Finding sectionBounds{Kind::Count, 3};
constexpr Finding unknownSection{Kind::Code, 3};
constexpr Finding footerMissing{Kind::Format};
constexpr Finding flagsDiffer{Kind::Format};
constexpr Finding tripletOrder{Kind::Code};
constexpr Finding channelGap{Kind::Sequence, 3};
constexpr Finding channelCut{Kind::Count, 3};
constexpr Finding channelStray{Kind::Code};

/// By the packet's frame rate code: what it means, and how many triplets fill the channel.
struct Rate {
    const char* name;
    unsigned triplets;
};
constexpr Rate rates[] = {{"none", 0}, {"23.98", 25}, {"24", 25},    {"25", 24}, {"29.97", 20},
                          {"30", 20},  {"50", 12},    {"59.94", 10}, {"60", 10}};
constexpr unsigned rateCount = std::size(rates);

/// By timebase code: the rate codes that go with it. Files count 23.98 as 24, 29.97 as 30 and 59.94 as 60.
struct RatePair {
    std::uint8_t one, other;
};
constexpr RatePair ratesOfTimebase[ZQCKTimebase::frameRateCount] = {{1, 1}, {1, 2}, {3, 3}, {4, 4},
                                                                    {4, 5}, {6, 6}, {7, 7}, {7, 8}};

constexpr std::size_t headerSize = 7;
constexpr std::size_t sequenceOffset = 5;
constexpr std::size_t footerSize = 3;

enum Section : std::uint8_t {
    TimeCode = 0x71,
    CaptionData = 0x72,
    Services = 0x73,
    Footer = 0x74,
    FirstFuture = 0x75,
    LastFuture = 0xEF,
    Filler = 0xFF,
};
/// Bits of the flags byte, and the section that each of them promises.
struct Flag {
    std::uint8_t bit;
    Section section;
    const char* name;
};
constexpr Flag sectionFlags[] = {{0x80, TimeCode, "a time code"},
                                 {0x40, CaptionData, "caption data"},
                                 {0x20, Services, "service information"}};

constexpr unsigned foundBit(std::uint8_t section) {
    return 1U << (section - TimeCode);
}

unsigned bigEndian16(std::span<const std::uint8_t> bytes) {
    return static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
}

/// Some writers keep only the low two, four or eight bits.
bool isShortWrap(unsigned before, unsigned now) {
    return now == 0 && (before == 0x3 || before == 0xF || before == 0xFF);
}

}  // namespace

void CDPCheck::add(Bytes packet, const Place& place) {
    const Bytes body = checkFrame(packet, place);
    if (body.size() < headerSize) return;
    checkRate(body[3] >> 4, place);
    checkSequence(bigEndian16(body.subspan(sequenceOffset)), place);
    checkSections(body, place);
}

CDPCheck::Bytes CDPCheck::checkFrame(Bytes packet, const Place& place) {
    if (packet.size() < 3 || packet[0] != 0x96 || packet[1] != 0x69) {
        remarks_.add(identifier, place, [] {
            return "The caption packet does not start with 96 69: it is no caption distribution packet.";
        });
        return {};
    }
    const std::size_t length = packet[2];
    if (length != packet.size()) {
        remarks_.add(lengthByte, place, [&] {
            return fmt::format("The packet says that it has {} bytes, but it has {}.", length, packet.size());
        });
    }
    if (length > packet.size() || length <= headerSize) return packet;  // where the checksum is nobody knows
    const Bytes whole = packet.first(length);
    const unsigned sum = std::accumulate(whole.begin(), whole.end(), 0U) & 0xFF;
    if (sum != 0) {
        remarks_.add(checksum, place, [&] {
            return fmt::format("The packet's checksum is {:02X} and should be {:02X}.", whole.back(),
                               (whole.back() - sum) & 0xFF);
        });
    }
    return whole.first(length - 1);
}

void CDPCheck::checkRate(std::uint8_t rate, const Place& place) {
    if (rate == 0 || rate >= rateCount) {
        remarks_.add(unknownRate, place,
                     [&] { return fmt::format("The packet's frame rate code {} means nothing.", rate); });
        return;
    }
    if (!timebase_) return;
    const RatePair expected = ratesOfTimebase[timebase_->frameRate()];
    if (rate == expected.one || rate == expected.other) return;
    remarks_.add(
        otherRate, place,
        [&] {
            return fmt::format("The packet is made for {} frames per second, but the timecodes count {}.",
                               rates[rate].name, timebase_->description());
        },
        rate);
}

void CDPCheck::checkSequence(unsigned sequence, const Place& place) {
    const auto before = std::exchange(sequence_, sequence);
    if (!before || sequence == ((*before + 1) & 0xFFFF) || isShortWrap(*before, sequence)) return;
    if (sequence == *before) {
        remarks_.add(sequenceRepeat, place, [&] {
            return fmt::format("The packet has the sequence number of the one before, {}.", sequence);
        });
        return;
    }
    remarks_.add(sequenceGap, place, [&] {
        return fmt::format(
            "The packets' sequence number goes from {} to {}: packets are missing, or were cut out.", *before,
            sequence);
    });
}

void CDPCheck::checkSections(Bytes packet, const Place& place) {
    unsigned found = 0;
    std::size_t at = headerSize;
    while (at < packet.size()) {
        const std::size_t size = checkSection(packet, at, found, place);
        if (size == 0) return;
        if (size > packet.size() - at) {
            remarks_.add(sectionBounds, place, [&] {
                return fmt::format(
                    "The section {:02X} says that it has {} bytes, but {} are left in the packet.",
                    packet[at], size, packet.size() - at);
            });
            return;
        }
        at += size;
    }
    if ((found & foundBit(Footer)) == 0) {
        remarks_.add(footerMissing, place, [] { return "The packet has no footer."; });
    }
    checkFlags(packet[4], found, place);
}

std::size_t CDPCheck::checkSection(Bytes packet, std::size_t at, unsigned& found, const Place& place) {
    const std::uint8_t section = packet[at];
    const Bytes rest = packet.subspan(at);
    const unsigned count = rest.size() > 1 ? rest[1] : 0;
    if (section >= TimeCode && section <= Footer) found |= foundBit(section);
    switch (section) {
        case TimeCode:
            return 5;
        case CaptionData: {
            const std::size_t size = 2 + std::size_t{3} * (count & 0x1F);
            if (rest.size() > 1) {
                checkCaptionData(rest.subspan(2, std::min(size, rest.size()) - 2), packet[3] >> 4, place);
            }
            return size;
        }
        case Services:
            return 2 + std::size_t{7} * (count & 0x0F);
        case Footer:
            if (rest.size() >= footerSize && bigEndian16(rest.subspan(1)) != bigEndian16(packet.subspan(5))) {
                remarks_.add(footerSequence, place, [&] {
                    return fmt::format("The packet is number {} in its header and {} in its footer.",
                                       bigEndian16(packet.subspan(5)), bigEndian16(rest.subspan(1)));
                });
            }
            return footerSize;
        case Filler:
            return 1;
        default:
            break;
    }
    remarks_.add(unknownSection, place, [&] {
        return fmt::format(
            "The packet holds a section {:02X}, which this library does not know: sidecars take no "
            "captions from it.",
            section);
    });
    return section >= FirstFuture && section <= LastFuture && rest.size() > 1 ? std::size_t{2} + count : 0;
}

void CDPCheck::checkCaptionData(Bytes triplets, unsigned rate, const Place& place) {
    const std::size_t count = triplets.size() / 3;
    if (rate > 0 && rate < rateCount && count != rates[rate].triplets) {
        remarks_.add(tripletCount, place, [&] {
            return fmt::format(
                "The packet holds {} triplets of caption data; at {} frames per second it takes {}.", count,
                rates[rate].name, rates[rate].triplets);
        });
    }
    bool sawChannelData = false;
    for (std::size_t i = 0; i < count; ++i) checkTriplet(triplets.subspan(i * 3, 3), sawChannelData, place);
}

void CDPCheck::checkTriplet(Bytes triplet, bool& sawChannelData, const Place& place) {
    const bool isValid = (triplet[0] & 0x04) != 0;
    const unsigned type = triplet[0] & 3;
    if (type >= 2) {
        sawChannelData = true;
        if (isValid && type == 3) startChannelPacket(triplet[1], place);
        if (isValid && type == 2) continueChannelPacket(place);
        return;
    }
    if (!isValid) return;
    if (sawChannelData) {
        remarks_.add(tripletOrder, place, [] {
            return "A CEA-608 pair stands behind CEA-708 data: some receivers look for it in front only.";
        });
    }
    pairs_.addPair(static_cast<int>(type) + 1, triplet[1], triplet[2], place);
}

void CDPCheck::startChannelPacket(std::uint8_t header, const Place& place) {
    if (channelBytesLeft_ > 0) {
        remarks_.add(channelCut, place, [&] {
            return fmt::format(
                "The CEA-708 caption channel's packet before this one lacks its last {} bytes.",
                channelBytesLeft_);
        });
    }
    const unsigned sequence = header >> 6;
    const int size = (header & 0x3F) == 0 ? 128 : (header & 0x3F) * 2;
    channelBytesLeft_ = size - 2;
    const auto before = std::exchange(channelSequence_, sequence);
    if (!before || sequence == ((*before + 1) & 3)) return;
    remarks_.add(channelGap, place, [&] {
        return fmt::format(
            "The CEA-708 caption channel's sequence number goes from {} to {}: data is missing.", *before,
            sequence);
    });
}

void CDPCheck::continueChannelPacket(const Place& place) {
    if (channelBytesLeft_ > 0) {
        channelBytesLeft_ -= 2;
    } else if (channelSequence_) {  // before the first start a stream may be joined in the middle
        remarks_.add(channelStray, place,
                     [] { return "CEA-708 data goes on behind the end of its caption channel packet."; });
    }
}

void CDPCheck::checkFlags(std::uint8_t flags, unsigned found, const Place& place) {
    for (const Flag& flag : sectionFlags) {
        const bool isPromised = (flags & flag.bit) != 0;
        if (isPromised == ((found & foundBit(flag.section)) != 0)) continue;
        remarks_.add(
            flagsDiffer, place,
            [&] {
                return isPromised
                           ? fmt::format("The packet's flags promise {}, but there is none.", flag.name)
                           : fmt::format("The packet holds {}, but its flags do not say so.", flag.name);
            },
            flag.bit * 2U + (isPromised ? 1 : 0));
    }
}

}  // namespace zenquor::detail
