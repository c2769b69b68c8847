#pragma once
// The check of EBU STL files.

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {

/// Goes through the general block and every text block that the file holds, whatever it announces.
///
/// Standards: EBU Tech 3264.
class STLCheck {
public:
    STLCheck(ZQRCaptionChecker::Report& report, RemarkCollector& remarks)
        : report_(report), remarks_(remarks) {}

    void check(std::span<const std::uint8_t> bytes);

private:
    using Bytes = std::span<const std::uint8_t>;
    struct Block {
        unsigned group, number, extension, cumulative, position, justification, comment;
        TimecodeLabel in, out;
        Bytes text;
        Place place;
    };
    /// What a text field holds.
    struct Row {
        int columns = 0;     // codes up to the last that is no space
        int characters = 0;  // that can be seen
        bool hasStartBox = false, hasEndBox = false;
    };

    void checkGeneral(Bytes general, std::size_t fileSize);
    void checkCodes(Bytes general);
    void checkCounts(Bytes general, std::size_t fileSize);
    void checkTimecodeFields(Bytes general);
    std::optional<ZQCKTimecode> checkTimecodeField(Bytes general, std::size_t offset, const char* name);

    void checkBlock(Bytes bytes);
    void checkNumbers(const Block& block);
    void checkCumulative(const Block& block);
    void checkPlacement(const Block& block);
    void checkTimes(const Block& block);
    void checkLabel(const TimecodeLabel& label, const char* name, const Place& place);
    void checkOrder(const Block& block, std::uint32_t in, std::uint32_t out);
    void checkFirstTime(const ZQCKTimecode& in, const Place& place);
    void checkText(const Block& block);
    void checkControl(std::uint8_t code, const Place& place);
    void checkMark(std::uint8_t mark, std::uint8_t letter, const Place& place);
    void finishRow(const Row& row, int& rows, const Place& place);
    void finish();
    bool isTeletext() const { return displayStandard_ == '1' || displayStandard_ == '2'; }

    ZQRCaptionChecker::Report& report_;
    RemarkCollector& remarks_;
    ZQCKTimebase timebase_ = ZQCKTimebase::timebaseForFramerate(3);
    bool hasKnownFormat_ = false;
    bool hasAllBlocks_ = true;
    bool isLatin_ = true;
    char displayStandard_ = ' ';
    std::int64_t announcedSubtitles_ = -1;
    std::optional<ZQCKTimecode> programmeStart_, firstInCue_;
    std::set<std::pair<unsigned, unsigned>> subtitles_;  // group and number
    std::optional<unsigned> lastNumber_;
    std::optional<std::pair<unsigned, unsigned>>
        goesOn_;  // subtitle and extension number of a text that goes on
    Place goesOnAt_;
    std::optional<Place> openSet_;
    std::optional<std::uint32_t> lastIn_, lastOut_;
};

}  // namespace zenquor::detail
