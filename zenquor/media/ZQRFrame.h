#pragma once
// What every frame of a recording answers, whoever captured it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/vanc/ZQRVANCPacket.h"
#include "zenquor/vanc/ZQRVPID.h"

namespace zenquor {

/// Bits of a frame's status.
enum ZQRFrameStatus : std::uint32_t {
    ZQRFrameStatusLast = 2,       // the last frame of the recording
    ZQRFrameStatusEndDummy = 4,   // carries nothing; tells the threads to stop at once
    ZQRFrameStatusLostSync = 8,   // stands for missing input
    ZQRFrameStatusDuplicate = 16  // a repeated frame: counted, not written
};

/// A picture with its sound, timecode and ancillary data, as a capture class hands it to encoders and
/// writers.
///
/// Lifecycle:     filled by its maker, then shared; encoders attach their results, nothing else changes.
/// Thread-safety: several writers read a frame at once while encoders attach to it: an implementation guards
///                the helpers, the status and the packet list. Everything else is fixed before the frame is
///                shared.
/// Ownership:     each queue that holds a frame holds one reference; bytes and pictures share the frame's
///                memory.
class ZQRFrame : public ZQObject {
public:
    /// Interleaved samples of all channels, little-endian: 16-bit, or 24 bits high-aligned in 32. Nothing
    /// without audio.
    virtual std::optional<ZQData> frameAudioData() const = 0;
    /// Bytes of one sample of all channels.
    virtual std::uint32_t audioBytesPerFrame() const = 0;
    virtual std::uint32_t audioChannels() const = 0;
    /// Pixels, and bytes from one row to the next.
    virtual std::uint32_t videoWidth() const = 0;
    virtual std::uint32_t videoHeight() const = 0;
    virtual std::size_t videoRowBytes() const = 0;
    virtual FourCC videoPixelFormat() const = 0;
    /// The picture, three ways; nothing and null without one.
    virtual std::optional<ZQData> videoData() const = 0;
    virtual const std::uint8_t* videoDataPointer() const = 0;
    virtual platform::PixelBufferPtr videoPixelBuffer() const = 0;
    virtual std::uint64_t frameID() const = 0;
    /// Whatever the source wants to say; not interpreted by the library.
    virtual std::uint32_t flags() const = 0;
    /// Units of the recording's time base, in which the frame times count too.
    virtual std::int64_t frameDuration() const = 0;
    /// Time since an origin of the source's choice.
    virtual std::int64_t absoluteFrameTime() const = 0;
    /// Time since the start of the recording; 0 for its first frame.
    virtual std::int64_t relativeFrameTime() const = 0;
    virtual void setRelativeFrameTime(std::int64_t time) = 0;
    virtual std::optional<ZQCKTimecode> frameTimecode() const = 0;
    /// Whether the captions among the packets are to be written into movies.
    virtual bool writeCaptions() const = 0;
    virtual void setWriteCaptions(bool write) = 0;
    /// Attaches @p helper under @p key, or removes it when null. An encoder's ZQRFrameStore stands under its
    /// name.
    virtual void setFrameHelper(ZQObjectPtr helper, std::string_view key) = 0;
    /// The helper under @p key, or null.
    virtual ZQObjectPtr helperForKey(std::string_view key) const = 0;
    /// The kinds of ancillary packets on the frame, as ZQRVANCHelper::vancFlagsFromPackets() says.
    virtual std::uint32_t ancillaryDataFlags() const = 0;
    /// Bits of ZQRFrameStatus.
    virtual std::uint32_t frameStatus() const = 0;
    virtual void setFrameStatus(std::uint32_t status) = 0;
    /// The colour description that came with the picture, when one did.
    virtual std::optional<ZQRVPID> vpID() const = 0;
    /// The frame's ancillary packets, in order.
    virtual ZQRVANCPacketList vancPackets() const = 0;
    virtual void setVancPackets(ZQRVANCPacketList packets) = 0;
};

using ZQRFramePtr = std::shared_ptr<ZQRFrame>;

}  // namespace zenquor
