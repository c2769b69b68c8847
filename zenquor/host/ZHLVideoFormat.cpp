#include "zenquor/host/ZHLVideoFormat.h"

#include <algorithm>
#include <charconv>

namespace zenquor {
namespace {

constexpr std::uint32_t wide = 0;
constexpr std::uint32_t standard = 1;

// name, lines, width, height, norm, frames per second times 100, interlaced, aspect
constexpr ZHLVideoFormat formats[] = {
    {"525i5994", 525, 720, 486, 1, 2997, true, standard},
    {"525p2398", 525, 720, 486, 1, 2398, false, standard},
    {"525p2997", 525, 720, 486, 1, 2997, false, standard},
    {"625i50", 625, 720, 576, 0, 2500, true, standard},
    {"625p25", 625, 720, 576, 0, 2500, false, standard},

    {"720p2398", 720, 1280, 720, 3, 2398, false, wide},
    {"720p24", 720, 1280, 720, 3, 2400, false, wide},
    {"720p25", 720, 1280, 720, 2, 2500, false, wide},
    {"720p2997", 720, 1280, 720, 3, 2997, false, wide},
    {"720p30", 720, 1280, 720, 3, 3000, false, wide},
    {"720p50", 720, 1280, 720, 2, 5000, false, wide},
    {"720p5994", 720, 1280, 720, 3, 5994, false, wide},
    {"720p60", 720, 1280, 720, 3, 6000, false, wide},

    {"1080i50", 1080, 1920, 1080, 2, 2500, true, wide},
    {"1080i5994", 1080, 1920, 1080, 3, 2997, true, wide},
    {"1080i60", 1080, 1920, 1080, 3, 3000, true, wide},
    {"1080p2398", 1080, 1920, 1080, 3, 2398, false, wide},
    {"1080p24", 1080, 1920, 1080, 3, 2400, false, wide},
    {"1080p25", 1080, 1920, 1080, 2, 2500, false, wide},
    {"1080p2997", 1080, 1920, 1080, 3, 2997, false, wide},
    {"1080p30", 1080, 1920, 1080, 3, 3000, false, wide},
    {"1080p50", 1080, 1920, 1080, 2, 5000, false, wide},
    {"1080p5994", 1080, 1920, 1080, 3, 5994, false, wide},
    {"1080p60", 1080, 1920, 1080, 3, 6000, false, wide},

    {"2160p2398", 2160, 3840, 2160, 6, 2398, false, wide},
    {"2160p24", 2160, 3840, 2160, 6, 2400, false, wide},
    {"2160p25", 2160, 3840, 2160, 5, 2500, false, wide},
    {"2160p2997", 2160, 3840, 2160, 6, 2997, false, wide},
    {"2160p30", 2160, 3840, 2160, 6, 3000, false, wide},
    {"2160p50", 2160, 3840, 2160, 5, 5000, false, wide},
    {"2160p5994", 2160, 3840, 2160, 6, 5994, false, wide},
    {"2160p60", 2160, 3840, 2160, 6, 6000, false, wide},

    {"4320p2398", 4320, 7680, 4320, 8, 2398, false, wide},
    {"4320p24", 4320, 7680, 4320, 8, 2400, false, wide},
    {"4320p25", 4320, 7680, 4320, 7, 2500, false, wide},
    {"4320p2997", 4320, 7680, 4320, 8, 2997, false, wide},
    {"4320p30", 4320, 7680, 4320, 8, 3000, false, wide},
    {"4320p50", 4320, 7680, 4320, 7, 5000, false, wide},
    {"4320p5994", 4320, 7680, 4320, 8, 5994, false, wide},
    {"4320p60", 4320, 7680, 4320, 8, 6000, false, wide},
};

std::optional<std::uint32_t> number(std::string_view text) {
    std::uint32_t value = 0;
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return value;
}

/// The rate of a name, times 100: "25", "2997" and "29.97" all name one, "23.976" does as well.
std::optional<std::uint32_t> hundredths(std::string_view text) {
    if (text == "23.976" || text == "23976") return 2398;
    const bool hasPoint = text.size() == 5 && text[2] == '.';
    const auto whole = number(text.substr(0, 2));
    const auto fraction = number(text.substr(hasPoint ? 3 : std::min<std::size_t>(2, text.size())));
    if (!whole) return std::nullopt;
    if (text.size() == 2) return *whole * 100;
    if (!fraction || (text.size() != 4 && !hasPoint)) return std::nullopt;
    return *whole * 100 + *fraction;
}

/// Interlaced formats go by field rate; frame rates end at 30.
std::optional<std::uint32_t> frameRateOfInterlaced(std::uint32_t rate) {
    if (rate <= 3000) return rate;
    if (rate % 2 != 0) return std::nullopt;
    return rate / 2;
}

}  // namespace

std::optional<ZHLVideoFormat> ZHLVideoFormat::formatNamed(std::string_view name) {
    const auto letter = name.find_first_of("pPiI");
    if (letter == std::string_view::npos) return std::nullopt;
    const bool isInterlaced = name[letter] == 'i' || name[letter] == 'I';
    const auto nameLines = number(name.substr(0, letter));
    auto rate = hundredths(name.substr(letter + 1));
    if (!nameLines || !rate) return std::nullopt;
    if (isInterlaced) rate = frameRateOfInterlaced(*rate);
    if (!rate) return std::nullopt;
    const auto* const found =
        std::find_if(std::begin(formats), std::end(formats), [&](const ZHLVideoFormat& format) {
            return (format.lines == *nameLines || format.height == *nameLines) &&
                   format.interlaced == isInterlaced && format.framerate == *rate;
        });
    if (found == std::end(formats)) return std::nullopt;
    return *found;
}

std::span<const ZHLVideoFormat> ZHLVideoFormat::allFormats() {
    return formats;
}

}  // namespace zenquor
