#include "zenquor/writers/ZQRAVFoundationWriter.h"

#include <chrono>
#include <semaphore>
#include <thread>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/writers/detail/AVFoundationWriterState.h"
#include "zenquor/writers/detail/HelperKey.h"

namespace zenquor {

using platform::AssetWriterStatus;

ZQRAVFoundationWriterPtr ZQRAVFoundationWriter::initWithVideoProperties(
    ZQRVideoPropertiesPtr videoProperties, const ZQRAudioPropertiesPtr& audioProperties,
    ZQDictionary options) {
    ZQRAVFoundationWriterPtr writer(new ZQRAVFoundationWriter);
    writer->initialise(std::move(videoProperties), audioProperties, std::move(options));
    return writer;
}

ZQRAVFoundationWriter::ZQRAVFoundationWriter() : state_(std::make_unique<State>()) {}

void ZQRAVFoundationWriter::initialise(ZQRVideoPropertiesPtr videoProperties,
                                       const ZQRAudioPropertiesPtr& audioProperties, ZQDictionary options) {
    auto& s = *state_;
    s.videoProperties = std::move(videoProperties);
    s.timeBase = detail::movieTimeBase(s.videoProperties ? s.videoProperties->framerate() : 0);
    s.writingOptions = std::move(options);
    if (audioProperties) {
        s.audioProperties = audioProperties->copy();
        const std::uint64_t bits = s.audioProperties->bitRate();
        s.audioProperties->setWriteBytes(bits == 16 ? 2 : bits == 24 ? 3 : 0);
    }
    ZLGGetHandle().log("ZQRAVFoundationWriter: Stalling will occur after {} frames", countdownToStall());
}

// The queues' threads may be waiting for samples of a recording that nobody finished.
ZQRAVFoundationWriter::~ZQRAVFoundationWriter() {
    state_->progress->abandoned.store(true, std::memory_order_release);
    if (state_->movie.assetWriter && state_->movie.assetWriter->status() == AssetWriterStatus::Writing) {
        state_->movie.assetWriter->cancelWriting();
    }
    if (state_->queueIndexController) state_->queueIndexController->signalAll();
    waitForFeeds();
}

void ZQRAVFoundationWriter::waitForFeeds() {
    const auto& s = *state_;
    for (const auto& queue : {s.videoDiskQueue, s.audioDiskQueue, s.timecodeDiskQueue, s.captionDiskQueue}) {
        if (queue) queue->sync([] {});
    }
}

// ---- Every frame

bool ZQRAVFoundationWriter::writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    auto& s = *state_;
    if (s.progress->finishCalled.load(std::memory_order_relaxed)) {
        return failWrite(error, ZQRMovieWriterErrorAlreadyFinished, ZQError::writeError(),
                         ZQError::writeError());
    }
    busyCountdown();
    if (!s.didStart) s.helperKey = detail::helperKeyForWriterID(s.movieWriterID);
    const auto helper =
        frame ? std::dynamic_pointer_cast<const ZQRFrameStore>(frame->helperForKey(s.helperKey)) : nullptr;
    platform::SampleTiming timing;
    if (!sampleTiming(helper, timing)) {
        const ZQErrorPtr missing = ZQError::errorWithDomain(
            ZQRMovieWriterErrorDomain, ZQRMovieWriterErrorNoData,
            "ZQRAVFoundationWriter received a frame, but no compressed data was found",
            ZQError::writeError());
        ZLGGetHandle().error("{}", missing->localizedDescription());
        return failWrite(error, missing);
    }
    if (!s.didStart && !setupWithFrame(frame, helper, timing, error)) return false;
    const bool written = writeEssencesAtTime(timing, frame, helper, error);
    if (s.countdownToStall.load(std::memory_order_relaxed) >= 0) s.countdownToStall.fetch_sub(1);
    if (!written) return false;
    s.progress->framesRecorded.fetch_add(1, std::memory_order_relaxed);
    const bool isFull = s.framesLeftToRecord.fetch_sub(1, std::memory_order_relaxed) == 1;
    if (const auto delegate = s.delegate.lock()) delegate->didWriteFrame(shared_from_this(), frame);
    if (isFull) ZLGGetHandle().log("ZQRAVFoundationWriter: {} is full. Please close", fullFilename());
    return true;
}

