#include "zenquor/encoders/ZQREncoderController.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/encoders/ZQRDNxHDEncoder.h"
#include "zenquor/encoders/ZQRMCMPEG2Encoder.h"
#include "zenquor/encoders/ZQRPassthroughEncoder.h"
#include "zenquor/encoders/ZQRVideoToolboxEncoder.h"
#include "zenquor/media/ZQRFrameMarker.h"
#include "zenquor/platform/VideoEncoderList.h"

namespace zenquor {
namespace {

constexpr FourCC avc1 = fourCC("avc1");

void sleepMilliseconds(int count) {
    std::this_thread::sleep_for(std::chrono::milliseconds(count));
}

// The platform's encoders, asked for once.
const std::vector<platform::VideoEncoderInfo>& platformEncoders() {
    static const std::vector<platform::VideoEncoderInfo> encoders = [] {
        std::vector<platform::VideoEncoderInfo> list;
        if (platform::copyVideoEncoderList(list) != platform::noErr) {
            ZLGGetHandle().error("ZQREncoderController failed to query the video toolbox encoders");
            list.clear();
        }
        return list;
    }();
    return encoders;
}

FourCC componentCode(const ZQRVideoPropertiesPtr& properties) {
    const auto component = properties ? properties->ZQcomponent() : nullptr;
    return component ? component->componentString() : 0;
}

ZQErrorPtr controllerError(std::string description, std::string forTheOperator) {
    return ZQError::errorWithDomain(ZQREncoderControllerErrorDomain, ZQREncoderControllerError,
                                    std::move(description), std::move(forTheOperator));
}

}  // namespace

/// One kind of encoder and when it is the right one.
struct ZQREncoderController::EncoderChoice {
    bool (*applies)(const ZQREncoderController& controller, const ZQRFramePtr& frame);
    void (*announce)(const ZQREncoderController& controller);
    /// Null when the encoder refuses.
    ZQRVideoEncoderPtr (*make)(ZQREncoderController& controller, const ZQRFramePtr& frame);
};

template <typename Encoder, typename... Further>
std::shared_ptr<Encoder> ZQREncoderController::makeEncoder(Further... further) {
    return Encoder::initWithVideoProperties(videoProperties(), encoderDidEncode, weak_from_this(),
                                            fifoCapacity_, further...);
}

ZQRVideoEncoderPtr ZQREncoderController::makeSessionEncoder(ZQREncoderController& controller,
                                                            const ZQRFramePtr&) {
    return controller.makeEncoder<ZQRVideoToolboxEncoder>();
}

ZQRVideoEncoderPtr ZQREncoderController::makePassthroughEncoder(ZQREncoderController& controller,
                                                                const ZQRFramePtr&) {
    return controller.makeEncoder<ZQRPassthroughEncoder>();
}

ZQRVideoEncoderPtr ZQREncoderController::makeMPEG2Encoder(ZQREncoderController& controller,
                                                          const ZQRFramePtr&) {
    const auto made = controller.makeEncoder<ZQRMCMPEG2Encoder>();
    const ZHLIngestCapturePresetPtr preset = controller.capturePreset();
    made->setXDCAMPreferences(preset ? preset->xdcamPreferences() : nullptr);
    return made;
}

ZQRVideoEncoderPtr ZQREncoderController::makeDNxHDEncoder(ZQREncoderController& controller,
                                                          const ZQRFramePtr& frame) {
    if (!frame) return nullptr;
    const std::uint32_t bitDepth = frame->videoPixelFormat() == platform::pixelFormatV210 ? 10 : 8;
    return controller.makeEncoder<ZQRDNxHDEncoder>(bitDepth, frame->videoRowBytes());
}

ZQREncoderControllerPtr ZQREncoderController::initWithVideoProperties(ZQRVideoPropertiesPtr videoProperties,
                                                                      std::int64_t fifoCapacity) {
    const auto room = static_cast<std::size_t>(std::max<std::int64_t>(fifoCapacity, 0) + queueHeadRoom);
    ZQRFrameFIFOQueuePtr queue = ZQRFrameFIFOQueue::initWithCapacity(room, "Encoder Queue");
    if (!queue) return nullptr;
    return ZQREncoderControllerPtr(
        new ZQREncoderController(std::move(videoProperties), fifoCapacity, std::move(queue)));
}

ZQREncoderController::ZQREncoderController(ZQRVideoPropertiesPtr videoProperties, std::int64_t fifoCapacity,
                                           ZQRFrameFIFOQueuePtr queue)
    : fifoCapacity_(fifoCapacity),
      encoderFIFOQueue_(std::move(queue)),
      videoProperties_(std::move(videoProperties)) {}

ZQREncoderController::~ZQREncoderController() {
    ZLGGetHandle().debug("ZQREncoderController {} dealloc", *this);
    encoderFIFOQueue_->cleanUp();
}

void ZQREncoderController::start() {
    if (encoderFIFOGrabbingThread_.isStarted()) {
        const bool isOver = isRunOver_.load(std::memory_order_acquire);
        if (!isOver || encodingThread_.load(std::memory_order_relaxed) == std::this_thread::get_id()) return;
        encoderFIFOGrabbingThread_.join();
        frameGrabberDidFinish_.store(false, std::memory_order_relaxed);
        isRunOver_.store(false, std::memory_order_relaxed);
    }
    encoderFIFOGrabbingThread_.start([self = shared_from_this()] { self->frameLoop(); });
}

void ZQREncoderController::startEncoding() {
    state_.store(StateAccepting, std::memory_order_relaxed);
    start();
}

// --- producer
//

bool ZQREncoderController::encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const std::int32_t state = state_.load(std::memory_order_relaxed);
    if (state != StateAccepting) {
        return fail(
            error,
            controllerError(fmt::format("Couldn't add frame to encode, because Encoder Controller {} is in "
                                        "state: {}",
                                        *this, state),
                            ZQError::encodingError()));
    }
    if (!encoder() && !setupEncoderWithFrame(frame, error)) return false;
    // Counted before the encoding thread sees the frame, which it may have finished before this one goes on.
    const std::uint32_t submitted = submittedRawFrames_.fetch_add(1, std::memory_order_relaxed) + 1;
    if (!encoderFIFOQueue_->addFrame(frame, error)) {
        submittedRawFrames_.fetch_sub(1, std::memory_order_relaxed);
        ZLGGetHandle().error("ZQREncoderController {} didn't accept frame!", *this);
        ZLGGetHandle().error("ZQREncoderController failed to encode frame");
        return false;
    }
    if (frame->frameStatus() & ZQRFrameStatusDuplicate) {
        ZLGGetHandle().debug("ZQREncoderController {}: received duplicate frame, likely shutting down",
                             *this);
    } else {
        trackTimestamp(*frame);
    }
    ZLGGetHandle().debug("ZQREncoderController {}: total will encode {}, submitted {}", *this, submitted,
                         framesEncoded());
    return true;
}

