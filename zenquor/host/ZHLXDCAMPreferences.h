#pragma once
// What the operator chose for XDCAM (MPEG-2) recordings.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

/// Departures from what an XDCAM code prescribes. All zero, as at first, means none.
///
/// Thread-safety: One thread at a time while it is filled; reading is safe.
class ZHLXDCAMPreferences final : public ZQObject {
public:
    static std::shared_ptr<ZHLXDCAMPreferences> preferences() {
        return std::make_shared<ZHLXDCAMPreferences>();
    }

    /// Bits per second; 0 = the rate of the code (35 or 50 Mbit/s).
    std::uint64_t bitrate() const { return bitrate_; }
    void setBitrate(std::uint64_t bitsPerSecond) { bitrate_ = bitsPerSecond; }

    /// Pictures from one I picture to the next; 0 = the distance that the format prescribes.
    std::uint32_t gopSize() const { return gopSize_; }
    void setGopSize(std::uint32_t pictures) { gopSize_ = pictures; }

private:
    std::uint64_t bitrate_ = 0;
    std::uint32_t gopSize_ = 0;
};

using ZHLXDCAMPreferencesPtr = std::shared_ptr<ZHLXDCAMPreferences>;

}  // namespace zenquor
