#include "zenquor/writers/detail/IMXPicture.h"

#include <algorithm>
#include <array>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::detail {
namespace {

constexpr std::array<std::uint8_t, 4> sequenceHeaderCode = {0x00, 0x00, 0x01, 0xB3};
/// Behind the start code and two sizes of twelve bits each: the aspect ratio's code, then the frame rate's.
constexpr std::ptrdiff_t aspectRatioOffset = 7;
constexpr std::uint8_t wideAspectRatio = 3;
/// The header is the key and the length of the element: a byte that says "three bytes follow", and those.
constexpr std::size_t lengthOffset = 16;
constexpr std::uint32_t lengthMask = 0x00FFFFFF;

}  // namespace

std::span<const std::uint8_t> imxPicture(std::span<const std::uint8_t> sample, std::uint32_t frameSize) {
    if (sample.size() <= imxHeaderBytes) return {};
    const std::size_t size = frameSize != 0 ? frameSize : readBE32(sample.data() + lengthOffset) & lengthMask;
    const auto picture = sample.subspan(imxHeaderBytes);
    return picture.first(std::min(picture.size(), size));
}

bool setWideAspectRatio(std::span<std::uint8_t> sample) {
    const auto found =
        std::search(sample.begin(), sample.end(), sequenceHeaderCode.begin(), sequenceHeaderCode.end());
    if (sample.end() - found <= aspectRatioOffset) return false;
    auto& byte = found[aspectRatioOffset];
    byte = static_cast<std::uint8_t>(wideAspectRatio << 4 | (byte & 0x0F));
    return true;
}

}  // namespace zenquor::detail
