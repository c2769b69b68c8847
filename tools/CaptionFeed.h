#pragma once
// Puts captions, subtitles and cues on the frames of a recording.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "AncillaryFile.h"
#include "CaptionCollector.h"
#include "CaptionSettings.h"
#include "CaptionStream.h"
#include "CueSheet.h"
#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/media/ZQRFrame.h"

namespace zenquor::tools {

/// The ancillary side of a recording: packets from a caption file or from the frames themselves, cue messages,
/// and files that collect what passes. With captions on, every frame gets exactly one caption packet of the
/// track's kind: a caption track wants one sample a frame, and takes its kind from the first.
class CaptionFeed {
public:
    /// @param track  'c608' or 'c708'; 0: no caption track.
    CaptionFeed(FourCC track, ZQCKTimebase timebase) : track_(track), timebase_(timebase) {}

    /// Takes captions from a file, beside those of earlier calls. @return false with an error when it cannot be read or
    /// holds nothing.
    bool readFrom(const std::filesystem::path& path, const CaptionSettings& settings, ZQErrorPtr* error);
    void setCues(CueSheet cues) { cues_ = std::move(cues); }
    /// Collects captions in an .scc or .mcc. @return false with an error when it cannot be written.
    bool writeCaptionsTo(const std::filesystem::path& path, ZQErrorPtr* error);
    /// Collects all packets in an .mcc. @return false with an error when it cannot be written.
    bool writeAncillaryTo(const std::filesystem::path& path, ZQErrorPtr* error);

    /// @param index  of the frame in the recording, from 0.
    void apply(const ZQRFramePtr& frame, std::uint64_t index);
    /// Closes the files. @return what could not be written and what was not sent or changed, for a person;
    /// @p failed becomes true for the former.
    std::vector<std::string> close(bool& failed);

private:
    struct Stream {
        std::unique_ptr<CaptionStream> captions;
        std::filesystem::path path;
        bool hasMet = false;  // a frame lay where the file has captions
    };

    /// @param sinceStart  the frame counted from the recording's start.
    ZQRVANCPacketList packetsFor(const ZQRFramePtr& frame, const ZQCKTimecode& timecode,
                                 const ZQCKTimecode& sinceStart);

    FourCC track_;
    ZQCKTimebase timebase_;
    std::vector<Stream> streams_;
    CueSheet cues_;
    std::vector<std::unique_ptr<CaptionCollector>> collectors_;
    std::vector<std::unique_ptr<AncillaryFile>> ancillaryFiles_;
};

}  // namespace zenquor::tools
