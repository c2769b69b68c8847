// Scenarist files of any content: read, played, written from what was played, and played again.
#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "Check.h"
#include "MemoryFile.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRSCCSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

using namespace zenquor;

namespace {

using Caption = ZQRVANCClosedCaptionPacket;
using Playout = std::vector<std::pair<std::uint32_t, std::uint16_t>>;  // frames with more than a null pair

const ZQCKTimebase drop = ZQCKTimebase::timebaseForFramerate(3);

/// Plays the frames; hands all packets to @p writer, if there is one.
Playout play(const std::string& path, const std::vector<std::uint32_t>& frames, ZQRSCCSidecar* writer) {
    const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    Playout playout;
    for (const std::uint32_t frame : frames) {
        const auto timecode = ZQCKTimecode::timecodeWithFrames(frame, drop);
        const auto packets = sidecar->vancPacketsAtTimecode(timecode);
        FUZZ_CHECK(packets.size() == 1);
        const auto data = std::dynamic_pointer_cast<Caption>(packets[0])->dataFor608Fields(1);
        FUZZ_CHECK(data && data->size() == 2);
        const auto pair = static_cast<std::uint16_t>((*data)[0] << 8 | (*data)[1]);
        if ((pair & 0x7F7F) != 0) playout.emplace_back(frame, pair);
        if (writer) writer->addVancPackets(packets, timecode);
    }
    return playout;
}

/// Every frame from a few before each line to a few behind it, running forwards; a bounded number.
std::vector<std::uint32_t> framesOf(const std::string& path) {
    constexpr std::size_t most = 4000;
    std::vector<std::uint32_t> frames;
    const auto sidecar = ZQRSCCSidecar::initForReadingWithURL(path);
    std::uint32_t next = 0;
    for (auto caption = sidecar->currentCaption(); caption && frames.size() < most;) {
        const std::uint32_t start = caption->timecode()->framesSinceMidnight();
        const std::uint32_t end = start + static_cast<std::uint32_t>(caption->data().size() / 2);
        FUZZ_CHECK(caption->data().empty() || caption->endTimecode());
        next = std::max(next, start < 3 ? 0 : start - 3);
        for (; next < std::min(end + 3, drop.framesPerDay()) && frames.size() < most; ++next) {
            frames.push_back(next);
        }
        const auto line = sidecar->inputFile()->readLineInPlace();
        caption = line ? sidecar->decodeCaptionForLine(*line) : nullptr;
    }
    return frames;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const MemoryFile file({data, size});
    const MemoryFile copy;
    const auto frames = framesOf(file.path());
    const auto writer = ZQRSCCSidecar::initForWritingWithURL(copy.path(), drop);
    FUZZ_CHECK(writer->valid());
    const Playout played = play(file.path(), frames, writer.get());
    writer->close();
    const Playout again = play(copy.path(), frames, nullptr);
    // Nothing is lost or reordered, and nothing moves but ahead.
    FUZZ_CHECK(played.size() == again.size());
    for (std::size_t i = 0; i < played.size(); ++i) {
        FUZZ_CHECK(played[i].second == again[i].second);
        FUZZ_CHECK(again[i].first <= played[i].first);
    }
    return 0;
}
