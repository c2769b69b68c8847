#include "zenquor/writers/ZQRMovieWriterController.h"

#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/core/ZQNotificationCenter.h"
#include "zenquor/media/ZQRFrameMarker.h"
#include "zenquor/media/ZQRFrameStore.h"
#include "zenquor/writers/detail/HelperKey.h"
#include "zenquor/writers/detail/SteadyClock.h"

namespace zenquor {
namespace {

ZQErrorPtr controllerError(int code, std::string text) {
    return ZQError::errorWithDomain(ZQRMovieWriterControllerErrorDomain, code, std::move(text),
                                    ZQError::writeError());
}

void sleepMilliseconds(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace

ZQRMovieWriterControllerPtr ZQRMovieWriterController::initWithMovieWriter(
    ZQRMovieWriterPtr writer, std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate,
    std::uint64_t fifoCapacity) {
    ZQRMovieWriterControllerPtr controller(new ZQRMovieWriterController);
    return controller->initialise(std::move(writer), std::move(delegate), fifoCapacity) ? controller
                                                                                        : nullptr;
}

bool ZQRMovieWriterController::initialise(ZQRMovieWriterPtr writer,
                                          std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate,
                                          std::uint64_t fifoCapacity) {
    setMovieWriter(std::move(writer));
    setDelegate(std::move(delegate));
    ZLGGetHandle().debug("ZQRMovieWriterController {}: initalise with capacity: {}", *this, fifoCapacity);
    const auto queueNamed = [&](const char* name) {
        return ZQRFrameFIFOQueue::initWithCapacity(
            fifoCapacity, fmt::format("ZQRMovieWriterController {} - {}", *this, name));
    };
    encodedFrameFIFOQueue_ = queueNamed("Encoded Queue");
    rawFrameFIFOQueue_ = queueNamed("Raw Queue");
    return encodedFrameFIFOQueue_ && rawFrameFIFOQueue_;
}

ZQRMovieWriterController::~ZQRMovieWriterController() {
    ZLGGetHandle().debug("ZQRMovieWriterController {}: will dealloc", *this);
    for (auto* queue : {&encodedFrameFIFOQueue_, &rawFrameFIFOQueue_}) {
        if (*queue) (*queue)->cleanUp();
        queue->reset();
    }
    movieWriter_.reset();
    delegate_.reset();
    ZLGGetHandle().debug("ZQRMovieWriterController did dealloc");
}

void ZQRMovieWriterController::setMovieWriter(ZQRMovieWriterPtr writer) {
    movieWriter_ = std::move(writer);
    if (movieWriter_) movieWriter_->setDelegate(weak_from_this());
}

std::string ZQRMovieWriterController::description() const {
    return movieWriter_ ? movieWriter_->movieWriterID() : "(null)";
}

ZQErrorPtr ZQRMovieWriterController::errorForInvalidState() const {
    return controllerError(state(), "Tried to push frames into an invalid movie writer controller");
}

void ZQRMovieWriterController::postError(const ZQErrorPtr& error) {
    ZQNotificationCenter::defaultCenter().post(ZQRMovieWriterDidFailNotification,
                                               {shared_from_this(), error});
}

void ZQRMovieWriterController::gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const {
    diagnostics.push_back(rawFrameFIFOQueue_->encodeToDictionary());
    diagnostics.push_back(encodedFrameFIFOQueue_->encodeToDictionary());
    if (movieWriter_) movieWriter_->gatherQueueDiagnostics(diagnostics);
}

// A producer may turn the controller invalid at any moment, and that is final.
void ZQRMovieWriterController::setStateUnlessInvalid(std::int32_t next) {
    std::int32_t current = state_.load(std::memory_order_relaxed);
    while (current != StateInvalid &&
           !state_.compare_exchange_weak(current, next, std::memory_order_relaxed)) {
    }
}

// ---- Producers

bool ZQRMovieWriterController::addRawFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    if (state() == StateInvalid) {
        if (!error) return false;
        return fail(error, controllerError(
                               ZQRMovieWriterControllerErrorInvalid,
                               fmt::format("Can't add raw frame into movie writer {}, because it's invalid.",
                                           *this)));
    }
    if (finished_) {
        ZLGGetHandle().error("ZQRMovieWriterController {}: finished and will add another rawFrame! {}", *this,
                             frame);
    }
    if (!rawFrameFIFOQueue_->addFrame(frame, error)) {
        setState(StateInvalid);
        ZLGGetHandle().error(
            "ZQRMovieWriterController {}: couldn't accept raw frame on movie writer: {}, frame: {}, error: "
            "{}",
            *this, movieWriter_, frame, error ? *error : nullptr);
        postError(controllerError(ZQRMovieWriterControllerErrorRawQueueFull,
                                  fmt::format("Can't add raw frame into {} because it's full. This indicates "
                                              "performance problems or disconnection of disks.",
                                              *this)));
        return false;
    }
    acceptedRawFrames_.fetch_add(1, std::memory_order_relaxed);
    noteRawTimestamp(*frame);
    if (frame->frameStatus() & ZQRFrameStatusLast) noteLastRawFrame(frame->relativeFrameTime());
    return true;
}

void ZQRMovieWriterController::noteRawTimestamp(const ZQRFrame& frame) {
    if (frame.frameStatus() & ZQRFrameStatusDuplicate) {
        ZLGGetHandle().debug("ZQRMovieWriterController {}: received duplicate frame, likely shutting down",
                             *this);
        return;
    }
    const std::int64_t time = frame.relativeFrameTime();
    const std::int64_t expected = lastKnownRawTimestamp_ + frame.frameDuration();
    if (time != 0 && time != expected) {
        ZLGGetHandle().error(
            "ZQRMovieWriterController {}: got frame in non-sequential timestamp! Should be: {}, is {}", *this,
            expected, time);
    }
    ZLGGetHandle().debug("ZQRMovieWriterController {}: added {}, total count {}, queue {}", *this, frame,
                         acceptedRawFrames(), rawFrameFIFOQueue_->elementCount());
    lastKnownRawTimestamp_ = time;
}

void ZQRMovieWriterController::noteLastRawFrame(std::int64_t timestamp) {
    lastDecodeTimestamp_.store(timestamp, std::memory_order_relaxed);
    ZLGGetHandle().log(
        "ZQRMovieWriterController {}: last raw frame will dispatch with timestamp {}. Accepted Frames: {}",
        *this, timestamp, acceptedRawFrames());
    setStateUnlessInvalid(StateDraining);
    finished_ = true;
}

bool ZQRMovieWriterController::addEncodedFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    if (state() == StateInvalid) {
        ZLGGetHandle().error("ZQRMovieWriterController {}: can't accept more encoded frames", *this);
        return fail(error, error ? errorForInvalidState() : nullptr);
    }
    if (insertEncodedFrame(frame, error)) {
        const auto count = acceptedEncodedFrames_.fetch_add(1, std::memory_order_relaxed) + 1;
        ZLGGetHandle().debug(
            "ZQRMovieWriterController {}: added encoded frame with relative timestamp {}, total count: {}",
            *this, frame->relativeFrameTime(), count);
        return true;
    }
    ZLGGetHandle().error("ZQRMovieWriterController {}: didn't accept encoded frame {}", *this, frame);
    setState(StateInvalid);
    postError(controllerError(ZQRMovieWriterControllerErrorEncodedQueueFull,
                              fmt::format("Can't add encoded frame into {} because it's full. This indicates "
                                          "performance problems or disconnection of disks.",
                                          *this)));
    return false;
}

bool ZQRMovieWriterController::insertEncodedFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    const std::lock_guard lock(encodedProducers_);
    return encodedFrameFIFOQueue_->addFrame(frame, error);
}

