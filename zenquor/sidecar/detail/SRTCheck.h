#pragma once
// The check of SubRip files.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/SRTTextCheck.h"
#include "zenquor/sidecar/detail/TextLines.h"

namespace zenquor::detail {

/// Finds every block by its time line, and follows how far the sidecar, which is strict, would read.
class SRTCheck {
public:
    SRTCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks,
             const ZQRCaptionChecker::Options& options);

    /// @param text  the file as UTF-8, without a byte order mark.
    void check(std::string_view text);

private:
    /// A time as written and as frames.
    struct Time {
        ZQCKTimecode timecode;
        std::int64_t milliseconds = 0;
    };
    struct Block {
        std::int64_t line = 0;  // of its times
        std::optional<std::int32_t> number;
        std::optional<Time> in, out;
        std::vector<std::string_view> texts;
        std::int64_t textLines = 0;
    };
    /// What the sidecar expects next.
    enum class Expected { Number, Times, Text };

    void checkForm(const TextLine& line);
    void addLine(const TextLine& line);
    void startBlock(const TextLine& line);
    void keepHeldLine();
    void finishBlock();
    void followReader(const TextLine& line);
    void stopReader(const TextLine& line, const char* reason);
    std::optional<Time> checkTime(std::string_view text, const TextLine& line);
    void checkNumber(const Block& block, const Place& place);
    void checkTimes(const Block& block, const Place& place);
    void finish();

    ZQRCaptionChecker::Report& report_;
    RemarkCollector& remarks_;
    const ZQRCaptionChecker::Options& options_;
    std::optional<Block> block_;
    std::optional<TextLine> held_;  // text, or the number of the next block
    bool closed_ = true;            // an empty line ended the block
    std::optional<std::int32_t> lastNumber_;
    std::optional<Time> lastIn_, lastOut_;
    SRTTextCheck text_;

    Expected expected_ = Expected::Number;
    std::int64_t readBlocks_ = 0;
    bool hasReadText_ = false;
    std::optional<std::int64_t> stoppedAt_;
    const char* stopReason_ = "";
};

}  // namespace zenquor::detail
