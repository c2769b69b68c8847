#include "zenquor/sidecar/ZQRSidecarCaption.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include <fmt/format.h>

#include "zenquor/core/ByteOrder.h"

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
constexpr std::size_t usualLetter = 8;

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

/// Two characters of text as they lie in memory.
using CharacterPair = std::array<char, 2>;

/// What two characters are as digits: a byte, or noByte. Large, so that a look-up is all that a byte costs; digits
/// use few places of it, side by side.
constexpr std::uint16_t noByte = 0x100;
constexpr auto bytesOfDigits = [] {
    std::array<std::uint16_t, 0x10000> table = {};
    for (auto& byte : table) byte = noByte;
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    constexpr auto valueAt = [](std::size_t i) { return i < 16 ? i : i - 6; };
    for (std::size_t i = 0; i < digits.size(); ++i) {
        for (std::size_t j = 0; j < digits.size(); ++j) {
            table[std::bit_cast<std::uint16_t>(CharacterPair{digits[i], digits[j]})] =
                static_cast<std::uint16_t>(valueAt(i) << 4 | valueAt(j));
        }
    }
    return table;
}();

unsigned twoDigits(const char* text) {
    std::uint16_t pair = 0;
    std::memcpy(&pair, text, sizeof pair);
    return bytesOfDigits[pair];
}

bool isLetter(char character) {
    return character >= firstLetter && character <= lastLetter;
}

/// Where decoding stands: the text from `next` on, the memory from `out` on.
struct Position {
    const char* next;
    std::uint8_t* out;
};

/// Four digits and a space, again and again: what SCC lines are made of.
Position decodePairs(Position at, const char* end, const std::uint8_t* limit) {
    while (end - at.next > 4 && at.next[4] == ' ' && at.out < limit) {
        const unsigned first = twoDigits(at.next);
        const unsigned second = twoDigits(at.next + 2);
        if ((first | second) >= noByte) break;
        at.out[0] = static_cast<std::uint8_t>(first);
        at.out[1] = static_cast<std::uint8_t>(second);
        at = {at.next + 5, at.out + 2};
    }
    return at;
}

/// Letters and digits, four at once where they stand together.
Position decodeLettersAndDigits(Position at, const char* end, const std::uint8_t* limit) {
    while (end - at.next >= 4 && at.out < limit) {
        if (isLetter(*at.next)) {
            const LetterBytes& expansion = letterBytes[*at.next - firstLetter];
            std::memcpy(at.out, &expansion, usualLetter);
            if (expansion.size > usualLetter) std::memcpy(at.out, &expansion, slack);
            at = {at.next + 1, at.out + expansion.size};
            continue;
        }
        const unsigned first = twoDigits(at.next);
        const unsigned second = twoDigits(at.next + 2);
        if (first >= noByte) break;
        at.out[0] = static_cast<std::uint8_t>(first);
        at.out[1] = static_cast<std::uint8_t>(second);
        if (second < noByte) {  // a branch, so that the next step need not wait for this one's look-ups
            at = {at.next + 4, at.out + 2};
        } else {
            at = {at.next + 2, at.out + 1};
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
        } else if (end - at.next >= 2 && twoDigits(at.next) < noByte) {
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

/// Eight characters less '0', the first one highest: digits are 0 to 9, ":" 10 and ";" 11. All at once, because
/// every line of a caption file is looked at.
std::uint64_t eightValues(const char* text) {
    return readBE64(reinterpret_cast<const std::uint8_t*>(text)) ^ 0x3030'3030'3030'3030;
}

/// Whether eight characters are two digits, ":" or ";", and so on: "00:00:00".
bool areThreeNumbers(std::uint64_t values) {
    constexpr std::uint64_t separators = 0x0000'FF00'00FF'0000;
    const std::uint64_t carried = values + (0x0606'0606'0606'0606 & ~separators);
    const bool areSmall = ((values | carried) & 0xF0F0'F0F0'F0F0'F0F0) == 0;
    return areSmall && (values & separators & 0xFEFE'FEFE'FEFE'FEFE) == (separators & 0x0A0A'0A0A'0A0A'0A0A);
}

/// Each character's value taken with the next one's as a number of two digits; none carries into another.
std::uint64_t numbersOf(std::uint64_t values) {
    return values * 10 + (values << 8);
}
unsigned numberAt(std::uint64_t numbers, int index) {
    return numbers >> (56 - 8 * index) & 0xFF;
}

}  // namespace

bool ZQRSidecarCaption::validateTimecode(std::string_view text, ZQCKTimebase timebase) {
    constexpr std::size_t timecodeLength = 11;
    if (text.size() <= timecodeLength) return false;
    // The first and the last eight characters have the same form.
    const std::uint64_t first = eightValues(text.data());
    const std::uint64_t last = eightValues(text.data() + 3);
    if (!areThreeNumbers(first) || !areThreeNumbers(last)) return false;
    const std::uint64_t numbers = numbersOf(first);
    timecode_ = ZQCKTimecode::timecodeWithHours(numberAt(numbers, 0), numberAt(numbers, 3),
                                                numberAt(numbers, 6), numberAt(numbersOf(last), 6), timebase);
    return true;
}

bool ZQRSidecarCaption::appendNibble(char character, bool allowMCCEncoding) {
    if (const auto digit = hexadecimalDigit(character)) {
        appendNibbleValue(*digit);
        return true;
    }
    if (character == ' ') return true;
    if (!allowMCCEncoding || !isLetter(character)) return false;
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
