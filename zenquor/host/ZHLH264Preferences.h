#pragma once
// What the operator chose for H.264 recordings.

#include <cstdint>
#include <memory>
#include <string>

#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/OutputSettings.h"

namespace zenquor {

/// The H.264 choices of a capture preset.
///
/// Lifecycle:     filled by the host before the recording starts, only read from then on.
/// Thread-safety: One thread at a time while it is filled; reading is safe.
/// Standards:     ITU-T H.264 (profiles, entropy modes).
class ZHLH264Preferences final : public ZQObject {
public:
    static std::shared_ptr<ZHLH264Preferences> preferences() {
        return std::make_shared<ZHLH264Preferences>();
    }

    /// Average bits per second; 0 leaves the rate to the encoder.
    std::uint64_t bitrate() const { return bitrate_; }
    void setBitrate(std::uint64_t bitsPerSecond) { bitrate_ = bitsPerSecond; }

    /// What a software encoder aims at: "live" (as at first), "balanced" or "quality".
    const std::string& encoderSpeed() const { return encoderSpeed_; }
    void setEncoderSpeed(std::string speed) { encoderSpeed_ = std::move(speed); }

    /// Greatest distance between key frames, in pictures; 0 leaves it to the encoder.
    std::uint32_t gopSize() const { return gopSize_; }
    void setGopSize(std::uint32_t pictures) { gopSize_ = pictures; }

    /// Whether B pictures may be used; true at first.
    bool allowFrameReordering() const { return allowFrameReordering_; }
    void setAllowFrameReordering(bool allow) { allowFrameReordering_ = allow; }

    /// "Baseline", "Main" or "High"; empty leaves the profile to the encoder.
    const std::string& h264Profile() const { return h264Profile_; }
    void setH264Profile(std::string profile) { h264Profile_ = std::move(profile); }

    /// "CAVLC" or "CABAC"; empty leaves it to the encoder.
    const std::string& entropyMode() const { return entropyMode_; }
    void setEntropyMode(std::string mode) { entropyMode_ = std::move(mode); }

    /// Coded size in pixels and lines; 0 by 0, as at first, keeps the size of the pictures.
    std::uint32_t videoWidth() const { return videoWidth_; }
    std::uint32_t videoHeight() const { return videoHeight_; }
    void setVideoSize(std::uint32_t width, std::uint32_t height) {
        videoWidth_ = width, videoHeight_ = height;
    }

    /// The same choices as settings of an asset writer's video input. An unknown profile name is logged and
    /// left out.
    platform::VideoOutputSettings avAssetWriterVideoOptions() const;

private:
    std::uint64_t bitrate_ = 0;
    std::string encoderSpeed_ = "live";
    std::uint32_t gopSize_ = 0;
    std::uint32_t videoWidth_ = 0;
    std::uint32_t videoHeight_ = 0;
    bool allowFrameReordering_ = true;
    std::string h264Profile_;
    std::string entropyMode_;
};

using ZHLH264PreferencesPtr = std::shared_ptr<ZHLH264Preferences>;

}  // namespace zenquor
