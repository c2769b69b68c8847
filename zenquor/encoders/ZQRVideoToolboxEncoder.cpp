#include "zenquor/encoders/ZQRVideoToolboxEncoder.h"

#include <chrono>
#include <cmath>
#include <thread>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/media/ZQRAVFoundationMediaFormatDescriptionHelper.h"
#include "zenquor/media/ZQRCMVideoUtilities.h"

namespace zenquor {
namespace {

using platform::CompressionProperty;
using platform::EncoderSpecification;
using platform::PixelBuffer;
using platform::PixelBufferPtr;
using platform::Status;
using Helper = ZQRAVFoundationMediaFormatDescriptionHelper;

constexpr FourCC avc1 = fourCC("avc1");
constexpr FourCC hvc1 = fourCC("hvc1");
constexpr std::uint32_t norm525 = 1;

// The rules in the order in which each overrides the one before.
std::uint32_t frameTypeOfSample(const platform::SampleAttachments& attachments) {
    std::uint32_t type = ZQRFrameTypeStandalone;
    if (!attachments.any()) return type;
    const bool isNotSync = attachments.notSync.value_or(false);
    if (!attachments.notSync) type = ZQRFrameTypeSync;
    if (isNotSync && attachments.isDependedOnByOthers == false) type = ZQRFrameTypeDisposable;
    if (isNotSync && attachments.partialSync == true) type = ZQRFrameTypePartialSync;
    if (attachments.earlierDisplayTimesAllowed == true) type = ZQRFrameTypeReference;
    return type;
}

// Takes the first element; a default value from an empty queue.
template <typename T>
T takeFirst(std::deque<T>& queue) {
    if (queue.empty()) return {};
    T first = std::move(queue.front());
    queue.pop_front();
    return first;
}

ZQErrorPtr encoderError(int code, std::string description, std::string forTheOperator) {
    return ZQError::errorWithDomain(ZQRVideoEncoderErrorDomain, code, std::move(description),
                                    std::move(forTheOperator));
}

}  // namespace

const ZQRVideoToolboxEncoder::SizeRow ZQRVideoToolboxEncoder::sizes[] = {
    {288, 243, false, {288, 240, 10, 9}},
    {288, 243, true, {288, 240, 40, 27}},
    {352, 243, false, {352, 240, 10, 11}},
    {352, 243, true, {352, 240, 40, 33}},
    {352, 288, false, {352, 288, 59, 54}},
    {352, 288, true, {352, 288, 118, 81}},
    {720, 480, false, {704, 480, 10, 11}},
    {720, 480, true, {704, 480, 40, 33}},
    {720, 486, false, {704, 486, 10, 11}},
    {720, 486, true, {704, 486, 40, 33}},
    {720, 576, false, {702.9152542372881, 576, 59, 54}},
    {720, 576, true, {702.9152542372881, 576, 118, 81}},
    {960, 720, false, {960, 720, 4, 3}},
    {960, 540, true, {960, 540, 1, 1}},
    {1280, 720, true, {1280, 720, 1, 1}},
    {1280, 1080, true, {1280, 1080, 3, 2}},
    {1440, 1080, true, {1440, 1080, 4, 3}},
    {1920, 1080, true, {1920, 1080, 1, 1}},
    {3840, 2160, true, {3840, 2160, 1, 1}},
};

std::shared_ptr<ZQRVideoToolboxEncoder> ZQRVideoToolboxEncoder::initWithVideoProperties(
    ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
    ZQRVideoEncoderCallbackContext callbackContext, std::int64_t) {
    return std::shared_ptr<ZQRVideoToolboxEncoder>(new ZQRVideoToolboxEncoder(
        std::move(videoProperties), std::move(callback), std::move(callbackContext)));
}

ZQRVideoToolboxEncoder::ZQRVideoToolboxEncoder(ZQRVideoPropertiesPtr videoProperties,
                                               ZQRVideoEncoderCallback callback,
                                               ZQRVideoEncoderCallbackContext callbackContext)
    : ZQRVideoEncoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)) {}

ZQRVideoToolboxEncoder::~ZQRVideoToolboxEncoder() {
    dropSession();
}

FourCC ZQRVideoToolboxEncoder::codec() const {
    const auto component = videoProperties()->ZQcomponent();
    return component ? component->componentString() : 0;
}

void ZQRVideoToolboxEncoder::dropSession() {
    if (session_) session_->invalidate();
    session_.reset();
}

// --- set-up
//

