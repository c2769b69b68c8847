#pragma once
// What the operator chose for HEVC recordings.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// The HEVC choice of a capture preset: its bit rate and speed.
///
/// Thread-safety: One thread at a time while it is filled; reading is safe.
class ZHLH265Preferences final : public ZQObject {
public:
    static std::shared_ptr<ZHLH265Preferences> preferences() {
        return std::make_shared<ZHLH265Preferences>();
    }

    /// Average bits per second; 0 leaves the rate to the encoder.
    std::uint64_t bitrate() const { return bitrate_; }
    void setBitrate(std::uint64_t bitsPerSecond) { bitrate_ = bitsPerSecond; }

    /// What a software encoder aims at: "live" (as at first), "balanced" or "quality".
    const std::string& encoderSpeed() const { return encoderSpeed_; }
    void setEncoderSpeed(std::string speed) { encoderSpeed_ = std::move(speed); }

private:
    std::uint64_t bitrate_ = 0;
    std::string encoderSpeed_ = "live";
};

using ZHLH265PreferencesPtr = std::shared_ptr<ZHLH265Preferences>;

}  // namespace zenquor
