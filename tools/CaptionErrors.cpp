#include "CaptionErrors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "zenquor/core/Unicode.h"

namespace zenquor::tools {
namespace {

constexpr const char* captionErrorDomain = "ZQCaptionErrorDomain";
constexpr std::size_t bytesLookedAt = std::size_t{1} << 20;

std::string textOfError(int number) {
    return std::generic_category().message(number);
}

std::string whyNotWritten(const std::filesystem::path& path) {
    std::error_code status;
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    if (!std::filesystem::is_directory(folder, status))
        return fmt::format("there is no folder \"{}\"", folder.string());
    if (std::filesystem::is_directory(path, status)) return "there is a folder of this name";
    const bool exists = std::filesystem::exists(path, status);
    if (::access((exists ? path : folder).c_str(), W_OK) != 0) return textOfError(errno);
    const auto space = std::filesystem::space(folder, status);
    return !status && space.available == 0 ? "the disk is full" : "perhaps the disk is full";
}

bool hasLoneCarriageReturn(std::string_view text) {
    for (std::size_t at = text.find('\r'); at != std::string_view::npos; at = text.find('\r', at + 1)) {
        if (at + 1 < text.size() && text[at + 1] != '\n') return true;
    }
    return false;
}

bool isUTF8(std::string_view text) {
    return utf8FromUTF16(utf16FromUTF8(text)) == text;
}

}  // namespace

bool failCaption(ZQErrorPtr* error, std::string sentence) {
    fail(error, ZQError::errorWithDomain(captionErrorDomain, -1, std::move(sentence)));
    return false;
}

bool canBeRead(const std::filesystem::path& path, ZQErrorPtr* error) {
    const auto refuse = [&](std::string_view why) {
        return failCaption(error, fmt::format("\"{}\" {}.", path.string(), why));
    };
    std::error_code status;
    const auto type = std::filesystem::status(path, status).type();
    if (type == std::filesystem::file_type::not_found) return refuse("does not exist");
    if (type == std::filesystem::file_type::directory) return refuse("is a folder, not a file");
    if (status) return refuse("cannot be opened: " + status.message());
    if (type != std::filesystem::file_type::regular)
        return refuse("is a pipe or a device: copy what it gives into a file first");
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return refuse("cannot be opened: " + textOfError(errno));
    ::close(descriptor);
    return true;
}

bool failToWrite(const std::filesystem::path& path, ZQErrorPtr* error) {
    return failCaption(error,
                       fmt::format("\"{}\" cannot be written: {}.", path.string(), whyNotWritten(path)));
}

std::string adviceOnEncoding(const std::filesystem::path& path) {
    std::string bytes(bytesLookedAt, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    const std::string_view text = bytes;
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
        return fmt::format("It is UTF-16; make it UTF-8: iconv -f UTF-16 -t UTF-8 \"{}\" > new.srt",
                           path.string());
    if (hasLoneCarriageReturn(text))
        return fmt::format(
            "Its lines end in a carriage return alone, and text is lost behind it; make them "
            "line feeds: tr '\\r' '\\n' < \"{}\" > new.srt",
            path.string());
    if (!isUTF8(text.substr(0, text.rfind('\n'))))
        return fmt::format(
            "It is not UTF-8 but an older encoding, and letters beyond ASCII are lost; convert "
            "it from its own: iconv -f WINDOWS-1252 -t UTF-8 \"{}\" > new.srt",
            path.string());
    return {};
}

}  // namespace zenquor::tools
