// What a recording costs beside the plain writing of its bytes and beside ffmpeg.
//
//   bench_record cached|direct|memory|h264 FOLDER

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "H264Peer.h"
#include "RecordingRig.h"
#include "zenquor/core/ZLGHandle.h"

namespace {

using namespace bench;
using zenquor::SourceFormat;
using zenquor::ZHLVideoFormat;

constexpr int rounds = 7;

struct Series {
    std::string name;
    std::vector<Cost> costs;
    Cost best() const {
        Cost least{1e9, 1e9};
        for (const Cost& c : costs) least = {std::min(least.cpu, c.cpu), std::min(least.wall, c.wall)};
        return least;
    }
    Cost median() const {
        auto cpu = costs, wall = costs;
        const auto middle = static_cast<std::ptrdiff_t>(costs.size() / 2);
        std::nth_element(cpu.begin(), cpu.begin() + middle, cpu.end(),
                         [](auto& a, auto& b) { return a.cpu < b.cpu; });
        std::nth_element(wall.begin(), wall.begin() + middle, wall.end(),
                         [](auto& a, auto& b) { return a.wall < b.wall; });
        return {cpu[costs.size() / 2].cpu, wall[costs.size() / 2].wall};
    }
};

void print(const Series& series, double gigabytes) {
    std::printf("  %-34s CPU %.3f s/GB (median %.3f)   %.2f GB/s (median %.2f)\n", series.name.c_str(),
                series.best().cpu / gigabytes, series.median().cpu / gigabytes,
                gigabytes / series.best().wall, gigabytes / series.median().wall);
}

bool ratio(const char* text, double value, double limit, bool atMost) {
    const bool good = atMost ? value <= limit : value >= limit;
    std::printf("  %-60s %.2f  (%s %.2f: %s)\n", text, value, atMost ? "at most" : "at least", limit,
                good ? "held" : "MISSED");
    return good;
}

/// The same bytes by one writev a frame, or by aligned writes past the cache.
void writeBare(const Material& material, const std::string& path, std::uint64_t frames, int flags) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | flags, 0644);
    if (file < 0) std::perror(path.c_str()), std::exit(1);
    for (std::uint64_t n = 0; n < frames; ++n) {
        const auto& picture = material.pictures()[n % material.pictures().size()];
        iovec parts[2] = {{const_cast<std::uint8_t*>(picture->baseAddress()), picture->dataSize()},
                          {const_cast<std::uint8_t*>(material.audio().data()), material.audio().size()}};
        if (writev(file, parts, flags & O_DIRECT ? 1 : 2) < 0) std::perror(path.c_str()), std::exit(1);
    }
    close(file);
}

Material v210Material() {
    return Material(SourceFormat::withVideoFormat(*ZHLVideoFormat::formatNamed("1080p25"),
                                                  zenquor::platform::pixelFormatV210, 2, 16),
                    16);
}

bool benchCached(const std::string& folder) {
    const Material material = v210Material();
    RigOptions options;
    const double gigabytes =
        static_cast<double>(options.frames) * (5529600 + static_cast<double>(material.audio().size())) / 1e9;
    const std::string movie = folder + "/own.mov", bare = folder + "/bare.bin",
                      source = folder + "/source.mov", copy = folder + "/copy.mov";
    RecordingRig::record(material, source, options);
    const std::string command =
        "ffmpeg -v error -y -i '" + source + "' -map 0:v -map 0:a -c copy '" + copy + "'";
    Series own{"zenquor", {}}, plain{"writev of the same bytes", {}}, peer{"ffmpeg -c copy", {}};
    for (int round = -1; round < rounds; ++round) {
        const Cost a = costOf([&] { writeBare(material, bare, options.frames, 0); });
        std::filesystem::remove(bare);
        const Cost b = costOf([&] { RecordingRig::record(material, movie, options); });
        std::filesystem::remove(movie);
        const Cost c = costOf([&] {
            if (std::system(command.c_str()) != 0) std::exit(1);
        });
        std::filesystem::remove(copy);
        if (round < 0) continue;  // the first round warms the page cache
        plain.costs.push_back(a), own.costs.push_back(b), peer.costs.push_back(c);
    }
    std::filesystem::remove(source);
    std::printf("record v210 1080p25 from memory, %.2f GB, buffer cache kept\n", gigabytes);
    for (const auto* series : {&own, &plain, &peer}) print(*series, gigabytes);
    const bool first = ratio("CPU against ffmpeg -c copy", own.best().cpu / peer.best().cpu, 0.5, true);
    return ratio("CPU against writev", own.best().cpu / plain.best().cpu, 1.15, true) && first;
}

