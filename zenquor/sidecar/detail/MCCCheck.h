#pragma once
// The check of MacCaption files.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/CDPCheck.h"
#include "zenquor/sidecar/detail/PairCheck.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/TextLines.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {

/// Goes through an MCC file to its end, whatever its lines look like.
class MCCCheck {
public:
    MCCCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks)
        : report_(report), remarks_(remarks), pairs_(remarks), packets_(remarks, pairs_) {}

    /// @param text  the file without a byte order mark.
    void check(std::string_view text);

private:
    void checkLine(const TextLine& line);
    void checkEntry(const TextLine& line);
    void checkFileFormat(std::string_view value, const Place& place);
    void checkRate(std::string_view value, const Place& place);
    void checkCaption(const TextLine& line, const TimecodeLabel& label);
    void checkOrder(const ZQCKTimecode& timecode, const Place& place);
    /// @return where the data starts; nothing when no tab stands in front of it.
    std::optional<std::size_t> checkSuffix(std::string_view text, const Place& place);
    void checkData(std::string_view text, const Place& place);
    void checkPacket(std::span<const std::uint8_t> bytes, const Place& place);
    void checkSum(std::span<const std::uint8_t> bytes, std::size_t dataEnd, const Place& place);
    bool readerTakes(std::string_view text) const;
    void followReader(const TextLine& line, bool isCaption);
    void finish();

    ZQRCaptionChecker::Report& report_;
    RemarkCollector& remarks_;
    PairCheck pairs_;
    CDPCheck packets_;
    ZQCKTimebase timebase_ = ZQCKTimebase::timebaseForFramerate(3);
    int version_ = 0;
    bool sawLine_ = false;
    bool startsWithFormat_ = false;
    bool sawRate_ = false;
    bool hasKnownRate_ = true;
    std::optional<ZQCKTimecode> previous_;
    bool isReading_ = false;
    std::optional<std::int64_t> stoppedAt_;
    std::int64_t unread_ = 0;
};

}  // namespace zenquor::detail