void ZQREncoderController::trackTimestamp(const ZQRFrame& frame) {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    const std::int64_t step = properties ? properties->framerateDenominator() : 0;
    const std::int64_t time = frame.relativeFrameTime();
    if (time != 0 && time != lastKnownRawTimestamp_ + step) {
        ZLGGetHandle().error(
            "ZQREncoderController {}: got frame in non-sequential timestamp! last known raw: {}, frd: {}, "
            "relative frame time: {}",
            *this, lastKnownRawTimestamp_, step, time);
    }
    lastKnownRawTimestamp_ = time;
}

bool ZQREncoderController::canUseVideoToolboxForEncodingFrame(const ZQRFramePtr&) const {
    const auto& encoders = platformEncoders();
    const FourCC code = componentCode(videoProperties());
    return std::any_of(encoders.begin(), encoders.end(),
                       [code](const auto& info) { return info.codecType == code; });
}

// The first that applies wins.
const ZQREncoderController::EncoderChoice* ZQREncoderController::chooseEncoder(
    const ZQRFramePtr& frame) const {
    static constexpr EncoderChoice choices[] = {
        {[](const ZQREncoderController& c, const ZQRFramePtr&) {
             const FourCC code = componentCode(c.videoProperties());
             return code == avc1 || code == 0;
         },
         [](const ZQREncoderController& c) {
             ZLGGetHandle().debug("ZQREncoderController {} will passthrough frames to the writers", c);
         },
         makeSessionEncoder},
        {[](const ZQREncoderController& c, const ZQRFramePtr&) {
             return c.videoProperties()->wantsXDCAMEncoding();
         },
         [](const ZQREncoderController&) {
             ZLGGetHandle().log("ZQREncoderController will use MPEG2 encoder");
         },
         makeMPEG2Encoder},
        {[](const ZQREncoderController& c, const ZQRFramePtr&) {
             return c.videoProperties()->wantsUncompressedEncoding();
         },
         [](const ZQREncoderController&) {
             ZLGGetHandle().log("ZQREncoderController will use pass-through encoder");
         },
         makePassthroughEncoder},
        {[](const ZQREncoderController& c, const ZQRFramePtr& f) {
             return c.canUseVideoToolboxForEncodingFrame(f);
         },
         [](const ZQREncoderController&) {
             ZLGGetHandle().log("ZQREncoderController will use VideoToolbox encoder");
         },
         makeSessionEncoder},
        {[](const ZQREncoderController& c, const ZQRFramePtr&) {
             return c.videoProperties()->wantsDNxHDEncoding();
         },
         [](const ZQREncoderController&) {
             ZLGGetHandle().log("ZQREncoderController Will use Avid DNxHR/HD encoder");
         },
         makeDNxHDEncoder},
    };
    const auto* const found =
        std::find_if(std::begin(choices), std::end(choices),
                     [&](const EncoderChoice& choice) { return choice.applies(*this, frame); });
    return found == std::end(choices) ? nullptr : found;
}

