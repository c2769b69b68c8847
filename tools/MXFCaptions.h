#pragma once
// The ancillary data of an MXF file, played like a caption file.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRMXFVANCSidecar.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {

/// Answers each frame's timecode with the captions, subtitles and cues that the file holds for it; a file without timecode starts at
/// midnight.
class MXFCaptions final : public ZQRSidecar {
public:
    /// @return null with an error when the file cannot be read or has no ancillary data.
    static std::shared_ptr<MXFCaptions> open(const std::filesystem::path& path, ZQErrorPtr* error);

    ZQCKTimecode first() const { return first_; }
    std::int64_t frames() const { return frames_; }
    /// Whether any packet is of this kind; reads the file up to the first.
    static bool carries(const std::filesystem::path& path, ZQRVANCFlags kind);
    /// What was wrong with the file, a sentence each.
    const std::vector<std::string>& notes() const { return notes_; }

    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    void prepareToReadFromFrame(std::int32_t) override {}
    void close() override { sidecar_->close(); }
    bool valid() const override { return sidecar_->valid(); }
    std::int32_t timecodeType() const override { return sidecar_->timecodeType(); }

private:
    std::shared_ptr<ZQRMXFVANCSidecar> sidecar_;
    ZQCKTimecode first_;
    std::int64_t frames_ = 0;
    std::int64_t next_ = 0;  // the frame that the sidecar gives next
    std::vector<std::string> notes_;
};

}  // namespace zenquor::tools
