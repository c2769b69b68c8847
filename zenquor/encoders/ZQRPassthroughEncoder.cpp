#include "zenquor/encoders/ZQRPassthroughEncoder.h"

#include <fmt/format.h>

#include "zenquor/core/NamedThread.h"

namespace zenquor {

std::shared_ptr<ZQRPassthroughEncoder> ZQRPassthroughEncoder::initWithVideoProperties(
    ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
    ZQRVideoEncoderCallbackContext callbackContext, std::int64_t) {
    return std::shared_ptr<ZQRPassthroughEncoder>(new ZQRPassthroughEncoder(
        std::move(videoProperties), std::move(callback), std::move(callbackContext)));
}

ZQRPassthroughEncoder::ZQRPassthroughEncoder(ZQRVideoPropertiesPtr videoProperties,
                                             ZQRVideoEncoderCallback callback,
                                             ZQRVideoEncoderCallbackContext callbackContext)
    : ZQRVideoEncoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)),
      workQueue_(fmt::format("{}.encoder.uncompressed", identifierPrefix)) {}

bool ZQRPassthroughEncoder::encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const std::int32_t current = state();
    if (!frame || (current != ZQRVideoEncoderStateReady && current != ZQRVideoEncoderStateEncoding)) {
        return fail(
            error,
            ZQError::errorWithDomain(
                ZQRVideoEncoderErrorDomain, ZQRVideoEncoderErrorWrongState,
                fmt::format("ZQRPassthroughEncoder tried to push a frame into encoder while its state is {}",
                            current),
                ZQError::encodingError()));
    }
    const ZQRFrameStorePtr store = ZQRFrameStore::helperWithData(frame->videoData());
    store->setAudioData(audioOfFrame(frame));
    store->setTimecode(frame->frameTimecode());
    if (frame->writeCaptions()) store->setClosedCaptionData(captionOfFrame(*frame));
    store->setFrameType(ZQRFrameTypeStandalone);
    store->setDecodeTimestamp(frame->relativeFrameTime());
    store->setDisplayTimestamp(frame->relativeFrameTime());
    deliver(frame, store);
    return true;
}

void ZQRPassthroughEncoder::finishEncoding() {
    changeState(ZQRVideoEncoderStateFinished);
}

}  // namespace zenquor