// ---- The grabber thread

void ZQRMovieWriterController::start() {
    if (frameGrabberThread_.isStarted()) return;
    frameGrabberThread_.start([self = shared_from_this()] { self->frameGrabber(); });
}

void ZQRMovieWriterController::setThreadName(const std::string& name) {
    setCurrentThreadName(name);
}

void ZQRMovieWriterController::frameGrabber() {
    const std::string thread = fmt::format("{}.moviewritercontroller.{}", identifierPrefix, *this);
    ZLGGetHandle().debug("ZQRMovieWriterController {}: frame Grabber thread enter {}", *this, thread);
    frameGrabberMain(thread);
    frameGrabberThreadDidFinish_.store(true, std::memory_order_release);
    ZLGGetHandle().log("ZQRMovieWriterController {}: frame Grabber thread exiting {}", *this, thread);
}

void ZQRMovieWriterController::frameGrabberMain(const std::string& threadName) {
    setThreadName(threadName);
    if (frameGrabberThread_.isCancelled()) return;
    if (movieWriter_) helperKey_ = detail::helperKeyForWriterID(movieWriter_->movieWriterID());
    heldRawFrames_ = 0;
    while (grabFrame() && !frameGrabberThread_.isCancelled()) {
    }
}

bool ZQRMovieWriterController::grabFrame() {
    if (state() == StateInvalid) {
        closeInvalidMovie();
        return false;
    }
    const ZQRFramePtr frame = encodedFrameFIFOQueue_->nextFrame();
    if (!frame) return true;
    const auto extracted = extractedFrames_.fetch_add(1, std::memory_order_relaxed) + 1;
    ZLGGetHandle().debug(
        "ZQRMovieWriterController {}: has {} frames in encoded queue, extracted total count: {}, {}", *this,
        encodedFrameFIFOQueue_->elementCount(), extracted, acceptedRawFrames());
    const auto helper = std::dynamic_pointer_cast<const ZQRFrameStore>(frame->helperForKey(helperKey_));
    const std::uint32_t status = frame->frameStatus();
    if (status & ZQRFrameStatusEndDummy) {
        ZLGGetHandle().log("ZQRMovieWriterController {}: dummy Inject -> Exit", *this);
        finish(false, nullptr);
        return false;
    }
    if (status & ZQRFrameStatusLast)
        ZLGGetHandle().log("ZQRMovieWriterController {}: extracted last frame", *this);
    if (!writeFrame(frame)) return false;
    releaseRawFrames(helper ? helper->frameType() : ZQRFrameTypeStandalone);
    return !endRecordingAfter(helper ? helper->decodeTimestamp() : 0);
}

