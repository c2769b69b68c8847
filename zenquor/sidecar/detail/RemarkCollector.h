#pragma once
// Findings of a check, gathered so that a fault in every line is told once and counted.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "zenquor/sidecar/ZQRCaptionRemark.h"

namespace zenquor::detail {

/// One thing that a check can find. Findings are told apart by address.
struct Finding {
    ZQRCaptionRemark::Kind kind;
    std::int64_t shown = 1;  ///< so many are told one by one; the rest are counted in the last of these
};

/// Where something was found.
struct Place {
    std::optional<ZQCKTimecode> timecode{};
    std::optional<std::int64_t> line{};
    /// The number of a subtitle in a file without lines; it goes into the sentence.
    std::optional<std::int64_t> subtitle{};
};

/// Thread-safety: One thread at a time.
class RemarkCollector {
public:
    /// @param limit  remarks that are kept; further ones are counted.
    explicit RemarkCollector(std::size_t limit) : limit_(limit) {}

    /// @param text    called for the sentence, only when it will be told.
    /// @param detail  tells findings of one sort apart, such as the character concerned.
    template <typename Text>
    void add(const Finding& finding, const Place& place, Text&& text, std::uint64_t detail = 0) {
        if (takes(finding, place, detail)) append(finding, place, std::forward<Text>(text)());
    }
    /// A remark that somebody else worded. Those that differ in their numbers only are one finding.
    void addForeign(const ZQRCaptionRemark& remark);
    /// The remarks in the order in which they were found, and one more that counts those beyond the limit.
    ZQRCaptionRemarkList finish();

private:
    struct Group {
        std::int64_t count = 0;
        std::int64_t told = 0;
        std::size_t remark = 0;  // the last that was told
        Place last;
    };

    bool takes(const Finding& finding, const Place& place, std::uint64_t detail);
    void append(const Finding& finding, const Place& place, std::string text);

    std::size_t limit_;
    std::map<std::pair<const Finding*, std::uint64_t>, Group> groups_;
    Group* current_ = nullptr;
    std::int64_t hidden_ = 0;
    ZQRCaptionRemarkList remarks_;
};

}  // namespace zenquor::detail
