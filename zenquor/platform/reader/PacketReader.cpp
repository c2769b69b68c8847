#include "zenquor/platform/reader/PacketReader.h"

#include <array>
#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

#include "zenquor/core/ZLGHandle.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::size_t largestQueueBytes = std::size_t{64} << 20;
constexpr std::size_t largestQueuePackets = 1 << 16;
// Packets read in search of a place to decode from, before looking further back.
constexpr int largestLookAhead = 4096;
// Sound decoders need a little of what came before; files whose index is coarse need more.
constexpr std::array<double, 4> stepsBackSeconds{0.1, 1.5, 6, 30};
constexpr int largestErrorRun = 32;

std::int64_t inStream(const AVStream& stream, double seconds) {
    return static_cast<std::int64_t>(seconds * stream.time_base.den / stream.time_base.num);
}

}  // namespace

PacketReader::PacketReader(std::unique_ptr<Container> container, std::filesystem::path url)
    : container_(std::move(container)), url_(std::move(url)) {
    AVFormatContext& context = container_->context();
    for (unsigned i = 0; i < context.nb_streams; ++i) context.streams[i]->discard = AVDISCARD_ALL;
}

AVStream& PacketReader::stream(int index) {
    return *container_->context().streams[index];
}

void PacketReader::want(int index) {
    queues_[index];
    stream(index).discard = AVDISCARD_DEFAULT;
}

/// Reads one packet into its queue. @return false at the end.
bool PacketReader::readOne() {
    for (int errors = 0; !atEnd_ && errors < largestErrorRun;) {
        Libav<AVPacket> packet(av_packet_alloc());
        if (!packet) break;
        const int status = av_read_frame(&container_->context(), packet.get());
        if (status == AVERROR_EOF) break;
        if (status < 0) {
            ++errors;  // a broken place; what follows may be sound
            continue;
        }
        const auto found = queues_.find(packet->stream_index);
        if (found == queues_.end() || found->second.isAbandoned) return true;
        Queue& queue = found->second;
        queue.bytes += static_cast<std::size_t>(packet->size);
        queue.packets.push_back(std::move(packet));
        if (queue.bytes > largestQueueBytes || queue.packets.size() > largestQueuePackets) {
            queue.isAbandoned = true;
            stream(found->first).discard = AVDISCARD_ALL;
        }
        return true;
    }
    atEnd_ = true;
    return false;
}

bool PacketReader::jump(int reference, std::int64_t time) {
    if (av_seek_frame(&container_->context(), reference, time, AVSEEK_FLAG_BACKWARD) < 0) return false;
    for (auto& [index, queue] : queues_) {
        queue = Queue();
        stream(index).discard = AVDISCARD_DEFAULT;
    }
    atEnd_ = false;
    return true;
}

/// Looks at what comes next of the reference stream, keeping it.
bool PacketReader::canDecodeFrom(int reference, std::int64_t time) {
    std::size_t looked = 0;
    const Queue& queue = queues_[reference];
    for (int packets = 0; packets < largestLookAhead; ++packets) {
        for (; looked < queue.packets.size(); ++looked) {
            const AVPacket& packet = *queue.packets[looked];
            if (packet.flags & AV_PKT_FLAG_KEY) return packet.pts != AV_NOPTS_VALUE && packet.pts <= time;
        }
        if (queue.isAbandoned || !readOne()) return false;
    }
    return false;
}

void PacketReader::seek(int reference, MediaTime time) {
    reference_ = reference;
    start_ = time;
    if (!time.isValid() || time.value <= 0) return;
    const AVStream& guide = stream(reference);
    const std::int64_t origin = container_->origin(guide);
    const std::int64_t target = origin + av_rescale_q(time.value, {1, time.timescale}, guide.time_base);
    for (const double back : stepsBackSeconds) {
        const std::int64_t from = target - inStream(guide, back);
        if (from <= origin || !jump(reference, from)) break;
        if (canDecodeFrom(reference, target)) return;
    }
    // From the beginning, where the file is now if it could not be moved in.
    if (!jump(reference, origin))
        ZLGGetHandle().debug("The file {} is read from its beginning.", url_.string());
}

Libav<AVPacket> PacketReader::nextOnOwn(int index, Queue& queue) {
    if (!queue.own) {
        auto container = Container::open(url_, container_->file()->size(), nullptr);
        if (!container || container->context().nb_streams <= static_cast<unsigned>(index)) {
            ZLGGetHandle().error("The file {} cannot be opened a second time; a track ends early.",
                                 url_.string());
            return nullptr;
        }
        queue.own = std::make_unique<PacketReader>(std::move(container), url_);
        queue.own->want(index);
        queue.own->seek(reference_, start_);
        for (std::size_t i = 0; i < queue.taken; ++i) queue.own->next(index);
    }
    return queue.own->next(index);
}

Libav<AVPacket> PacketReader::next(int index) {
    Queue& queue = queues_[index];
    while (queue.packets.empty() && !queue.isAbandoned) {
        if (!readOne()) return nullptr;
    }
    if (queue.packets.empty()) return nextOnOwn(index, queue);
    auto packet = std::move(queue.packets.front());
    queue.packets.pop_front();
    queue.bytes -= static_cast<std::size_t>(packet->size);
    ++queue.taken;
    return packet;
}

}  // namespace zenquor::platform::detail
