#pragma once
// What a host asks of every sidecar, whatever the file format behind it.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

/// A subtitle or caption file beside a recording, turned into ancillary packets frame by frame or written
/// from them.
///
/// Lifecycle:     opened by a factory of its class; then, in timeline order and once per frame,
///                vancPacketsAtTimecode() (reading) or addVancPackets() (writing); close() at the end.
/// Thread-safety: One thread at a time.
class ZQRSidecar : public ZQObject {
public:
    /// The packets of the frame at @p timecode, possibly none. The timeline must run forwards.
    virtual ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) = 0;
    /// Writes what @p packets hold for this sidecar's format; other packets are passed over.
    virtual void addVancPackets(const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) = 0;
    /// Playout is about to start at @p frame, counted from the start of the recording.
    virtual void prepareToReadFromFrame(std::int32_t frame) = 0;
    /// Writes what is pending and closes the files.
    virtual void close() = 0;
    /// Whether the file could be opened and is of the format.
    virtual bool valid() const = 0;
    /// 0: driven by the time since the recording's start; 1: by the frame's timecode.
    virtual std::int32_t timecodeType() const = 0;
};

using ZQRSidecarPtr = std::shared_ptr<ZQRSidecar>;

}  // namespace zenquor
