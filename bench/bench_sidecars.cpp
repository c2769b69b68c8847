// Sidecar files of an hour: reading all lines against std::getline on the same file, playing them frame by
// frame against the time that a frame has.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Interleaved.h"
#include "zenquor/sidecar/ZQRMCCSidecar.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/vanc/ZQRDataStream.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

using namespace zenquor;
using Caption = ZQRVANCClosedCaptionPacket;

namespace {

const ZQCKTimebase ntsc = ZQCKTimebase::timebaseForFramerate(3);
const ZQCKTimebase ntsc60 = ZQCKTimebase::timebaseForFramerate(6);
constexpr double lineLimit = 3;         // times what std::getline takes
constexpr double hourLimitSeconds = 1;  // of processor time for an hour at 59.94 frames per second

/// A folder that goes away with the program.
class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zenquor-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) std::abort();
        path_ = pattern;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::filesystem::path operator/(const char* name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Byte pairs of one pop-on caption of @p count pairs: loading and placing, text, showing.
std::vector<std::uint16_t> popOnPairs(std::mt19937& random, std::size_t count) {
    std::vector<std::uint16_t> pairs = {0x9420, 0x9420, 0x94AE, 0x94AE, 0x9470, 0x9470};
    const auto character = [&] {
        return ZQRDataStream::oddParityByte(static_cast<std::uint8_t>('a' + random() % 26));
    };
    while (pairs.size() + 4 < count)
        pairs.push_back(static_cast<std::uint16_t>(character() << 8 | character()));
    for (const std::uint16_t code : {0x942C, 0x942C, 0x942F, 0x942F}) pairs.push_back(code);
    return pairs;
}

/// 1500 captions of 30 pairs, one every 72 frames.
void writeSCC(const std::filesystem::path& path) {
    std::mt19937 random(1);
    std::ofstream file(path, std::ios::binary);
    file << "Scenarist_SCC V1.0\n\n";
    for (int i = 0; i < 1500; ++i) {
        file << ZQCKTimecode::timecodeWithFrames(i * 72, ntsc).description();
        char separator = '\t';
        for (const std::uint16_t pair : popOnPairs(random, 30)) {
            char text[6];
            std::snprintf(text, sizeof text, "%c%04X", separator, pair);
            file << text;
            separator = ' ';
        }
        file << "\n\n";
    }
}

/// @p lines caption packets as pop-on captions give them, one every @p step frames: 20 triplets, service
/// information, 81 characters a line. Files with CEA-708 text have longer lines, which cost less beside getline.
void writeMCC(const std::filesystem::path& path, ZQCKTimebase timebase, int lines, int step) {
    std::mt19937 random(2);
    const auto sidecar = ZQRMCCSidecar::initForWritingWithURL(path, timebase);
    std::vector<std::uint16_t> pairs;
    for (int i = 0; i < lines; ++i) {
        if (pairs.empty()) pairs = popOnPairs(random, 30);
        const std::uint8_t bytes[] = {static_cast<std::uint8_t>(pairs.back() >> 8),
                                      static_cast<std::uint8_t>(pairs.back())};
        pairs.pop_back();
        sidecar->addVancPackets({Caption::closedCaptionPacketWithData(ZQData::copying(bytes), 0)},
                                ZQCKTimecode::timecodeWithFrames(i * step, timebase));
    }
    sidecar->close();
}

std::size_t readWithGetline(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::size_t count = 0;
    while (std::getline(file, line)) {
        bench::keep(line);
        ++count;
    }
    return count;
}

/// Every line decoded by hand. @return how many captions there are.
template <typename Sidecar>
std::size_t decodeAll(const std::filesystem::path& path) {
    const auto sidecar = Sidecar::initForReadingWithURL(path);
    std::size_t count = 1;
    while (const auto line = sidecar->inputFile()->readLineInPlace()) {
        const auto caption = sidecar->decodeCaptionForLine(*line);
        if (!caption) std::abort();
        bench::keep(caption);
        ++count;
    }
    return count;
}

/// Every @p step-th frame of @p frames played, which is every line of the files above.
template <typename Sidecar>
void play(const std::filesystem::path& path, ZQCKTimebase timebase, int frames, int step) {
    const auto sidecar = Sidecar::initForReadingWithURL(path);
    auto timecode = ZQCKTimecode::zeroTimeWithTimebase(timebase);
    for (int i = 0; i < frames; i += step, timecode.addFrames(step)) {
        bench::keep(sidecar->vancPacketsAtTimecode(timecode));
    }
}

template <typename Sidecar>
bool benchReading(const std::string& title, const std::filesystem::path& path, ZQCKTimebase timebase,
                  std::size_t captions, int step, double limit) {
    if (decodeAll<Sidecar>(path) != captions) std::abort();
    const int frames = static_cast<int>(captions) * step;
    return bench::compare(
        title, {{"std::getline", [&] { bench::keep(readWithGetline(path)); }},
                {"all lines decoded", [&] { bench::keep(decodeAll<Sidecar>(path)); }, limit},
                {"played, one frame a line", [&] { play<Sidecar>(path, timebase, frames, step); }}});
}

template <typename Sidecar>
bool benchHour(const std::string& title, const std::filesystem::path& path, ZQCKTimebase timebase) {
    const double start = bench::threadSeconds();
    play<Sidecar>(path, timebase, static_cast<int>(ntsc60.framesPerHour()), 1);
    const double seconds = bench::threadSeconds() - start;
    std::printf("%s\n  %.3f s of processor time, limit %.0f s %s\n", title.c_str(), seconds, hourLimitSeconds,
                seconds < hourLimitSeconds ? "held" : "EXCEEDED");
    return seconds < hourLimitSeconds;
}

}  // namespace

int main() {
    const Folder folder;
    writeSCC(folder / "hour.scc");
    writeMCC(folder / "lines.mcc", ntsc, 30000, 1);
    writeMCC(folder / "hour.mcc", ntsc60, static_cast<int>(ntsc60.framesPerHour()) / 2, 2);
    bool good = benchReading<ZQRSCCSidecar>("SCC, 1500 lines of 30 pairs", folder / "hour.scc", ntsc, 1500,
                                            72, lineLimit);
    good &= benchReading<ZQRMCCSidecar>("MCC, 30000 lines of 20 triplets", folder / "lines.mcc", ntsc, 30000,
                                        1, lineLimit);
    good &= benchHour<ZQRSCCSidecar>("SCC, an hour of 59.94 frames per second", folder / "hour.scc", ntsc60);
    good &= benchHour<ZQRMCCSidecar>("MCC, an hour of 59.94 frames per second, a line every second frame",
                                     folder / "hour.mcc", ntsc60);
    return good ? 0 : 1;
}
