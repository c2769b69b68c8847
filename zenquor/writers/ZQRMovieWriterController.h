#pragma once
// Keeps the real-time side of a recording apart from a movie writer that may stall on disk.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "zenquor/core/NamedThread.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/media/ZQRFrameFIFOQueue.h"
#include "zenquor/writers/ZQRMovieWriterProtocol.h"

namespace zenquor {

/// Domain of the controller's errors: -52001 invalid controller, -52002 encoded queue full, -52004 raw queue
/// full.
inline constexpr const char* ZQRMovieWriterControllerErrorDomain = "ZQRMovieWriterControllerErrorDomain";
inline constexpr int ZQRMovieWriterControllerErrorInvalid = -52001;
inline constexpr int ZQRMovieWriterControllerErrorEncodedQueueFull = -52002;
inline constexpr int ZQRMovieWriterControllerErrorRawQueueFull = -52004;

class ZQRMovieWriterController;
using ZQRMovieWriterControllerPtr = std::shared_ptr<ZQRMovieWriterController>;

/// Hears of a recording's set-up and end, on the controller's grabber thread.
class ZQRMovieWriterControllerDelegate {
public:
    virtual ~ZQRMovieWriterControllerDelegate() = default;

    /// The writer has opened its file.
    virtual void didSetupMovieWriter(const ZQRMovieWriterControllerPtr& controller,
                                     const ZQDictionary& options) = 0;
    /// The run is over; called once per run, except when the thread was cancelled between two frames.
    /// @param error  null after a success and after an end-dummy frame.
    virtual void didFinishSuccessfully(const ZQRMovieWriterControllerPtr& controller, bool success,
                                       const ZQErrorPtr& error) = 0;
};

/// Queues a recording's frames and gives them to one movie writer on a thread of its own.
///
/// Raw frames are held until the coded frames that depend on them are written. A full queue never blocks a
/// producer: the controller turns invalid, posts ZQRMovieWriterDidFailNotification, closes the movie and
/// reports a failure.
///
/// Lifecycle:     create, start(), per frame addRawFrame() and then addEncodedFrame(), shutdown() once. The
///                recording ends by itself after a raw frame with the last-frame flag.
/// Thread-safety: addRawFrame() by one thread, addEncodedFrame() by any, shutdown() and the queries by any
///                other. The writer is called on the grabber thread alone. Setters before start().
/// Ownership:     holds the writer and makes itself its delegate; its own delegate is not held. The running
///                thread holds the controller.
class ZQRMovieWriterController final : public ZQObject,
                                       public ZQRMovieWriterProtocolDelegate,
                                       public std::enable_shared_from_this<ZQRMovieWriterController> {
public:
    /// Values of state().
    enum State : std::int32_t { StateInvalid = -1, StateFinished = 0, StateAccepting = 1, StateDraining = 2 };
    /// Waits and thresholds, in milliseconds.
    static constexpr int shutdownResponseMilliseconds = 100;
    static constexpr int shutdownPollMilliseconds = 1000;
    static constexpr std::int64_t slowWriteMilliseconds = 500;  // longer writes are logged

    /// @param fifoCapacity  elements of each of the two queues; at least two groups of pictures and 25.
    /// @return null when the queues cannot be made.
    static ZQRMovieWriterControllerPtr initWithMovieWriter(
        ZQRMovieWriterPtr writer, std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate,
        std::uint64_t fifoCapacity);
    ~ZQRMovieWriterController() override;

    /// Starts the grabber thread; a second call does nothing.
    void start();
    /// Queues a frame as the capture side delivers it, in order.
    /// @return false with -52001 when the controller is invalid, with the queue's own error when the queue is
    ///         full.
    bool addRawFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr);
    /// Queues a frame that carries its coded picture, in decode order.
    /// @return false when the controller is invalid (errorForInvalidState()) or the queue is full (its
    ///         error).
    bool addEncodedFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr);
    /// Ends the run: waits 100 ms, wakes the thread with an end-dummy frame, then waits without limit until
    /// it has ended. Returns at once when the thread never ran or has ended.
    void shutdown();

    /// Appends the raw queue's dictionary, the encoded queue's and the writer's.
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const;
    ZQErrorPtr errorForInvalidState() const;
    /// Posts ZQRMovieWriterDidFailNotification with this controller and @p error.
    void postError(const ZQErrorPtr& error);

    const ZQRMovieWriterPtr& movieWriter() const { return movieWriter_; }
    void setMovieWriter(ZQRMovieWriterPtr writer);
    std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate() const { return delegate_; }
    void setDelegate(std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate) {
        delegate_ = std::move(delegate);
    }
    const std::shared_ptr<ZQRFrameFIFOQueue>& rawFrameFIFOQueue() const { return rawFrameFIFOQueue_; }
    std::int32_t state() const { return state_.load(std::memory_order_relaxed); }
    bool frameGrabberThreadDidFinish() const {
        return frameGrabberThreadDidFinish_.load(std::memory_order_acquire);
    }
    std::uint64_t acceptedRawFrames() const { return acceptedRawFrames_.load(std::memory_order_relaxed); }
    std::uint64_t acceptedEncodedFrames() const {
        return acceptedEncodedFrames_.load(std::memory_order_relaxed);
    }
    std::uint64_t extractedFrames() const { return extractedFrames_.load(std::memory_order_relaxed); }
    /// The writer's movieWriterID().
    std::string description() const override;

    void didFinishSetupWithOptions(const ZQRMovieWriterPtr& writer, const ZQDictionary& options) override;
    void didWriteFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override {}
    void didCacheFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override {}
    void didDropFrame(const ZQRMovieWriterPtr&, const ZQRFramePtr&) override {}
    void didSplitClipWithOptions(const ZQRMovieWriterPtr&, const ZQDictionary&) override {}
    void didFailWithError(const ZQRMovieWriterPtr& writer, const ZQErrorPtr& error,
                          const ZQRFramePtr& frame) override;
    void didFinishWritingWithOptions(const ZQRMovieWriterPtr& writer, const ZQDictionary& options) override;

