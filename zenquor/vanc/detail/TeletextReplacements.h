#pragma once
// Near characters for those that a teletext set lacks.

#include <cstdint>
#include <span>
#include <string_view>

namespace zenquor::detail {

/// All sources become the one target.
struct TeletextReplacement {
    char16_t target;
    std::u16string_view sources;
};

/// The general list, nearest targets first: a source may stand again further down with a farther target, in
/// the end with one that every set has.
std::span<const TeletextReplacement> teletextGeneralReplacements();
/// The list of one set; empty for most.
std::span<const TeletextReplacement> teletextOwnReplacements(std::uint32_t set);

/// The character to look up in @p set for @p character. The general list speaks only for characters of which
/// neither the set nor its own list knows; the own list is applied to whatever comes of that.
char16_t teletextReplacement(char16_t character, std::uint32_t set);

}  // namespace zenquor::detail
