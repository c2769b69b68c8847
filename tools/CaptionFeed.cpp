#include "CaptionFeed.h"

#include <fmt/format.h>

#include "zenquor/core/ZQValue.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRCaptionCharacters.h"
#include "zenquor/sidecar/ZQRSRTSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

constexpr int captionOutput = 1;    // CEA-608 captions
constexpr int captionColumns = 32;  // of the caption raster
constexpr int captionRows = 4;      // more than that hides the picture
constexpr int justifyCentered = 2;
constexpr int timeSinceStart = 0;  // a sidecar driven by the time since the recording's start
constexpr const char* captionErrorDomain = "ZQCaptionErrorDomain";

/// Two null pairs, one per field, with odd parity.
ZQData nullPairs() {
    static const std::uint8_t pairs[4] = {0x80, 0x80, 0x80, 0x80};
    return ZQData::copying(pairs);
}

/// The packet in the form that the track is made of.
ZQRVANCPacketPtr packetForTrack(const std::shared_ptr<ZQRVANCClosedCaptionPacket>& packet, FourCC track) {
    const std::int32_t line = packet ? packet->lineNumber() : ZQRVANCClosedCaptionPacket::defaultLineNumber;
    if (track == fourCC("c608")) {
        auto pairs = packet ? packet->dataFor608Fields(2) : std::nullopt;
        if (!pairs && packet) pairs = packet->dataFor608Fields(1);
        return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
            pairs.value_or(nullPairs()), ZQRVANCClosedCaptionPacket::TypeCEA608, line);
    }
    if (packet && packet->originalType() == ZQRVANCClosedCaptionPacket::TypeCDP) return packet;
    const auto pairs = packet ? packet
                              : ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(
                                    nullPairs(), ZQRVANCClosedCaptionPacket::TypeCEA608, line);
    return ZQRVANCClosedCaptionPacket::closedCaptionPacketWithData(pairs->dataFor708().value_or(ZQData{}),
                                                                   ZQRVANCClosedCaptionPacket::TypeCDP, line);
}

}  // namespace

std::unique_ptr<CaptionFeed> CaptionFeed::fromFile(const std::filesystem::path& path, std::int32_t channel,
                                                   FourCC track, ZQCKTimebase timebase, ZQErrorPtr* error) {
    const ZQDictionary properties{
        {ZHLSRTSidecar_Property_Timebase, timebase.frameRate()},
        {ZHLSRTSidecar_Property_Output, captionOutput},
        {ZHLSRTSidecar_Property_Justification, justifyCentered},
        {ZHLSRTSidecar_Property_ClosedCaptionChannel, channel - 1},
        {ZHLSubtitleSidecar_Property_RenderingWidth, captionColumns},
        {ZHLSubtitleSidecar_Property_RenderingHeight, captionRows},
    };
    const auto sidecar = ZQRSRTSidecar::initForReadingWithURL(path, properties);
    if (!sidecar || !sidecar->valid() || sidecar->subtitleBlocks().empty()) {
        fail(error,
             ZQError::errorWithDomain(captionErrorDomain, -1,
                                      fmt::format("\"{}\" holds no readable subtitle.", path.string())));
        return nullptr;
    }
    ZQRCaptionCharacters::fitBlocks(sidecar->subtitleBlocks());
    auto feed = fromFrames(track);
    feed->sidecar_ = sidecar;
    feed->timebase_ = timebase;
    return feed;
}

std::unique_ptr<CaptionFeed> CaptionFeed::fromFrames(FourCC track) {
    auto feed = std::make_unique<CaptionFeed>();
    feed->track_ = track;
    return feed;
}

ZQRVANCPacketList CaptionFeed::packetsFor(const ZQRFramePtr& frame, std::uint64_t index) {
    if (!sidecar_) return frame->vancPackets();
    // Asked for before every frame: idle frames then carry nulls and leave the caption on screen alone.
    sidecar_->prepareToReadFromFrame(static_cast<std::int32_t>(index));
    const auto sinceStart = ZQCKTimecode::timecodeWithFrames(static_cast<std::int64_t>(index), timebase_);
    const auto timecode =
        sidecar_->timecodeType() == timeSinceStart ? sinceStart : frame->frameTimecode().value_or(sinceStart);
    return ZQRVANCHelper::addPackets(sidecar_->vancPacketsAtTimecode(timecode), frame->vancPackets());
}

void CaptionFeed::apply(const ZQRFramePtr& frame, std::uint64_t index) {
    const ZQRVANCPacketList packets = packetsFor(frame, index);
    const auto caption = packetForTrack(ZQRVANCHelper::closedCaptionPacket(packets), track_);
    frame->setVancPackets(ZQRVANCHelper::addPackets({caption}, packets));
    frame->setWriteCaptions(true);
}

}  // namespace zenquor::tools