bool benchDirect(const std::string& folder) {
    const Material material = v210Material();
    RigOptions options;
    options.frames = 600;
    options.keepCache = false;
    const double gigabytes = static_cast<double>(options.frames) * 5529600 / 1e9;
    const std::string movie = folder + "/own.mov", bare = folder + "/bare.bin";
    Series own{"zenquor", {}}, plain{"O_DIRECT writes", {}};
    for (int round = -1; round < rounds; ++round) {
        const Cost a = costOf([&] { writeBare(material, bare, options.frames, O_DIRECT); });
        std::filesystem::remove(bare);
        const Cost b = costOf([&] { RecordingRig::record(material, movie, options); });
        std::filesystem::remove(movie);
        if (round < 0) continue;
        plain.costs.push_back(a), own.costs.push_back(b);
    }
    std::printf("record v210 1080p25 from memory, %.2f GB, buffer cache off\n", gigabytes);
    for (const auto* series : {&own, &plain}) print(*series, gigabytes);
    const bool first =
        ratio("CPU against writes past the cache", own.best().cpu / plain.best().cpu, 1.3, true);
    return ratio("throughput against writes past the cache", plain.median().wall / own.median().wall, 0.9,
                 false) &&
           first;
}

bool benchMemory(const std::string& folder) {
    const Material material(SourceFormat::withVideoFormat(*ZHLVideoFormat::formatNamed("625i50"),
                                                          zenquor::platform::pixelFormatV210, 2, 16),
                            4);
    RigOptions options;
    options.format = "625i50";
    options.frames = 10000;
    options.keepCache = false;
    std::uint64_t early = 0, late = 0, most = 0;
    const std::uint64_t idle = residentBytes();
    options.atFrame = [&](std::uint64_t n) {
        most = std::max(most, residentBytes());
        if (n == 500) early = residentBytes();
        if (n == 9999) late = residentBytes();
    };
    RecordingRig::record(material, folder + "/own.mov", options);
    std::filesystem::remove(folder + "/own.mov");
    const auto mega = [](std::uint64_t bytes) { return static_cast<double>(bytes) / 1e6; };
    std::printf(
        "memory while recording 10,000 frames of v210 (four pictures in memory, shared by all frames)\n"
        "  idle %.1f MB, after 500 frames %.1f MB, after 9,999 frames %.1f MB, most %.1f MB\n",
        mega(idle), mega(early), mega(late), mega(most));
    // Four tracks with a sample a frame, 40 bytes each, in vectors that may have doubled.
    const double tables = 9500.0 * 4 * 40 * 2;
    return ratio("growth over sample tables",
                 (static_cast<double>(late) - static_cast<double>(early)) / tables, 1.0, true);
}

bool benchH264(const std::string& folder) {
    const auto video = *ZHLVideoFormat::formatNamed("1080p25");
    const Material material(SourceFormat::withVideoFormat(video, zenquor::platform::pixelFormat2vuy, 2, 16),
                            24);
    RigOptions options;
    options.codec = zenquor::fourCC("avc1");
    options.frames = 150;
    options.speed = "superfast";
    options.backlog = 75;
    const std::string movie = folder + "/own.mov", raw = folder + "/raw.yuv", copy = folder + "/copy.mov";
    writeBare(material, raw, options.frames, O_DIRECT);
    const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt uyvy422 -s 1920x1080 -r 25 -i '" +
                                raw + "' -c:v libx264 -preset superfast -pix_fmt nv12 -g 25 '" + copy + "'";
    Series own{"zenquor", {}}, bare{"bare libavcodec", {}}, peer{"ffmpeg", {}};
    for (int round = -1; round < rounds; ++round) {
        // The start is left out: the library looks for a hardware encoder first, and waits between its attempts.
        double steadyBare = 0, steadyOwn = 0;
        Cost a = costOf([&] { steadyBare = encodeWithLibavcodec(material, options.frames, "superfast"); });
        Cost b = costOf([&] { steadyOwn = RecordingRig::record(material, movie, options); });
        a.wall = steadyBare;
        b.wall = steadyOwn;
        const Cost c = costOf([&] {
            if (std::system(command.c_str()) != 0) std::exit(1);
        });
        if (round < 0) continue;
        bare.costs.push_back(a), own.costs.push_back(b), peer.costs.push_back(c);
    }
    for (const auto& path : {movie, raw, copy}) std::filesystem::remove(path);
    std::printf("H.264 1080p25 superfast, 2vuy in, conversion included\n");
    for (const auto* series : {&own, &bare, &peer}) {
        std::printf("  %-34s %.1f fps (median %.1f), CPU %.1f ms a frame\n", series->name.c_str(),
                    static_cast<double>(options.frames) / series->best().wall,
                    static_cast<double>(options.frames) / series->median().wall,
                    series->best().cpu / static_cast<double>(options.frames) * 1e3);
    }
    const bool first =
        ratio("frames per second against bare libavcodec", bare.best().wall / own.best().wall, 0.97, false);
    return ratio("frames per second against ffmpeg", peer.best().wall / own.best().wall, 1.0, false) && first;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string job = argc > 1 ? argv[1] : "";
    const std::string folder = argc > 2 ? argv[2] : ".";
    zenquor::ZLGGetHandle().setLevel(zenquor::ZLGLevel::Error);
    if (job == "cached") return benchCached(folder) ? 0 : 1;
    if (job == "direct") return benchDirect(folder) ? 0 : 1;
    if (job == "memory") return benchMemory(folder) ? 0 : 1;
    if (job == "h264") return benchH264(folder) ? 0 : 1;
    std::fprintf(stderr, "bench_record cached|direct|memory|h264 FOLDER\n");
    return 2;
}
