#include "zenquor/sidecar/ZQRSidecarCaption.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <fmt/format.h>

namespace zenquor {
namespace {

/// The letters of MCC text from 'G' on, each standing for one byte sequence some times over; none for 'V' to
/// 'Y'.
struct Letter {
    std::array<std::uint8_t, 3> bytes;
    std::size_t count;
    std::size_t times;

    constexpr std::size_t size() const { return count * times; }
    constexpr std::uint8_t operator[](std::size_t i) const { return bytes[i % count]; }
};

constexpr Letter letters[] = {
    {{0xFA, 0x00, 0x00}, 3, 1},  // G
    {{0xFA, 0x00, 0x00}, 3, 2},  // H
    {{0xFA, 0x00, 0x00}, 3, 3},  // I
    {{0xFA, 0x00, 0x00}, 3, 4},  // J
    {{0xFA, 0x00, 0x00}, 3, 5},  // K
    {{0xFA, 0x00, 0x00}, 3, 6},  // L
    {{0xFA, 0x00, 0x00}, 3, 7},  // M
    {{0xFA, 0x00, 0x00}, 3, 8},  // N
    {{0xFA, 0x00, 0x00}, 3, 9},  // O
    {{0xFB, 0x80, 0x80}, 3, 1},  // P
    {{0xFC, 0x80, 0x80}, 3, 1},  // Q
    {{0xFD, 0x80, 0x80}, 3, 1},  // R
    {{0x96, 0x69}, 2, 1},        // S
    {{0x61, 0x01}, 2, 1},        // T
    {{0xE1, 0x00, 0x00}, 3, 1},  // U
    {{}, 0, 0},                  // V
    {{}, 0, 0},                  // W
    {{}, 0, 0},                  // X
    {{}, 0, 0},                  // Y
    {{0x00}, 1, 1},              // Z
};
constexpr char firstLetter = 'G';
constexpr char lastLetter = 'Z';
static_assert(std::size(letters) == lastLetter - firstLetter + 1);

std::optional<std::uint8_t> hexadecimalDigit(char character) {
    if (character >= '0' && character <= '9') return static_cast<std::uint8_t>(character - '0');
    if (character >= 'A' && character <= 'F') return static_cast<std::uint8_t>(character - 'A' + 10);
    if (character >= 'a' && character <= 'f') return static_cast<std::uint8_t>(character - 'a' + 10);
    return std::nullopt;
}

constexpr std::size_t longestLetter = 27;

/// A letter's bytes side by side, with room for copying a fixed size.
struct LetterBytes {
    std::array<std::uint8_t, longestLetter> bytes;
    std::uint8_t size;
};

constexpr auto letterBytes = [] {
    std::array<LetterBytes, std::size(letters)> table = {};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i].size = static_cast<std::uint8_t>(letters[i].size());
        for (std::size_t j = 0; j < letters[i].size(); ++j) table[i].bytes[j] = letters[i][j];
    }
    return table;
}();

/// What a character is to a whole text: a digit's value, or one of these. They are so large that four kinds,
/// put together as four digits, tell whether all of them are digits.
constexpr std::uint32_t spaceKind = 0x10000;
constexpr std::uint32_t letterKind = 0x20000;
constexpr std::uint32_t otherKind = 0x40000;

constexpr auto characterKinds = [] {
    std::array<std::uint32_t, 256> table = {};
    for (auto& kind : table) kind = otherKind;
    for (unsigned i = 0; i < 10; ++i) table['0' + i] = i;
    for (unsigned i = 0; i < 6; ++i) table['A' + i] = table['a' + i] = 10 + i;
    for (char c = firstLetter; c <= lastLetter; ++c) table[static_cast<unsigned char>(c)] = letterKind;
    table[' '] = spaceKind;
    return table;
}();

std::uint32_t kindOf(char character) {
    return characterKinds[static_cast<unsigned char>(character)];
}

