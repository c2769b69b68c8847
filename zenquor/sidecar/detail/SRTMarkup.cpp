#include "zenquor/sidecar/detail/SRTMarkup.h"

#include "zenquor/core/Unicode.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/detail/IntegerText.h"

namespace zenquor::detail {
namespace {

constexpr auto npos = std::u16string_view::npos;

bool startsWith(std::u16string_view text, std::u16string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// What may stand in an attribute's name, so that "bgcolor" is not taken for "color".
bool isNameCharacter(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'_' || unit == u':';
}

constexpr const char* missingValue = "(null)";

}  // namespace

std::optional<std::u16string> attributeOfTag(std::u16string_view tag, std::u16string_view name) {
    const std::u16string opening = std::u16string(name) + u"=\"";
    for (std::size_t at = tag.find(opening); at != npos; at = tag.find(opening, at + 1)) {
        if (at > 0 && isNameCharacter(tag[at - 1])) continue;
        const std::size_t begin = at + opening.size();
        const std::size_t end = tag.find(u'"', begin);
        if (end == npos) return std::nullopt;
        return std::u16string(tag.substr(begin, end - begin));
    }
    return std::nullopt;
}

void SRTMarkup::apply() {
    for (const auto& line : block_.lines()) {
        applyToLine(*line);
        lineOffset_ += line->string().size();
    }
    block_.popAllFormattingAtPosition(lineOffset_);
}

void SRTMarkup::applyToLine(ZQRSubtitleLine& line) {
    // What was looked at moves over to `text`, so a line with any number of tags is read once.
    const std::u16string source = line.string();
    std::optional<std::string> unsupported;
    std::u16string text;
    std::size_t rest = 0;
    while (!unsupported) {
        const std::size_t open = source.find(u'<', rest);
        const std::size_t close = open == npos ? npos : source.find(u'>', open);
        if (close == npos) break;
        text.append(source, rest, open - rest);
        const auto tag = std::u16string_view(source).substr(open + 1, close - open - 1);
        unsupported = unsupportedPartOfTag(tag, lineOffset_ + text.size());
        rest = unsupported ? open : close + 1;
    }
    text.append(source, rest);
    line.setString(std::move(text));
    if (unsupported) {
        ZLGGetHandle().error("ZQRSRTSidecar found unsupported markup {} in line {}", *unsupported, line);
    }
}

std::optional<std::string> SRTMarkup::unsupportedPartOfTag(std::u16string_view tag, std::size_t position) {
    if (startsWith(tag, u"line")) {
        const auto row = attributeOfTag(tag, u"line");
        if (!row) return missingValue;
        placeBlock(*row);
    } else if (startsWith(tag, u"/line")) {
        // Closes what needs no closing.
    } else if (startsWith(tag, u"font")) {
        const auto colour = attributeOfTag(tag, u"color");
        if (!colour) return missingValue;
        block_.pushFormatting(ZQRSubtitleFormatting::formatting(ZQRSubtitleFormatting::typeColour,
                                                                utf8FromUTF16(*colour),
                                                                {static_cast<std::uint32_t>(position), 0}));
    } else if (startsWith(tag, u"/font")) {
        block_.popFormatting(ZQRSubtitleFormatting::typeColour, position);
    } else {
        return utf8FromUTF16(tag);
    }
    return std::nullopt;
}

void SRTMarkup::placeBlock(std::u16string_view row) {
    if (isPlaced_) return;
    block_.setVerticalPosition(saturated(std::int64_t{integerValue(row)} * rowsPerLine_));
    isPlaced_ = true;
}

}  // namespace zenquor::detail
