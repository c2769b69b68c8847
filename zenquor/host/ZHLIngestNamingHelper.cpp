#include "zenquor/host/ZHLIngestNamingHelper.h"

#include <cstdint>
#include <string>
#include <system_error>

namespace zenquor {
namespace {

bool isTaken(const std::filesystem::path& path) {
    std::error_code ignored;  // a failed look-up reads as "does not exist", as promised
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

}  // namespace

std::filesystem::path ZHLIngestNamingHelper::nextFreeURL(const std::filesystem::path& url,
                                                         std::string_view separator) {
    std::filesystem::path candidate = url;
    const std::string stem = url.stem().string() + std::string(separator);
    for (std::uint64_t number = 1; isTaken(candidate); ++number) {
        candidate = url;
        candidate.replace_filename(stem + std::to_string(number) + url.extension().string());
    }
    return candidate;
}

}  // namespace zenquor