bool ZQRMovieWriterController::finishMovie() {
    return movieWriter_ && movieWriter_->finishWritingMovie();
}

void ZQRMovieWriterController::finish(bool success, const ZQErrorPtr& error) {
    if (const auto delegate = delegate_.lock())
        delegate->didFinishSuccessfully(shared_from_this(), success, error);
}

void ZQRMovieWriterController::closeInvalidMovie() {
    ZLGGetHandle().error("ZQRMovieWriterController {}: is invalid, will try to close the movie", *this);
    if (!finishMovie()) ZLGGetHandle().error("ZQRMovieWriterController {}: failed to finish", *this);
    ZLGGetHandle().error("ZQRMovieWriterController {}: is invalid, and did close the movie", *this);
    setState(StateFinished);
    finish(false, controllerError(ZQRMovieWriterControllerErrorInvalid,
                                  fmt::format("Can't do anything on {} because it's invalid.", *this)));
}

bool ZQRMovieWriterController::writeFrame(const ZQRFramePtr& frame) {
    ZQErrorPtr error;
    bool written = true;
    if (!(frame->frameStatus() & ZQRFrameStatusDuplicate)) {
        const std::int64_t begin = detail::SteadyClock::nanoseconds();
        written = movieWriter_ && movieWriter_->writeFrame(frame, &error);
        const std::int64_t took = (detail::SteadyClock::nanoseconds() - begin) / 1'000'000;
        if (!written) setState(StateInvalid);
        if (took > slowWriteMilliseconds) {
            ZLGGetHandle().log(
                "ZQRMovieWriterController {}: writing frame {} took longer than 500ms. In fact it took {}ms",
                *this, frame, took);
        }
    }
    if (!written) return finishAfterFailedWrite(error);
    return state() != StateInvalid || finishAfterInvalidation();
}

bool ZQRMovieWriterController::finishAfterFailedWrite(const ZQErrorPtr& error) {
    if (!error) {
        ZLGGetHandle().error("ZQRMovieWriterController {}: failed to write frame without returning an error",
                             *this);
    }
    postError(error);
    if (error && error->domain() == ZQRMovieWriterErrorDomain &&
        error->code() == ZQRMovieWriterErrorPerformance) {
        ZLGGetHandle().error(
            "ZQRMovieWriterController {}: writer threw performance error, will try to finish", *this);
        finishMovie();
    }
    ZLGGetHandle().error("ZQRMovieWriterController {}: failed and will exit", *this);
    finish(false, error);
    return false;
}

// The state stays invalid: the producers are to be refused from here on.
bool ZQRMovieWriterController::finishAfterInvalidation() {
    finishMovie();
    ZLGGetHandle().error("ZQRMovieWriterController {}: could write frame, but is invalid anyway", *this);
    finish(false,
           controllerError(ZQRMovieWriterControllerErrorInvalid,
                           fmt::format("Can't do anything on movie writer {} because it's invalid.", *this)));
    return false;
}

