#pragma once
// The check of Scenarist caption files.

#include <cstdint>
#include <optional>
#include <string_view>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/PairCheck.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/TextLines.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {

/// Goes through an SCC file to its end, whatever its lines look like.
class SCCCheck {
public:
    static constexpr std::string_view header = "Scenarist_SCC V1.0";

    SCCCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks)
        : report_(report), remarks_(remarks), pairs_(remarks) {}

    /// @param text  the file without a byte order mark.
    void check(std::string_view text);

private:
    /// The timecoded line before the current one.
    struct Line {
        ZQCKTimecode start;
        Place place;
        std::int64_t pairs = 0;
        std::optional<std::int64_t> flip;  // index of its first "End Of Caption"
    };

    void checkLine(const TextLine& line);
    void checkHeader(const TextLine& line);
    void checkCaption(const TextLine& line, const TimecodeLabel& label);
    void checkLabel(const TimecodeLabel& label, const Place& place);
    void checkFormBehindTimecode(std::string_view text, const Place& place);
    void checkOrder(const Line& line);
    void checkRoom(std::int64_t distance);
    void checkWords(std::string_view words, Line& line);
    void checkWord(std::string_view word, Line& line);
    /// Follows how far the sidecar reads.
    void followReader(const TextLine& line, bool isCaption);
    void finish();

    ZQRCaptionChecker::Report& report_;
    RemarkCollector& remarks_;
    PairCheck pairs_;
    ZQCKTimebase timebase_ = ZQCKTimebase::timebaseForFramerate(3);
    bool sawLine_ = false;
    bool startsWithHeader_ = false;
    std::optional<std::int64_t> headerLine_;
    std::optional<Line> previous_;
    bool isReading_ = false;
    std::optional<std::int64_t> stoppedAt_;
    std::int64_t unread_ = 0;
};

}  // namespace zenquor::detail