bool ZQRAVFoundationWriter::sampleTiming(const Helper& helper, platform::SampleTiming& timing) const {
    if (!helper) return false;
    const auto& timeBase = state_->timeBase;
    if (const auto& sample = helper->cmSampleBuffer()) {
        timing = {sample->sampleDuration(), sample->presentationTimeStamp(), sample->decodeTimeStamp()};
        return true;
    }
    if (!helper->rawData()) return false;
    timing = {timeBase.frameDuration(), timeBase.time(helper->displayTimestamp()),
              timeBase.time(helper->decodeTimestamp())};
    return true;
}

// A fault that a test injects: the disk stands still for a while.
void ZQRAVFoundationWriter::busyCountdown() {
    auto& s = *state_;
    if (s.countdownToStall.load(std::memory_order_relaxed) != 0) return;
    ZLGGetHandle().log("ZQRAVFoundationWriter: Will block writing for {} seconds", countdownCounter());
    while (countdownCounter() > 0) {
        ZLGGetHandle().log("ZQRAVFoundationWriter: Stalling: {} seconds left", countdownCounter());
        std::this_thread::sleep_for(std::chrono::seconds(1));
        s.countdownCounter.fetch_sub(1, std::memory_order_relaxed);
    }
    ZLGGetHandle().log("ZQRAVFoundationWriter: Will CONTINUE writing");
}

bool ZQRAVFoundationWriter::failWrite(ZQErrorPtr* error, ZQErrorPtr value) {
    state_->published.with([&](auto& published) { published.writeError = value; });
    return fail(error, std::move(value));
}

bool ZQRAVFoundationWriter::failWrite(ZQErrorPtr* error, int code, std::string text, std::string userText) {
    return failWrite(error, ZQError::errorWithDomain(ZQRMovieWriterErrorDomain, code, std::move(text),
                                                     std::move(userText)));
}

// ---- The end

bool ZQRAVFoundationWriter::finishWritingMovie() {
    auto& s = *state_;
    if (s.progress->finishCalled.exchange(true, std::memory_order_acq_rel)) return true;
    ZLGGetHandle().debug("ZQRAVFoundationWriter: Will finish writing");
    // A feed leaves when the file has failed; samples that came behind it would keep the end waiting.
    if (s.movie.assetWriter && s.assetWriterHasFailed()) {
        for (const auto& drain : s.drains) drain();
    }
    if (s.queueIndexController) s.queueIndexController->finish();
    // The last samples have left their queues; wait until the feeds have passed them on.
    waitForFeeds();
    if (const auto assetWriter = s.movie.assetWriter) {
        const auto closed = std::make_shared<std::binary_semaphore>(0);
        assetWriter->finishWritingWithCompletionHandler([closed, writer = assetWriter.get()] {
            if (writer->status() == AssetWriterStatus::Failed) {
                ZLGGetHandle().error("ZQRAVFoundationWriter: Failed to finish writing with error {}",
                                     writer->error());
            } else {
                ZLGGetHandle().log("ZQRAVFoundationWriter: Finished without error");
            }
            closed->release();
        });
        closed->acquire();
    }
    ZLGGetHandle().log("ZQRAVFoundationWriter: Did finish writing");
    return true;
}

// ---- Questions and settings

void ZQRAVFoundationWriter::setLength(std::int64_t, std::string filename, std::string reelID) {
    state_->published.with([&](auto& published) { published.fileURL = filename; });
    state_->fileName = std::move(filename);
    state_->reelID = std::move(reelID);
}

ZQDictionary ZQRAVFoundationWriter::metadata() const {
    const auto& properties = state_->videoProperties;
    return {{ZQMovieWriterFrameCount, framesRecorded()},
            {ZQMovieWriterClipname, fullFilename()},
            {ZQMovieWriterFirstSplit, true},
            {ZQMovieWriterSplitted, false},
            {ZQMovieWriterLastSplit, true},
            {ZQMovieWriterInterlaced, properties ? properties->scanMode() : 0},
            {ZQMovieWriterStartTime, state_->startTimecodeFrames.load(std::memory_order_relaxed)}};
}

