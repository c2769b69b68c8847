#pragma once
// Writes a recording into a QuickTime or MPEG-4 movie.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/media/ZQRFrameStore.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/platform/SampleBuffer.h"
#include "zenquor/writers/ZQRMovieWriterProtocol.h"

namespace zenquor {

namespace detail {
struct PCMShape;
}

/// Turns frames and their coded pictures into video, audio, timecode and caption samples of a movie file.
///
/// The file is opened with the first frame, because only then are the picture's format and the start timecode
/// known. While it grows it is a fragmented movie that any player opens; finishWritingMovie() makes it a
/// plain one.
///
/// Lifecycle:     initWithVideoProperties(), setMovieWriterID(), setLength(), then as ZQRMovieWriterProtocol
///                says. A writer that is let go without finishWritingMovie() leaves the fragmented file.
/// Thread-safety: as ZQRMovieWriterProtocol says.
/// Ownership:     holds the video properties, copies the audio properties; pictures are shared, never copied.
/// Standards:     QuickTime File Format, ISO/IEC 14496-12 and -14, SMPTE ST 12-1 (timecode), ST 334-2
///                (captions).
class ZQRAVFoundationWriter final : public ZQRMovieWriterProtocol {
public:
    /// Values of the option "containerType".
    enum Container : std::int64_t { ContainerQuickTime = 2, ContainerMPEG4 = 7 };
    /// Samples that wait for the file per track.
    static constexpr std::uint64_t sampleQueueCapacity = 1800;
    /// Longest stretch of a recording that a crash may lose.
    static constexpr int movieFragmentSeconds = 5;

    /// @param audioProperties  null for a movie without sound.
    /// @param options          "containerType", "h264Preferences", "cacheMask".
    static std::shared_ptr<ZQRAVFoundationWriter> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, const ZQRAudioPropertiesPtr& audioProperties,
        ZQDictionary options);
    ~ZQRAVFoundationWriter() override;

    /// @return false with -36 after finishWritingMovie(), -200 when the file cannot be started, -300 for a
    ///         frame without coded data, -30003 when a track could not take its sample, or the asset writer's
    ///         own error once it has failed (disk full, closed file).
    bool writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    /// Does nothing: sound travels with the frames.
    void writeAudioFramesWithBytes(std::span<const std::uint8_t>) override {}
    /// Waits until every sample is in the file and the file is closed. Always true; assetWriterError() tells
    /// the rest.
    bool finishWritingMovie() override;
    /// Does nothing: movies are not split.
    void split() override {}

    std::int32_t recordingMode() const override { return 1; }
    void setRecordingMode(std::int32_t) override {}
    bool valid() const override { return true; }
    std::string failureReason() const override { return "No failure"; }
    std::string filename() const override { return fullFilename(); }
    void setLength(std::int64_t length, std::string filename, std::string reelID) override;
    std::uint64_t bufferFrames() const override { return 0; }
    ZQDictionary metadata() const override;
    void setMetaData(ZQDictionary metadata) override;
    std::optional<ZQCKTimecode> startTimecode() const override;
    void setUseOtherStartTimecode(bool use) override;
    void setOtherStartTimecode(std::optional<ZQCKTimecode> timecode) override;
    std::uint64_t duration() const override { return 0; }
    void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const override;

    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate() const override;
    void setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) override;
    const std::string& movieWriterID() const override;
    void setMovieWriterID(std::string movieWriterID) override;
    std::int64_t framesLeftToRecord() const;
    void setFramesLeftToRecord(std::int64_t frames) override;
    std::int32_t state() const override;
    void setState(std::int32_t state) override;
    const std::string& separatorString() const override;
    void setSeparatorString(std::string separator) override;

    /// Why the file failed, at any time; null while it has not. A host looks here once more after finishing.
    ZQErrorPtr assetWriterError() const;
    /// The error of the last frame that could not be written; null before one.
    ZQErrorPtr writeError() const;
    const ZQRVideoPropertiesPtr& videoProperties() const;
    /// The writer's own copy; null for a movie without sound.
    const ZQRAudioPropertiesPtr& audioProperties() const;
    const ZQDictionary& writingOptions() const;
    /// Where the file is: as set, and as it came to be once it is open.
    std::filesystem::path fileURL() const;
    /// The file's path with extension and start timecode; empty before it is open.
    std::string fullFilename() const;
    const std::string& fileName() const;
    const std::string& reelID() const;
    const ZQDictionary& userMetadata() const;
    std::uint64_t framesRecorded() const;
    /// Frames until an artificial stall; -1, as at first, never stalls.
    std::int32_t countdownToStall() const;
    void setCountdownToStall(std::int32_t frames);
    /// Seconds of the stall.
    std::int32_t countdownCounter() const;
    void setCountdownCounter(std::int32_t seconds);

private:
    struct State;
    using Helper = std::shared_ptr<const ZQRFrameStore>;

    ZQRAVFoundationWriter();
    void initialise(ZQRVideoPropertiesPtr videoProperties, const ZQRAudioPropertiesPtr& audioProperties,
                    ZQDictionary options);
    void busyCountdown();
    /// Until the queues' threads have nothing under way.
    void waitForFeeds();
    bool failWrite(ZQErrorPtr* error, ZQErrorPtr value);
    bool failWrite(ZQErrorPtr* error, int code, std::string text, std::string userText);

    // The first frame.
    bool setupWithFrame(const ZQRFramePtr& frame, const Helper& helper, const platform::SampleTiming& timing,
                        ZQErrorPtr* error);
    bool setupFormatDescriptions(const ZQRFramePtr& frame, const Helper& helper, ZQErrorPtr* error);
    bool setupVideoFormatDescription(const ZQRFramePtr& frame, const Helper& helper, ZQErrorPtr* error);
    bool startWriting(ZQErrorPtr* error);
    bool setupQueues(ZQErrorPtr* error);
    bool setupBufferCache(ZQErrorPtr* error);
    bool scheduleInputs(ZQErrorPtr* error);
    bool assetWriterWithURL(const std::filesystem::path& url);
    bool addVideoInput();
    bool addAudioInputs();
    void addTimecodeInput();
    void addClosedCaptionInput();
    bool addInput(const platform::AssetWriterInputPtr& input);

    // Every frame.
    bool sampleTiming(const Helper& helper, platform::SampleTiming& timing) const;
    bool writeEssencesAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                             const Helper& helper, ZQErrorPtr* error);
    bool writeVideoSampleAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                                const Helper& helper);
    bool writeAudioSamplesAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                                 const Helper& helper);
    bool writeTimecodeSampleAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                                   const Helper& helper);
    bool writeClosedCaptionsAtTime(const platform::SampleTiming& time, const ZQRFramePtr& frame,
                                   const Helper& helper);
    platform::SampleBufferPtr audioSample(const ZQData& audio, const detail::PCMShape& shape,
                                          std::size_t sampleCount, std::uint64_t track) const;
    ZQErrorPtr errorWithDescription(const char* description, const char* asset, const char* log) const;

    std::unique_ptr<State> state_;
};

using ZQRAVFoundationWriterPtr = std::shared_ptr<ZQRAVFoundationWriter>;

}  // namespace zenquor
