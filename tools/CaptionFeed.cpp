#include "CaptionFeed.h"

#include <fmt/format.h>

#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"
#include "zenquor/vanc/ZQRVANCHelper.h"

namespace zenquor::tools {
namespace {

using CaptionPacketPtr = std::shared_ptr<ZQRVANCClosedCaptionPacket>;

/// Two null pairs, one per field, with odd parity.
ZQData nullPairs() {
    static const std::uint8_t pairs[4] = {0x80, 0x80, 0x80, 0x80};
    return ZQData::copying(pairs);
}

/// The packet in the form that the track is made of.
CaptionPacketPtr packetForTrack(const CaptionPacketPtr& packet, FourCC track) {
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

bool CaptionFeed::readFrom(const std::filesystem::path& path, const CaptionSettings& settings,
                           ZQErrorPtr* error) {
    auto captions = CaptionStream::open(path, settings, timebase_, error);
    if (!captions) return false;
    streams_.push_back({std::move(captions), path});
    return true;
}

bool CaptionFeed::writeCaptionsTo(const std::filesystem::path& path, ZQErrorPtr* error) {
    auto collector = CaptionCollector::create(path, timebase_, 1, error);
    if (!collector) return false;
    collectors_.push_back(std::move(collector));
    return true;
}

bool CaptionFeed::writeAncillaryTo(const std::filesystem::path& path, ZQErrorPtr* error) {
    auto file = AncillaryFile::create(path, timebase_, error);
    if (!file) return false;
    ancillaryFiles_.push_back(std::move(file));
    return true;
}

ZQRVANCPacketList CaptionFeed::packetsFor(const ZQRFramePtr& frame, const ZQCKTimecode& timecode,
                                          const ZQCKTimecode& sinceStart) {
    ZQRVANCPacketList packets = frame->vancPackets();
    for (auto& stream : streams_) {
        const auto& time = stream.captions->followsTimecode() ? timecode : sinceStart;
        packets = ZQRVANCHelper::addPackets(stream.captions->packetsAt(time), packets);
        const std::int64_t place = framesBetween(stream.captions->first(), time);
        stream.hasMet = stream.hasMet || (place >= 0 && place < stream.captions->frames());
    }
    for (const auto& cue : cues_.packetsAt(timecode)) packets = ZQRVANCHelper::addPacket(cue, packets);
    return packets;
}

void CaptionFeed::apply(const ZQRFramePtr& frame, std::uint64_t index) {
    const auto sinceStart = ZQCKTimecode::timecodeWithFrames(static_cast<std::int64_t>(index), timebase_);
    const auto timecode = frame->frameTimecode().value_or(sinceStart);
    ZQRVANCPacketList packets = packetsFor(frame, timecode, sinceStart);
    if (track_ != 0) {
        const auto caption = packetForTrack(ZQRVANCHelper::closedCaptionPacket(packets), track_);
        // One conversion for all files, so that each holds every sequence number.
        if (!collectors_.empty() || !ancillaryFiles_.empty())
            caption->convertToType(ZQRVANCClosedCaptionPacket::TypeCDP);
        packets = ZQRVANCHelper::addPackets({caption}, packets);
    }
    frame->setVancPackets(packets);
    frame->setWriteCaptions(track_ != 0);
    for (const auto& collector : collectors_) collector->add(packets, timecode);
    for (const auto& file : ancillaryFiles_) file->add(packets, timecode);
}

std::vector<std::string> CaptionFeed::close(bool& failed) {
    std::vector<std::string> sentences;
    for (const auto& [captions, path, hasMet] : streams_) {
        for (auto& note : captions->notes()) sentences.push_back(std::move(note));
        if (hasMet) continue;
        sentences.push_back(fmt::format("Nothing of \"{}\" was recorded: it runs from {} to {}, and {}.",
                                        path.string(), captions->first(), captions->last(),
                                        captions->followsTimecode()
                                            ? "the recording's timecode lies elsewhere (--start-timecode)"
                                            : "the recording ended before that"));
    }
    const auto closeFile = [&](auto& file) {
        ZQErrorPtr error;
        if (file->close(&error)) return;
        failed = true;
        sentences.push_back(error->localizedDescription());
    };
    for (const auto& collector : collectors_) {
        closeFile(collector);
        for (auto& note : collector->notes()) sentences.push_back(std::move(note));
    }
    for (const auto& file : ancillaryFiles_) closeFile(file);
    for (const auto& cue : cues_.unsent())
        sentences.push_back(fmt::format("Cue \"{}\" was not sent: its frame did not come.", cue));
    return sentences;
}

}  // namespace zenquor::tools
