#include "zenquor/host/ZHLH264Preferences.h"

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

platform::VideoOutputSettings ZHLH264Preferences::avAssetWriterVideoOptions() const {
    platform::VideoOutputSettings settings;
    settings.codec = fourCC("avc1");
    settings.width = videoWidth_;
    settings.height = videoHeight_;
    settings.averageBitRate = bitrate_;
    settings.maxKeyFrameInterval = gopSize_;
    settings.allowFrameReordering = allowFrameReordering_;
    settings.entropyMode = entropyMode_;
    if (h264Profile_ == "Baseline" || h264Profile_ == "Main" || h264Profile_ == "High") {
        settings.profileLevel = "H264_" + h264Profile_ + "_AutoLevel";
    } else if (!h264Profile_.empty()) {
        ZLGGetHandle().error("ZHLH264Preferences {}: unknown H.264 profile {}", *this, h264Profile_);
    }
    return settings;
}

}  // namespace zenquor
