#include "MovieCaptions.h"

#include <fmt/format.h>

#include "CaptionSamples.h"
#include "MovieFrames.h"
#include "TimeMapping.h"

namespace zenquor::tools {
namespace {

constexpr const char* captionErrorDomain = "ZQCaptionErrorDomain";

/// The kind of caption track to read: the preferred one, or the only one.
FourCC kindToRead(const platform::AssetPtr& asset, FourCC preferred) {
    FourCC kind = 0;
    for (const auto& track : asset->tracksWithMediaType(platform::mediaTypeClosedCaption)) {
        const FourCC found = track.formatDescription->mediaSubType();
        if (kind == 0 || found == preferred) kind = found;
    }
    return kind;
}

}  // namespace

std::shared_ptr<MovieCaptions> MovieCaptions::open(const std::filesystem::path& path, FourCC preferred,
                                                   ZQErrorPtr* error) {
    const auto asset = platform::Asset::assetWithURL(path, error);
    if (!asset) return nullptr;
    const MovieFrames frames(asset);
    const FourCC kind = kindToRead(asset, preferred);
    auto captions = std::make_shared<MovieCaptions>();
    captions->timebase_ = frames.timebase();
    forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        if (sample.kind != kind) return true;
        const auto counted =
            ZQCKTimecode::timecodeWithFrames(frames.frameAt(sample.time), captions->timebase_);
        captions->packets_.push_back({frames.timecodeAt(sample.time).value_or(counted), sample.packet});
        return true;
    });
    if (captions->valid()) return captions;
    fail(error, ZQError::errorWithDomain(captionErrorDomain, -1,
                                         fmt::format("\"{}\" holds no captions.", path.string())));
    return nullptr;
}

ZQRVANCPacketList MovieCaptions::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    while (next_ < packets_.size() && framesBetween(packets_[next_].timecode, timecode) > 0) ++next_;
    if (next_ < packets_.size() && packets_[next_].timecode == timecode) return {packets_[next_].packet};
    return {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQRVANCClosedCaptionPacket::empty608PacketData(), ZQRVANCClosedCaptionPacket::TypeCEA608)};
}

}  // namespace zenquor::tools
