#pragma once
// The check of EBU STL files.

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <utility>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/STLGeneralCheck.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {

/// Goes through every text block that the file holds, whatever its general block announces.
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

    void checkBlock(Bytes bytes);
    void checkNumbers(const Block& block);
    void checkCumulative(const Block& block);
    void checkPlacement(const Block& block);
    void checkTimes(const Block& block);
    void checkLabel(const TimecodeLabel& label, const char* name, const Place& place);
    void checkOrder(const Block& block, std::uint32_t in, std::uint32_t out);
    void checkFirstTime(const ZQCKTimecode& in, const Place& place);
    void checkText(const Block& block);
    void finish();

    ZQRCaptionChecker::Report& report_;
    RemarkCollector& remarks_;
    STLGeneralCheck::General general_;
    std::set<std::pair<unsigned, unsigned>> subtitles_;  // group and number
    std::optional<unsigned> lastNumber_;
    /// The subtitle and the extension number of a text that goes on.
    std::optional<std::pair<unsigned, unsigned>> goesOn_;
    Place goesOnAt_;
    std::optional<Place> openSet_;
    std::optional<std::uint32_t> lastIn_, lastOut_;
};

}  // namespace zenquor::detail
