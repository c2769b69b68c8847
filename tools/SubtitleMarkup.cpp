#include "SubtitleMarkup.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/Unicode.h"

namespace zenquor::tools {
namespace {

using Colour = std::optional<char16_t>;  // teletext code 0 to 7; nothing: the text's own white

constexpr auto npos = std::u16string_view::npos;
constexpr char16_t white = 7;

struct ColourName {
    std::u16string_view name;
    char16_t code;
};
constexpr ColourName colourNames[] = {{u"black", 0},  {u"red", 1},  {u"green", 2},   {u"lime", 2},
                                      {u"yellow", 3}, {u"blue", 4}, {u"magenta", 5}, {u"fuchsia", 5},
                                      {u"cyan", 6},   {u"aqua", 6}, {u"white", 7}};
// Tags in angle brackets or braces that teletext and captions have nothing for.
constexpr std::u16string_view plainTags[] = {u"i", u"/i", u"b", u"/b", u"u", u"/u", u"/line"};

std::u16string lower(std::u16string_view text) {
    std::u16string result(text);
    for (char16_t& c : result) c = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
    return result;
}

/// The nearest of the eight colours of teletext; a dark one becomes white rather than black on black.
Colour codeOfColour(std::u16string_view text) {
    std::u16string name = lower(text);
    if (name.starts_with(u'#')) name.erase(0, 1);
    const auto* const known = std::ranges::find(colourNames, name, &ColourName::name);
    if (known != std::end(colourNames)) return known->code;
    const std::string digits = utf8FromUTF16(name);
    unsigned value = 0;
    const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (digits.size() != 6 || status != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    const auto code =
        static_cast<char16_t>((value >> 23 & 1) | (value >> 15 & 1) << 1 | (value >> 7 & 1) << 2);
    return code == 0 && value != 0 ? white : code;
}

/// The value of a font tag's colour, with or without quotes around it; nothing without one.
std::optional<std::u16string> colourOfTag(std::u16string_view tag) {
    const std::u16string text = lower(tag);
    constexpr std::u16string_view key = u" color=";
    const std::size_t at = text.find(key);
    if (at == npos) return std::nullopt;
    std::u16string_view value = std::u16string_view(text).substr(at + key.size());
    const char16_t quote = !value.empty() && (value[0] == u'"' || value[0] == u'\'') ? value[0] : u' ';
    if (quote != u' ') value.remove_prefix(1);
    return std::u16string(value.substr(0, value.find(quote)));
}

/// Cleans one block, line by line: tags may open on one line and close on another.
class BlockCleaner {
public:
    BlockCleaner(const ZQRSubtitleBlock& block, bool asTeletext, CleanedMarkup& result)
        : block_(block), asTeletext_(asTeletext), result_(result) {}

    ZQRSubtitleBlockPtr clean() {
        auto copy = ZQRSubtitleBlock::subtitleBlock();
        copy->setSubtitleNumber(block_.subtitleNumber());
        copy->setVerticalPosition(block_.verticalPosition());
        copy->setJustification(block_.justification());
        copy->setTimecodeIn(block_.timecodeIn());
        copy->setTimecodeOut(block_.timecodeOut());
        ZQRSubtitleLineList lines;
        for (const auto& line : block_.lines())
            lines.push_back(ZQRSubtitleLine::initWithString(cleanLine(line)));
        copy->setLines(std::move(lines));
        return copy;
    }

private:
    /// The runs that the library made of the tags that it read: the innermost one at each character.
    std::vector<const ZQRSubtitleFormatting*> runsOf(const ZQRSubtitleLinePtr& line) const {
        std::vector<const ZQRSubtitleFormatting*> runs(line->string().size());
        block_.enumerateFormattingForLine(line, [&](const ZQRSubtitleFormatting& run, std::size_t index,
                                                    std::size_t offset) {
            const std::size_t end = std::min<std::size_t>(runs.size(), index + run.range().length - offset);
            for (std::size_t at = index; at < end; ++at) {
                if (!runs[at] || runs[at]->range().location <= run.range().location) runs[at] = &run;
            }
        });
        return runs;
    }

    std::u16string cleanLine(const ZQRSubtitleLinePtr& line) {
        const auto runs = runsOf(line);
        const std::u16string_view source = line->string();
        text_.clear();
        shown_ = white;
        for (std::size_t at = 0; at < source.size();) {
            run_ = runs[at];
            if (const std::size_t length = takeTag(source.substr(at)); length > 0) {
                at += length;
            } else {
                append(source[at++]);
            }
        }
        return text_;
    }

    /// @return how many characters of @p text a tag takes that is understood; 0 when there is none.
    std::size_t takeTag(std::u16string_view text) {
        const char16_t opening = text[0];
        if (opening != u'<' && opening != u'{') return 0;
        const std::size_t close = text.find(opening == u'<' ? u'>' : u'}');
        if (close == npos) return 0;
        const std::u16string tag = lower(text.substr(1, close - 1));
        const bool isPlain = std::ranges::find(plainTags, tag) != std::end(plainTags);
        const bool isOverride = opening == u'{' && tag.starts_with(u'\\');
        if (isPlain || isOverride) {
            ++result_.tags;
        } else if (opening == u'<' && tag.starts_with(u"font")) {
            open_.push_back(colourOf(colourOfTag(tag)));
        } else if (opening == u'<' && tag.starts_with(u"/font")) {
            closeColour();
        } else {
            return 0;
        }
        return close + 1;
    }

    Colour colourOf(const std::optional<std::u16string>& name) {
        if (!name) return std::nullopt;
        const Colour code = codeOfColour(*name);
        if (!code) ++result_.colours;
        return code;
    }

    /// A closing tag without an opening one ends the run of a tag that the library read.
    void closeColour() {
        if (!open_.empty()) {
            open_.pop_back();
        } else {
            closedRun_ = run_;
        }
    }

    Colour colourHere() {
        if (!open_.empty() && open_.back()) return open_.back();
        if (!run_ || run_ == closedRun_) return std::nullopt;
        if (run_ != lastRun_) lastColour_ = colourOf(utf16FromUTF8(run_->colour()));
        lastRun_ = run_;
        return lastColour_;
    }

    void append(char16_t c) {
        const char16_t colour = c > u' ' ? colourHere().value_or(white) : shown_;
        if (asTeletext_ && colour != shown_) {
            const bool isAtSpace = text_.size() > 1 && text_.back() == u' ';
            if (isAtSpace) text_.pop_back();
            text_ += colour;
            shown_ = colour;
        }
        text_ += c;
    }

    const ZQRSubtitleBlock& block_;
    const bool asTeletext_;
    CleanedMarkup& result_;
    std::u16string text_;
    char16_t shown_ = white;
    std::vector<Colour> open_;
    const ZQRSubtitleFormatting* run_ = nullptr;        // at the character that is looked at
    const ZQRSubtitleFormatting* closedRun_ = nullptr;  // has no effect any more
    const ZQRSubtitleFormatting* lastRun_ = nullptr;    // whose colour is known
    Colour lastColour_;
};

}  // namespace

CleanedMarkup cleanMarkup(ZQRSubtitleBlockList& blocks, bool asTeletext) {
    CleanedMarkup result;
    for (auto& block : blocks) block = BlockCleaner(*block, asTeletext, result).clean();
    return result;
}

}  // namespace zenquor::tools
