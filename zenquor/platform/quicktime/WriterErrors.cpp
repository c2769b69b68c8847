#include "zenquor/platform/quicktime/WriterErrors.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

#include "zenquor/platform/AssetWriter.h"

namespace zenquor::platform::quicktime {
namespace {

std::string textOf(int number) {
    return fmt::format("{} (errno {})", std::generic_category().message(number), number);
}

ZQErrorPtr make(int code, std::string text, std::string userText) {
    return ZQError::errorWithDomain(assetWriterErrorDomain, code, std::move(text), std::move(userText));
}

/// No space, no quota, or a limit on the size of files: the operator has to make room.
bool isFull(int number) {
    return number == ENOSPC || number == EDQUOT || number == EFBIG;
}

}  // namespace

ZQErrorPtr creationError(const std::filesystem::path& path, int number) {
    if (number == EEXIST) {
        return make(assetWriterErrorFileAlreadyExists,
                    fmt::format("The file \"{}\" already exists.", path.string()),
                    fmt::format("There is already a file \"{}\". Choose another name or move that file away.",
                                path.filename().string()));
    }
    if (isFull(number)) return writingError(path, number);
    return make(
        assetWriterErrorUnknown,
        fmt::format("The file \"{}\" could not be created: {}.", path.string(), textOf(number)),
        fmt::format(
            "The file \"{}\" could not be created. Check that its folder exists and may be written to.",
            path.filename().string()));
}

ZQErrorPtr writingError(const std::filesystem::path& path, int number) {
    if (isFull(number)) {
        return make(
            assetWriterErrorDiskFull,
            fmt::format("The disk of \"{}\" is full: {}.", path.string(), textOf(number)),
            fmt::format(
                "The recording \"{}\" stopped because the disk is full. What was recorded until a few "
                "seconds before is in the file. Make room on the disk, or choose another one, then start a "
                "new recording.",
                path.filename().string()));
    }
    return make(assetWriterErrorUnknown,
                fmt::format("The file \"{}\" could not be written: {}.", path.string(), textOf(number)),
                ZQError::writeError());
}

ZQErrorPtr sampleError(const std::string& track, const std::string& problem) {
    return make(assetWriterErrorInvalidSource,
                fmt::format("Samples of the {} track do not fit: {}.", track, problem),
                ZQError::writeError());
}

}  // namespace zenquor::platform::quicktime
