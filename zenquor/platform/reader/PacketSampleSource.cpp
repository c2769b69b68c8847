#include "zenquor/platform/reader/PacketSampleSource.h"

#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

namespace zenquor::platform::detail {
namespace {

// In units of a stream; broken files claim any duration.
constexpr std::int64_t longestDuration = std::int64_t{1} << 30;

}  // namespace

PacketSampleSource::PacketSampleSource(std::shared_ptr<PacketReader> packets, AssetTrack track,
                                       MediaTime start)
    : packets_(std::move(packets)), track_(std::move(track)), start_(start) {}

MediaTime PacketSampleSource::timeOf(std::int64_t units) const {
    const AVStream& stream = packets_->stream(static_cast<int>(track_.index));
    const std::int64_t largest = (std::int64_t{1} << 60) / stream.time_base.num;
    if (units == AV_NOPTS_VALUE || units > largest || units < -largest) return MediaTime::invalid();
    return {(units - packets_->container().origin(stream)) * stream.time_base.num, stream.time_base.den};
}

/// Pictures begin with the sync sample that the reader was put to; other samples with the one that covers the
/// start.
bool PacketSampleSource::isBeforeStart(const AVPacket& packet) const {
    if (!start_.isValid() || hasBegun_) return false;
    if (track_.mediaType == mediaTypeVideo) return !(packet.flags & AV_PKT_FLAG_KEY);
    const MediaTime time = timeOf(packet.pts);
    const AVRational base = packets_->stream(static_cast<int>(track_.index)).time_base;
    const bool hasDuration = packet.duration > 0 && packet.duration < longestDuration;
    return time.isValid() &&
           time + MediaTime{hasDuration ? packet.duration * base.num : 0, base.den} <= start_;
}

SampleBufferPtr PacketSampleSource::sampleBuffer(const AVPacket& packet) const {
    BlockBufferPtr block;
    if (packet.size <= 0 ||
        BlockBuffer::createWithLength(static_cast<std::size_t>(packet.size), block) != noErr) {
        return nullptr;
    }
    block->replaceDataBytes(ZQData::copying({packet.data, block->dataLength()}), 0);
    const AVRational base = packets_->stream(static_cast<int>(track_.index)).time_base;
    SampleTiming timing;
    timing.decodeTimeStamp = timeOf(packet.dts);
    timing.presentationTimeStamp = timeOf(packet.pts);
    if (!timing.presentationTimeStamp.isValid()) timing.presentationTimeStamp = timing.decodeTimeStamp;
    const bool hasDuration = packet.duration > 0 && packet.duration < longestDuration;
    timing.duration = {hasDuration ? packet.duration * base.num : 0, base.den};
    SampleAttachments attachments;
    if (track_.mediaType == mediaTypeVideo && !(packet.flags & AV_PKT_FLAG_KEY)) attachments.notSync = true;
    SampleBufferPtr sample;
    SampleBuffer::create(block, track_.formatDescription, 1, timing, block->dataLength(), attachments,
                         sample);
    return sample;
}

SampleBufferPtr PacketSampleSource::next() {
    while (const auto packet = packets_->next(static_cast<int>(track_.index))) {
        if (isBeforeStart(*packet)) continue;
        hasBegun_ = true;
        if (auto sample = sampleBuffer(*packet)) return sample;
    }
    return nullptr;
}

}  // namespace zenquor::platform::detail
