#include "MovieCaptions.h"

#include <fmt/format.h>

#include "CaptionErrors.h"
#include "CaptionSamples.h"
#include "MovieFrames.h"
#include "TimeMapping.h"

namespace zenquor::tools {
namespace {

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
    std::int64_t firstFrame = 0;
    captions->unreadable_ = forEachCaptionSample(asset, [&](const CaptionSample& sample) {
        if (sample.kind != kind) return true;
        const std::int64_t frame = frames.frameAt(sample.time);
        const auto timecode = frames.timecodeAt(sample.time)
                                  .value_or(ZQCKTimecode::timecodeWithFrames(frame, captions->timebase_));
        if (captions->packets_.empty()) {
            firstFrame = frame;
            captions->first_ = timecode;
        }
        captions->jumps_ |= captions->first_.addingFrames(frame - firstFrame) != timecode;
        captions->packets_.push_back({frame - firstFrame, sample.packet});
        return true;
    });
    if (captions->valid()) return captions;
    failCaption(error, fmt::format("\"{}\" holds no captions.", path.string()));
    return nullptr;
}

std::vector<std::string> MovieCaptions::notes() const {
    std::vector<std::string> notes;
    if (jumps_)
        notes.push_back(
            fmt::format("The timecode of the movie jumps; times are counted on from {}.", first_));
    if (unreadable_ > 0)
        notes.push_back(fmt::format("{} caption samples hold no readable packet.", unreadable_));
    return notes;
}

ZQRVANCPacketList MovieCaptions::vancPacketsAtTimecode(const ZQCKTimecode& timecode) {
    const std::int64_t frame = framesBetween(first_, timecode);
    while (next_ < packets_.size() && packets_[next_].frame < frame) ++next_;
    if (next_ < packets_.size() && packets_[next_].frame == frame) return {packets_[next_].packet};
    return {ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
        ZQRVANCClosedCaptionPacket::empty608PacketData(), ZQRVANCClosedCaptionPacket::TypeCEA608)};
}

}  // namespace zenquor::tools
