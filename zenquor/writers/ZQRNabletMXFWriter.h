#pragma once
// Writes a recording into an MXF file.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/media/ZQRFrameStore.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/platform/AudioBufferList.h"
#include "zenquor/writers/ZQRMovieWriterProtocol.h"
#include "zenquor/writers/ZQRNabletMXFMemoryStream.h"

namespace zenquor {

class ZQRNabletMXFWriter;
using ZQRNabletMXFWriterPtr = std::shared_ptr<ZQRNabletMXFWriter>;

/// Turns frames and their coded pictures into the video, audio and ancillary elements of an MXF OP1a file.
///
/// The file is opened with the first frame. It can be read while it grows. All packets of a frame go into its ancillary
/// element; the sound goes into a track per channel, or into one eight-channel AES3 track where the picture is D-10.
///
/// Lifecycle:     initWithVideoProperties(), setMovieWriterID(), setLength(), then as ZQRMovieWriterProtocol says. A
///                writer that is let go without finishWritingMovie() leaves the file as a crash would.
/// Thread-safety: as ZQRMovieWriterProtocol says.
/// Ownership:     holds both properties; samples are copied once, into the engine's memory.
/// Standards:     SMPTE ST 377-1, 378, 379-1, 436-1 and the essence mappings of the codecs.
class ZQRNabletMXFWriter final : public ZQRMovieWriterProtocol {
public:
    /// Bytes that a stream starts with; it grows with its samples.
    static constexpr std::int64_t streamCapacityBytes = 144;

    /// @param audioProperties  null for a file without sound. nativeChannelCount() tells how the frames' audio lies;
    ///                         the first numberOfChannels() of them are recorded.
    /// @param options          "capturePreset", "blockSize", "cacheMask".
    static ZQRNabletMXFWriterPtr initWithVideoProperties(ZQRVideoPropertiesPtr videoProperties,
                                                         ZQRAudioPropertiesPtr audioProperties,
                                                         ZQDictionary options);
    ~ZQRNabletMXFWriter() override;

    /// A frame without ancillary packets gets an empty element in the file, one without sound gets silence.
    /// @return false with -200 when the file cannot be set up, written, or has taken an error before; with the
    ///         converter's error when the sound does not fit its description; with -36 after finishWritingMovie(); with
    ///         no error for a frame without coded data. When the codec does not go into MXF or the file cannot be
    ///         opened, later frames are dropped with an error in the log each, and the result is true.
    bool writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    /// Does nothing: sound travels with the frames.
    void writeAudioFramesWithBytes(std::span<const std::uint8_t>) override {}
    /// Does nothing: the first frame starts the file.
    void beginWritingAtTime(std::int64_t) {}
    /// Waits until the whole file is written. Always true; writeError() tells the rest.
    bool finishWritingMovie() override;
    /// Does nothing: files are not split.
    void split() override {}

    std::int32_t recordingMode() const override { return 0; }
    void setRecordingMode(std::int32_t) override {}
    bool valid() const override { return true; }
    std::string failureReason() const override { return {}; }
    /// As set; the name on disk once the file is open.
    std::string filename() const override;
    void setLength(std::int64_t length, std::string filename, std::string reelID) override;
    std::uint64_t bufferFrames() const override { return 0; }
    ZQDictionary metadata() const override;
    /// Does nothing: there is no room for the user's texts in the file.
    void setMetaData(ZQDictionary) override {}
    /// Of the file's first frame; midnight where frames have no timecode. Nothing before the first frame.
    std::optional<ZQCKTimecode> startTimecode() const override;
    void setUseOtherStartTimecode(bool use) override;
    void setOtherStartTimecode(std::optional<ZQCKTimecode> timecode) override;
    std::uint64_t duration() const override { return 0; }
    void gatherQueueDiagnostics(ZQDictionaryList&) const override {}

    std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate() const override;
    void setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) override;
    const std::string& movieWriterID() const override;
    void setMovieWriterID(std::string movieWriterID) override;
    /// Does nothing.
    void setFramesLeftToRecord(std::int64_t) override {}
    std::int32_t state() const override { return 0; }
    void setState(std::int32_t) override {}
    const std::string& separatorString() const override;
    void setSeparatorString(std::string separator) override;

    /// The error of the last frame that could not be written, otherwise of the closing; null without one.
    ZQErrorPtr writeError() const;
    const ZQRVideoPropertiesPtr& videoProperties() const;
    const ZQRAudioPropertiesPtr& audioProperties() const;
    const ZHLIngestCapturePresetPtr& capturePreset() const;
    const ZQDictionary& writingOptions() const;
    /// The file's path; empty before it was chosen.
    std::string finalFilename() const;
    std::string reelID() const;
    /// Planned frames.
    std::int64_t length() const;
    std::uint64_t framesWritten() const;
    /// Bytes of one write to the disk.
    std::int64_t blockSize() const;
    /// Profile and codec number that the engine was given; 0 before the file is set up. On the writing thread.
    std::int32_t wrappingKind() const;
    std::int32_t videoEssenceType() const;
    /// Whether a video codec, by its four-character code, goes into MXF.
    static bool isCompatibleWithCodec(FourCC codec);
    /// Whether this process has recorded a 1440-wide XDCAM HD code; never cleared, and from then on every recording but
    /// D-10, and but AVC-Intra of 720 lines, tells the engine a width of 1440.
    static bool isXDCAMHD();

private:
    struct State;
    using Helper = std::shared_ptr<const ZQRFrameStore>;

    ZQRNabletMXFWriter();
    void initialise(ZQRVideoPropertiesPtr videoProperties, ZQRAudioPropertiesPtr audioProperties,
                    ZQDictionary options);
    bool failWrite(ZQErrorPtr* error, ZQErrorPtr value);
    bool failWrite(ZQErrorPtr* error, std::string text, std::string userText);

    // The first frame.
    bool setupMuxerWithFrame(const ZQRFramePtr& frame, ZQErrorPtr* error);
    static void noteXDCAMHD();
    void setupSettings();
    void setupStartTimecode(const ZQRFramePtr& frame);
    bool setupCodec(ZQErrorPtr* error);
    void requestFilename();
    bool openFile(ZQErrorPtr* error);
    void setupBufferCache();
    bool addStreams(ZQErrorPtr* error);
    ZQRNabletMXFMemoryStreamPtr addStreamWithCapacity(std::int64_t capacity, const mxf::StreamFormat& format,
                                                      const char* contents, ZQErrorPtr* error);

    // Every frame.
    bool writeVideo(const Helper& helper, std::int64_t timestamp, ZQErrorPtr* error);
    bool writeAudio(const Helper& helper, std::int64_t timestamp, ZQErrorPtr* error);
    const platform::AudioBufferList* convertAudio(const ZQData& audio, ZQErrorPtr* error);
    bool writeCaptions(const ZQRFramePtr& frame, std::int64_t timestamp, ZQErrorPtr* error);
    bool writeData(std::span<const std::uint8_t> bytes, const ZQRNabletMXFMemoryStreamPtr& stream,
                   std::int64_t timestamp, std::uint64_t flags, const char* reason, ZQErrorPtr* error);

    std::unique_ptr<State> state_;
};

}  // namespace zenquor
