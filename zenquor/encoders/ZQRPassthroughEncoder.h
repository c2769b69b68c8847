#pragma once
// The encoder of uncompressed recordings.

#include <cstddef>

#include "zenquor/core/SerialQueue.h"
#include "zenquor/encoders/ZQRVideoEncoder.h"

namespace zenquor {

/// Hands each frame's picture on as it is: the bytes are shared, not copied, and the callback runs before
/// encodeFrame() returns.
///
/// Thread-safety: as ZQRVideoEncoderProtocol.
class ZQRPassthroughEncoder final : public ZQRVideoEncoder {
public:
    /// @param fifoCapacity  not used: nothing is ever pending.
    static std::shared_ptr<ZQRPassthroughEncoder> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
        ZQRVideoEncoderCallbackContext callbackContext, std::int64_t fifoCapacity);

    /// @return false with -53001 when state() is neither 0 nor 1.
    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    void finishEncoding() override;
    /// For a host that ends a run from outside: 2 makes the controller finish.
    void setState(std::int32_t state) { changeState(state); }
    void setVideoProperties(ZQRVideoPropertiesPtr properties) {
        changeVideoProperties(std::move(properties));
    }

    /// There is no queue: -1, 0 and 0.
    std::int64_t totalCapacity() const { return -1; }
    std::int64_t currentCapacity() const { return 0; }
    std::int64_t allocatedFrames() const { return 0; }
    bool isDVInput() const { return false; }
    /// Nothing has to be started, stopped or cleaned up.
    void start() {}
    void shutdown() {}
    void cleanUp() {}

private:
    ZQRPassthroughEncoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                          ZQRVideoEncoderCallbackContext callbackContext);

    SerialQueue workQueue_;
};

}  // namespace zenquor
