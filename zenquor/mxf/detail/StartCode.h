#pragma once
// Start codes 00 00 01 of MPEG-2 video and of AVC byte streams.

#include <cstddef>
#include <cstdint>
#include <span>

namespace zenquor::mxf::detail {

/// @return the place of the byte behind the next 00 00 01 at or after @p from, which is within @p bytes;
/// bytes.size() when there is none.
std::size_t nextStartCode(std::span<const std::uint8_t> bytes, std::size_t from);

}  // namespace zenquor::mxf::detail
