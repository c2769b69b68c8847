#include "zenquor/audio/ZQRAudioMapping.h"

#include <numeric>

namespace zenquor {

ZQRAudioMapping::ZQRAudioMapping() {
    std::iota(available_.begin(), available_.end(), 0U);
    notAvailable_.fill(noInput);
}

ZQRAudioMapping ZQRAudioMapping::defaultAudioMapping() {
    return {};
}

ZQRAudioMapping ZQRAudioMapping::monoToStereoMapping() {
    ZQRAudioMapping mapping;
    mapping.notAvailable_[0] = 0;
    mapping.notAvailable_[1] = 0;
    return mapping;
}

ZQRAudioMapping ZQRAudioMapping::mappingWithValues(std::span<const std::uint32_t> values) {
    ZQRAudioMapping mapping;
    const std::size_t outputs = values.size() / 2;
    for (std::size_t output = 0; output < outputs && output < channelCount; ++output) {
        mapping.setChannel(static_cast<std::uint32_t>(output), values[output], values[outputs + output]);
    }
    return mapping;
}

void ZQRAudioMapping::setChannel(std::uint32_t output, std::uint32_t available, std::uint32_t notAvailable) {
    if (output >= channelCount) return;
    available_[output] = available;
    notAvailable_[output] = notAvailable;
}

std::int32_t ZQRAudioMapping::inputChannelForOutput(std::uint32_t output,
                                                    std::uint32_t availableChannels) const {
    if (output >= channelCount) return -1;
    const std::uint32_t input = output < availableChannels ? available_[output] : notAvailable_[output];
    return input < availableChannels ? static_cast<std::int32_t>(input) : -1;
}

std::vector<std::uint32_t> ZQRAudioMapping::values() const {
    std::vector<std::uint32_t> values(available_.begin(), available_.end());
    values.insert(values.end(), notAvailable_.begin(), notAvailable_.end());
    return values;
}

}  // namespace zenquor
