#pragma once
// The pack at the start of every partition (SMPTE ST 377-1), and the random index pack at the end of the file.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zenquor/mxf/detail/KLV.h"

namespace zenquor::mxf::detail {

struct PartitionPack {
    enum class Kind : std::uint8_t { Header = 2, Body = 3, Footer = 4 };
    enum class State : std::uint8_t {
        OpenIncomplete = 1,
        ClosedIncomplete = 2,
        OpenComplete = 3,
        ClosedComplete = 4
    };
    static constexpr std::uint8_t genericStreamState = 0x11;  // ST 410

    Kind kind = Kind::Header;
    std::uint8_t state = 1;  // a State, or genericStreamState
    std::uint16_t majorVersion = 1;
    std::uint16_t minorVersion = 3;
    std::uint32_t kagSize = 1;
    std::uint64_t thisPartition = 0;
    std::uint64_t previousPartition = 0;
    std::uint64_t footerPartition = 0;
    std::uint64_t headerByteCount = 0;
    std::uint64_t indexByteCount = 0;
    std::uint32_t indexSID = 0;
    std::uint64_t bodyOffset = 0;
    std::uint32_t bodySID = 0;
    UL operationalPattern;
    std::vector<UL> essenceContainers;

    bool isClosed() const { return state == 2 || state == 4; }
    bool isComplete() const { return state == 3 || state == 4; }
    std::size_t totalBytes() const { return 16 + 4 + 88 + 16 * essenceContainers.size(); }

    static bool isPartitionKey(const UL& key);
    /// The whole item, without fill.
    void write(ByteSink& out) const;
    /// @param value  behind the item's length. @return nothing when it is too short or not a partition pack.
    static std::optional<PartitionPack> read(const UL& key, std::span<const std::uint8_t> value);
};

struct RandomIndexPack {
    struct Entry {
        std::uint32_t bodySID = 0;
        std::uint64_t offset = 0;
    };
    static constexpr UL key = ul(0x060E2B34, 0x02050101, 0x0D010201, 0x01110100);

    std::vector<Entry> entries;

    void write(ByteSink& out) const;
    static std::optional<RandomIndexPack> read(std::span<const std::uint8_t> value);
};

}  // namespace zenquor::mxf::detail
