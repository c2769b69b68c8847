#include "zenquor/vanc/detail/CaptionDistribution.h"

#include <algorithm>
#include <cstring>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/vanc/detail/ByteSum.h"

namespace zenquor::detail {
namespace {

enum Section : std::uint8_t {
    timeCodeSection = 0x71,
    captionDataSection = 0x72,
    serviceSection = 0x73,
    footerSection = 0x74,
    filler = 0xFF,
};

constexpr std::size_t headerSize = 7;
constexpr std::size_t field1Offset = 10;
constexpr std::size_t field2Offset = 13;
constexpr std::size_t servicesOffset = 69;

/// Header and 20 triplets, which both templates share, then @p services: service table, footer, checksum.
template <std::size_t N>
constexpr auto captionTemplate(const std::array<std::uint8_t, N>& services) {
    // Identifier, length, 29.97 frames per second, flags, counter; caption data: 20 triplets, one of each
    // field first.
    constexpr std::array<std::uint8_t, 15> start = {0x96, 0x69, 0x00, 0x4F, 0x67, 0x00, 0x00, 0x72,
                                                    0xF4, 0xFC, 0x80, 0x80, 0xFD, 0x80, 0x80};
    std::array<std::uint8_t, servicesOffset + N> cdp{};
    std::copy(start.begin(), start.end(), cdp.begin());
    for (std::size_t unused = start.size(); unused < servicesOffset; unused += 3) cdp[unused] = 0xFA;
    std::copy(services.begin(), services.end(), cdp.begin() + servicesOffset);
    cdp[2] = static_cast<std::uint8_t>(cdp.size());
    return cdp;
}

// Line 21 service without a language, digital service 1 in English.
constexpr auto sdiTemplate = captionTemplate(
    std::array<std::uint8_t, 20>{0x73, 0xF2, 0xE0, 0x20, 0x20, 0x20, 0x7E, 0x3F, 0xFF, 0xE1,  //
                                 0x65, 0x6E, 0x67, 0xC1, 0x3F, 0xFF, 0x74, 0x00, 0x00, 0x00});
// Digital service 1 without a language.
constexpr auto plainTemplate = captionTemplate(std::array<std::uint8_t, 13>{
    0x73, 0x91, 0xE1, 0x00, 0x00, 0x00, 0xC1, 0x3F, 0xFF, 0x74, 0x00, 0x00, 0x00});
static_assert(sdiTemplate.size() == 89 && plainTemplate.size() == 82);

/// Takes what the triplets of a caption data section carry. @param triplets  whole triplets.
void collectPairs(std::span<const std::uint8_t> triplets, CaptionPairs& pairs) {
    for (std::size_t i = 0; i + 3 <= triplets.size(); i += 3) {
        const unsigned head = triplets[i];
        if ((head & 4) == 0) continue;
        if ((head & 3) == 0) pairs.field1 = {triplets[i + 1], triplets[i + 2]};
        if ((head & 3) == 1) pairs.field2 = {triplets[i + 1], triplets[i + 2]};
    }
}

/// The length of the section at the start of @p rest; 0 for an unknown one.
std::size_t sectionSize(std::span<const std::uint8_t> rest) {
    const unsigned count = rest.size() > 1 ? rest[1] : 0;
    switch (rest[0]) {
        case timeCodeSection:
            return 5;
        case captionDataSection:
            return 2 + std::size_t{3} * (count & 0x1F);
        case serviceSection:
            return 2 + std::size_t{7} * (count & 0x0F);
        case footerSection:
            return 3;
        case filler:
            return 1;
        default:
            return 0;
    }
}

}  // namespace

ZQData buildCaptionDistributionPacket(std::span<const std::uint8_t> pairs, std::uint16_t sequenceNumber,
                                      bool forSDI) {
    const std::span<const std::uint8_t> model =
        forSDI ? std::span<const std::uint8_t>(sdiTemplate) : plainTemplate;
    return ZQData::filling(model.size(), [&](std::span<std::uint8_t> cdp) {
        std::memcpy(cdp.data(), model.data(), model.size());
        std::memcpy(cdp.data() + field1Offset, pairs.data(), 2);
        if (pairs.size() == 4) std::memcpy(cdp.data() + field2Offset, pairs.data() + 2, 2);
        finishCaptionDistributionPacket(cdp, sequenceNumber);
    });
}

void finishCaptionDistributionPacket(std::span<std::uint8_t> cdp, std::uint16_t sequenceNumber) {
    const std::size_t checksum = cdp.size() - 1;
    writeBE16(cdp.data() + 5, sequenceNumber);
    writeBE16(cdp.data() + checksum - 2, sequenceNumber);
    cdp[checksum] = static_cast<std::uint8_t>(-byteSum(cdp.first(checksum)));
}

void forEachPairInCaptionDistributionPacket(
    std::span<const std::uint8_t> cdp,
    const std::function<void(int, std::span<const std::uint8_t, 2>)>& visit) {
    if (cdp.size() < headerSize || cdp[0] != 0x96 || cdp[1] != 0x69) return;
    auto rest = cdp.subspan(headerSize);
    while (!rest.empty()) {
        const std::size_t size = std::min(sectionSize(rest), rest.size());
        if (size == 0) return;
        const bool holdsCaptions = rest[0] == captionDataSection;
        for (std::size_t i = 2; holdsCaptions && i + 3 <= size; i += 3) {
            const unsigned head = rest[i];
            if ((head & 4) != 0 && (head & 3) <= 1) {
                visit(static_cast<int>(head & 3) + 1, rest.subspan(i + 1).first<2>());
            }
        }
        rest = rest.subspan(size);
    }
}

std::optional<CaptionPairs> pairsInCaptionDistributionPacket(std::span<const std::uint8_t> cdp) {
    if (cdp.size() < 3 || cdp[0] != 0x96 || cdp[1] != 0x69) return std::nullopt;
    const std::size_t length = cdp[2];
    if (length <= headerSize || length > cdp.size()) return std::nullopt;
    CaptionPairs pairs;
    auto rest = cdp.first(length - 1).subspan(headerSize);
    while (!rest.empty()) {
        const std::size_t size = sectionSize(rest);
        if (size == 0 || size > rest.size()) return std::nullopt;
        if (rest[0] == captionDataSection) collectPairs(rest.first(size).subspan(2), pairs);
        rest = rest.subspan(size);
    }
    return pairs;
}

}  // namespace zenquor::detail
