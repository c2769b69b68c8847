#pragma once
// What all encoders have in common.

#include <atomic>
#include <utility>

#include "zenquor/core/Guarded.h"
#include "zenquor/encoders/ZQRVideoEncoderProtocol.h"
#include "zenquor/media/ZQRFrameStore.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor {

/// The base of the encoders: the fields of their interface, and the way to the callback.
///
/// Thread-safety: Safe.
class ZQRVideoEncoder : public ZQRVideoEncoderProtocol {
public:
    std::int32_t state() const override { return state_.load(std::memory_order_acquire); }
    std::shared_ptr<ZQRVideoEncoderProtocolDelegate> delegate() const override {
        return delegate_.load().lock();
    }
    void setDelegate(std::weak_ptr<ZQRVideoEncoderProtocolDelegate> delegate) override {
        delegate_.store(std::move(delegate));
    }
    std::string name() const override { return name_.load(); }
    void setName(std::string name) override { name_.store(std::move(name)); }
    ZQRVideoPropertiesPtr videoProperties() const override { return videoProperties_.load(); }

protected:
    ZQRVideoEncoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                    ZQRVideoEncoderCallbackContext callbackContext)
        : callback_(std::move(callback)),
          callbackContext_(std::move(callbackContext)),
          videoProperties_(std::move(videoProperties)) {}

    void changeState(std::int32_t state) { state_.store(state, std::memory_order_release); }
    void changeVideoProperties(ZQRVideoPropertiesPtr properties) {
        videoProperties_.store(std::move(properties));
    }
    /// The frame's audio with its channels mapped; nothing without properties.
    std::optional<ZQData> audioOfFrame(const ZQRFramePtr& frame) const {
        const ZQRVideoPropertiesPtr properties = videoProperties();
        return properties ? properties->audioDataForFrame(frame) : std::nullopt;
    }
    /// The caption packet among the frame's packets, or null.
    static std::shared_ptr<ZQRVANCClosedCaptionPacket> captionOfFrame(const ZQRFrame& frame) {
        return ZQRVANCHelper::closedCaptionPacket(frame.vancPackets());
    }
    /// Attaches a filled store to the frame and reports the frame.
    void deliver(const ZQRFramePtr& frame, const ZQRFrameStorePtr& store) {
        frame->setFrameHelper(store, name());
        if (callback_) callback_(*this, frame, callbackContext_.lock());
    }

private:
    const ZQRVideoEncoderCallback callback_;
    const ZQRVideoEncoderCallbackContext callbackContext_;
    std::atomic<std::int32_t> state_{ZQRVideoEncoderStateReady};
    Guarded<std::weak_ptr<ZQRVideoEncoderProtocolDelegate>> delegate_;
    Guarded<std::string> name_;
    Guarded<ZQRVideoPropertiesPtr> videoProperties_;
};

}  // namespace zenquor
