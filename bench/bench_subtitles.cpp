// Subtitle files of an hour, played frame by frame through both outputs, against the time that a host can spare.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Interleaved.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

using namespace zenquor;

namespace {

constexpr int subtitles = 1200;        // an hour of talk
constexpr int framesPerHour = 216000;  // at 60 frames per second
constexpr int framesPerSubtitle = framesPerHour / subtitles;
constexpr double hourLimitSeconds = 1;  // of processor time, reading included
constexpr int timebase25 = 2;
constexpr int timebase60 = 7;

/// A file that goes away with the program.
class ScratchFile {
public:
    ScratchFile(const char* suffix, const std::string& content) {
        std::string pattern = (std::filesystem::temp_directory_path() / "zenquor-bench-XXXXXX").string();
        pattern += suffix;
        const int descriptor = mkstemps(pattern.data(), static_cast<int>(std::string(suffix).size()));
        if (descriptor < 0) std::abort();
        close(descriptor);
        path_ = pattern;
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~ScratchFile() { std::filesystem::remove(path_); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Two lines every three seconds, on for two and a half.
std::string srtFile() {
    std::string file;
    for (int i = 0; i < subtitles; ++i) {
        const int second = i * 3;
        char head[80];
        std::snprintf(head, sizeof head, "%d\n%02d:%02d:%02d,000 --> %02d:%02d:%02d,500\n", i + 1,
                      second / 3600, second / 60 % 60, second % 60, second / 3600, (second + 2) / 60 % 60,
                      (second + 2) % 60);
        file +=
            std::string(head) + "The first line of a subtitle\nand <font color=\"FF0000\">another</font>\n\n";
    }
    return file;
}

/// The same number of frames at 25 frames per second.
std::string stlFile() {
    std::string file(1024, ' ');
    file.replace(0, 16, "850STL25.0110009");
    file.replace(238, 5, "01200");
    const auto timebase = ZQCKTimebase::timebaseForFramerate(timebase25);
    for (int i = 0; i < subtitles; ++i) {
        std::string block("\x01\x00\x00\xFF\x00", 5);
        for (const int frame : {i * framesPerSubtitle, i * framesPerSubtitle + framesPerSubtitle * 5 / 6}) {
            const auto time = ZQCKTimecode::timecodeWithFrames(frame, timebase);
            for (const unsigned part : {time.hours(), time.minutes(), time.seconds(), time.frames()}) {
                block.push_back(static_cast<char>(part));
            }
        }
        block += std::string("\x14\x02\x00", 3) +
                 "\x0D\x0B\x0BThe first line\x0A\x0A\x8A\x0D\x0B\x0Bof two\x0A\x0A";
        block.resize(128, '\x8F');
        file += block;
    }
    return file;
}

/// @return how many packets came out.
template <typename Sidecar>
std::size_t playHour(const std::filesystem::path& path, const ZQDictionary& properties, int timebase) {
    const auto sidecar = Sidecar::initForReadingWithURL(path, properties);
    auto timecode = ZQCKTimecode::zeroTimeWithTimebase(ZQCKTimebase::timebaseForFramerate(timebase));
    std::size_t packets = 0;
    for (int i = 0; i < framesPerHour; ++i, timecode.addFrames(1)) {
        const auto list = sidecar->vancPacketsAtTimecode(timecode);
        packets += list.size();
        bench::keep(list);
    }
    return packets;
}

template <typename Sidecar>
bool benchHour(const char* title, const ScratchFile& file, const ZQDictionary& properties, int timebase,
               std::size_t packetsPerFrame) {
    const double start = bench::threadSeconds();
    const std::size_t packets = playHour<Sidecar>(file.path(), properties, timebase);
    const double seconds = bench::threadSeconds() - start;
    const bool good = packets == packetsPerFrame * framesPerHour && seconds < hourLimitSeconds;
    std::printf("%-42s %.3f s of processor time, %.0f ns a frame, limit %.0f s %s\n", title, seconds,
                seconds / framesPerHour * 1e9, hourLimitSeconds, good ? "held" : "EXCEEDED");
    return good;
}

/// What a frame without news costs beside the objects that it returns.
bool benchIdleFrame(const ScratchFile& file) {
    const auto sidecar = ZQREBUSTLSidecar::initForReadingWithURL(file.path(), {});
    const auto timecode = ZQCKTimecode::timecodeWithFrames(1, {});
    return bench::compare(
        "An idle frame of OP-47",
        {{"two packets and a list",
          [] {
              const ZQRVANCPacketList list = {
                  ZQRVANCOP47Packet::finishOP47Packet(ZQRVANCOP47Packet::beginOP47PacketWithLine(12)),
                  ZQRVANCOP47Packet::finishOP47Packet(ZQRVANCOP47Packet::beginOP47PacketWithLine(575))};
              bench::keep(list);
          }},
         {"STL sidecar", [&] { bench::keep(sidecar->vancPacketsAtTimecode(timecode)); }, 1.5}});
}

}  // namespace

int main() {
    // Captions are logged pair by pair; a host that plays them does not ask for that.
    ZLGGetHandle().setLevel(ZLGLevel::Error);
    ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const ScratchFile srt(".srt", srtFile());
    const ScratchFile stl(".stl", stlFile());
    const auto srtProperties = [](int output) {
        return ZQDictionary{{ZHLSRTSidecar_Property_Output, output},
                            {ZHLSRTSidecar_Property_Timebase, timebase60}};
    };
    std::printf("An hour of 60 frames per second, %d subtitles\n", subtitles);
    bool good = benchHour<ZQRSRTSidecar>("  SubRip as CEA-608", srt, srtProperties(1), timebase60, 1);
    good &= benchHour<ZQRSRTSidecar>("  SubRip as OP-47", srt, srtProperties(0), timebase60, 2);
    good &= benchHour<ZQREBUSTLSidecar>("  EBU STL as OP-47", stl, {}, timebase25, 2);
    ZLGGetHandle().setLevel(ZLGLevel::Default);
    good &= benchHour<ZQRSRTSidecar>("  SubRip as CEA-608, each pair logged", srt, srtProperties(1),
                                     timebase60, 1);
    ZLGGetHandle().setLevel(ZLGLevel::Error);
    good &= benchIdleFrame(stl);
    return good ? 0 : 1;
}
