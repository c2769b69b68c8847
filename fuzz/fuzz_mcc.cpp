// MacCaption files of any content: read, played, written from what was played, and played again; caption text
// decoded in bulk against character by character.
#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "Check.h"
#include "MemoryFile.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRMCCSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

using namespace zenquor;

namespace {

using Caption = ZQRVANCClosedCaptionPacket;

/// The frames of the first lines, each once and running forwards.
std::vector<ZQCKTimecode> timecodesOf(const ZQRMCCSidecarPtr& sidecar) {
    std::vector<ZQCKTimecode> timecodes;
    for (auto caption = sidecar->currentCaption(); caption && timecodes.size() < 1000;) {
        const ZQCKTimecode timecode = *caption->timecode();
        if (timecodes.empty() || timecode.framesSinceMidnight() > timecodes.back().framesSinceMidnight()) {
            timecodes.push_back(timecode);
        }
        const auto line = sidecar->inputFile()->readLineInPlace();
        caption = line ? sidecar->decodeCaptionForLine(*line) : nullptr;
    }
    return timecodes;
}

/// The data of each frame's packet; hands the packets to @p writer, if there is one.
std::vector<ZQData> play(const std::string& path, const std::vector<ZQCKTimecode>& timecodes,
                         ZQRMCCSidecar* writer) {
    const auto sidecar = ZQRMCCSidecar::initForReadingWithURL(path);
    std::vector<ZQData> playout;
    for (const ZQCKTimecode& timecode : timecodes) {
        const auto packets = sidecar->vancPacketsAtTimecode(timecode);
        FUZZ_CHECK(packets.size() == 1);
        const auto caption = std::dynamic_pointer_cast<Caption>(packets[0]);
        FUZZ_CHECK(caption && caption->type() == Caption::TypeCDP && caption->data().size() <= 255);
        playout.push_back(caption->data());
        if (writer) writer->addVancPackets(packets, timecode);
    }
    return playout;
}

void checkText(std::string_view text, bool allowMCCEncoding) {
    const auto slow = ZQRSidecarCaption::init();
    const auto fast = ZQRSidecarCaption::init();
    bool isGood = true;
    for (std::size_t i = 0; isGood && i < text.size(); ++i) {
        isGood = slow->appendNibble(text[i], allowMCCEncoding);
    }
    FUZZ_CHECK(fast->appendText(text, allowMCCEncoding) == isGood);
    FUZZ_CHECK(std::ranges::equal(fast->data(), slow->data()));
    if (!isGood || !allowMCCEncoding) return;
    std::string encoded;
    fast->encodeData(encoded, true);
    const auto again = ZQRSidecarCaption::init();
    FUZZ_CHECK(again->appendText(encoded, true) && std::ranges::equal(again->data(), fast->data()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkText(text.substr(0, 4096), true);
    checkText(text.substr(0, 4096), false);
    const MemoryFile file({data, size});
    const auto reader = ZQRMCCSidecar::initForReadingWithURL(file.path());
    FUZZ_CHECK(!reader->valid() || (reader->version() >= 1 && reader->version() <= 2));
    const auto timecodes = timecodesOf(reader);
    const MemoryFile copy;
    const auto writer =
        ZQRMCCSidecar::initForWritingWithURL(copy.path(), reader->timebase(), reader->properties());
    FUZZ_CHECK(writer->valid());
    const auto played = play(file.path(), timecodes, writer.get());
    writer->close();
    const auto again = play(copy.path(), timecodes, nullptr);
    for (std::size_t i = 0; i < played.size(); ++i) {
        // An empty packet of no data cannot be written; its frame then has one of our own.
        FUZZ_CHECK(played[i].empty() ? again[i].size() == 89 : played[i] == again[i]);
    }
    return 0;
}
