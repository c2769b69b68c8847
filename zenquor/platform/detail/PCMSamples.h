#pragma once
// Samples of one channel between their containers and plain numbers.

#include <cstddef>
#include <cstdint>

#include "zenquor/platform/detail/PCMLayout.h"

namespace zenquor::platform::detail {

/// Where a channel's samples lie: the first one and the distance to the next, in bytes.
struct ChannelRun {
    std::uint8_t* first = nullptr;
    std::size_t stride = 0;
};

/// Integer samples as signed 32-bit numbers, aligned to the high bits.
void loadIntegers(const PCMLayout& layout, ChannelRun from, std::int32_t* to, std::size_t count);
/// The reverse; low bits that do not fit are cut.
void storeIntegers(const PCMLayout& layout, const std::int32_t* from, ChannelRun to, std::size_t count);
/// Samples of equal containers, with their bytes reversed if @p reversed.
void copySamples(std::size_t bytes, bool reversed, ChannelRun from, ChannelRun to, std::size_t count);

}  // namespace zenquor::platform::detail
