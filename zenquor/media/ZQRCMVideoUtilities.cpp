#include "zenquor/media/ZQRCMVideoUtilities.h"

namespace zenquor {

std::int32_t ZQRCMVideoUtilities::numeratorForFramerate(std::uint32_t framerate) {
    switch (framerate) {
        case 2398:
        case 2400:
            return 24000;
        case 2500:
            return 25000;
        case 2997:
        case 3000:
            return 30000;
        case 5000:
            return 50000;
        case 5994:
        case 6000:
            return 60000;
        default:
            return 0;
    }
}

std::int32_t ZQRCMVideoUtilities::denominatorForFramerate(std::uint32_t framerate) {
    return framerate == 2997 || framerate == 5994 ? 1001 : 1000;
}

platform::MediaTime ZQRCMVideoUtilities::durationForFramerate(std::uint32_t framerate) {
    return {denominatorForFramerate(framerate), numeratorForFramerate(framerate)};
}

platform::MediaTime ZQRCMVideoUtilities::timeValueForSampleValue(std::int64_t sampleValue,
                                                                 const platform::MediaTime& duration) {
    return {sampleValue, duration.timescale};
}

}  // namespace zenquor
