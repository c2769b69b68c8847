#include "zenquor/encoders/ZQRMCMPEG2Encoder.h"

#include <algorithm>
#include <thread>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/core/ZQUserDefaults.h"
#include "zenquor/encoders/detail/XDCAMFormats.h"
#include "zenquor/media/ZQRAVFoundationMediaFormatDescriptionHelper.h"

namespace zenquor {
namespace {

using detail::XDCAMFormat;
using platform::MPEG2Picture;
using platform::MPEG2PictureType;
using platform::MPEG2Settings;
using platform::PixelBuffer;
using platform::PixelBufferPtr;
using platform::Status;
using Helper = ZQRAVFoundationMediaFormatDescriptionHelper;

// Pictures whose times are kept: more than lie between a picture's turn to be coded and its turn to be shown.
constexpr std::size_t keptTimes = 16;
constexpr std::uint32_t displayAspectWidth = 16;
constexpr std::uint32_t displayAspectHeight = 9;

std::uint32_t frameTypeOf(MPEG2PictureType type) {
    switch (type) {
        case MPEG2PictureType::I:
            return ZQRFrameTypePartialSync;
        case MPEG2PictureType::P:
            return ZQRFrameTypeReference;
        case MPEG2PictureType::B:
            return ZQRFrameTypeDisposable;
    }
    return ZQRFrameTypeStandalone;
}

platform::MPEG2Effort effortOfUserDefault() {
    const std::int64_t level =
        ZQUserDefaults::standardUserDefaults().integerForKey(ZQRXDCAMEncoderPerformanceDefault);
    constexpr platform::MPEG2Effort efforts[] = {platform::MPEG2Effort::Live, platform::MPEG2Effort::Balanced,
                                                 platform::MPEG2Effort::Quality};
    return efforts[std::clamp<std::int64_t>(level, 0, 2)];
}

ZQErrorPtr encoderError(int code, std::string description) {
    return ZQError::errorWithDomain(ZQRVideoEncoderErrorDomain, code, std::move(description),
                                    ZQError::encodingError());
}

FourCC codeOf(const ZQRVideoProperties& properties) {
    const auto component = properties.ZQcomponent();
    return component ? component->componentString() : 0;
}

// GOP headers count on from the first label by themselves, which drop-frame labels allow at 29.97 only. Nothing when
// the frame's labels count otherwise than the pictures.
std::string gopLabelOfFrame(const ZQRFrame& frame, std::uint32_t framerate) {
    const std::optional<ZQCKTimecode> timecode = frame.frameTimecode();
    if (!timecode || timecode->timebase() != ZQCKTimebase::timebaseForHundredths(framerate)) return {};
    const bool isDropFrame = timecode->timebase().dropFrameTimecode();
    if (isDropFrame && timecode->timebase().nominalFramesPerSecond() != 30) return {};
    return timecode->descriptionWithFrameSeparator(isDropFrame ? ";" : ":");
}

/// What the code and the operator's departures from it make of a stream.
MPEG2Settings settingsOf(const XDCAMFormat& format, std::uint32_t framerate,
                         const ZHLXDCAMPreferencesPtr& wishes) {
    const ZQCKTimebase timebase = ZQCKTimebase::timebaseForHundredths(framerate);
    MPEG2Settings settings;
    settings.width = format.width;
    settings.height = format.height;
    settings.rateNumerator = static_cast<std::int32_t>(timebase.numerator());
    settings.rateDenominator = static_cast<std::int32_t>(timebase.denominator());
    settings.isInterlaced = format.isInterlaced;
    settings.chroma = format.chroma;
    settings.bitRate =
        wishes && wishes->bitrate() != 0 ? static_cast<std::int64_t>(wishes->bitrate()) : format.bitRate;
    settings.gopSize = wishes && wishes->gopSize() != 0 ? wishes->gopSize() : format.gopSize;
    settings.threadCount = std::max(std::thread::hardware_concurrency(), 1U);
    settings.effort = effortOfUserDefault();
    // Every raster of the family is shown 16:9.
    settings.pixelAspectRatio = {format.height * displayAspectWidth, format.width * displayAspectHeight};
    return settings;
}

}  // namespace

std::shared_ptr<ZQRMCMPEG2Encoder> ZQRMCMPEG2Encoder::initWithVideoProperties(
    ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
    ZQRVideoEncoderCallbackContext callbackContext, std::int64_t) {
    return std::shared_ptr<ZQRMCMPEG2Encoder>(
        new ZQRMCMPEG2Encoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)));
}

ZQRMCMPEG2Encoder::ZQRMCMPEG2Encoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                                     ZQRVideoEncoderCallbackContext callbackContext)
    : ZQRVideoEncoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)) {}

ZQRMCMPEG2Encoder::~ZQRMCMPEG2Encoder() = default;

void ZQRMCMPEG2Encoder::setXDCAMPreferences(ZHLXDCAMPreferencesPtr preferences) {
    const std::lock_guard lock(mutex_);
    xdcamPreferences_ = std::move(preferences);
}

ZHLXDCAMPreferencesPtr ZQRMCMPEG2Encoder::xdcamPreferences() const {
    const std::lock_guard lock(mutex_);
    return xdcamPreferences_;
}

// --- set-up
//

