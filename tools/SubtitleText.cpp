#include "SubtitleText.h"

#include <map>
#include <string_view>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"

namespace zenquor::tools {
namespace {

constexpr std::size_t shownReplacements = 12;

constexpr std::u16string_view unsupportedTags[] = {u"<i>", u"</i>", u"<b>", u"</b>", u"<u>", u"</u>",
                                                   u"<I>", u"</I>", u"<B>", u"</B>", u"<U>", u"</U>",
                                                   u"{i}", u"{/i}", u"{b}", u"{/b}", u"{u}", u"{/u}"};
constexpr std::u16string_view override = u"{\\";  // "{\an8}" and its like, up to the brace

std::size_t removeTags(std::u16string& text) {
    std::size_t count = 0;
    for (const auto tag : unsupportedTags) {
        for (std::size_t at = text.find(tag); at != std::u16string::npos; at = text.find(tag, at), ++count)
            text.erase(at, tag.size());
    }
    for (std::size_t at = text.find(override); at != std::u16string::npos;
         at = text.find(override, at), ++count) {
        const std::size_t end = text.find(u'}', at);
        if (end == std::u16string::npos) return count;
        text.erase(at, end + 1 - at);
    }
    return count;
}

bool hasColours(const ZQRSubtitleBlock& block) {
    bool found = false;
    for (const auto& line : block.lines())
        block.enumerateFormattingForLine(line, [&](const auto&, std::size_t, std::size_t) { found = true; });
    return found;
}

std::u16string withoutCodes(std::u16string_view text) {
    std::u16string result;
    for (const char16_t c : text) {
        const char16_t shown = c < 0x20 ? u' ' : c;
        if (shown != u' ' || (!result.empty() && result.back() != u' ')) result += shown;
    }
    while (!result.empty() && result.back() == u' ') result.pop_back();
    return result;
}

}  // namespace

std::size_t removeUnsupportedMarkup(const ZQRSubtitleBlockList& blocks) {
    std::size_t count = 0;
    for (const auto& block : blocks) {
        if (hasColours(*block)) continue;
        for (const auto& line : block->lines()) {
            std::u16string text = line->string();
            const std::size_t removed = removeTags(text);
            if (removed > 0) line->setString(std::move(text));
            count += removed;
        }
    }
    return count;
}

void removeTeletextCodes(ZQRSubtitleBlock& block) {
    ZQRSubtitleLineList lines;
    for (const auto& line : block.lines()) {
        auto text = withoutCodes(line->string());
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
