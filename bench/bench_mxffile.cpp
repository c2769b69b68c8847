// What it costs to write pictures through the MXF writer's file, against one that writes plain large blocks.
//
// The file writes on a thread of its own, so the processor time of the whole process counts.

#include <fcntl.h>
#include <unistd.h>

#include <ctime>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/writers/ZQRNabletFile.h"
#include "zenquor/writers/ZQUBCController.h"

namespace {

constexpr std::size_t pictureBytes = 5'529'600;  // 1920 x 1080 in v210
constexpr int pictures = 100;
constexpr int rounds = 5;
constexpr double limit = 1.2;

double processSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::exit(2);
}

/// A file that goes away with its scope, outside of the measured time.
struct ScratchFile {
    std::string path = (std::filesystem::temp_directory_path() / "zenquor-bench-mxffile").string();
    ~ScratchFile() { ::unlink(path.c_str()); }
};

double plainWrites(std::span<const std::uint8_t> block) {
    const ScratchFile scratch;
    const double start = processSeconds();
    const int descriptor = ::open(scratch.path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
    if (descriptor < 0) giveUp("open");
    for (std::size_t left = pictureBytes * pictures; left > 0;) {
        const ssize_t written = ::write(descriptor, block.data(), std::min(left, block.size()));
        if (written <= 0) giveUp("write");
        left -= static_cast<std::size_t>(written);
    }
    if (::close(descriptor) != 0) giveUp("close");
    return processSeconds() - start;
}

double blockedWrites(std::span<const std::uint8_t> picture, bool pastTheCache) {
    const ScratchFile scratch;
    const double start = processSeconds();
    const auto file = zenquor::ZQRNabletFile::initWithFilename(scratch.path);
    if (!file) giveUp("ZQRNabletFile");
    if (pastTheCache && !zenquor::ZQUBCController::disableUBCForFilePath(scratch.path)) giveUp("cache");
    for (int i = 0; i < pictures; ++i) {
        if (file->write(picture) != static_cast<std::int64_t>(picture.size())) giveUp("ZQRNabletFile");
    }
    if (file->close() != 0) giveUp("ZQRNabletFile");
    return processSeconds() - start;
}

}  // namespace

int main() {
    zenquor::ZLGGetHandle().setLevel(zenquor::ZLGLevel::Error);
    std::vector<std::uint8_t> block(static_cast<std::size_t>(zenquor::ZQRNabletFile::defaultBlockSizeBytes));
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    const std::span<const std::uint8_t> picture(block.data(), pictureBytes);
    std::vector<double> plain, blocked, uncached;
    for (int round = 0; round < rounds; ++round) {
        plain.push_back(plainWrites(block));
        blocked.push_back(blockedWrites(picture, false));
        uncached.push_back(blockedWrites(picture, true));
    }
    std::printf("%d pictures of %zu bytes, processor time of the process\n", pictures, pictureBytes);
    bool good = true;
    const auto print = [&](const char* name, std::vector<double>& seconds, double allowed) {
        std::sort(seconds.begin(), seconds.end());
        const double ratio = seconds.front() / plain.front();
        std::printf("  %-36s %8.1f ms  median %8.1f ms  ratio %5.2f", name, seconds.front() * 1e3,
                    seconds[rounds / 2] * 1e3, ratio);
        if (allowed != 0) std::printf("  limit %.2f %s", allowed, ratio <= allowed ? "held" : "EXCEEDED");
        std::printf("\n");
        good = good && (allowed == 0 || ratio <= allowed);
    };
    print("plain writes of 64 MiB", plain, 0);
    print("ZQRNabletFile", blocked, limit);
    print("ZQRNabletFile, cache switched off", uncached, 0);
    return good ? 0 : 1;
}
