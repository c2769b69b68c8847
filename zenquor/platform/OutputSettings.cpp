#include "zenquor/platform/OutputSettings.h"

#include <fmt/format.h>

namespace zenquor::platform {

std::string VideoOutputSettings::description() const {
    return fmt::format(
        "{{codec = {}; width = {}; height = {}; averageBitRate = {}; maxKeyFrameInterval = {}; profileLevel "
        "= {}; "
        "allowFrameReordering = {}; entropyMode = {}}}",
        fourCCString(codec), width, height, averageBitRate, maxKeyFrameInterval, profileLevel,
        allowFrameReordering, entropyMode);
}

std::string AudioOutputSettings::description() const {
    return fmt::format(
        "{{format = {}; channels = {}; bitRate = {}; sampleRate = {}; channelLayoutTag = 0x{:08x}}}",
        fourCCString(format), channels, bitRate, sampleRate, channelLayoutTag);
}

}  // namespace zenquor::platform
