#include "zenquor/encoders/detail/XDCAMFormats.h"

#include <algorithm>
#include <iterator>

namespace zenquor::detail {
namespace {

using Rates = std::array<std::uint32_t, 2>;

constexpr Rates rate24{2398, 2400};
constexpr Rates rate25{2500, 0};
constexpr Rates rate30{2997, 3000};
constexpr Rates rate50{5000, 0};
constexpr Rates rate60{5994, 6000};

// GOPs last about half a second, or a quarter at double rates: 15 pictures in the 60 Hz world, 12 elsewhere.
constexpr XDCAMFormat format(FourCC code, std::uint32_t width, Rates rates, bool isInterlaced,
                             platform::MPEG2Chroma chroma) {
    const bool is60Hz = rates == rate30 || rates == rate60;
    const std::int64_t bitRate = chroma == platform::MPEG2Chroma::C422 ? 50'000'000 : 35'000'000;
    return {
        code, width, width == 1280 ? 720U : 1080U, rates, isInterlaced, chroma, bitRate, is60Hz ? 15U : 12U};
}
constexpr XDCAMFormat hd420(FourCC code, std::uint32_t width, Rates rates, bool isInterlaced = false) {
    return format(code, width, rates, isInterlaced, platform::MPEG2Chroma::C420);
}
constexpr XDCAMFormat hd422(FourCC code, std::uint32_t width, Rates rates, bool isInterlaced = false) {
    return format(code, width, rates, isInterlaced, platform::MPEG2Chroma::C422);
}

constexpr XDCAMFormat formats[] = {
    hd420(fourCC("xdv2"), 1440, rate30, true), hd420(fourCC("xdv3"), 1440, rate25, true),
    hd420(fourCC("xdv6"), 1440, rate24),       hd420(fourCC("xdv7"), 1440, rate25),
    hd420(fourCC("xdv8"), 1440, rate30),       hd420(fourCC("xdv9"), 1280, rate60),
    hd420(fourCC("xdva"), 1280, rate50),       hd420(fourCC("xdvb"), 1920, rate30, true),
    hd420(fourCC("xdvc"), 1920, rate25, true), hd420(fourCC("xdvd"), 1920, rate24),
    hd420(fourCC("xdve"), 1920, rate25),       hd420(fourCC("xdvf"), 1920, rate30),
    hd422(fourCC("xd59"), 1280, rate60),       hd422(fourCC("xd5a"), 1280, rate50),
    hd422(fourCC("xd5b"), 1920, rate30, true), hd422(fourCC("xd5c"), 1920, rate25, true),
    hd422(fourCC("xd5d"), 1920, rate24),       hd422(fourCC("xd5e"), 1920, rate25),
    hd422(fourCC("xd5f"), 1920, rate30),
};

}  // namespace

const XDCAMFormat* findXDCAMFormat(FourCC code) {
    const auto* const found = std::find_if(std::begin(formats), std::end(formats),
                                           [&](const XDCAMFormat& row) { return row.code == code; });
    return found == std::end(formats) ? nullptr : found;
}

}  // namespace zenquor::detail
