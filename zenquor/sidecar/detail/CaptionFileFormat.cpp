#include "zenquor/sidecar/detail/CaptionFileFormat.h"

#include <algorithm>
#include <array>

#include "zenquor/core/Unicode.h"
#include "zenquor/sidecar/detail/MCCHeader.h"
#include "zenquor/sidecar/detail/SCCCheck.h"
#include "zenquor/sidecar/detail/TextLines.h"
#include "zenquor/sidecar/detail/TimecodeLabel.h"

namespace zenquor::detail {
namespace {

struct Name {
    CaptionFileFormat format;
    const char* name;
    std::string_view extension;
};
constexpr Name names[] = {{CaptionFileFormat::SCC, "SCC", ".scc"},
                          {CaptionFileFormat::MCC, "MCC", ".mcc"},
                          {CaptionFileFormat::SubRip, "SubRip", ".srt"},
                          {CaptionFileFormat::EBUSTL, "EBU STL", ".stl"}};

constexpr std::size_t lookedAt = 16384;

bool isSTL(std::string_view text) {
    constexpr std::size_t codePage = 3;
    return text.size() > codePage && startsWith(text.substr(codePage), "STL") && isDigit(text[0]) &&
           isDigit(text[1]) && isDigit(text[2]);
}

/// A timecoded line without a header: pairs with spaces between them are SCC, one run of digits is MCC.
std::optional<CaptionFileFormat> formatOfLine(std::string_view line) {
    if (startsWith(line, "Scenarist_SCC")) return CaptionFileFormat::SCC;
    if (startsWith(line, fileFormatKey) || startsWith(line, timeCodeRateKey)) return CaptionFileFormat::MCC;
    if (line.find("-->") != std::string_view::npos) return CaptionFileFormat::SubRip;
    if (!TimecodeLabel::fromText(line)) return std::nullopt;
    const std::string_view data = trimmed(line.substr(TimecodeLabel::length));
    const std::size_t word = data.find_first_of(" \t");
    return std::min(word, data.size()) <= 4 ? CaptionFileFormat::SCC : CaptionFileFormat::MCC;
}

bool hasExtension(std::string_view extension, std::string_view wanted) {
    const auto isSame = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; };
    return std::equal(extension.begin(), extension.end(), wanted.begin(), wanted.end(), isSame);
}

constexpr std::array<std::uint8_t, 3> markOfUTF8 = {0xEF, 0xBB, 0xBF};

}  // namespace

const char* nameOf(CaptionFileFormat format) {
    for (const Name& entry : names) {
        if (entry.format == format) return entry.name;
    }
    return "unknown";
}

CaptionFileFormat captionFileFormat(std::string_view text, std::string_view extension) {
    if (isSTL(text)) return CaptionFileFormat::EBUSTL;
    TextLines lines(text.substr(0, lookedAt));
    while (const auto line = lines.next()) {
        if (const auto format = formatOfLine(trimmed(line->text))) return *format;
    }
    for (const Name& entry : names) {
        if (hasExtension(extension, entry.extension)) return entry.format;
    }
    return CaptionFileFormat::Unknown;
}

TextEncoding textEncoding(std::span<const std::uint8_t> bytes) {
    const auto startsWithBytes = [&](std::initializer_list<std::uint8_t> mark) {
        return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
    };
    if (std::equal(markOfUTF8.begin(), markOfUTF8.end(), bytes.begin(),
                   bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), markOfUTF8.size())))) {
        return TextEncoding::MarkedUTF8;
    }
    if (startsWithBytes({0xFF, 0xFE, 0, 0}) || startsWithBytes({0, 0, 0xFE, 0xFF}))
        return TextEncoding::UTF32;
    if (startsWithBytes({0xFF, 0xFE})) return TextEncoding::UTF16LittleEndian;
    if (startsWithBytes({0xFE, 0xFF})) return TextEncoding::UTF16BigEndian;
    // Without a mark the zero halves of digits tell.
    if (bytes.size() >= 4 && bytes[1] == 0 && bytes[3] == 0 && bytes[0] != 0)
        return TextEncoding::UTF16LittleEndian;
    if (bytes.size() >= 4 && bytes[0] == 0 && bytes[2] == 0 && bytes[1] != 0)
        return TextEncoding::UTF16BigEndian;
    return TextEncoding::Plain;
}

std::string utf8FromUTF16Bytes(std::span<const std::uint8_t> bytes, bool littleEndian) {
    std::u16string text(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned first = bytes[i * 2];
        const unsigned second = bytes[i * 2 + 1];
        text[i] = static_cast<char16_t>(littleEndian ? second << 8 | first : first << 8 | second);
    }
    if (!text.empty() && text.front() == u'\uFEFF') text.erase(0, 1);
    return utf8FromUTF16(text);
}

}  // namespace zenquor::detail
