#include "zenquor/writers/ZQUBCController.h"

#include <cstdio>

#include <fmt/format.h>

#include "zenquor/platform/BufferCachePolicy.h"

namespace zenquor {
namespace {

constexpr int codeCannotOpen = -666;
constexpr int codeCannotDisable = -667;

bool failFor(const std::filesystem::path& path, int code, fmt::format_string<const std::string&> text,
             ZQErrorPtr* error) {
    if (!error) return false;
    const std::string name = path.string();
    return fail(error, ZQError::errorWithDomain(ZQUBCErrorDomain, code, fmt::format(text, name)));
}

}  // namespace

bool ZQUBCController::disableUBCForFileURL(const std::filesystem::path& url, ZQErrorPtr* error) {
    return disableUBCForFilePath(url, error);
}

bool ZQUBCController::disableUBCForFilePath(const std::filesystem::path& path, ZQErrorPtr* error) {
    std::FILE* const file = std::fopen(path.c_str(), "re");
    if (!file) return failFor(path, codeCannotOpen, "The File \"{}\" couldn't be opened for reading!", error);
    const int descriptor = fileno(file);
    if (descriptor < 0) {
        std::fclose(file);
        return failFor(path, codeCannotDisable, "The File \"{}\" couldn't aquire a file descriptor!", error);
    }
    if (!platform::BufferCachePolicy::disableForDescriptor(descriptor)) {
        std::fclose(file);
        return failFor(path, codeCannotDisable, "The File \"{}\" couldn't set UBC F_GLOBAL_NOCACHE!", error);
    }
    if (std::fclose(file) != 0) {
        return failFor(path, codeCannotDisable,
                       "The File \"{}\" couldn't be closed after setting UBC F_GLOBAL_NOCACHE!", error);
    }
    return true;
}

}  // namespace zenquor
