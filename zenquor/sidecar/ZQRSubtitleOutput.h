#pragma once
// What turns subtitle blocks into ancillary packets.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/sidecar/ZQRSubtitleBlock.h"
#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

/// A packet generator that a subtitle sidecar drives: once per frame beginFrameAtTimecode(), then what
/// happens to blocks on that frame, then finishFrame().
///
/// Thread-safety: Confined to the sidecar that made it.
/// Ownership:     the sidecar owns its output; an output refers back weakly.
class ZQRSubtitleOutput : public ZQObject {
public:
    /// The last row that text can stand in; readers put blocks at the bottom with it.
    virtual std::int32_t maximumVerticalPosition() const = 0;
    virtual void beginFrameAtTimecode(const ZQCKTimecode& timecode) = 0;
    /// The block comes next: an output may load it ahead of time.
    virtual void prepareBlock(const ZQRSubtitleBlock& block) = 0;
    virtual void showBlock(const ZQRSubtitleBlock& block) = 0;
    virtual void hideBlock(const ZQRSubtitleBlock& block) = 0;
    /// @param firstFrame  the first frame after playout was prepared.
    /// @return the frame's packets, possibly none.
    virtual ZQRVANCPacketList finishFrame(bool firstFrame) = 0;
};

using ZQRSubtitleOutputPtr = std::shared_ptr<ZQRSubtitleOutput>;

}  // namespace zenquor