bool ZQRVideoToolboxEncoder::createSession(const ZQRFrame& frame, const PixelBufferPtr& picture,
                                           ZQErrorPtr* error) {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    properties->setNativeVideoWidth(picture->width());
    properties->setNativeVideoHeight(picture->height());
    {
        const std::lock_guard lock(companionLock_);
        audioData_.clear();
        timecodeData_.clear();
        captionData_.clear();
    }
    frameDuration_ = ZQRCMVideoUtilities::durationForFramerate(properties->framerate());
    const bool isHardwarePreferred = codec() == avc1 || codec() == hvc1;
    Status status = tryHardware(frame, picture, isHardwarePreferred);
    if (status == platform::noErr) return true;
    EncoderSpecification software;
    software.enableHardwareAcceleratedVideoEncoder = false;
    status = initializeEncoderWithFrame(frame, software, picture);
    if (status != platform::noErr) {
        dropSession();
        return fail(
            error,
            encoderError(ZQRVideoEncoderErrorSetupFailed,
                         fmt::format("ZQRVideoToolboxEncoder failed to setup encoder with error {}", status),
                         ZQError::encodingError()));
    }
    if (isHardwarePreferred && error) {
        *error = encoderError(
            ZQRVideoEncoderErrorSoftwareFallback,
            "No hardware encoder available, using software encoder instead which will lead to slower "
            "performance.",
            ZQError::noHardwareEncoder());
    }
    return true;
}

Status ZQRVideoToolboxEncoder::tryHardware(const ZQRFrame& frame, const PixelBufferPtr& picture,
                                           bool isPreferred) {
    EncoderSpecification hardware;
    hardware.requireHardwareAcceleratedVideoEncoder = true;
    Status status = platform::noErr;
    for (int attempt = 0; attempt < (isPreferred ? hardwareAttempts : 1); ++attempt) {
        status = initializeEncoderWithFrame(frame, hardware, picture);
        if (status == platform::noErr) return status;
        dropSession();
        if (!isPreferred) continue;
        ZLGGetHandle().error(
            "ZQRVideoToolboxEncoder can't create a hardware encoder instance with error {}, will try again",
            status);
        std::this_thread::sleep_for(std::chrono::milliseconds(hardwareRetryMilliseconds));
    }
    return status;
}

Status ZQRVideoToolboxEncoder::initializeEncoderWithFrame(const ZQRFrame&,
                                                          const EncoderSpecification& specification,
                                                          const PixelBufferPtr& picture) {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    const auto output = [this](const std::shared_ptr<void>& reference, Status status,
                               const platform::SampleBufferPtr& sample) {
        sessionOutput(std::static_pointer_cast<ZQRFrame>(reference), status, sample);
    };
    Status status = platform::CompressionSession::create(
        static_cast<std::uint32_t>(properties->videoWidth()),
        static_cast<std::uint32_t>(properties->videoHeight()), codec(), specification, output, session_);
    if (status == platform::noErr) status = setupCodec();
    if (status == platform::noErr) status = finishEncoderSetupWithAttachments(picture->attachments());
    if (status == platform::noErr) status = setupFrameRate();
    // The encoder opens here, so that one which is busy or refuses the settings is found out while there is a
    // choice.
    if (status == platform::noErr) status = session_->prepareToEncodeFrames(picture, frameDuration_);
    return status;
}

Status ZQRVideoToolboxEncoder::setupCodec() {
    switch (codec()) {
        case avc1:
            return setupH264();
        case hvc1:
            return setupHEVC();
        default:
            return platform::noErr;
    }
}

Status ZQRVideoToolboxEncoder::setupHEVC() {
    const ZHLH265PreferencesPtr preferences = videoProperties()->h265Preferences();
    const std::uint64_t bitrate = preferences ? preferences->bitrate() : 0;
    Status status = set(CompressionProperty::ProfileLevel, std::string("HEVC_Main_AutoLevel"),
                        "HEVC profile level", "Main Auto");
    if (status != platform::noErr) return status;
    status = set(CompressionProperty::AverageBitRate, static_cast<std::int64_t>(bitrate), "HEVC Bitrate");
    if (status != platform::noErr) return status;
    ZLGGetHandle().log("ZQRVideoToolboxEncoder will encode HEVC with {} bits/s", bitrate);
    session_->setProperty(CompressionProperty::AllowFrameReordering, true);
    return preferences ? setupSpeed(preferences->encoderSpeed()) : platform::noErr;
}

