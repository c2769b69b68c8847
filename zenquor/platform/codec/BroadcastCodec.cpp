#include "zenquor/platform/codec/BroadcastCodec.h"

#include <algorithm>
#include <array>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t highestHD = 1080;
constexpr int narrowClass = 50;  // three quarters of the width, 4:2:0

// The D-10 picture element of SMPTE ST 386, without the length.
constexpr std::array<std::uint8_t, 16> pictureElementKey = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02, 0x01, 0x01,
                                                            0x0D, 0x01, 0x03, 0x01, 0x05, 0x01, 0x01, 0x00};
constexpr std::uint32_t lengthInThreeBytes = 0x83000000;
constexpr std::size_t elementHeaderBytes = pictureElementKey.size() + 4;

RasterSize intraRaster(int intraClass, RasterSize picture) {
    const bool isNarrow = intraClass == narrowClass;
    if (picture.height == 720) return {isNarrow ? 960U : 1280U, 720};
    if (picture.height == 1080) return {isNarrow ? 1440U : 1920U, 1080};
    return picture;
}

}  // namespace

RasterSize codedRaster(const BroadcastCodec& codec, RasterSize picture) {
    if (codec.raster.width != 0) return codec.raster;
    if (codec.raster.height != 0) picture.height = codec.raster.height;
    return codec.kind == BroadcastKind::AVCIntra ? intraRaster(codec.intraClass, picture) : picture;
}

int intraClassForHeight(const BroadcastCodec& codec, std::uint32_t height) {
    return height > highestHD && codec.intraClassUHD != 0 ? codec.intraClassUHD : codec.intraClass;
}

// 50 Mb/s for HD, as cameras record 4:2:2; UHD has four times the pixels and, at 50 and 60, twice the pictures.
std::int64_t longGroupBitRate(RasterSize raster, AVRational frameRate) {
    constexpr std::int64_t rateOfHD = 50'000'000;
    constexpr int fastestSlowRate = 30;
    if (raster.height <= highestHD) return rateOfHD;
    return av_q2d(frameRate) > fastestSlowRate ? 4 * rateOfHD : 2 * rateOfHD;
}

ZQData frameWithElementHeader(std::span<const std::uint8_t> coded, std::uint32_t frameBytes) {
    const std::size_t kept = std::min<std::size_t>(coded.size(), frameBytes);
    const auto isStuffing = [](std::uint8_t byte) { return byte == 0; };
    if (!std::ranges::all_of(coded.subspan(kept), isStuffing)) return {};
    return ZQData::filling(elementHeaderBytes + frameBytes, [&](std::span<std::uint8_t> out) {
        auto next = std::ranges::copy(pictureElementKey, out.begin()).out;
        writeBE32(&*next, lengthInThreeBytes | frameBytes);
        next = std::ranges::copy(coded.first(kept), next + 4).out;
        std::fill(next, out.end(), std::uint8_t{0});
    });
}

}  // namespace zenquor::platform::detail
