#pragma once
// D-10 pictures as QuickTime samples carry them.

#include <cstdint>
#include <span>

namespace zenquor::detail {

/// Bytes in front of the picture in a sample.
inline constexpr std::size_t imxHeaderBytes = 20;

/// The picture behind the sample's header.
/// @param frameSize  its bytes; 0 takes the size that the header tells. Less when the sample ends before.
std::span<const std::uint8_t> imxPicture(std::span<const std::uint8_t> sample, std::uint32_t frameSize);

/// Makes the first MPEG-2 sequence header say 16:9. @return false when there is none.
bool setWideAspectRatio(std::span<std::uint8_t> sample);

}  // namespace zenquor::detail
