#pragma once
// The check of the text of SubRip blocks.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/sidecar/ZQRCaptionChecker.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"

namespace zenquor::detail {

/// Looks at what becomes of the text of each block on its way to the screen: its tags, its characters, its rows
/// and the time that it takes to send.
class SRTTextCheck {
public:
    /// The text of a block, with the in time of the block before.
    struct Text {
        const std::vector<std::string_view>& lines;
        const Place& place;
        std::optional<ZQCKTimecode> in, lastIn;
    };

    SRTTextCheck(RemarkCollector& remarks, const ZQRCaptionChecker::Options& options);

    /// Characters are not looked at in a file of another encoding.
    void setIsUTF8(bool isUTF8) { isUTF8_ = isUTF8; }
    /// Every block in its turn.
    void check(const Text& block);
    /// Tells what is only known at the end.
    void finish();

private:
    std::u16string checkMarkup(std::string_view line, const Place& place);
    void checkCharacters(std::u16string_view text, const Place& place);
    std::u16string_view teletextCharacters();
    bool canSend(char16_t character);
    void lose(char16_t character, const Place& place);
    void checkRows(const std::vector<std::u16string>& rows, const Place& place);
    void checkPace(const Text& block, const std::vector<std::u16string>& rows);

    RemarkCollector& remarks_;
    const ZQRCaptionChecker::Options& options_;
    bool isUTF8_ = true;
    std::int64_t freeAt_ = 0;         // the frame on which the line is free for the next pair
    std::vector<std::uint8_t> fits_;  // by character: 0 not looked at, 1 fits, 2 does not
    std::u16string teletextCharacters_;
    std::u16string lost_;  // characters without a neighbour, each once
    std::int64_t lostCount_ = 0;
    Place lostAt_;
};

}  // namespace zenquor::detail