Status ZQRVideoToolboxEncoder::setupH264() {
    const ZHLH264PreferencesPtr preferences = videoProperties()->h264Preferences();
    // Missing preferences read as false: no reordering, and nothing else to set.
    if (!preferences) return set(CompressionProperty::AllowFrameReordering, false, "frame reordering", "NO");
    Status status = platform::noErr;
    const auto setIf = [&](bool wanted, CompressionProperty property,
                           const platform::CompressionPropertyValue& value, std::string_view name,
                           std::string_view text = {}) {
        if (wanted && status == platform::noErr) status = set(property, value, name, text);
    };
    setIf(preferences->bitrate() != 0, CompressionProperty::AverageBitRate,
          static_cast<std::int64_t>(preferences->bitrate()), "bitrate");
    setIf(preferences->gopSize() != 0, CompressionProperty::MaxKeyFrameInterval,
          static_cast<std::int64_t>(preferences->gopSize()), "max keyframe interval");
    setIf(!preferences->allowFrameReordering(), CompressionProperty::AllowFrameReordering, false,
          "frame reordering", "NO");
    if (status == platform::noErr) status = setupH264Profile(preferences->h264Profile());
    setIf(preferences->entropyMode() == "CAVLC", CompressionProperty::H264EntropyMode, std::string("CAVLC"),
          "entropy mode");
    return status == platform::noErr ? setupSpeed(preferences->encoderSpeed()) : status;
}

Status ZQRVideoToolboxEncoder::setupH264Profile(const std::string& profile) {
    if (profile.empty()) return platform::noErr;
    if (profile != "Baseline" && profile != "Main" && profile != "High") {
        ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: unknown H.264 profile {}, the encoder will choose",
                             *this, profile);
        return platform::noErr;
    }
    return set(CompressionProperty::ProfileLevel, fmt::format("H264_{}_AutoLevel", profile), "profile level");
}

// Only software encoders have speeds to choose from.
Status ZQRVideoToolboxEncoder::setupSpeed(const std::string& speed) {
    if (session_->usesHardware() || speed.empty()) return platform::noErr;
    return set(CompressionProperty::Speed, speed, "speed");
}

Status ZQRVideoToolboxEncoder::finishEncoderSetupWithAttachments(
    const PixelBuffer::Attachments& attachments) {
    logSession(attachments);
    Status status = setupFields();
    if (status == platform::noErr) status = setupCleanAperture();
    if (status == platform::noErr) status = setupPixelAspectRatio();
    if (status == platform::noErr) status = setupColorPrimariesWithAttachments(attachments);
    if (status == platform::noErr) status = setupImageBufferYCbCrMatrixWithAttachments(attachments);
    if (status == platform::noErr) status = setupImageBufferTransferFunctionWithAttachments(attachments);
    return status;
}

// The frame duration counts 23.98 as 24, which is no rate of AVC-Intra's.
Status ZQRVideoToolboxEncoder::setupFrameRate() {
    constexpr std::uint32_t film = 2398;
    if (videoProperties()->framerate() != film) return platform::noErr;
    return set(CompressionProperty::ExpectedFrameRate, std::string("24000/1001"), "frame rate");
}

Status ZQRVideoToolboxEncoder::setupFields() {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    const bool isInterlaced = properties->scanMode() != 0;
    const Status status = set(CompressionProperty::FieldCount, std::int64_t{isInterlaced ? 2 : 1},
                              "field count", isInterlaced ? "interlaced" : "progressive");
    if (status != platform::noErr || !isInterlaced) return status;
    const auto detail = properties->tvNorm() == norm525 ? platform::FieldDetail::SpatialFirstLineLate
                                                        : platform::FieldDetail::SpatialFirstLineEarly;
    return set(CompressionProperty::FieldDetail, detail, "field detail");
}

Status ZQRVideoToolboxEncoder::setupCleanAperture() {
    const AVExtension extension = currentAVExtension();
    if (extension.cleanApertureWidth == 0) return platform::noErr;
    return set(CompressionProperty::CleanAperture,
               platform::CleanAperture{extension.cleanApertureWidth, extension.cleanApertureHeight, 0, 0},
               "clean aperture");
}

Status ZQRVideoToolboxEncoder::setupPixelAspectRatio() {
    const AVExtension extension = currentAVExtension();
    if (extension.horizontalSpacing == 0) return platform::noErr;
    return set(CompressionProperty::PixelAspectRatio,
               platform::PixelAspectRatio{extension.horizontalSpacing, extension.verticalSpacing},
               "pixel aspect ratio");
}

