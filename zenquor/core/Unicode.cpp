#include "zenquor/core/Unicode.h"

#include <cstddef>

namespace zenquor {
namespace {

constexpr char32_t replacement = 0xFFFD;

/// The bytes that may follow a lead byte, and what it contributes; length 0 for a byte that cannot lead.
struct Lead {
    std::size_t length;
    unsigned char secondFirst, secondLast;
    char32_t bits;
};

Lead leadOf(unsigned char byte) {
    const char32_t value = byte;
    if (byte < 0x80) return {1, 0, 0, value};
    if (byte < 0xC2) return {0, 0, 0, 0};
    if (byte < 0xE0) return {2, 0x80, 0xBF, value & 0x1F};
    if (byte < 0xF0) {
        const unsigned char first = byte == 0xE0 ? 0xA0 : 0x80;
        const unsigned char last = byte == 0xED ? 0x9F : 0xBF;
        return {3, first, last, value & 0x0F};
    }
    if (byte < 0xF5) {
        const unsigned char first = byte == 0xF0 ? 0x90 : 0x80;
        const unsigned char last = byte == 0xF4 ? 0x8F : 0xBF;
        return {4, first, last, value & 0x07};
    }
    return {0, 0, 0, 0};
}

/// Takes one code point, or one ill-formed part, off the front of @p text.
char32_t nextCodePoint(std::string_view& text) {
    const Lead lead = leadOf(static_cast<unsigned char>(text.front()));
    char32_t value = lead.bits;
    std::size_t used = 1;
    for (; used < lead.length && used < text.size(); ++used) {
        const auto byte = static_cast<unsigned char>(text[used]);
        const unsigned char first = used == 1 ? lead.secondFirst : 0x80;
        const unsigned char last = used == 1 ? lead.secondLast : 0xBF;
        if (byte < first || byte > last) break;
        value = value << 6 | (byte & 0x3F);
    }
    text.remove_prefix(used);
    return lead.length != 0 && used == lead.length ? value : replacement;
}

void appendUTF16(std::u16string& out, char32_t value) {
    if (value < 0x10000) {
        out.push_back(static_cast<char16_t>(value));
    } else {
        out.push_back(static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF)));
    }
}

void appendUTF8(std::string& out, char32_t value) {
    const auto put = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (value < 0x80) {
        put(value);
    } else if (value < 0x800) {
        put(0xC0 | value >> 6);
        put(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
        put(0xE0 | value >> 12);
        put(0x80 | (value >> 6 & 0x3F));
        put(0x80 | (value & 0x3F));
    } else {
        put(0xF0 | value >> 18);
        put(0x80 | (value >> 12 & 0x3F));
        put(0x80 | (value >> 6 & 0x3F));
        put(0x80 | (value & 0x3F));
    }
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

std::u16string utf16FromUTF8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    while (!text.empty()) appendUTF16(out, nextCodePoint(text));
    return out;
}

std::string utf8FromUTF16(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            ++i;
            appendUTF8(out, 0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + (text[i] - 0xDC00U));
        } else {
            appendUTF8(out, isHighSurrogate(unit) || isLowSurrogate(unit) ? replacement : unit);
        }
    }
    return out;
}

std::string utf8FromUTF32(std::u32string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char32_t value : text) {
        const bool isCharacter = value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF);
        appendUTF8(out, isCharacter ? value : replacement);
    }
    return out;
}

}  // namespace zenquor