/// The value of so many digits; at least spaceKind when one of them is none.
std::uint32_t twoDigits(const char* text) {
    return kindOf(text[0]) << 4 | kindOf(text[1]);
}
std::uint32_t fourDigits(const char* text) {
    return twoDigits(text) << 8 | twoDigits(text + 2);
}

/// Where decoding stands: the text from `next` on, the memory from `out` on.
struct Position {
    const char* next;
    std::uint8_t* out;
};

Position stepFourDigits(Position at, std::uint32_t value) {
    at.out[0] = static_cast<std::uint8_t>(value >> 8);
    at.out[1] = static_cast<std::uint8_t>(value);
    return {at.next + 4, at.out + 2};
}

/// Four digits and a space, again and again: what SCC lines are made of.
Position decodePairs(Position at, const char* end, const std::uint8_t* limit) {
    while (end - at.next > 4 && at.next[4] == ' ' && at.out < limit) {
        const std::uint32_t value = fourDigits(at.next);
        if (value >= spaceKind) break;
        at = stepFourDigits(at, value);
        ++at.next;
    }
    return at;
}

/// Letters and groups of four digits.
Position decodeLettersAndDigits(Position at, const char* end, const std::uint8_t* limit) {
    while (at.next != end && at.out < limit) {
        if (kindOf(*at.next) == letterKind) {
            const LetterBytes& expansion = letterBytes[*at.next - firstLetter];
            std::memcpy(at.out, expansion.bytes.data(), longestLetter);
            at = {at.next + 1, at.out + expansion.size};
            continue;
        }
        if (end - at.next < 4) break;
        const std::uint32_t value = fourDigits(at.next);
        if (value < spaceKind) {
            at = stepFourDigits(at, value);
        } else if (twoDigits(at.next) < spaceKind) {
            *at.out = static_cast<std::uint8_t>(twoDigits(at.next));
            at = {at.next + 2, at.out + 1};
        } else {
            break;
        }
    }
    return at;
}

/// Decodes text for as long as its bytes are whole, until the memory from `out` to `limit` is full; a letter
/// may go beyond the limit. What stops it otherwise is the end, half a byte, or what belongs to no encoding.
Position decodeWholeBytes(Position at, const char* end, const std::uint8_t* limit, bool allowMCCEncoding) {
    while (at.next != end && at.out < limit) {
        at = allowMCCEncoding ? decodeLettersAndDigits(at, end, limit) : decodePairs(at, end, limit);
        if (at.next == end || at.out >= limit) break;
        if (*at.next == ' ') {
            ++at.next;
        } else if (end - at.next >= 2 && twoDigits(at.next) < spaceKind) {
            *at.out = static_cast<std::uint8_t>(twoDigits(at.next));
            at = {at.next + 2, at.out + 1};
        } else {
            break;
        }
    }
    return at;
}

bool startsWith(std::span<const std::uint8_t> bytes, const Letter& letter) {
    if (letter.size() == 0 || letter.size() > bytes.size()) return false;
    for (std::size_t i = 0; i < letter.size(); ++i) {
        if (letter[i] != bytes[i]) return false;
    }
    return true;
}

/// How the next bytes are written: as a letter, or without one as so many hexadecimal bytes.
struct Encoding {
    const Letter* letter;
    std::size_t size;
};

/// The longest letter, the earlier among equals. A letter that would use up everything is not taken: the end
/// of a line is spelled out.
Encoding encodingOf(std::span<const std::uint8_t> bytes) {
    Encoding best = {nullptr, 0};
    std::size_t spelledOut = 1;
    for (const Letter& letter : letters) {
        if (!startsWith(bytes, letter)) continue;
        if (letter.size() == bytes.size()) {
            spelledOut = letter.size();
        } else if (letter.size() > best.size) {
            best = {&letter, letter.size()};
        }
    }
    return best.letter ? best : Encoding{nullptr, spelledOut};
}

}  // namespace

