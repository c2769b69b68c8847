#pragma once
// What is known of codecs by their four-character codes: families and sizes of coded frames.

#include <cstdint>
#include <optional>

#include "zenquor/core/FourCC.h"

namespace zenquor::detail {

enum class CodecFamily { Uncompressed, PhotoJPEG, AVCIntra, XAVC, XDCAM, ProRes, DNxHD };

bool isCodecOfFamily(FourCC code, CodecFamily family);

/// The estimated largest size of a coded frame in bytes; nothing when there is no estimate for the code or
/// the norm.
/// @param height  active lines.
std::optional<std::uint64_t> sampleSizeForCodec(FourCC code, std::uint32_t tvNorm, std::uint64_t height);

}  // namespace zenquor::detail