bool ZQREncoderController::setupEncoderWithFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const EncoderChoice* const choice = chooseEncoder(frame);
    if (choice) choice->announce(*this);
    const ZQRVideoEncoderPtr made = choice ? choice->make(*this, frame) : nullptr;
    if (!made) {
        return fail(error, controllerError(
                               "The encoder for one of the selected capture presets is not installed on this "
                               "system.",
                               ZQError::missingEncoder()));
    }
    made->setDelegate(weak_from_this());
    made->setName(controllerID());
    setEncoder(made);
    return true;
}

// --- encoding thread
//

void ZQREncoderController::setThreadName(std::string_view name) {
    setCurrentThreadName(name);
}

void ZQREncoderController::frameLoop() {
    encodingThread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    frameLoopMain();
    isRunOver_.store(true, std::memory_order_release);
    ZLGGetHandle().debug("ZQREncoderController DID EXIT LOOP");
    frameGrabberDidFinish_.store(true, std::memory_order_release);
}

void ZQREncoderController::frameLoopMain() {
    setThreadName(fmt::format("{}.encoding.{}", identifierPrefix, controllerID()));
    if (encoderFIFOGrabbingThread_.isCancelled()) return;
    Round round = Round::Next;
    while (round == Round::Next) round = frameRound();
    if (round == Round::LeaveLoop) reportEnd(true, nullptr);
}

ZQREncoderController::Round ZQREncoderController::frameRound() {
    const ZQRVideoEncoderPtr before = encoder();
    if ((before && before->state() == ZQRVideoEncoderStateFinishRequested) ||
        shouldShutdown_.load(std::memory_order_acquire)) {
        ZLGGetHandle().log("ZQREncoderController {} was marked to finish. Will finish and exit", *this);
        finishEncoder();
        return Round::LeaveLoop;
    }
    const ZQRFramePtr frame = encoderFIFOQueue_->nextFrame();
    if (!frame) return encoderFIFOGrabbingThread_.isCancelled() ? Round::Return : Round::Next;
    flagLastFrame(frame);
    if (const std::uint32_t status = frame->frameStatus(); status & ZQRFrameStatusEndDummy) {
        finishOnDummy(status);
        return Round::LeaveLoop;
    }
    return encodeTakenFrame(frame);
}

// An encoder that gave up, or is full, ends the run with what is still queued.
void ZQREncoderController::flagLastFrame(const ZQRFramePtr& frame) const {
    const ZQRVideoEncoderPtr current = encoder();
    if (!current || current->state() != ZQRVideoEncoderStateFailed || encoderFIFOQueue_->elementCount() != 0)
        return;
    ZLGGetHandle().log("ZQREncoderController {}: Flagging last frame on frame: {}", *this, frame);
    frame->setFrameStatus(frame->frameStatus() | ZQRFrameStatusLast);
}

void ZQREncoderController::finishOnDummy(std::uint32_t status) {
    if (status & ZQRFrameStatusLast) {
        ZLGGetHandle().log(
            "ZQREncoderController detected dummy Frame with \"LastFrame\" attribute, will flush encoder");
    } else {
        ZLGGetHandle().log("ZQREncoderController detected dummy frame on encoder controller {}, will exit",
                           *this);
    }
    finishEncoder();
}

