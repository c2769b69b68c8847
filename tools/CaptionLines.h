#pragma once
// An SCC or MCC file as a timeline, with what of it cannot be played.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQError.h"
#include "zenquor/sidecar/ZQRMCCSidecar.h"

namespace zenquor::tools {

/// Plays the sidecar of a file, also past midnight, where the sidecar alone would stop. The file is looked
/// through once when it is opened: the sidecar drops lines without a word.
class CaptionLines final : public ZQRSidecar {
public:
    /// @return null with an error when the file holds no readable caption line.
    static std::shared_ptr<CaptionLines> open(const std::filesystem::path& path, bool isScenarist,
                                              ZQErrorPtr* error);

    ZQCKTimebase timebase() const { return sidecar_->timebase(); }
    /// Timecode of the first line.
    ZQCKTimecode first() const { return first_; }
    /// From the first frame that the lines fill to the last, a day at most.
    std::int64_t frames() const { return frames_; }
    /// Sentences about lines and pairs that are not played.
    std::vector<std::string> notes() const;

    ZQRVANCPacketList vancPacketsAtTimecode(const ZQCKTimecode& timecode) override;
    void addVancPackets(const ZQRVANCPacketList&, const ZQCKTimecode&) override {}
    void prepareToReadFromFrame(std::int32_t) override {}
    void close() override { sidecar_->close(); }
    bool valid() const override { return sidecar_->valid(); }
    std::int32_t timecodeType() const override { return sidecar_->timecodeType(); }

private:
    std::shared_ptr<ZQRMCCSidecar> openSidecar() const;
    void scan(ZQRMCCSidecar& sidecar);
    void scanLine(const ZQRSidecarCaption& caption);
    void scanRest(ZQRMCCSidecar& sidecar, std::string_view badLine);
    void goOnAfterMidnight();

    std::filesystem::path path_;
    bool isScenarist_ = false;
    std::shared_ptr<ZQRMCCSidecar> sidecar_;
    ZQCKTimecode first_;
    std::int64_t frames_ = 0;

    // Of the scan: where the line lies, counted from the first, and up to where frames are filled.
    ZQCKTimecode lineTimecode_;
    std::int64_t line_ = 0, lineOffset_ = 0;
    std::int64_t lineAfterMidnight_ = 0;  // from 0; 0: the file does not pass midnight
    std::string badLine_;
    std::int64_t linesBehindBadLine_ = 0, linesOfSameFrame_ = 0, linesBackwards_ = 0, pairsLost_ = 0;

    std::int64_t playedFrame_ = -1;  // since midnight
};

}  // namespace zenquor::tools