bool ZQRMCMPEG2Encoder::createEncoder(const ZQRFrame& frame, const PixelBuffer& picture, ZQErrorPtr* error) {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    const FourCC code = codeOf(*properties);
    const XDCAMFormat* const format = detail::findXDCAMFormat(code);
    if (!format || !format->hasFramerate(properties->framerate())) {
        return fail(error,
                    encoderError(ZQRVideoEncoderErrorSetupFailed,
                                 fmt::format("ZQRMCMPEG2Encoder can't record {} at {:.2f} frames per second",
                                             fourCCString(code), properties->framerate() / 100.0)));
    }
    MPEG2Settings settings = settingsOf(*format, properties->framerate(), xdcamPreferences());
    describePicture(frame, picture, settings);
    const Status status = platform::MPEG2Encoder::create(settings, encoder_);
    if (status != platform::noErr) {
        return fail(error, encoderError(ZQRVideoEncoderErrorSetupFailed,
                                        fmt::format("ZQRMCMPEG2Encoder failed to setup encoder with error {}",
                                                    status)));
    }
    ZLGGetHandle().log("ZQRMCMPEG2Encoder {}: encodes {}x{} with {} bits/s, an I picture every {}", *this,
                       settings.width, settings.height, settings.bitRate, settings.gopSize);
    return true;
}

// Colour as with compression sessions: the picture's own, else what the recording's properties say.
void ZQRMCMPEG2Encoder::describePicture(const ZQRFrame& frame, const PixelBuffer& picture,
                                        MPEG2Settings& settings) const {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    const PixelBuffer::Attachments& tags = picture.attachments();
    settings.colorPrimaries =
        tags.colorPrimaries ? tags.colorPrimaries : Helper::colorPrimariesForVideoProperties(properties);
    settings.yCbCrMatrix =
        tags.yCbCrMatrix ? tags.yCbCrMatrix : Helper::yCbCrMatrixForVideoProperties(properties);
    settings.transferFunction = tags.transferFunction
                                    ? tags.transferFunction
                                    : Helper::transferFunctionForVideoProperties(properties);
    settings.startTimecode = gopLabelOfFrame(frame, properties->framerate());
}

// --- pictures in and out
//

bool ZQRMCMPEG2Encoder::encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const std::lock_guard lock(submissionLock_);
    const PixelBufferPtr picture = frame ? frame->videoPixelBuffer() : nullptr;
    if (!picture || !videoProperties() || state() == ZQRVideoEncoderStateFinished) {
        return fail(error, encoderError(ZQRVideoEncoderErrorWrongState,
                                        "ZQRMCMPEG2Encoder got a frame without a picture, or after its end"));
    }
    if (!encoder_ && !createEncoder(*frame, *picture, error)) return false;
    pending_.push_back(frame);
    times_.push_back(frame->relativeFrameTime());
    const Status status =
        encoder_->encode(*picture, [this](const MPEG2Picture& coded) { pictureOut(coded); });
    if (status == platform::noErr) {
        forgetOldTimes();
        return true;
    }
    // The frame stays with the caller, its picture is not in the stream.
    times_.pop_back();
    std::erase(pending_, frame);
    return fail(
        error, encoderError(ZQRVideoEncoderErrorWrongState,
                            fmt::format("ZQRMCMPEG2Encoder failed to encode a frame with error {}", status)));
}

void ZQRMCMPEG2Encoder::forgetOldTimes() {
    while (times_.size() > keptTimes) {
        times_.pop_front();
        ++firstTimeIndex_;
    }
}

std::int64_t ZQRMCMPEG2Encoder::timeOfPicture(std::int64_t index) const {
    const std::int64_t place = index - firstTimeIndex_;
    const auto last = static_cast<std::int64_t>(times_.size()) - 1;
    return times_[static_cast<std::size_t>(std::clamp<std::int64_t>(place, 0, last))];
}

void ZQRMCMPEG2Encoder::pictureOut(const MPEG2Picture& coded) {
    if (pending_.empty()) return;
    const ZQRFramePtr frame = std::move(pending_.front());
    pending_.pop_front();
    if (coded.bufferBitsLeft < 0 && !std::exchange(isOverloadLogged_, true)) {
        ZLGGetHandle().error(
            "ZQRMCMPEG2Encoder {}: pictures are too detailed for the bit rate, decoders may stall", *this);
    }
    const ZQRFrameStorePtr store = ZQRFrameStore::helperWithData(coded.data);
    store->setAudioData(audioOfFrame(frame));
    store->setTimecode(frame->frameTimecode());
    if (frame->writeCaptions()) store->setClosedCaptionData(captionOfFrame(*frame));
    store->setFrameType(frameTypeOf(coded.type));
    store->setDecodeTimestamp(frame->relativeFrameTime());
    store->setDisplayTimestamp(timeOfPicture(coded.index));
    deliver(frame, store);
}

void ZQRMCMPEG2Encoder::finishEncoding() {
    const std::lock_guard lock(submissionLock_);
    ZLGGetHandle().log("ZQRMCMPEG2Encoder will finish encoding");
    if (encoder_) {
        const Status status = encoder_->finish([this](const MPEG2Picture& coded) { pictureOut(coded); });
        if (status != platform::noErr || !pending_.empty()) {
            ZLGGetHandle().error("ZQRMCMPEG2Encoder {}: couldn't complete {} frames, error {}", *this,
                                 pending_.size(), status);
        }
    }
    encoder_.reset();
    pending_.clear();
    changeState(ZQRVideoEncoderStateFinished);
}

void ZQRMCMPEG2Encoder::finish() {
    const std::int32_t current = state();
    if (current != ZQRVideoEncoderStateFinished && current != ZQRVideoEncoderStateFailed)
        changeState(ZQRVideoEncoderStateFinishRequested);
}

}  // namespace zenquor
