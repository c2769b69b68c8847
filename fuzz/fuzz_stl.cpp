// EBU STL files of any content: read with every kind of property, described, played through both outputs.
#include <cstdint>
#include <span>

#include "Check.h"
#include "MemoryFile.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQREBUSTLSidecar.h"
#include "zenquor/sidecar/ZQRSubtitleOutputOP47.h"

using namespace zenquor;

namespace {

ZQDictionary propertiesFrom(std::uint8_t choice) {
    ZQDictionary properties = {
        {ZHLSubtitleSidecar_Property_FillerCharacter, (choice & 1) != 0 ? '?' : 0},
        {ZHLSubtitleSidecar_Property_DoubleHeightSubtitles, (choice & 2) != 0},
        {ZHLSubtitleSidecar_Property_CenteredRoundUp, (choice & 4) != 0},
        {ZHLSubtitleSidecar_Property_OverlappingSubtitleAction, (choice >> 3 & 3) % 3},
        {ZHLEBUSTLSidecar_Property_RemoveEmptyLines, (choice & 0x20) != 0},
        {ZHLEBUSTLSidecar_Property_ValidateVerticalPosition, (choice & 0x40) != 0},
        {ZHLSubtitleSidecar_Property_RenderingWidth, choice % 34},
        {ZHLSubtitleSidecar_Property_RenderingHeight, choice % 5},
    };
    if ((choice & 0x80) != 0) properties.set(ZHLSubtitleSidecar_Property_OverrideLanguage, choice & 0x0F);
    return properties;
}

/// A few frames around each block. @return whether all of them carried @p packets packets.
bool play(ZQRSubtitleSidecar& sidecar, std::size_t packets) {
    for (const auto& block : sidecar.subtitleBlocks()) {
        auto frame = block->timecodeIn().addingFrames(-2);
        for (int i = 0; i < 5; ++i, frame.addFrames(1)) {
            const auto list = sidecar.vancPacketsAtTimecode(frame);
            if (list.size() != packets) return false;
            for (const auto& packet : list) packet->sdiData();
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    [[maybe_unused]] static const auto quiet = ZLGGetHandle().setSink([](ZLGLevel, std::string_view) {});
    const MemoryFile file({data + 2, size - 2});
    const auto sidecar = ZQREBUSTLSidecar::initForReadingWithURL(file.path(), propertiesFrom(data[0]));
    const bool isRead = size - 2 >= ZQREBUSTLSidecar::generalBlockSize;
    FUZZ_CHECK(isRead == (sidecar->output() != nullptr));
    FUZZ_CHECK(sidecar->subtitleBlocks().size() <= size / 128);
    FUZZ_CHECK(!sidecar->debugDescription().empty());
    if (!isRead) return 0;
    const bool teletext = (data[1] & 1) == 0;
    if (!teletext) sidecar->setupOutput(ZQRSubtitleSidecar::OutputCEACC);
    sidecar->prepareToReadFromFrame(0);
    FUZZ_CHECK(play(*sidecar, teletext ? 2 : 1));
    return 0;
}
