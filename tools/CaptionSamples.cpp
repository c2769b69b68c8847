#include "CaptionSamples.h"

#include <numeric>

#include <fmt/format.h>

#include "zenquor/platform/AssetReader.h"
#include "zenquor/vanc/ZQRCaptionSampleParser.h"
#include "zenquor/vanc/ZQRVANCCEA608Packet.h"

namespace zenquor::tools {
namespace {

/// What is wrong with a caption distribution packet on the wire; empty when it is sound.
std::string faultOf(const ZQData& cdp) {
    if (cdp.size() < 11 || cdp[0] != 0x96 || cdp[1] != 0x69) return "not a caption distribution packet";
    if (cdp[2] != cdp.size())
        return fmt::format("length byte {} in a packet of {} bytes", cdp[2], cdp.size());
    const auto sum = std::accumulate(cdp.begin(), cdp.end(), std::uint8_t{0});
    return sum == 0 ? "" : "wrong checksum";
}

std::string describePair(int field, std::span<const std::uint8_t> pair) {
    const auto packet = ZQRVANCCEA608Packet::initWithHiByte(pair[0], pair[1]);
    return fmt::format("field {} {}", field, packet.debugDescription());
}

}  // namespace

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

std::vector<std::string> describeCaptions(const ZQRVANCClosedCaptionPacket& packet) {
    std::vector<std::string> parts;
    if (packet.originalType() == ZQRVANCClosedCaptionPacket::TypeCDP) {
        const ZQData cdp = packet.data();
        if (auto fault = faultOf(cdp); !fault.empty()) parts.push_back("FAULT " + fault);
        if (cdp.size() >= 7)
            parts.push_back(fmt::format("CDP {} bytes, sequence {}", cdp.size(), cdp[5] << 8 | cdp[6]));
    }
    auto pairs = packet.dataFor608Fields(2);
    if (!pairs) pairs = packet.dataFor608Fields(1);
    for (std::size_t i = 0; pairs && i + 2 <= pairs->size(); i += 2) {
        parts.push_back(describePair(static_cast<int>(i / 2) + 1, pairs->span().subspan(i, 2)));
    }
    return parts;
}

}  // namespace zenquor::tools
