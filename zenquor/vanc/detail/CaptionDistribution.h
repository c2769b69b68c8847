#pragma once
// SMPTE ST 334-2 caption distribution packets around CEA-608 pairs.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "zenquor/core/ZQData.h"

namespace zenquor::detail {

/// A byte pair, in the order of transmission.
using CaptionPair = std::array<std::uint8_t, 2>;

struct CaptionPairs {
    std::optional<CaptionPair> field1;
    std::optional<CaptionPair> field2;
};

/// A CDP of 20 triplets. @param pairs  2 or 4 bytes. @param forSDI  with the service table of SDI, 89 bytes,
/// or 82.
ZQData buildCaptionDistributionPacket(std::span<const std::uint8_t> pairs, std::uint16_t sequenceNumber,
                                      bool forSDI);
/// Patches both sequence counters and the checksum. @param cdp  at least 10 bytes.
void finishCaptionDistributionPacket(std::span<std::uint8_t> cdp, std::uint16_t sequenceNumber);
/// Calls @p visit with field (1 or 2) and bytes of every valid pair, in order, as far as the packet can be read: a length
/// byte beyond the end and a section cut short are no obstacle.
void forEachPairInCaptionDistributionPacket(
    std::span<const std::uint8_t> cdp,
    const std::function<void(int, std::span<const std::uint8_t, 2>)>& visit);
/// The last valid pair of each field; nothing when the sections do not add up.
std::optional<CaptionPairs> pairsInCaptionDistributionPacket(std::span<const std::uint8_t> cdp);

}  // namespace zenquor::detail
