#pragma once
// What the writer controller asks of whatever puts a recording into a file.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/media/ZQRFrame.h"

namespace zenquor {

class ZQRMovieWriterProtocol;
using ZQRMovieWriterPtr = std::shared_ptr<ZQRMovieWriterProtocol>;

/// Domain of the writers' errors: -36 written after finish, -200 cannot start, -300 frame without coded data,
/// -30003 could not keep up.
inline constexpr const char* ZQRMovieWriterErrorDomain = "ZQRMovieWriterErrorDomain";
inline constexpr int ZQRMovieWriterErrorAlreadyFinished = -36;
inline constexpr int ZQRMovieWriterErrorCannotStart = -200;
inline constexpr int ZQRMovieWriterErrorNoData = -300;
inline constexpr int ZQRMovieWriterErrorPerformance = -30003;

/// Posted when a recording fails; the objects are the controller and the error, in this order.
inline constexpr const char* ZQRMovieWriterDidFailNotification = "ZQRMovieWriterDidFailNotification";
inline constexpr const char* ZQRMovieWriterControllerKey = "ZQCorvaneMovieWriterController";

// Keys of the options that a writer is created with.
/// Number; 0 switches the buffer cache off for the file.
inline constexpr const char* ZQRMovieWriterOptionCacheMask = "cacheMask";
/// A ZHLIngestCapturePreset.
inline constexpr const char* ZQRMovieWriterOptionCapturePreset = "capturePreset";
/// Number; 2 QuickTime movie, 7 MPEG-4.
inline constexpr const char* ZQRMovieWriterOptionContainer = "containerType";
/// A ZHLH264Preferences.
inline constexpr const char* ZQRMovieWriterOptionH264Prefs = "h264Preferences";
/// Number; bytes of one write of an MXF file, 0 for the default.
inline constexpr const char* ZQRMovieWriterOptionMXFBlockSize = "blockSize";

/// Keys of ZQRMovieWriterProtocol::metadata().
inline constexpr const char* ZQMovieWriterFrameCount = "ZQMovieWriterFrameCount";
inline constexpr const char* ZQMovieWriterClipname = "ZQMovieWriterClipname";
inline constexpr const char* ZQMovieWriterInterlaced = "ZQMovieWriterInterlaced";
inline constexpr const char* ZQMovieWriterStartTime = "ZQMovieWriterStartTime";
inline constexpr const char* ZQMovieWriterFirstSplit = "ZQMovieWriterFirstSplit";
inline constexpr const char* ZQMovieWriterSplitted = "ZQMovieWriterSplitted";
inline constexpr const char* ZQMovieWriterLastSplit = "ZQMovieWriterLastSplit";

/// Hears what a writer does. Every call comes on the thread that writes frames.
class ZQRMovieWriterProtocolDelegate {
public:
    virtual ~ZQRMovieWriterProtocolDelegate() = default;

    /// The file is open.
    virtual void didFinishSetupWithOptions(const ZQRMovieWriterPtr& writer, const ZQDictionary& options) = 0;
    virtual void didWriteFrame(const ZQRMovieWriterPtr& writer, const ZQRFramePtr& frame) = 0;
    virtual void didCacheFrame(const ZQRMovieWriterPtr& writer, const ZQRFramePtr& frame) = 0;
    virtual void didDropFrame(const ZQRMovieWriterPtr& writer, const ZQRFramePtr& frame) = 0;
    virtual void didSplitClipWithOptions(const ZQRMovieWriterPtr& writer, const ZQDictionary& options) = 0;
    virtual void didFailWithError(const ZQRMovieWriterPtr& writer, const ZQErrorPtr& error,
                                  const ZQRFramePtr& frame) = 0;
    virtual void didFinishWritingWithOptions(const ZQRMovieWriterPtr& writer,
                                             const ZQDictionary& options) = 0;
};

/// Puts frames with their coded pictures into a container file.
///
/// Lifecycle:     create for one recording, describe the file, writeFrame() once per frame,
///                finishWritingMovie() once.
/// Thread-safety: Confined to the controller's grabber thread while recording. The queries,
///                setFramesLeftToRecord() and gatherQueueDiagnostics() may be called from any thread; the
///                other setters before the first frame.
class ZQRMovieWriterProtocol : public ZQObject, public std::enable_shared_from_this<ZQRMovieWriterProtocol> {
public:
    /// Writes picture, sound, timecode and ancillary data of one frame; the coded picture is the frame's
    /// helper under the first character of movieWriterID().
    virtual bool writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) = 0;
    /// Writes sound that comes apart from frames.
    virtual void writeAudioFramesWithBytes(std::span<const std::uint8_t> bytes) = 0;
    /// Closes the container; may wait for the disk.
    virtual bool finishWritingMovie() = 0;
    /// Closes the file and goes on in a new one.
    virtual void split() = 0;

    virtual std::int32_t recordingMode() const = 0;
    virtual void setRecordingMode(std::int32_t mode) = 0;
    /// Whether the writer can be used, and why not.
    virtual bool valid() const = 0;
    virtual std::string failureReason() const = 0;
    /// The file's name as it is on disk once the file is open.
    virtual std::string filename() const = 0;
    /// @param length    planned frames; 0 when nobody knows.
    /// @param filename  path; the container's extension is put where it is missing.
    virtual void setLength(std::int64_t length, std::string filename, std::string reelID) = 0;
    /// Frames that the writer holds back before they reach the file.
    virtual std::uint64_t bufferFrames() const = 0;
    /// What is known of the clip, under the ZQMovieWriter… keys.
    virtual ZQDictionary metadata() const = 0;
    /// Texts of the user that go into the file.
    virtual void setMetaData(ZQDictionary metadata) = 0;
    /// The timecode of the file's first frame; nothing before it was written, or without one.
    virtual std::optional<ZQCKTimecode> startTimecode() const = 0;
    /// Whether the other start timecode replaces that of the first frame.
    virtual void setUseOtherStartTimecode(bool use) = 0;
    virtual void setOtherStartTimecode(std::optional<ZQCKTimecode> timecode) = 0;
    /// Recorded frames as far as the writer tells; 0 when it does not.
    virtual std::uint64_t duration() const = 0;
    /// Appends one dictionary per queue.
    virtual void gatherQueueDiagnostics(ZQDictionaryList& diagnostics) const = 0;

    virtual std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate() const = 0;
    virtual void setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) = 0;
    /// Names the writer; the first character is the key of the coded picture on a frame.
    virtual const std::string& movieWriterID() const = 0;
    virtual void setMovieWriterID(std::string movieWriterID) = 0;
    /// Frames that a timed recording still wants.
    virtual void setFramesLeftToRecord(std::int64_t frames) = 0;
    /// The writer's own state; the controller gives it no meaning.
    virtual std::int32_t state() const = 0;
    virtual void setState(std::int32_t state) = 0;
    /// Stands between a file's name and the number that makes it unique.
    virtual const std::string& separatorString() const = 0;
    virtual void setSeparatorString(std::string separator) = 0;
};

}  // namespace zenquor