void ZQRAVFoundationWriter::gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const {
    const auto queues = state_->published.load().queueIndexController;
    if (queues) queues->gatherQueueDiagnostics(diagnostics);
}

ZQErrorPtr ZQRAVFoundationWriter::assetWriterError() const {
    const auto assetWriter = state_->published.load().assetWriter;
    return assetWriter ? assetWriter->error() : nullptr;
}

std::optional<ZQCKTimecode> ZQRAVFoundationWriter::startTimecode() const {
    return state_->published.load().startTimecode;
}
ZQErrorPtr ZQRAVFoundationWriter::writeError() const {
    return state_->published.load().writeError;
}
std::filesystem::path ZQRAVFoundationWriter::fileURL() const {
    return state_->published.load().fileURL;
}
std::string ZQRAVFoundationWriter::fullFilename() const {
    return state_->published.load().fullFilename;
}
std::uint64_t ZQRAVFoundationWriter::framesRecorded() const {
    return state_->framesRecorded();
}

void ZQRAVFoundationWriter::setMetaData(ZQDictionary metadata) {
    state_->userMetadata = std::move(metadata);
}
void ZQRAVFoundationWriter::setUseOtherStartTimecode(bool use) {
    state_->useOtherStartTimecode = use;
}
void ZQRAVFoundationWriter::setOtherStartTimecode(std::optional<ZQCKTimecode> timecode) {
    state_->otherStartTimecode = timecode;
}
std::weak_ptr<ZQRMovieWriterProtocolDelegate> ZQRAVFoundationWriter::delegate() const {
    return state_->delegate;
}
void ZQRAVFoundationWriter::setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) {
    state_->delegate = std::move(delegate);
}
const std::string& ZQRAVFoundationWriter::movieWriterID() const {
    return state_->movieWriterID;
}
void ZQRAVFoundationWriter::setMovieWriterID(std::string id) {
    state_->movieWriterID = std::move(id);
}
std::int64_t ZQRAVFoundationWriter::framesLeftToRecord() const {
    return state_->framesLeftToRecord.load(std::memory_order_relaxed);
}
void ZQRAVFoundationWriter::setFramesLeftToRecord(std::int64_t frames) {
    state_->framesLeftToRecord.store(frames, std::memory_order_relaxed);
}
std::int32_t ZQRAVFoundationWriter::state() const {
    return state_->state.load(std::memory_order_relaxed);
}
void ZQRAVFoundationWriter::setState(std::int32_t state) {
    state_->state.store(state, std::memory_order_relaxed);
}
const std::string& ZQRAVFoundationWriter::separatorString() const {
    return state_->separatorString;
}
void ZQRAVFoundationWriter::setSeparatorString(std::string separator) {
    state_->separatorString = std::move(separator);
}
const ZQRVideoPropertiesPtr& ZQRAVFoundationWriter::videoProperties() const {
    return state_->videoProperties;
}
const ZQRAudioPropertiesPtr& ZQRAVFoundationWriter::audioProperties() const {
    return state_->audioProperties;
}
const ZQDictionary& ZQRAVFoundationWriter::writingOptions() const {
    return state_->writingOptions;
}
const std::string& ZQRAVFoundationWriter::fileName() const {
    return state_->fileName;
}
const std::string& ZQRAVFoundationWriter::reelID() const {
    return state_->reelID;
}
const ZQDictionary& ZQRAVFoundationWriter::userMetadata() const {
    return state_->userMetadata;
}
std::int32_t ZQRAVFoundationWriter::countdownToStall() const {
    return state_->countdownToStall.load(std::memory_order_relaxed);
}
void ZQRAVFoundationWriter::setCountdownToStall(std::int32_t frames) {
    state_->countdownToStall.store(frames, std::memory_order_relaxed);
}
std::int32_t ZQRAVFoundationWriter::countdownCounter() const {
    return state_->countdownCounter.load(std::memory_order_relaxed);
}
void ZQRAVFoundationWriter::setCountdownCounter(std::int32_t seconds) {
    state_->countdownCounter.store(seconds, std::memory_order_relaxed);
}

}  // namespace zenquor
