#include "CaptionSamples.h"

#include "zenquor/platform/AssetReader.h"
#include "zenquor/vanc/ZQRCaptionSampleParser.h"

namespace zenquor::tools {
std::uint64_t forEachCaptionSample(const platform::AssetPtr& asset,
                                   const std::function<bool(const CaptionSample&)>& visit) {
    std::uint64_t unreadable = 0;
    for (const auto& track : asset->tracksWithMediaType(platform::mediaTypeClosedCaption)) {
        const auto reader = platform::AssetReader::assetReaderWithAsset(asset);
        if (!reader) return unreadable;
        const auto output = platform::AssetReaderTrackOutput::undecoded(track);
        reader->addOutput(output);
        if (!reader->startReading()) return unreadable;
        while (const auto sample = output->copyNextSampleBuffer()) {
            if (!sample->dataBuffer()) continue;
            auto packet = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(
                ZQRCaptionSampleParser::packetFromSampleData(sample->dataBuffer()->data(), 0));
            if (!packet) {
                ++unreadable;
            } else if (!visit({sample->presentationTimeStamp(), track.formatDescription->mediaSubType(),
                               packet})) {
                return unreadable;
            }
        }
    }
    return unreadable;
}

}  // namespace zenquor::tools
