#include "zenquor/sidecar/ZQRSidecarCaption.h"

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

/// What a character is to a whole text; the digits are their values.
constexpr std::uint8_t spaceKind = 0x10;
constexpr std::uint8_t letterKind = 0x20;
constexpr std::uint8_t otherKind = 0x40;

constexpr auto characterKinds = [] {
    std::array<std::uint8_t, 256> table = {};
    for (auto& kind : table) kind = otherKind;
    for (unsigned i = 0; i < 10; ++i) table['0' + i] = static_cast<std::uint8_t>(i);
    for (unsigned i = 0; i < 6; ++i) {
        table['A' + i] = table['a' + i] = static_cast<std::uint8_t>(10 + i);
    }
    for (char c = firstLetter; c <= lastLetter; ++c) table[static_cast<unsigned char>(c)] = letterKind;
    table[' '] = spaceKind;
    return table;
}();

std::uint8_t kindOf(char character) {
    return characterKinds[static_cast<unsigned char>(character)];
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
    const auto parsed = ZQCKTimecode::timecodeWithString(text.substr(0, timecodeLength), timebase);
    if (!parsed) return false;
    timecode_ = parsed;
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
    std::size_t count = 0;
    const auto flush = [&] {
        data_.insert(data_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        count = 0;
    };
    std::size_t i = 0;
    bool isGood = true;
    while (isGood && i < text.size()) {
        if (count + longestLetter > bytes.size()) flush();
        const std::uint8_t kind = kindOf(text[i]);
        const std::uint8_t nextKind = i + 1 < text.size() ? kindOf(text[i + 1]) : otherKind;
        if (!isHighNibblePending_ && (kind | nextKind) < spaceKind) {
            bytes[count++] = static_cast<std::uint8_t>(kind << 4 | nextKind);
            i += 2;
        } else if (!isHighNibblePending_ && kind == letterKind && allowMCCEncoding) {
            const LetterBytes& expansion = letterBytes[text[i++] - firstLetter];
            std::memcpy(&bytes[count], expansion.bytes.data(), longestLetter);
            count += expansion.size;
        } else if (kind == spaceKind) {
            ++i;
        } else {
            flush();  // a lone half of a byte, or nothing that belongs here
            isGood = appendNibble(text[i++], allowMCCEncoding);
        }
    }
    flush();
    return isGood;
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