Status ZQRVideoToolboxEncoder::setupColorPrimariesWithAttachments(
    const PixelBuffer::Attachments& attachments) {
    const auto value = attachments.colorPrimaries
                           ? attachments.colorPrimaries
                           : Helper::colorPrimariesForVideoProperties(videoProperties());
    return value ? set(CompressionProperty::ColorPrimaries, *value, "color primaries") : platform::noErr;
}

Status ZQRVideoToolboxEncoder::setupImageBufferYCbCrMatrixWithAttachments(
    const PixelBuffer::Attachments& attachments) {
    const auto value = attachments.yCbCrMatrix ? attachments.yCbCrMatrix
                                               : Helper::yCbCrMatrixForVideoProperties(videoProperties());
    return value ? set(CompressionProperty::YCbCrMatrix, *value, "YCbCr matrix") : platform::noErr;
}

Status ZQRVideoToolboxEncoder::setupImageBufferTransferFunctionWithAttachments(
    const PixelBuffer::Attachments& attachments) {
    const auto value = attachments.transferFunction
                           ? attachments.transferFunction
                           : Helper::transferFunctionForVideoProperties(videoProperties());
    return value ? set(CompressionProperty::TransferFunction, *value, "transfer function") : platform::noErr;
}

ZQRVideoToolboxEncoder::AVExtension ZQRVideoToolboxEncoder::currentAVExtension() const {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    for (const SizeRow& row : sizes) {
        if (row.width == properties->videoWidth() && row.height == properties->videoHeight() &&
            row.isWide == properties->isWide()) {
            return row.extension;
        }
    }
    ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: no clean aperture and pixel aspect ratio for {}x{}, {}",
                         *this, properties->videoWidth(), properties->videoHeight(),
                         properties->isWide() ? "16:9" : "4:3");
    return {};
}

Status ZQRVideoToolboxEncoder::set(CompressionProperty property,
                                   const platform::CompressionPropertyValue& value,
                                   std::string_view loggedName, std::string_view loggedValue) {
    const Status status = session_->setProperty(property, value);
    const std::string text =
        loggedValue.empty() ? platform::describeCompressionPropertyValue(value) : std::string(loggedValue);
    logStatus(status, loggedName, text);
    return status;
}

void ZQRVideoToolboxEncoder::logStatus(Status status, std::string_view property,
                                       std::string_view value) const {
    if (status == platform::noErr) {
        ZLGGetHandle().debug("ZQRVideoToolboxEncoder {}: set {} to {}", *this, property, value);
    } else {
        ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: couldn't set {} to {}, error {}", *this, property,
                             value, status);
    }
}

void ZQRVideoToolboxEncoder::logDictionary(const ZQDictionary& dictionary, std::string_view prefix) {
    for (const auto& [key, value] : dictionary)
        ZLGGetHandle().debug("{} {} = {}", prefix, key, value.description());
}

void ZQRVideoToolboxEncoder::logSession(const PixelBuffer::Attachments& attachments) const {
    if (!ZLGGetHandle().isEnabled(ZLGLevel::Debug)) return;
    ZQDictionary properties;
    for (const CompressionProperty property : session_->supportedProperties()) {
        properties.set(platform::nameOfCompressionProperty(property), true);
    }
    logDictionary(properties, "ZQRVideoToolboxEncoder session has property");
    ZQDictionary found;
    const auto add = [&](const char* name, const auto& value) {
        if (value) found.set(name, platform::describeCompressionPropertyValue(*value));
    };
    add("CleanAperture", attachments.cleanAperture);
    add("PixelAspectRatio", attachments.pixelAspectRatio);
    add("ColorPrimaries", attachments.colorPrimaries);
    add("TransferFunction", attachments.transferFunction);
    add("YCbCrMatrix", attachments.yCbCrMatrix);
    logDictionary(found, "ZQRVideoToolboxEncoder session attachment");
}

// --- pictures in
//

bool ZQRVideoToolboxEncoder::encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const std::lock_guard lock(submissionLock_);
    const PixelBufferPtr picture = frame ? frame->videoPixelBuffer() : nullptr;
    if (!picture || !videoProperties()) {
        return fail(error, encoderError(ZQRVideoEncoderErrorWrongState,
                                        "ZQRVideoToolboxEncoder got a frame without a picture",
                                        ZQError::encodingError()));
    }
    if (!session_ && !createSession(*frame, picture, error)) return false;
    queueCompanions(frame);
    const auto time =
        ZQRCMVideoUtilities::timeValueForSampleValue(frame->relativeFrameTime(), frameDuration_);
    const PixelBufferPtr submitted = pictureForSession(picture);
    const Status status =
        submitted ? session_->encodeFrame(submitted, time, frameDuration_, frame) : platform::memFullErr;
    if (status == platform::noErr) return true;
    return fail(
        error,
        encoderError(ZQRVideoEncoderErrorWrongState,
                     fmt::format("ZQRVideoToolboxEncoder failed to encode a frame with error {}", status),
                     ZQError::encodingError()));
}

