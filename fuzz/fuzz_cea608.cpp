// Caption pairs of both fields, two of each to a frame, and what a viewer is said to have seen.

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/sidecar/ZQRCEA608Decoder.h"

using namespace zenquor;

namespace {

void checkBlock(const ZQRScreenBlock& block, std::int64_t frame, std::int64_t bound) {
    FUZZ_CHECK(block.timecodeIn().framesSinceMidnight() < block.timecodeOut().framesSinceMidnight());
    FUZZ_CHECK(block.timecodeOut().framesSinceMidnight() == frame);
    FUZZ_CHECK(block.service() >= 1 && block.service() <= 4);
    FUZZ_CHECK(block.subtitleNumber() <= bound);
    const auto lines = block.lines();
    FUZZ_CHECK(!lines.empty() && lines.size() == block.rows().size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& place = block.rows()[i];
        const auto& text = lines[i]->string();
        FUZZ_CHECK(place.row >= 1 && place.row <= 15 && (i == 0 || place.row > block.rows()[i - 1].row));
        FUZZ_CHECK(place.column >= 0 && !text.empty() && place.column + text.size() <= 32);
        FUZZ_CHECK(text.front() > u' ' && text.back() > u' ');
        block.enumerateFormattingForLine(lines[i],
                                         [&](const auto& run, std::size_t index, std::size_t offset) {
                                             FUZZ_CHECK(index < text.size() && offset < run.range().length);
                                         });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    ZLGGetHandle().setLevel(ZLGLevel::Off);
    const auto timebase = ZQCKTimebase::timebaseForFramerate(3);
    std::int64_t frame = 0;
    std::uint64_t pairs = 0;
    std::uint64_t remarks = 0;
    // Only a code ends a block, and one code ends one of the eight screens; the end of the stream ends all.
    const auto bound = [&] { return static_cast<std::int64_t>(pairs * 2 + 8); };
    ZQRCEA608Decoder decoder([&](const ZQRScreenBlockPtr& block) { checkBlock(*block, frame, bound()); },
                             [&](const ZQRCaptionRemark& remark) {
                                 FUZZ_CHECK(!remark.text.empty() && remark.timecode);
                                 ++remarks;
                             });
    for (std::size_t i = 0; i + 2 <= size; i += 2) {
        const int field = (i / 2) % 4 < 2 ? 1 : 2;
        decoder.addPair(field, static_cast<std::uint16_t>(bytes[i] << 8 | bytes[i + 1]),
                        ZQCKTimecode::timecodeWithFrames(frame, timebase));
        if (++pairs % 4 == 0) ++frame;
    }
    ++frame;
    decoder.finish(ZQCKTimecode::timecodeWithFrames(frame, timebase));
    FUZZ_CHECK(decoder.statistics().pairs == pairs && remarks <= pairs * 3 + 16);
    return 0;
}
