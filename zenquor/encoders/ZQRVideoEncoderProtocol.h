#pragma once
// What every video encoder answers, and whom it tells.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/media/ZQRVideoProperties.h"

namespace zenquor {

inline constexpr std::string_view ZQRVideoEncoderErrorDomain = "ZQRVideoEncoderErrorDomain";

/// Codes of ZQRVideoEncoderErrorDomain.
enum ZQRVideoEncoderError : int {
    ZQRVideoEncoderErrorWrongState = -53001,       // a frame came that cannot be encoded now
    ZQRVideoEncoderErrorSetupFailed = -53004,      // no encoder opens with these settings
    ZQRVideoEncoderErrorSoftwareFallback = -53005  // not critical: no hardware, encoding goes on in software
};

/// States of an encoder.
enum ZQRVideoEncoderState : std::int32_t {
    ZQRVideoEncoderStateFailed = -1,  // or at its frame limit
    ZQRVideoEncoderStateReady = 0,
    ZQRVideoEncoderStateEncoding = 1,
    ZQRVideoEncoderStateFinishRequested = 2,
    ZQRVideoEncoderStateFinished = 3
};

class ZQRVideoEncoderProtocol;

/// Whom an encoder tells about the end of its work.
///
/// Thread-safety: calls come on the encoder's thread.
class ZQRVideoEncoderProtocolDelegate {
public:
    virtual ~ZQRVideoEncoderProtocolDelegate() = default;
    virtual void videoEncoderDidReachFrameLimit(ZQRVideoEncoderProtocol& encoder) = 0;
    /// @param error  null when @p success.
    virtual void didFinishSuccessfully(ZQRVideoEncoderProtocol& encoder, bool success,
                                       const ZQErrorPtr& error) = 0;
};

/// Whatever belongs to a callback; held weakly, so that an encoder never keeps its owner alive.
using ZQRVideoEncoderCallbackContext = std::weak_ptr<void>;

/// Called once per output frame, after the output has been attached to the frame as a ZQRFrameStore under the
/// encoder's name; on the thread that encodes or on one of the encoder's own.
/// @param context  null when what the encoder was given is gone.
using ZQRVideoEncoderCallback = std::function<void(ZQRVideoEncoderProtocol& encoder, const ZQRFramePtr& frame,
                                                   const std::shared_ptr<void>& context)>;

/// A video encoder: frames in, the same frames out with their coded pictures attached, in coding order.
///
/// Lifecycle:     made by initWithVideoProperties() of its class; name and delegate set; encodeFrame() for
///                each frame; finishEncoding() once.
/// Thread-safety: encodeFrame() and finishEncoding() one thread at a time; everything else Safe.
/// Ownership:     holds each frame until it has been passed to the callback; the delegate weakly.
class ZQRVideoEncoderProtocol : public ZQObject {
public:
    /// Takes a frame in.
    /// @param error  a true result with an error is a warning: the frame has been taken.
    /// @return false when the frame was not taken.
    virtual bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) = 0;
    /// Passes every pending frame to the callback and lets the encoder go; state() is then 3.
    virtual void finishEncoding() = 0;
    /// A ZQRVideoEncoderState.
    virtual std::int32_t state() const = 0;
    /// Null when there is none any more.
    virtual std::shared_ptr<ZQRVideoEncoderProtocolDelegate> delegate() const = 0;
    virtual void setDelegate(std::weak_ptr<ZQRVideoEncoderProtocolDelegate> delegate) = 0;
    /// The key under which outputs are attached to frames.
    virtual std::string name() const = 0;
    virtual void setName(std::string name) = 0;
    virtual ZQRVideoPropertiesPtr videoProperties() const = 0;
};

using ZQRVideoEncoderPtr = std::shared_ptr<ZQRVideoEncoderProtocol>;

}  // namespace zenquor
