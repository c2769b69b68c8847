#pragma once
// The SCTE-104 cue messages that a recording sends, frame by frame.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/vanc/ZQRVANCSCTEPacket.h"

namespace zenquor::tools {

/// Cues as typed, "10:00:05:00:splice-start,event=1,preroll=4000", each on the frame of its timecode.
///
/// Names: splice-start, splice-start-immediate, splice-end, splice-end-immediate, splice-cancel, time-signal,
/// segmentation. Cues of one frame travel in one message while
/// it fits a packet; a segmentation descriptor brings a time signal with
/// it, since receivers want one, unless the frame has one anyway.
class CueSheet {
public:
    /// Adds the cue that @p text describes.
    /// @return what is wrong with it, in one sentence; empty when nothing is.
    std::string add(std::string_view text, ZQCKTimebase timebase);
    bool empty() const { return cues_.empty(); }
    /// The messages for a frame, one for each DPI PID index. Each cue is sent once.
    ZQRVANCPacketList packetsAt(const ZQCKTimecode& timecode);
    /// The cues whose timecode has not come, as they were typed.
    std::vector<std::string> unsent() const;
    /// For the help of the command.
    static std::string help();

private:
    struct Cue {
        ZQCKTimecode timecode;
        std::string text;
        ZQRVANCSCTEOperation operation;
        std::int32_t preRoll = 0;
        std::int32_t dpiPID = 0;
        bool sent = false;
    };

    ZQRVANCPacketPtr nextMessageAt(const ZQCKTimecode& timecode);

    std::vector<Cue> cues_;
    std::int32_t messageNumber_ = 0;
};

}  // namespace zenquor::tools
