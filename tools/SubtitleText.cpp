#include "SubtitleText.h"

#include <map>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/sidecar/ZQREBUSTLLatinAlphabet.h"

namespace zenquor::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t shownReplacements = 12;

/// Combining characters in the order of the marks 0xC0 to 0xCF of the subtitle exchange format.
constexpr std::u16string_view combiningMarks =
    u"\0\u0300\u0301\u0302\u0303\u0304\u0306\u0307\u0308\0\u030A\u0327\0\u030B\u0328\u030C"sv;

/// The letter with its accent, or nothing.
std::optional<char16_t> composed(char16_t letter, char16_t accent) {
    const std::size_t mark = combiningMarks.find(accent);
    if (accent == 0 || mark == std::u16string_view::npos || letter > 0x7F) return std::nullopt;
    return ZQREBUSTLLatinAlphabet::combinedCharacter(static_cast<std::uint8_t>(0xC0 + mark),
                                                     static_cast<std::uint8_t>(letter));
}

}  // namespace

void composeAccents(const ZQRSubtitleBlockList& blocks) {
    for (const auto& block : blocks) {
        for (const auto& line : block->lines()) {
            std::u16string text;
            for (const char16_t c : line->string()) {
                const auto whole = text.empty() ? std::nullopt : composed(text.back(), c);
                if (whole) text.back() = *whole;
                if (!whole) text += c;
            }
            line->setString(std::move(text));
        }
    }
}

std::u16string textWithoutCodes(std::u16string_view text) {
    std::u16string result;
    for (const char16_t c : text) {
        const char16_t shown = c < 0x20 ? u' ' : c;
        if (shown != u' ' || (!result.empty() && result.back() != u' ')) result += shown;
    }
    while (!result.empty() && result.back() == u' ') result.pop_back();
    return result;
}

void removeTeletextCodes(ZQRSubtitleBlock& block) {
    ZQRSubtitleLineList lines;
    for (const auto& line : block.lines()) {
        auto text = textWithoutCodes(line->string());
        if (!text.empty()) lines.push_back(ZQRSubtitleLine::initWithString(std::move(text)));
    }
    block.setLines(std::move(lines));
}

std::string fitCharacters(const ZQRSubtitleBlockList& blocks, bool allowWestEuropean) {
    std::map<char16_t, std::size_t> replaced;
    for (const auto& block : blocks) {
        for (const auto& line : block->lines()) {
            for (const char16_t c : line->string()) {
                const auto replacement = ZQRCaptionCharacters::replacementFor(c, allowWestEuropean);
                if (replacement ? !replacement->looksAlike
                                : c >= 0x20 && !ZQRCaptionCharacters::fits({&c, 1}, allowWestEuropean))
                    ++replaced[c];
            }
        }
    }
    ZQRCaptionCharacters::fitBlocks(blocks, allowWestEuropean);
    std::string text;
    std::size_t shown = 0;
    for (const auto& [c, count] : replaced) {
        if (++shown > shownReplacements)
            return text + fmt::format(" and {} more", replaced.size() - shownReplacements);
        const auto replacement = ZQRCaptionCharacters::replacementFor(c, allowWestEuropean);
        const auto name = utf8FromUTF16({&c, 1});
        if (!text.empty()) text += ", ";
        text += replacement
                    ? fmt::format("{} by {} ({} times)", name, utf8FromUTF16(replacement->text), count)
                    : fmt::format("{} by nothing ({} times)", name, count);
    }
    return text;
}

}  // namespace zenquor::tools
