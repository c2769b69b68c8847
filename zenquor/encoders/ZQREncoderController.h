#pragma once
// Between the thread that delivers raw frames and one video encoder.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/NamedThread.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/encoders/ZQRVideoEncoderProtocol.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/media/ZQRFrameFIFOQueue.h"

namespace zenquor {

inline constexpr std::string_view ZQREncoderControllerErrorDomain = "ZQREncoderControllerErrorDomain";

/// The only code of ZQREncoderControllerErrorDomain: no encoder, or a frame after a failure.
inline constexpr int ZQREncoderControllerError = -70001;

class ZQREncoderController;

/// Whom a controller tells of its frames and of its end.
///
/// Thread-safety: calls come on the encoding thread, or on one of the encoder's own when it delivers
///                asynchronously.
class ZQREncoderControllerDelegate {
public:
    virtual ~ZQREncoderControllerDelegate() = default;
    /// An encoded frame, or a duplicate one, is ready for the writers.
    virtual void hasFrameAvailable(ZQREncoderController& controller, const ZQRFramePtr& frame) = 0;
    virtual void hasNonCriticalError(ZQREncoderController& controller, const ZQErrorPtr& error) = 0;
    /// The last call of a run. @param error  null when @p success.
    virtual void didFinishSuccessfully(ZQREncoderController& controller, bool success,
                                       const ZQErrorPtr& error) = 0;
};

/// Queues raw frames, never making their producer wait, and feeds them one by one to an encoder that it
/// chooses by the first frame.
///
/// Lifecycle:     create; set controllerID, capturePreset and delegate; start(); encodeFrame() for each
///                frame; the run ends with a frame of status 2 or 4, with shutdown(), or with the first frame
///                that fails.
/// Thread-safety: One producer (encodeFrame, shutdown); properties and counters from anywhere.
/// Ownership:     holds frames while they are queued; the delegate weakly. The encoding thread holds the
///                controller.
class ZQREncoderController final : public ZQObject,
                                   public ZQRVideoEncoderProtocolDelegate,
                                   public std::enable_shared_from_this<ZQREncoderController> {
public:
    /// Room in the queue beyond what the host asked for, in frames.
    static constexpr std::int64_t queueHeadRoom = 25;
    /// Waits of shutdown(), in milliseconds: before the end-dummy frame, and then each round.
    static constexpr int dummyDelayMilliseconds = 100;
    static constexpr int shutdownPollMilliseconds = 1000;

    /// @param fifoCapacity  frames that may wait; the queue has room for 25 more.
    static std::shared_ptr<ZQREncoderController> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, std::int64_t fifoCapacity);
    ~ZQREncoderController() override;

    /// Starts the encoding thread; the second clears a failed state as well, so that a run may follow one
    /// that failed. Without effect on the thread while a run is on and in delegate calls.
    void start();
    void startEncoding();

    /// Queues a frame; the first one chooses the encoder.
    /// @return false with -70001 when there is no encoder for the codec or an earlier frame failed, with the
    /// queue's error when it is full.
    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr);
    /// Chooses and makes the encoder for frames like @p frame. @return false with -70001 when there is none.
    bool setupEncoderWithFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr);
    /// Whether the platform has an encoder for the codec. The frame does not matter.
    bool canUseVideoToolboxForEncodingFrame(const ZQRFramePtr& frame) const;
    /// Logs when not every frame that was submitted has come back.
    void checkEncodedBalance() const;

    /// Ends the run and waits for the encoding thread, however long it takes. The second call does nothing;
    /// so does the first when the thread never started. Not from a delegate call.
    void shutdown();
    /// The waiting of shutdown(): 100 ms, then an end-dummy frame, then 1 s, then a cancelled @p thread and 1
    /// s a round.
    void cancelAndWaitForTerminationOnThread(NamedThread& thread);

    /// Appends the queue's diagnostics.
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const;
    /// Names the calling thread.
    static void setThreadName(std::string_view name);

    /// Deliberately without effect: the end of a run is reported by the frame loop.
    void videoEncoderDidReachFrameLimit(ZQRVideoEncoderProtocol&) override {}
    void didFinishSuccessfully(ZQRVideoEncoderProtocol&, bool, const ZQErrorPtr&) override {}

    ZQRVideoEncoderPtr encoder() const { return encoder_.load(); }
    void setEncoder(ZQRVideoEncoderPtr encoder) { encoder_.store(std::move(encoder)); }
    std::shared_ptr<ZQREncoderControllerDelegate> delegate() const { return delegate_.load().lock(); }
    void setDelegate(std::weak_ptr<ZQREncoderControllerDelegate> delegate) {
        delegate_.store(std::move(delegate));
    }
    ZQRVideoPropertiesPtr videoProperties() const { return videoProperties_.load(); }
    void setVideoProperties(ZQRVideoPropertiesPtr properties) {
        videoProperties_.store(std::move(properties));
    }
    /// One character; the key under which encoders attach their results.
    std::string controllerID() const { return controllerID_.load(); }
    void setControllerID(std::string identifier) { controllerID_.store(std::move(identifier)); }
    ZHLIngestCapturePresetPtr capturePreset() const { return capturePreset_.load(); }
    void setCapturePreset(ZHLIngestCapturePresetPtr preset) { capturePreset_.store(std::move(preset)); }
    std::int64_t FIFOCapacity() const { return fifoCapacity_; }
    /// Frames handed to the delegate.
    std::int64_t framesEncoded() const { return framesEncoded_.load(std::memory_order_relaxed); }
    /// Frames that entered the queue.
    std::uint32_t submittedRawFrames() const { return submittedRawFrames_.load(std::memory_order_relaxed); }
    /// Of the queue, and what of it is in use.
    std::size_t totalCapacity() const { return encoderFIFOQueue_->capacity(); }
    std::size_t currentCapacity() const { return encoderFIFOQueue_->elementCount(); }

