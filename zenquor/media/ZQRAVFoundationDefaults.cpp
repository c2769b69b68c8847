#include "zenquor/media/ZQRAVFoundationDefaults.h"

namespace zenquor {

platform::VideoOutputSettings ZQRAVFoundationDefaults::h264CompressionDefaults() {
    return {.codec = fourCC("avc1"),
            .width = 480,
            .height = 272,
            .averageBitRate = 1048576,
            .maxKeyFrameInterval = 12,
            .profileLevel = "H264_High_AutoLevel",
            .allowFrameReordering = false,
            .entropyMode = "CAVLC"};
}

platform::AudioOutputSettings ZQRAVFoundationDefaults::aacCompressionDefaults() {
    constexpr std::uint32_t stereoLayoutTag = 101U << 16 | 2;
    return {.format = fourCC("aac "),
            .channels = 2,
            .bitRate = 128000,
            .sampleRate = 48000,
            .channelLayoutTag = stereoLayoutTag};
}

}  // namespace zenquor
