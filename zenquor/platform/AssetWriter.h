#pragma once
// Writes a movie file: crash-safe while it grows, a plain movie when it is finished.

#include <filesystem>
#include <functional>
#include <memory>

#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/core/ZQValue.h"
#include "zenquor/platform/AssetWriterInput.h"
#include "zenquor/platform/MediaTime.h"

namespace zenquor::platform {

enum class FileType { QuickTimeMovie, MPEG4 };

enum class AssetWriterStatus { Unknown = 0, Writing = 1, Completed = 2, Failed = 3, Cancelled = 4 };

/// Codes of the asset writer's own errors, in assetWriterErrorDomain. System errors keep their errno in the text.
inline constexpr const char* assetWriterErrorDomain = "ZQAssetWriterErrorDomain";
inline constexpr int assetWriterErrorFileAlreadyExists = -11823;
inline constexpr int assetWriterErrorDiskFull = -11807;
inline constexpr int assetWriterErrorUnknown = -11800;
inline constexpr int assetWriterErrorInvalidSource = -11822;
inline constexpr int assetWriterErrorEncoderNotFound = -11834;

/// A QuickTime or MPEG-4 movie file under construction.
///
/// While recording the file is a fragmented movie: whatever happens to the process or the machine, any player opens it
/// up to the last whole fragment. finishWriting() turns it in place into a plain movie without touching the media.
///
/// Lifecycle:     create, set up, add inputs, startWriting(), startSessionAtSourceTime(), append through the inputs,
///                mark them finished, finishWriting() once.
/// Thread-safety: set-up and finishing by one thread; status() and error() from anywhere.
/// Standards:     QuickTime File Format; ISO/IEC 14496-12 (fragments), 14496-14, 14496-15.
class AssetWriter final : public ZQObject, public std::enable_shared_from_this<AssetWriter> {
public:
    /// Nothing is created on disk yet. @return null with an error for an unusable path (empty, a folder that does not
    /// exist).
    static std::shared_ptr<AssetWriter> assetWriterWithURL(const std::filesystem::path& url, FileType type,
                                                           ZQErrorPtr* error = nullptr);
    ~AssetWriter() override;

    const std::filesystem::path& outputURL() const;
    /// At most this much media time, and as much time of the clock, goes by between two fragments.
    void setMovieFragmentInterval(MediaTime interval);
    /// True moves the finished movie's tables to the front of the file when there is room. Default false.
    void setShouldOptimizeForNetworkUse(bool flag);
    /// Units per second of the movie header; default 600.
    void setMovieTimeScale(std::int32_t scale);
    /// Movie metadata, text by key: reverse-domain keys such as "com.apple.quicktime.title" go into the QuickTime key
    /// list, four-character user data names ("©nam") into the user data. Values that are not text are written as text.
    void setMetadata(const ZQDictionary& metadata);

    /// False once writing has started, for an input of another writer, for a second video input, for sound that is
    /// neither PCM nor AAC, and in MPEG-4 files for timecode and captions.
    bool canAddInput(const AssetWriterInputPtr& input) const;
    /// Does nothing for an input that cannot be added. Tracks stand in the movie in the order of adding.
    void addInput(const AssetWriterInputPtr& input);

    /// Creates the file and writes its first bytes.
    /// @return false when it could not; status() is then Failed and error() says why
    ///         (assetWriterErrorFileAlreadyExists when the file is there: it is left as it was).
    bool startWriting();
    /// The source time that becomes the movie's time 0; samples shown before it are cut off by the edit list.
    void startSessionAtSourceTime(MediaTime time);
    /// Closes the movie on a thread of the writer: remaining samples, tables, one patch of the header. Inputs not marked
    /// as finished are finished. @p completion runs when all is done, whatever came of it; see status().
    void finishWritingWithCompletionHandler(std::function<void()> completion);
    /// Stops writing; what is on disk stays readable up to the last whole fragment.
    void cancelWriting();

    AssetWriterStatus status() const;
    /// Why the status is Failed; null otherwise.
    ZQErrorPtr error() const;

    struct Implementation;
    /// For the inputs.
    Implementation& implementation() { return *implementation_; }

private:
    AssetWriter();
    std::unique_ptr<Implementation> implementation_;
};

using AssetWriterPtr = std::shared_ptr<AssetWriter>;

}  // namespace zenquor::platform
