#pragma once
// The check of the general block of EBU STL files.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"

namespace zenquor::detail {

/// Compares the fields of the general block with the standard and with the size of the file.
///
/// Standards: EBU Tech 3264 (GSI block).
class STLGeneralCheck {
public:
    static constexpr std::size_t size = 1024;
    static constexpr std::size_t blockSize = 128;  // of each text block behind it
    using Bytes = std::span<const std::uint8_t, size>;

    /// What the text blocks are to be measured by.
    struct General {
        ZQCKTimebase timebase = ZQCKTimebase::timebaseForFramerate(3);
        bool hasKnownFormat = false;
        bool hasAllBlocks = true;
        bool isLatin = true;
        char displayStandard = ' ';
        std::int64_t announcedSubtitles = -1;  // -1 when not given
        std::optional<ZQCKTimecode> programmeStart, firstInCue;

        bool isTeletext() const { return displayStandard == '1' || displayStandard == '2'; }
    };

    explicit STLGeneralCheck(RemarkCollector& remarks) : remarks_(remarks) {}

    General check(Bytes general, std::size_t fileSize);

private:
    void checkCodes(Bytes general);
    void checkCounts(Bytes general, std::size_t fileSize);
    void checkTimecodeFields(Bytes general);
    std::optional<ZQCKTimecode> checkTimecodeField(Bytes general, std::size_t offset, const char* name);

    RemarkCollector& remarks_;
    General found_;
};

}  // namespace zenquor::detail
