#include "SubtitleText.h"

#include <map>
#include <string_view>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"

namespace zenquor::tools {
namespace {

constexpr std::size_t shownReplacements = 12;

}  // namespace

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