private:
    enum State : std::int32_t { StateAccepting = 0, StateFailed = 1 };
    enum class Round { Next, LeaveLoop, Return };
    struct EncoderChoice;

    ZQREncoderController(ZQRVideoPropertiesPtr videoProperties, std::int64_t fifoCapacity,
                         ZQRFrameFIFOQueuePtr queue);

    const EncoderChoice* chooseEncoder(const ZQRFramePtr& frame) const;
    template <typename Encoder, typename... Further>
    std::shared_ptr<Encoder> makeEncoder(Further... further);
    static ZQRVideoEncoderPtr makeSessionEncoder(ZQREncoderController& controller, const ZQRFramePtr& frame);
    static ZQRVideoEncoderPtr makePassthroughEncoder(ZQREncoderController& controller,
                                                     const ZQRFramePtr& frame);
    static ZQRVideoEncoderPtr makeMPEG2Encoder(ZQREncoderController& controller, const ZQRFramePtr& frame);
    static ZQRVideoEncoderPtr makeDNxHDEncoder(ZQREncoderController& controller, const ZQRFramePtr& frame);
    void trackTimestamp(const ZQRFrame& frame);
    void frameLoop();
    void frameLoopMain();
    Round frameRound();
    Round encodeTakenFrame(const ZQRFramePtr& frame);
    void flagLastFrame(const ZQRFramePtr& frame) const;
    void finishOnDummy(std::uint32_t status);
    void finishEncoder();
    void handOn(const ZQRFramePtr& frame);
    void reportEnd(bool success, const ZQErrorPtr& error);
    static void encoderDidEncode(ZQRVideoEncoderProtocol& encoder, const ZQRFramePtr& frame,
                                 const std::shared_ptr<void>& context);

    const std::int64_t fifoCapacity_;
    NamedThread encoderFIFOGrabbingThread_;
    const ZQRFrameFIFOQueuePtr encoderFIFOQueue_;
    std::atomic<std::uint32_t> submittedRawFrames_{0};
    std::atomic<std::int64_t> framesEncoded_{0};
    std::int64_t lastKnownRawTimestamp_ = 0;  // the producer's
    std::atomic<bool> shutdownComplete_{false};
    std::atomic<bool> frameGrabberDidFinish_{false};
    std::atomic<bool> isRunOver_{false};  // its end has been reported
    std::atomic<std::thread::id> encodingThread_{};
    std::atomic<std::int32_t> state_{StateAccepting};
    std::atomic<bool> shouldShutdown_{false};
    Guarded<ZQRVideoEncoderPtr> encoder_;
    Guarded<std::weak_ptr<ZQREncoderControllerDelegate>> delegate_;
    Guarded<ZQRVideoPropertiesPtr> videoProperties_;
    Guarded<std::string> controllerID_;
    Guarded<ZHLIngestCapturePresetPtr> capturePreset_;
};

using ZQREncoderControllerPtr = std::shared_ptr<ZQREncoderController>;

}  // namespace zenquor