void ZQRMovieWriterController::releaseRawFrames(std::uint32_t frameType) {
    switch (frameType) {
        case ZQRFrameTypeStandalone:
            ++rawFramesToRelease_;
            break;
        case ZQRFrameTypeSync:
        case ZQRFrameTypePartialSync:
            ZLGGetHandle().debug(
                "ZQRMovieWriterController {}: (partial) sync detected. Having {} as backup, totalsize {}, "
                "accepted "
                "RAW: {}, accepted encoded: {}",
                *this, heldRawFrames_, rawFrameFIFOQueue_->elementCount(), acceptedRawFrames(),
                acceptedEncodedFrames());
            rawFramesToRelease_ += std::exchange(heldRawFrames_, 1);
            break;
        case ZQRFrameTypeReference:
        case ZQRFrameTypeDisposable:
            ++heldRawFrames_;
            break;
        default:
            break;
    }
    // Taking from an empty queue would block, so a raw frame that is late is let go when it is there.
    for (; rawFramesToRelease_ > 0 && rawFrameFIFOQueue_->fullness() > 0; --rawFramesToRelease_) {
        rawFrameFIFOQueue_->nextFrame();
        if (frameType == ZQRFrameTypeStandalone)
            ZLGGetHandle().debug("ZQRMovieWriterController {} released raw frame", *this);
    }
}

bool ZQRMovieWriterController::endRecordingAfter(std::int64_t helperDecodeTimestamp) {
    const std::int64_t last = lastDecodeTimestamp_.load(std::memory_order_relaxed);
    if (last == -1) return false;
    ZLGGetHandle().log("ZQRMovieWriterController {}: last decode timestamp: {}, helper decode timestamp {}",
                       *this, last, helperDecodeTimestamp);
    if (last != helperDecodeTimestamp) return false;
    ZLGGetHandle().log(
        "ZQRMovieWriterController {}: last frame did write with timestamp {}, will close this container and "
        "exit the "
        "loop.",
        *this, last);
    if (!finishMovie()) {
        ZLGGetHandle().error("ZQRMovieWriterController {}: finish container on moviewriter {} failed", *this,
                             movieWriter_);
    }
    ZLGGetHandle().debug(
        "ZQRMovieWriterController {}: queue statistics: encodedQueue: {:f}, rawQueue: {:f}, accepted RAW: "
        "{}, accepted "
        "encoded: {}",
        *this, encodedFrameFIFOQueue_->fullness(), rawFrameFIFOQueue_->fullness(), acceptedRawFrames(),
        acceptedEncodedFrames());
    setStateUnlessInvalid(StateFinished);
    finish(true, nullptr);
    return true;
}

// ---- Shutdown

void ZQRMovieWriterController::shutdown() {
    ZLGGetHandle().log("ZQRMovieWriterController {}: will shutdown", *this);
    if (frameGrabberThread_.isStarted() && !frameGrabberThreadDidFinish()) {
        cancelAndWaitForTerminationOnThread(frameGrabberThread_);
    }
    ZLGGetHandle().log("ZQRMovieWriterController {}: did shutdown", *this);
}

void ZQRMovieWriterController::cancelAndWaitForTerminationOnThread(NamedThread& thread) {
    sleepMilliseconds(shutdownResponseMilliseconds);
    if (!frameGrabberThreadDidFinish()) {
        ZLGGetHandle().log(
            "ZQRMovieWriterController {}: shutdown didn't respond for 100ms, will insert dummy", *this);
        ZQErrorPtr error;
        if (!insertEncodedFrame(ZQRFrameMarker::endDummyFrame(), &error)) {
            ZLGGetHandle().error("ZQRMovieWriterController {}: shutdown error {}", *this, error);
        }
    }
    sleepMilliseconds(shutdownResponseMilliseconds);
    if (frameGrabberThreadDidFinish()) return;
    thread.cancel();
    while (!frameGrabberThreadDidFinish()) {
        sleepMilliseconds(shutdownPollMilliseconds);
        ZLGGetHandle().error("ZQRMovieWriterController {}: shutdown didn't complete, waiting for completion",
                             *this);
    }
}

// ---- What the writer says

void ZQRMovieWriterController::didFinishSetupWithOptions(const ZQRMovieWriterPtr&,
                                                         const ZQDictionary& options) {
    if (const auto delegate = delegate_.lock()) delegate->didSetupMovieWriter(shared_from_this(), options);
}

void ZQRMovieWriterController::didFailWithError(const ZQRMovieWriterPtr& writer, const ZQErrorPtr& error,
                                                const ZQRFramePtr& frame) {
    ZLGGetHandle().error("ZQCorvaneRecordingController {}: caught error {} from writer {} at frame {}.",
                         *this, error, writer, frame);
}

void ZQRMovieWriterController::didFinishWritingWithOptions(const ZQRMovieWriterPtr& writer,
                                                           const ZQDictionary& options) {
    if (!ZLGGetHandle().isEnabled(ZLGLevel::Debug)) return;
    ZLGGetHandle().debug("ZQRMovieWriterController {} writer {} finished with options {}.", *this, writer,
                         options.description());
}

}  // namespace zenquor
