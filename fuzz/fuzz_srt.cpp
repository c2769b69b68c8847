// SubRip files of any content: read, wrapped, played for a while and written again.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <string>

#include "Check.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"

using namespace zenquor;

namespace {

/// A file that lives in memory, for a reader that wants a path.
class MemoryFile {
public:
    explicit MemoryFile(std::span<const std::uint8_t> content)
        : descriptor_(memfd_create("srt", MFD_CLOEXEC)) {
        FUZZ_CHECK(write(descriptor_, content.data(), content.size()) ==
                   static_cast<ssize_t>(content.size()));
    }
    ~MemoryFile() { close(descriptor_); }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

/// Every third choice plays teletext, the others captions.
bool isTeletext(std::uint8_t choice) {
    return choice % 3 == 0;
}

ZQDictionary propertiesFrom(std::uint8_t choice) {
    return {{ZHLSRTSidecar_Property_Output, isTeletext(choice) ? 0 : 1},
            {ZHLSRTSidecar_Property_Timebase, choice & 7},
            {ZHLSRTSidecar_Property_Justification, choice >> 3 & 3},
            {ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, (choice >> 5 & 3) % 3},
            {ZHLSubtitleSidecar_Property_RenderingWidth, choice % 34},
            {ZHLSubtitleSidecar_Property_RenderingHeight, choice % 5},
            {ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, (choice & 0x80) != 0}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const MemoryFile file({data + 1, size - 1});
    const auto sidecar = ZQRSRTSidecar::initForReadingWithURL(file.path(), propertiesFrom(data[0]));
    FUZZ_CHECK(sidecar->valid());
    const auto writer = ZQRSRTSidecar::initForWritingWithURL("/dev/null");
    std::size_t reported = 0;
    for (const auto& block : sidecar->subtitleBlocks()) {
        FUZZ_CHECK(writer->writeBlock(*block));
        for (const auto& line : block->lines()) {
            block->enumerateFormattingForLine(line, [&](const ZQRSubtitleFormatting&, std::size_t index,
                                                        std::size_t) { reported += index; });
        }
        auto frame = block->timecodeIn().addingFrames(-2);
        for (int i = 0; i < 5; ++i, frame.addFrames(1)) {
            const auto packets = sidecar->vancPacketsAtTimecode(frame);
            FUZZ_CHECK(packets.size() == (isTeletext(data[0]) ? 2 : 1));
            for (const auto& packet : packets) packet->sdiData();
        }
    }
    return 0;
}
