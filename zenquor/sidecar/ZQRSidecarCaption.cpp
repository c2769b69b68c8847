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

/// A letter's bytes side by side, in a size that copies at once.
struct LetterBytes {
    std::array<std::uint8_t, 31> bytes;
    std::uint8_t size;
};
static_assert(longestLetter < sizeof(LetterBytes));
/// What decoding may write beyond a letter's bytes.
constexpr std::size_t slack = sizeof(LetterBytes);

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
constexpr std::uint32_t letterKind = 0x10000;
constexpr std::uint32_t otherKind = 0x20000;

constexpr auto characterKinds = [] {
    std::array<std::uint32_t, 256> table = {};
    for (auto& kind : table) kind = otherKind;
    for (unsigned i = 0; i < 10; ++i) table['0' + i] = i;
    for (unsigned i = 0; i < 6; ++i) table['A' + i] = table['a' + i] = 10 + i;
    for (char c = firstLetter; c <= lastLetter; ++c) table[static_cast<unsigned char>(c)] = letterKind;
    return table;
}();

std::uint32_t kindOf(char character) {
    return characterKinds[static_cast<unsigned char>(character)];
}

/// The value of so many digits; at least letterKind when one of them is none.
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
        if (value >= letterKind) break;
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
            std::memcpy(at.out, &expansion, slack);
            at = {at.next + 1, at.out + expansion.size};
            continue;
        }
        if (end - at.next < 4) break;
        const std::uint32_t value = fourDigits(at.next);
        if (value < letterKind) {
            at = stepFourDigits(at, value);
        } else if (twoDigits(at.next) < letterKind) {
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
        } else if (end - at.next >= 2 && twoDigits(at.next) < letterKind) {
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

/// Whether eight characters are two digits, ":" or ";", and so on: "00:00:00". All at once, because every line
/// of a caption file is looked at; the form reads the same from both ends, so byte order does not matter.
bool areThreeNumbers(const char* text) {
    constexpr std::uint64_t separators = 0x0000'FF00'00FF'0000;
    std::uint64_t characters = 0;
    std::memcpy(&characters, text, sizeof characters);
    const std::uint64_t values = characters ^ 0x3030'3030'3030'3030;  // 0 to 9, ":" 10 and ";" 11
    const std::uint64_t carried = values + (0x0606'0606'0606'0606 & ~separators);
    const bool areSmall = ((values | carried) & 0xF0F0'F0F0'F0F0'F0F0) == 0;
    return areSmall && (values & separators & 0xFEFE'FEFE'FEFE'FEFE) == (separators & 0x0A0A'0A0A'0A0A'0A0A);
}

}  // namespace

bool ZQRSidecarCaption::validateTimecode(std::string_view text, ZQCKTimebase timebase) {
    constexpr std::size_t timecodeLength = 11;
    if (text.size() <= timecodeLength) return false;
    // The first and the last eight characters have the same form.
    if (!areThreeNumbers(text.data()) || !areThreeNumbers(text.data() + 3)) return false;
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
    std::array<std::uint8_t, 512> memory;
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end) {
        const bool isInPlace = !isLong() && shortSize_ + slack < shortData_.size();
        const auto room = isInPlace ? std::span(shortData_).subspan(shortSize_) : std::span(memory);
        Position at = {next, room.data()};
        const std::uint8_t* const limit = room.data() + room.size() - slack;
        if (!isHighNibblePending_) at = decodeWholeBytes(at, end, limit, allowMCCEncoding);
        if (at.next == next) {
            if (!appendNibble(*next++, allowMCCEncoding)) return false;
            continue;
        }
        next = at.next;
        if (isInPlace) {
            shortSize_ += static_cast<std::size_t>(at.out - room.data());
        } else {
            append({room.data(), at.out});
        }
    }
    return true;
}

void ZQRSidecarCaption::append(std::span<const std::uint8_t> bytes) {
    if (!isLong() && bytes.size() <= shortData_.size() - shortSize_) {
        std::copy(bytes.begin(), bytes.end(), shortData_.begin() + shortSize_);
        shortSize_ += bytes.size();
        return;
    }
    if (!isLong()) longData_.assign(shortData_.begin(), shortData_.begin() + shortSize_);
    longData_.insert(longData_.end(), bytes.begin(), bytes.end());
    shortSize_ = 0;
}

void ZQRSidecarCaption::appendNibbleValue(std::uint8_t nibble) {
    if (isHighNibblePending_) {
        const std::uint8_t byte[] = {static_cast<std::uint8_t>(pendingByte_ | nibble)};
        append(byte);
    } else {
        pendingByte_ = static_cast<std::uint8_t>(nibble << 4);
    }
    isHighNibblePending_ = !isHighNibblePending_;
}

void ZQRSidecarCaption::appendData(std::span<const std::uint8_t> pair) {
    if (pair.size() == 2) append(pair);
}

void ZQRSidecarCaption::replaceData(std::span<const std::uint8_t> data) {
    shortSize_ = 0;
    longData_.clear();
    append(data);
}

void ZQRSidecarCaption::encodeData(std::string& text, bool allowMCCEncoding) const {
    if (allowMCCEncoding) {
        encodeLetters(text);
    } else {
        encodePairs(text);
    }
}

void ZQRSidecarCaption::encodePairs(std::string& text) const {
    const auto bytes = data();
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        fmt::format_to(std::back_inserter(text), "{}{:02X}{:02X}", i == 0 ? '\t' : ' ', bytes[i],
                       bytes[i + 1]);
    }
}

void ZQRSidecarCaption::encodeLetters(std::string& text) const {
    std::span<const std::uint8_t> rest = data();
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
    const auto bytes = data();
    std::size_t size = bytes.size();
    while (size >= 2 && isEmpty(bytes[size - 1]) && isEmpty(bytes[size - 2])) size -= 2;
    if (isLong()) {
        longData_.resize(size);
    } else {
        shortSize_ = size;
    }
}

}  // namespace zenquor