ZQREncoderController::Round ZQREncoderController::encodeTakenFrame(const ZQRFramePtr& frame) {
    const std::uint32_t status = frame->frameStatus();
    if (status & ZQRFrameStatusDuplicate) {
        handOn(frame);
    } else {
        const ZQRVideoEncoderPtr current = encoder();
        ZQErrorPtr error;
        if (!current || !current->encodeFrame(frame, &error)) {
            state_.store(StateFailed, std::memory_order_relaxed);
            ZLGGetHandle().error("ZQREncoderController couldn't encode frame {} with error {}", frame, error);
            reportEnd(false, error);
            return Round::Return;
        }
        if (const auto receiver = error ? delegate() : nullptr) receiver->hasNonCriticalError(*this, error);
    }
    if (status & ZQRFrameStatusLast) {
        finishEncoder();
        ZLGGetHandle().debug(
            "ZQREncoderController will exit frame loop on encoder {}. Fifo should have fullness 0.0 and has "
            "fullness {:f}",
            encoder(), encoderFIFOQueue_->fullness());
        reportEnd(true, nullptr);
        return Round::Return;
    }
    return encoderFIFOGrabbingThread_.isCancelled() ? Round::Return : Round::Next;
}

void ZQREncoderController::finishEncoder() {
    if (const ZQRVideoEncoderPtr current = encoder()) current->finishEncoding();
    checkEncodedBalance();
}

void ZQREncoderController::checkEncodedBalance() const {
    const std::uint32_t submitted = submittedRawFrames();
    const std::int64_t encoded = framesEncoded();
    if (encoded == submitted) return;
    ZLGGetHandle().error("ZQREncoderController {}: Encoder {} has unbalanced encoding statistics: {} <-> {}",
                         *this, encoder(), submitted, encoded);
}

void ZQREncoderController::handOn(const ZQRFramePtr& frame) {
    framesEncoded_.fetch_add(1, std::memory_order_relaxed);
    if (const auto receiver = delegate()) receiver->hasFrameAvailable(*this, frame);
}

void ZQREncoderController::encoderDidEncode(ZQRVideoEncoderProtocol&, const ZQRFramePtr& frame,
                                            const std::shared_ptr<void>& context) {
    if (context) static_cast<ZQREncoderController*>(context.get())->handOn(frame);
}

void ZQREncoderController::reportEnd(bool success, const ZQErrorPtr& error) {
    // Whoever hears of the end may start the next run at once, before this thread has left.
    isRunOver_.store(true, std::memory_order_release);
    if (const auto receiver = delegate()) receiver->didFinishSuccessfully(*this, success, error);
}

// --- shutdown
//

void ZQREncoderController::shutdown() {
    shouldShutdown_.store(true, std::memory_order_release);
    if (shutdownComplete_.load(std::memory_order_relaxed)) return;
    const bool isRunning =
        encoderFIFOGrabbingThread_.isStarted() && !frameGrabberDidFinish_.load(std::memory_order_acquire);
    if (isRunning) cancelAndWaitForTerminationOnThread(encoderFIFOGrabbingThread_);
    shutdownComplete_.store(true, std::memory_order_relaxed);
}

void ZQREncoderController::cancelAndWaitForTerminationOnThread(NamedThread& thread) {
    const auto didFinish = [this] { return frameGrabberDidFinish_.load(std::memory_order_acquire); };
    sleepMilliseconds(dummyDelayMilliseconds);
    if (!didFinish()) {
        ZLGGetHandle().log("ZQREncoderController {}: Shutdown didn't respond for 100ms. Will insert dummy.",
                           *this);
        ZQErrorPtr error;
        if (!encoderFIFOQueue_->addFrame(ZQRFrameMarker::endDummyFrame(), &error)) {
            ZLGGetHandle().error("ZQREncoderController {} shutdown error {}", *this, error);
        }
    }
    sleepMilliseconds(shutdownPollMilliseconds);
    if (didFinish()) return;
    thread.cancel();
    while (!didFinish()) {
        sleepMilliseconds(shutdownPollMilliseconds);
        ZLGGetHandle().log("ZQREncoderController {} shutdown didn't complete. Waiting for completion...",
                           *this);
    }
}

void ZQREncoderController::gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const {
    diagnostics.push_back(encoderFIFOQueue_->encodeToDictionary());
}

}  // namespace zenquor