private:
    ZQRMovieWriterController() = default;
    bool initialise(ZQRMovieWriterPtr writer, std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate,
                    std::uint64_t fifoCapacity);
    static void setThreadName(const std::string& name);
    void frameGrabber();
    void frameGrabberMain(const std::string& threadName);
    /// One frame. @return whether the loop goes on; so do the next three.
    bool grabFrame();
    bool writeFrame(const ZQRFramePtr& frame);
    bool finishAfterFailedWrite(const ZQErrorPtr& error);
    bool finishAfterInvalidation();
    void closeInvalidMovie();
    void releaseRawFrames(std::uint32_t frameType);
    /// @return whether this was the last frame; the movie is then closed.
    bool endRecordingAfter(std::int64_t helperDecodeTimestamp);
    bool finishMovie();
    void finish(bool success, const ZQErrorPtr& error);
    void cancelAndWaitForTerminationOnThread(NamedThread& thread);
    bool insertEncodedFrame(const ZQRFramePtr& frame, ZQErrorPtr* error);
    void noteRawTimestamp(const ZQRFrame& frame);
    void noteLastRawFrame(std::int64_t timestamp);
    void setState(std::int32_t next) { state_.store(next, std::memory_order_relaxed); }
    void setStateUnlessInvalid(std::int32_t next);

    NamedThread frameGrabberThread_;
    std::atomic<bool> frameGrabberThreadDidFinish_{false};
    std::shared_ptr<ZQRFrameFIFOQueue> encodedFrameFIFOQueue_;
    std::atomic<std::int64_t> lastDecodeTimestamp_{-1};
    std::atomic<std::uint64_t> acceptedRawFrames_{0};
    std::atomic<std::uint64_t> acceptedEncodedFrames_{0};
    std::atomic<std::uint64_t> extractedFrames_{0};
    std::int64_t lastKnownRawTimestamp_ = 0;  // capture thread only
    bool finished_ = false;                   // capture thread only
    std::atomic<std::int32_t> state_{StateAccepting};
    ZQRMovieWriterPtr movieWriter_;
    std::weak_ptr<ZQRMovieWriterControllerDelegate> delegate_;
    std::shared_ptr<ZQRFrameFIFOQueue> rawFrameFIFOQueue_;

    // The queue takes one producer; the encoder's threads and shutdown() meet here, before it.
    std::mutex encodedProducers_;
    // Grabber thread only.
    std::string helperKey_;
    std::uint64_t heldRawFrames_ = 0;
    std::uint64_t rawFramesToRelease_ = 0;
};

}  // namespace zenquor