bool ZQRSidecarCaption::validateTimecode(std::string_view text, ZQCKTimebase timebase) {
    constexpr std::size_t timecodeLength = 11;
    if (text.size() <= timecodeLength) return false;
    for (std::size_t i = 0; i < timecodeLength; ++i) {
        const bool isSeparator = i == 2 || i == 5 || i == 8;
        const char c = text[i];
        if (isSeparator ? c != ':' && c != ';' : c < '0' || c > '9') return false;
    }
    const auto number = [text](std::size_t i) {
        return static_cast<unsigned>(text[i] - '0') * 10 + static_cast<unsigned>(text[i + 1] - '0');
    };
    timecode_ = ZQCKTimecode::timecodeWithHours(number(0), number(3), number(6), number(9), timebase);
    return true;
}

bool ZQRSidecarCaption::appendNibble(char character, bool allowMCCEncoding) {
    if (const auto digit = hexadecimalDigit(character)) {
        appendNibbleValue(*digit);
        return true;
    }
    if (character == ' ') return true;
    if (!allowMCCEncoding || character < firstLetter || character > lastLetter) return false;
    const Letter& letter = letters[character - firstLetter];
    for (std::size_t i = 0; i < letter.size(); ++i) {
        appendNibbleValue(letter[i] >> 4);
        appendNibbleValue(letter[i] & 0x0F);
    }
    return true;
}

bool ZQRSidecarCaption::appendText(std::string_view text, bool allowMCCEncoding) {
    std::array<std::uint8_t, 512> bytes;
    const std::uint8_t* const limit = bytes.data() + bytes.size() - longestLetter;
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end) {
        Position at = {next, bytes.data()};
        if (!isHighNibblePending_) at = decodeWholeBytes(at, end, limit, allowMCCEncoding);
        if (at.next != next) {
            data_.insert(data_.end(), bytes.data(), at.out);
            next = at.next;
        } else if (!appendNibble(*next++, allowMCCEncoding)) {
            return false;
        }
    }
    return true;
}

void ZQRSidecarCaption::appendNibbleValue(std::uint8_t nibble) {
    if (isHighNibblePending_) {
        data_.push_back(static_cast<std::uint8_t>(pendingByte_ | nibble));
    } else {
        pendingByte_ = static_cast<std::uint8_t>(nibble << 4);
    }
    isHighNibblePending_ = !isHighNibblePending_;
}

void ZQRSidecarCaption::appendData(std::span<const std::uint8_t> pair) {
    if (pair.size() == 2) data_.insert(data_.end(), pair.begin(), pair.end());
}

void ZQRSidecarCaption::replaceData(std::span<const std::uint8_t> data) {
    data_.assign(data.begin(), data.end());
}

void ZQRSidecarCaption::encodeData(std::string& text, bool allowMCCEncoding) const {
    if (allowMCCEncoding) {
        encodeLetters(text);
    } else {
        encodePairs(text);
    }
}

void ZQRSidecarCaption::encodePairs(std::string& text) const {
    for (std::size_t i = 0; i + 1 < data_.size(); i += 2) {
        fmt::format_to(std::back_inserter(text), "{}{:02X}{:02X}", i == 0 ? '\t' : ' ', data_[i],
                       data_[i + 1]);
    }
}

void ZQRSidecarCaption::encodeLetters(std::string& text) const {
    std::span<const std::uint8_t> rest = data_;
    while (!rest.empty()) {
        const Encoding next = encodingOf(rest);
        if (next.letter) {
            text.push_back(static_cast<char>(firstLetter + (next.letter - letters)));
        } else {
            for (const std::uint8_t byte : rest.first(next.size)) {
                fmt::format_to(std::back_inserter(text), "{:02X}", byte);
            }
        }
        rest = rest.subspan(next.size);
    }
}

void ZQRSidecarCaption::stripTrailingEmtpy608Packets() {
    const auto isEmpty = [](std::uint8_t byte) { return (byte & 0x7F) == 0; };
    while (data_.size() >= 2 && isEmpty(data_[data_.size() - 1]) && isEmpty(data_[data_.size() - 2])) {
        data_.resize(data_.size() - 2);
    }
}

}  // namespace zenquor
