#include "zenquor/platform/detail/PCMLayout.h"

namespace zenquor::platform::detail {
namespace {

bool addsUp(const PCMLayout& layout) {
    if (layout.isFloat) return (layout.bytes == 4 || layout.bytes == 8) && layout.bits == layout.bytes * 8;
    return layout.bytes >= 2 && layout.bytes <= 4 && layout.bits >= 8 && layout.bits <= layout.bytes * 8;
}

}  // namespace

std::optional<PCMLayout> pcmLayoutForDescription(const AudioStreamBasicDescription& description) {
    const auto has = [&](std::uint32_t flag) { return (description.formatFlags & flag) != 0; };
    const std::uint32_t channels = description.channelsPerFrame;
    if (description.formatID != audioFormatLinearPCM || channels == 0) return std::nullopt;
    const std::uint32_t samples = has(audioFormatFlagIsNonInterleaved) ? 1 : channels;
    if (description.bytesPerFrame % samples != 0) return std::nullopt;
    PCMLayout layout;
    layout.bytes = description.bytesPerFrame / samples;
    layout.bits = description.bitsPerChannel;
    layout.channels = channels;
    layout.isFloat = has(audioFormatFlagIsFloat);
    layout.isSigned = layout.isFloat || has(audioFormatFlagIsSignedInteger);
    layout.isBigEndian = has(audioFormatFlagIsBigEndian);
    layout.isAlignedHigh =
        !layout.isFloat && layout.bits < layout.bytes * 8 && has(audioFormatFlagIsAlignedHigh);
    return addsUp(layout) ? std::optional(layout) : std::nullopt;
}

}  // namespace zenquor::platform::detail
