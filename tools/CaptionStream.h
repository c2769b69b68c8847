#pragma once
// A caption file of any kind, played frame by frame.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CaptionFile.h"
#include "CaptionSettings.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRScreenBlock.h"
#include "zenquor/sidecar/ZQRSidecar.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"

namespace zenquor {
class ZQREBUSTLSidecar;
}

namespace zenquor::tools {

class RetimedCaptions;

/// The ancillary packets that a caption file puts on the frames of a timeline.
class CaptionStream {
public:
    /// What a viewer is meant to see of a subtitle file, after wrapping to the raster.
    struct Wanted {
        ZQCKTimecode in, out;  // the block leaves on the frame after out
        std::int32_t number = 0;
        std::string text;  // UTF-8, lines separated by line feeds
    };

    /// @param rate  of the timeline; nothing: the file's own, or 29.97 for SubRip.
    /// @return null with an error when the file cannot be read or holds nothing.
    static std::unique_ptr<CaptionStream> open(const std::filesystem::path& path,
                                               const CaptionSettings& settings,
                                               std::optional<ZQCKTimebase> rate, ZQErrorPtr* error);

    /// @param timecode  of the frame, or its time since the recording's start; see followsTimecode().
    ZQRVANCPacketList packetsAt(const ZQCKTimecode& timecode);

    /// Whether frames are looked up by their timecode, not by the time since the recording's start.
    bool followsTimecode() const { return sidecar_->timecodeType() != 0; }
    ZQCKTimebase timebase() const { return timebase_; }
    CaptionFileKind kind() const { return kind_; }
    /// Where the file's content begins and ends; in timebase().
    ZQCKTimecode first() const { return first_; }
    ZQCKTimecode last() const { return first_.addingFrames(frames_ - 1); }
    /// From first() to last(); up to a day.
    std::int64_t frames() const { return frames_; }
    /// Empty for files of packets.
    const std::vector<Wanted>& wanted() const { return wanted_; }
    /// Sentences about what was changed or left out so far.
    std::vector<std::string> notes() const;

private:
    using Blocks = ZQRSubtitleBlockList;

    bool openFile(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate, ZQErrorPtr* error);
    bool openSubRip(const std::filesystem::path& path);
    bool openSTL(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate);
    bool openPackets(const std::filesystem::path& path, std::optional<ZQCKTimebase> rate, ZQErrorPtr* error);
    void subtractProgrammeStart(const ZQREBUSTLSidecar& sidecar, Blocks& blocks);
    void fitCaptionScreen(const Blocks& blocks) const;
    bool playPackets(const std::filesystem::path& path, const ZQCKTimecode& first, std::int64_t ownFrames,
                     std::optional<ZQCKTimebase> rate, ZQErrorPtr* error);
    void playSubtitles(const Blocks& blocks);
    void fit(const std::shared_ptr<ZQRSubtitleSidecar>& sidecar, Blocks& blocks, std::int32_t columns);
    Blocks blocksSeen(ZQRSidecar& packets, ZQCKTimebase timebase, std::int64_t ownFrames) const;
    ZQDictionary properties() const;
    void setWanted(const Blocks& blocks);
    void note(std::string sentence) {
        if (!sentence.empty()) notes_.push_back(std::move(sentence));
    }

    CaptionSettings settings_;
    CaptionFileKind kind_ = CaptionFileKind::SubRip;
    ZQRSidecarPtr sidecar_;
    std::shared_ptr<RetimedCaptions> retimed_;
    bool preparesEveryFrame_ = false;
    bool isPrepared_ = false;
    ZQCKTimebase timebase_;
    ZQCKTimecode first_;
    std::int64_t frames_ = 0;
    std::vector<Wanted> wanted_;
    std::vector<std::string> notes_;
};

}  // namespace zenquor::tools