// H.264 sessions get 10-bit pictures as 8-bit ones of the video's size. Null when there is no memory.
PixelBufferPtr ZQRVideoToolboxEncoder::pictureForSession(const PixelBufferPtr& picture) {
    if (picture->pixelFormat() != platform::pixelFormatV210 || codec() != avc1) return picture;
    const ZQRVideoPropertiesPtr properties = videoProperties();
    if (!transferPool_) {
        transferPool_.emplace(static_cast<std::uint32_t>(properties->videoWidth()),
                              static_cast<std::uint32_t>(properties->videoHeight()),
                              platform::pixelFormat2vuy, 0);
        transfer_.setInterlaced(properties->scanMode() != 0);
    }
    PixelBufferPtr converted = transferPool_->pixelBuffer();
    if (!converted || transfer_.transferImage(*picture, *converted) != platform::noErr) return nullptr;
    converted->setAttachments(picture->attachments());
    return converted;
}

void ZQRVideoToolboxEncoder::queueCompanions(const ZQRFramePtr& frame) {
    std::optional<ZQData> audio = audioOfFrame(frame);
    const bool writesCaptions = frame->writeCaptions();
    auto caption = writesCaptions ? captionOfFrame(*frame) : nullptr;
    const std::lock_guard lock(companionLock_);
    audioData_.push_back(std::move(audio));
    timecodeData_.push_back(frame->frameTimecode());
    // A frame without a packet holds its place, so that the next packet does not move up to it.
    if (writesCaptions) captionData_.push_back(std::move(caption));
}

// --- samples out
//

/// @param store  null when the sample was lost: its companions go with it, or every later one would be out of
///               step.
void ZQRVideoToolboxEncoder::takeCompanions(const ZQRFrame& frame, ZQRFrameStore* store) {
    const std::lock_guard lock(companionLock_);
    std::optional<ZQData> audio = takeFirst(audioData_);
    const std::optional<ZQCKTimecode> timecode = takeFirst(timecodeData_);
    const auto caption = frame.writeCaptions() ? takeFirst(captionData_) : nullptr;
    if (!store) return;
    store->setAudioData(std::move(audio));
    store->setTimecode(timecode);
    store->setClosedCaptionData(caption);
}

void ZQRVideoToolboxEncoder::sessionOutput(const ZQRFramePtr& frame, Status status,
                                           const platform::SampleBufferPtr& sample) {
    if (status != platform::noErr) {
        ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: a picture was lost with error {}", *this, status);
        takeCompanions(*frame, nullptr);
        return;
    }
    const ZQRFrameStorePtr store = ZQRFrameStore::helperWithCMSampleBuffer(sample);
    takeCompanions(*frame, store.get());
    const platform::MediaTime decodeTime = sample->decodeTimeStamp();
    store->setDisplayTimestamp(sample->presentationTimeStamp().value);
    store->setDecodeTimestamp(decodeTime.isValid() ? decodeTime.value : store->displayTimestamp());
    store->setFrameType(frameTypeOfSample(sample->attachments()));
    deliver(frame, store);
}

void ZQRVideoToolboxEncoder::finishEncoding() {
    const std::lock_guard lock(submissionLock_);
    ZLGGetHandle().log("ZQRVideoToolboxEncoder will finish encoding");
    if (session_) {
        const Status status = session_->completeFrames();
        if (status != platform::noErr) {
            ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: couldn't complete all frames, error {}", *this,
                                 status);
        }
    }
    dropSession();
    changeState(ZQRVideoEncoderStateFinished);
}

void ZQRVideoToolboxEncoder::finish() {
    switch (state()) {
        case ZQRVideoEncoderStateFinished:
            return;
        case ZQRVideoEncoderStateFailed:
            ZLGGetHandle().error("ZQRVideoToolboxEncoder {}: asked to finish after it failed", *this);
            return changeState(ZQRVideoEncoderStateFinished);
        default:
            return changeState(ZQRVideoEncoderStateFinishRequested);
    }
}

}  // namespace zenquor
