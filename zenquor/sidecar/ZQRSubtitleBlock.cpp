#include "zenquor/sidecar/ZQRSubtitleBlock.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/detail/IntegerText.h"

namespace zenquor {
namespace {

constexpr char16_t doubleHeightCode = 0x0D;

/// Looks no further into the first line than any screen reaches: merging asks this again for every block.
bool isDoubleHeight(const ZQRSubtitleLineList& lines) {
    if (lines.empty()) return false;
    const auto start = std::u16string_view(lines.front()->string()).substr(0, ZQRSubtitleBlock::maximumCarry);
    return start.find(doubleHeightCode) != std::u16string_view::npos;
}

/// How many code units stand in the lines before @p line; nothing when it is not one of them.
std::optional<std::size_t> offsetOfLine(const ZQRSubtitleLineList& lines, const ZQRSubtitleLinePtr& line) {
    std::size_t offset = 0;
    for (const auto& candidate : lines) {
        if (candidate == line) return offset;
        offset += candidate->string().size();
    }
    return std::nullopt;
}

std::string descriptionOfLines(const ZQRSubtitleLineList& lines, std::size_t first) {
    std::string text = "(";
    for (std::size_t i = first; i < lines.size(); ++i) {
        if (i != first) text += ", ";
        text += lines[i]->debugDescription();
    }
    return text + ")";
}

}  // namespace

std::int32_t ZQRSubtitleBlock::numberOfLines() const {
    return lines_.with(
        [](const auto& lines) { return detail::saturated(static_cast<std::int64_t>(lines.size())); });
}

bool ZQRSubtitleBlock::doubleHeight() const {
    return lines_.with(isDoubleHeight);
}

void ZQRSubtitleBlock::prepareForRenderingWidth(std::int32_t width, std::int32_t height) {
    if (!displayable()) return;
    if (justification_ != Unchanged) {
        for (const auto& line : lines()) line->stripWhitespace();
    }
    if (width > 0) wrapToWidth(static_cast<std::size_t>(width));
    if (height > 0) trimToHeight(static_cast<std::size_t>(height));
}

void ZQRSubtitleBlock::wrapToWidth(std::size_t width) {
    ZQRSubtitleLineList wrapped = lines();
    std::u16string carry;
    bool wasCut = false;
    for (const auto& line : wrapped) {
        carry = wrapLine(*line, carry, width);
        limitCarry(carry, wasCut);
    }
    if (carry.empty()) return;
    auto last = wrapped.back()->copy();
    last->replaceString(carry, true);
    wrapped.push_back(std::move(last));
    setLines(std::move(wrapped));
    if (verticalPosition_ >= 2) moveByLines(-1);
}

std::u16string ZQRSubtitleBlock::wrapLine(ZQRSubtitleLine& line, std::u16string_view carry,
                                          std::size_t width) const {
    if (!carry.empty()) line.prependString(std::u16string(carry) + u' ');
    if (line.length() <= width) return {};
    std::u16string rest = line.removeLastWordsToLength(width).value_or(std::u16string());
    if (rest.size() <= width) return rest;
    // A piece of the first carried word with a hyphen; in front of words that the line still holds, by
    // design.
    const auto room = static_cast<std::int64_t>(width) - 2 - static_cast<std::int64_t>(line.length());
    const auto taken =
        static_cast<std::size_t>(std::clamp<std::int64_t>(room, 0, static_cast<std::int64_t>(rest.size())));
    std::u16string piece(1, u' ');
    piece.append(rest, 0, taken).push_back(u'-');
    line.prependString(piece);
    rest.erase(0, taken);
    return rest;
}

void ZQRSubtitleBlock::limitCarry(std::u16string& carry, bool& wasCut) const {
    if (carry.size() <= maximumCarry) return;
    if (!wasCut) ZLGGetHandle().error("ZQRSubtitleBlock {}: text is far too long for the screen, cut", *this);
    wasCut = true;
    carry.resize(maximumCarry);
}

void ZQRSubtitleBlock::trimToHeight(std::size_t height) {
    ZQRSubtitleLineList trimmed = lines();
    if (trimmed.size() <= height) return;
    const std::size_t removed = trimmed.size() - height;
    ZLGGetHandle().error(
        "ZQREBUSTLSubtitleBlock {} has {} lines, more than the fixed maximum of {}. Removing {}", *this,
        trimmed.size(), height, descriptionOfLines(trimmed, height));
    trimmed.resize(height);
    setLines(std::move(trimmed));
    moveByLines(static_cast<std::int64_t>(removed));
}

void ZQRSubtitleBlock::moveByLines(std::int64_t count) {
    verticalPosition_ = detail::saturated(verticalPosition_ + (doubleHeight() ? 2 * count : count));
}

void ZQRSubtitleBlock::mergeBlock(const ZQRSubtitleBlock& other) {
    const ZQRSubtitleLineList added = other.lines();
    lines_.with([&](auto& lines) { lines.insert(lines.end(), added.begin(), added.end()); });
    moveByLines(-static_cast<std::int64_t>(added.size()));
    const ZQCKTimecode out = other.timecodeOut();
    if (out.framesSinceMidnight() > timecodeOut().framesSinceMidnight()) setTimecodeOut(out);
}

void ZQRSubtitleBlock::pushFormatting(ZQRSubtitleFormattingPtr formatting) {
    const std::int32_t type = formatting->type();
    formattingStack_[type].push_back(std::move(formatting));
}

void ZQRSubtitleBlock::popFormatting(std::int32_t type, std::size_t position) {
    const auto found = formattingStack_.find(type);
    if (found == formattingStack_.end() || found->second.empty()) {
        ZLGGetHandle().error(
            "ZQRSubtitleBlock requested to pop formatting type {} with empty stack at position {}", type,
            position);
        return;
    }
    FormattingList& stack = found->second;
    const ZQRSubtitleFormattingPtr formatting = std::move(stack.back());
    stack.pop_back();
    if (stack.size() >= maximumNestedRuns) {
        if (!loggedNesting_) {
            ZLGGetHandle().error("ZQRSubtitleBlock {}: runs are nested too deep, the innermost are lost",
                                 *this);
        }
        loggedNesting_ = true;
        return;
    }
    const std::uint32_t location = formatting->range().location;
    const auto end = static_cast<std::uint32_t>(std::max<std::size_t>(position, location));
    formatting->setRange({location, end - location});
    formatting_[type].push_back(formatting);
}

void ZQRSubtitleBlock::popAllFormattingAtPosition(std::size_t position) {
    const auto& stack = formattingStack_[ZQRSubtitleFormatting::typeColour];
    while (!stack.empty()) popFormatting(ZQRSubtitleFormatting::typeColour, position);
}

void ZQRSubtitleBlock::enumerateFormattingForLine(const ZQRSubtitleLinePtr& line,
                                                  const FormattingBlock& block) const {
    const auto lineOffset = lines_.with([&](const auto& lines) { return offsetOfLine(lines, line); });
    if (!lineOffset) return;

    struct Run {
        std::size_t order, begin, end;
        const ZQRSubtitleFormatting* formatting;
    };
    std::vector<Run> runs;
    for (const auto& [type, list] : formatting_) {
        for (const auto& formatting : list) {
            const auto range = formatting->range();
            runs.push_back(
                {runs.size(), range.location, std::size_t{range.location} + range.length, formatting.get()});
        }
    }
    std::stable_sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) { return a.begin < b.begin; });

    // The runs over the current character, in the order in which they were finished.
    std::vector<Run> covering;
    auto next = runs.begin();
    const ZQRSubtitleFormatting* reported = nullptr;
    for (std::size_t i = 0; i < line->string().size(); ++i) {
        const std::size_t position = *lineOffset + i;
        std::erase_if(covering, [&](const Run& run) { return run.end <= position; });
        for (; next != runs.end() && next->begin <= position; ++next) {
            if (next->end <= position) continue;
            const auto place = std::find_if(covering.begin(), covering.end(),
                                            [&](const Run& run) { return run.order > next->order; });
            covering.insert(place, *next);
        }
        for (const Run& run : covering) {
            if (run.formatting == reported) continue;
            block(*run.formatting, i, position - run.begin);
            reported = run.formatting;
        }
    }
}

std::string ZQRSubtitleBlock::description() const {
    return fmt::format("Subtitle block: {} position: {} in: {} out: {}", subtitleNumber_, verticalPosition_,
                       timecodeIn(), timecodeOut());
}

std::string ZQRSubtitleBlock::debugDescriptionHeader() const {
    const auto& names = justifyStrings();
    const bool isNamed = justification_ >= 0 && static_cast<std::size_t>(justification_) < names.size();
    return fmt::format("{} justify: {} lines: {}", ZQRSubtitleBlock::description(),
                       isNamed ? names[static_cast<std::size_t>(justification_)] : "(null)", numberOfLines());
}

std::string ZQRSubtitleBlock::debugDescription() const {
    std::string text = debugDescriptionHeader();
    for (const auto& line : lines()) text.append("\n").append(line->debugDescription());
    return text;
}

const std::array<std::string_view, 4>& ZQRSubtitleBlock::justifyStrings() {
    static constexpr std::array<std::string_view, 4> names = {"unchanged", "left", "centered", "right"};
    return names;
}

}  // namespace zenquor
