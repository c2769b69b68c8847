#pragma once
// Which caption format a file has, and its text as UTF-8.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zenquor::detail {

enum class CaptionFileFormat : std::uint8_t { Unknown, SCC, MCC, SubRip, EBUSTL };

/// "SCC", "MCC", "SubRip", "EBU STL" or "unknown".
const char* nameOf(CaptionFileFormat format);

/// By content; where that does not tell, by extension (".scc", any case).
/// @param text  without a byte order mark.
CaptionFileFormat captionFileFormat(std::string_view text, std::string_view extension);

/// How a text file is encoded, by its first bytes.
enum class TextEncoding : std::uint8_t { Plain, MarkedUTF8, UTF16LittleEndian, UTF16BigEndian, UTF32 };
TextEncoding textEncoding(std::span<const std::uint8_t> bytes);
/// A UTF-16 text, with or without its mark, as UTF-8.
std::string utf8FromUTF16Bytes(std::span<const std::uint8_t> bytes, bool littleEndian);

}  // namespace zenquor::detail
