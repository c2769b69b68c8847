#pragma once
// One line of subtitle text, with the control characters that ride in it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQObject.h"

namespace zenquor {

class ZQRSubtitleLine;
using ZQRSubtitleLinePtr = std::shared_ptr<ZQRSubtitleLine>;
using ZQRSubtitleLineList = std::vector<ZQRSubtitleLinePtr>;

/// A line of UTF-16 text. Code units below 0x20 are control characters (teletext colours, boxes, double
/// height): they stay in the text, take no room and are never whitespace. Whitespace is the space alone.
/// Indexes are code units.
///
/// Thread-safety: One thread at a time.
class ZQRSubtitleLine final : public ZQObject {
public:
    /// Called at each space with the walk's index, which it may change; true stops the walk.
    using WhitespaceBlock = std::function<bool(std::ptrdiff_t& index)>;

    static ZQRSubtitleLinePtr initWithString(std::u16string string);
    /// A line of its own with the same text.
    ZQRSubtitleLinePtr copy() const { return initWithString(string_); }

    const std::u16string& string() const { return string_; }
    void setString(std::u16string string) { string_ = std::move(string); }
    /// Printable width: the code units of 0x20 and above.
    std::size_t length() const;
    bool containsCharacter(char16_t character) const;

    /// Removes the spaces before the first and after the last printable character; control characters there
    /// stay.
    void stripWhitespace();
    /// Takes the last word off, with what separates it from the word before. What follows the word stays, and
    /// so does what precedes an only word.
    /// @return the word; nothing when the line has none.
    std::optional<std::u16string> removeLastWord();
    /// Takes words off the end until length() is at most @p length.
    /// @return the words in text order with single spaces between; nothing when none was taken.
    std::optional<std::u16string> removeLastWordsToLength(std::size_t length);
    /// Inserts @p text behind the leading spaces and control characters.
    void prependString(std::u16string_view text);
    /// Replaces everything from the first to the last printable character that is no space, so that control
    /// characters around it stay; without retaining, the whole text.
    void replaceString(std::u16string_view text, bool retainingControlCharacters);
    /// Cuts code units out; the range is clipped to the text.
    void removeRange(std::size_t location, std::size_t length);

    /// Subtitle line "…", control characters readable, UTF-8.
    std::string debugDescription() const;
    std::string description() const override { return debugDescription(); }

    /// Walks over spaces and control characters from the start, or from the end backwards, calling @p block
    /// at each space; stops at any other character or when the block says so. The string is looked at anew at
    /// each step, so the block may edit it.
    /// @return where the walk stopped: the length past the end, −1 before the start.
    static std::ptrdiff_t enumerateWhitespaceInString(const std::u16string& string, bool forwards,
                                                      const WhitespaceBlock& block);
    /// @p count copies of the character; empty for 0 and less.
    static std::u16string stringWithControlCharacter(char16_t character, int count);
    /// Without the code units below 0x20.
    static std::u16string stringStrippingControlCharacters(std::u16string_view string);
    static std::u16string prependControlCharacter(char16_t character, int count, std::u16string_view string);
    static std::u16string appendControlCharacter(char16_t character, int count, std::u16string_view string);
    /// @param position  beyond the end counts as the end.
    static std::u16string insertControlCharacter(char16_t character, int count, std::u16string_view string,
                                                 std::size_t position);

private:
    explicit ZQRSubtitleLine(std::u16string string) : string_(std::move(string)) {}

    std::u16string string_;
};

}  // namespace zenquor
