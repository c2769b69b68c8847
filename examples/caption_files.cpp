// Plays a SubRip file frame by frame as closed captions, collects them in a Scenarist file, and reads that file back as a
// viewer would see it.

#include <cstdio>
#include <fstream>
#include <string>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

using namespace zenquor;

namespace {

constexpr auto timebase = ZQCKTimebase::timebaseForFramerate(3);  // 29.97 drop frame, as SCC files are
constexpr std::int64_t frames = 200;

/// Hands the packets of each frame to @p take.
template <typename Take>
void play(ZQRSidecar& sidecar, const Take& take) {
    ZQCKTimecode timecode = ZQCKTimecode::zeroTimeWithTimebase(timebase);
    for (std::int64_t frame = 0; frame < frames; ++frame, timecode.addFrames(1)) {
        // Before every frame: what is idle then carries null pairs, and the caption stays on the screen.
        sidecar.prepareToReadFromFrame(static_cast<std::int32_t>(frame));
        take(sidecar.vancPacketsAtTimecode(timecode), timecode);
    }
}

}  // namespace

int main() {
    // The caption output logs every pair that it sends.
    ZLGGetHandle().setLevel(ZLGLevel::Off);
    std::ofstream("example.srt") << "1\n00:00:01,000 --> 00:00:03,000\nGood evening.\n\n"
                                    "2\n00:00:03,500 --> 00:00:05,000\nHere is the news,\nread slowly.\n";
    const auto subtitles = ZQRSRTSidecar::initForReadingWithURL(
        "example.srt", {{ZHLSRTSidecar_Property_Timebase, timebase.frameRate()},
                        {ZHLSRTSidecar_Property_Output, ZQRSubtitleSidecar::OutputCEACC},
                        {ZHLSRTSidecar_Property_Justification, ZQRSubtitleBlock::Centered}});
    const auto written = ZQRSCCSidecar::initForWritingWithURL("example.scc", timebase);
    play(*subtitles, [&](const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
        written->addVancPackets(packets, timecode);
    });
    written->close();

    const auto read = ZQRSCCSidecar::initForReadingWithURL("example.scc");
    if (!read->valid()) return 1;
    std::string seen;
    ZQRCEA608Decoder viewer([&](const ZQRScreenBlockPtr& block) {
        std::printf("%s to %s, row %d\n%s\n", block->timecodeIn().description().c_str(),
                    block->timecodeOut().description().c_str(), block->verticalPosition(),
                    block->text().c_str());
        seen += block->text() + "/";
    });
    play(*read, [&](const ZQRVANCPacketList& packets, const ZQCKTimecode& timecode) {
        viewer.addVancPackets(packets, timecode);
    });
    viewer.finish(ZQCKTimecode::timecodeWithFrames(frames, timebase));
    return seen == "Good evening./Here is the news,\nread slowly./" ? 0 : 1;
}
