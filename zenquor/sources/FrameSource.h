#pragma once
// What a host without a capture card takes its frames from.

#include <cstdint>
#include <memory>
#include <optional>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/sources/SourceFormat.h"

namespace zenquor {

inline constexpr const char* frameSourceErrorDomain = "ZQFrameSourceErrorDomain";
inline constexpr int frameSourceErrorInvalidFormat = -54001;  // a format that the source cannot make
inline constexpr int frameSourceErrorNoFreePicture = -54002;  // every picture is still in use; ask again
inline constexpr int frameSourceErrorNoTracks = -54003;       // a file without pictures and sound

/// Gives one frame after the other, each with picture, sound, timecode and times in the recording's time
/// base.
///
/// The last frame of a source that knows its length carries ZQRFrameStatusLast.
///
/// Frame n carries frameID n, relativeFrameTime n × format().frameDuration(), and startTimecode() + n as its
/// timecode. Pacing is the caller's: a source is as fast as it is asked.
///
/// Thread-safety: One thread at a time. Frames may be dropped on any thread.
/// Ownership:     a frame's picture goes back to the source's bounded stock with the frame's last reference.
class FrameSource : public ZQObject {
public:
    /// The next frame. @return null at the end (error() is then null) or on failure (error() says why); after
    ///         frameSourceErrorNoFreePicture the same frame may be asked for again.
    virtual ZQRFramePtr nextFrame() = 0;
    virtual const SourceFormat& format() const = 0;
    /// How many frames there are in all; nothing for a source without an end or of unknown length.
    virtual std::optional<std::uint64_t> durationFrames() const = 0;
    /// The timecode of frame 0.
    virtual ZQCKTimecode startTimecode() const = 0;
    /// Why the last nextFrame() gave nothing; null when it gave a frame or the source ended.
    virtual ZQErrorPtr error() const = 0;
};

using FrameSourcePtr = std::shared_ptr<FrameSource>;

}  // namespace zenquor
