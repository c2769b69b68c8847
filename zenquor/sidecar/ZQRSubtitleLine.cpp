#include "zenquor/sidecar/ZQRSubtitleLine.h"

#include <algorithm>

#include "zenquor/sidecar/detail/ControlCharacters.h"

namespace zenquor {
namespace {

constexpr char16_t space = 0x20;

bool isControl(char16_t unit) {
    return unit < 0x20;
}
/// A space or a control character: what separates words.
bool isSeparator(char16_t unit) {
    return unit <= space;
}

std::size_t printableLength(std::u16string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char16_t u) { return !isControl(u); }));
}

/// The index of the first unit that is no separator; the length when there is none.
std::size_t startOfText(std::u16string_view text) {
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isSeparator) - text.begin());
}

/// The index behind the last unit that is no separator; 0 when there is none.
std::size_t endOfText(std::u16string_view text) {
    return static_cast<std::size_t>(text.rend() - std::find_if_not(text.rbegin(), text.rend(), isSeparator));
}

/// A text's last word, and from where on it is cut when it goes.
struct LastWord {
    std::size_t cut, begin, end;
};

std::optional<LastWord> lastWordOf(std::u16string_view text) {
    const std::size_t end = endOfText(text);
    if (end == 0) return std::nullopt;
    const auto reversed = text.substr(0, end);
    const auto separator = std::find_if(reversed.rbegin(), reversed.rend(), isSeparator);
    const auto begin = static_cast<std::size_t>(reversed.rend() - separator);
    const std::size_t previousEnd = endOfText(text.substr(0, begin));
    return LastWord{previousEnd != 0 ? previousEnd : begin, begin, end};
}

}  // namespace

ZQRSubtitleLinePtr ZQRSubtitleLine::initWithString(std::u16string string) {
    return ZQRSubtitleLinePtr(new ZQRSubtitleLine(std::move(string)));
}

std::size_t ZQRSubtitleLine::length() const {
    return printableLength(string_);
}

bool ZQRSubtitleLine::containsCharacter(char16_t character) const {
    return string_.find(character) != std::u16string::npos;
}

void ZQRSubtitleLine::stripWhitespace() {
    const auto removeSpaces = [this](std::size_t first, std::size_t last) {
        const auto begin = string_.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end = string_.begin() + static_cast<std::ptrdiff_t>(last);
        string_.erase(std::remove(begin, end, space), end);
    };
    removeSpaces(endOfText(string_), string_.size());
    removeSpaces(0, startOfText(string_));
}

std::optional<std::u16string> ZQRSubtitleLine::removeLastWord() {
    const auto word = lastWordOf(string_);
    if (!word) return std::nullopt;
    std::u16string removed = string_.substr(word->begin, word->end - word->begin);
    string_.erase(word->cut, word->end - word->cut);
    return removed;
}

std::optional<std::u16string> ZQRSubtitleLine::removeLastWordsToLength(std::size_t length) {
    // One pass: the text in front shrinks word by word while what follows the last word stays at the end.
    std::u16string_view front = string_;
    std::size_t printable = printableLength(string_);
    std::vector<std::u16string_view> words;
    std::size_t tail = string_.size();
    while (printable > length) {
        const auto word = lastWordOf(front);
        if (!word) break;
        if (words.empty()) tail = word->end;
        words.push_back(front.substr(word->begin, word->end - word->begin));
        printable -= printableLength(front.substr(word->cut, word->end - word->cut));
        front = front.substr(0, word->cut);
    }
    if (words.empty()) return std::nullopt;
    std::u16string removed;
    for (auto word = words.rbegin(); word != words.rend(); ++word) {
        if (!removed.empty()) removed.push_back(space);
        removed.append(*word);
    }
    string_.erase(front.size(), tail - front.size());
    return removed;
}

void ZQRSubtitleLine::prependString(std::u16string_view text) {
    string_.insert(startOfText(string_), text);
}

void ZQRSubtitleLine::replaceString(std::u16string_view text, bool retainingControlCharacters) {
    if (!retainingControlCharacters) {
        string_ = text;
        return;
    }
    const std::size_t begin = startOfText(string_);
    const std::size_t end = endOfText(string_);
    if (begin < end) {
        string_.replace(begin, end - begin, text);
    } else {
        prependString(text);
    }
}

void ZQRSubtitleLine::removeRange(std::size_t location, std::size_t length) {
    if (location < string_.size()) string_.erase(location, length);
}

std::string ZQRSubtitleLine::debugDescription() const {
    return "Subtitle line \"" + detail::readableText(string_) + "\"";
}

std::ptrdiff_t ZQRSubtitleLine::enumerateWhitespaceInString(const std::u16string& string, bool forwards,
                                                            const WhitespaceBlock& block) {
    const auto length = [&] { return static_cast<std::ptrdiff_t>(string.size()); };
    std::ptrdiff_t index = forwards ? 0 : length() - 1;
    for (; index >= 0 && index < length(); index += forwards ? 1 : -1) {
        const char16_t unit = string[static_cast<std::size_t>(index)];
        if (isControl(unit)) continue;
        if (unit != space || (block && block(index))) return index;
    }
    return forwards ? length() : -1;
}

std::u16string ZQRSubtitleLine::stringWithControlCharacter(char16_t character, int count) {
    return std::u16string(static_cast<std::size_t>(std::max(count, 0)), character);
}

std::u16string ZQRSubtitleLine::stringStrippingControlCharacters(std::u16string_view string) {
    std::u16string stripped;
    stripped.reserve(string.size());
    std::copy_if(string.begin(), string.end(), std::back_inserter(stripped),
                 [](char16_t u) { return !isControl(u); });
    return stripped;
}

std::u16string ZQRSubtitleLine::prependControlCharacter(char16_t character, int count,
                                                        std::u16string_view string) {
    return insertControlCharacter(character, count, string, 0);
}

std::u16string ZQRSubtitleLine::appendControlCharacter(char16_t character, int count,
                                                       std::u16string_view string) {
    return insertControlCharacter(character, count, string, string.size());
}

std::u16string ZQRSubtitleLine::insertControlCharacter(char16_t character, int count,
                                                       std::u16string_view string, std::size_t position) {
    std::u16string result(string);
    return result.insert(std::min(position, result.size()), stringWithControlCharacter(character, count));
}

}  // namespace zenquor
