#pragma once
// Distributes the packets of a file to the tracks that are read.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>

#include "zenquor/platform/MediaTime.h"
#include "zenquor/platform/reader/Container.h"

namespace zenquor::platform::detail {

/// Reads a file once for all its wanted streams and keeps what belongs to those that were not asked yet. A
/// stream that is left far behind stops being kept and reads the file again on its own when it is asked.
///
/// Lifecycle:     create, want() each stream, seek() once, then next().
/// Thread-safety: One thread at a time.
class PacketReader {
public:
    PacketReader(std::unique_ptr<Container> container, std::filesystem::path url);

    Container& container() { return *container_; }
    AVStream& stream(int index);
    void want(int index);
    /// Goes to a place from which everything at @p time can be decoded; the pictures of @p reference decide
    /// it.
    void seek(int reference, MediaTime time);
    /// The stream's next packet, or null at the end.
    Libav<AVPacket> next(int index);

private:
    struct Queue {
        std::deque<Libav<AVPacket>> packets;
        std::size_t bytes = 0;
        std::size_t taken = 0;     // packets handed out
        bool isAbandoned = false;  // nothing is kept any more
        std::unique_ptr<PacketReader> own;
    };

    bool readOne();
    bool jump(int reference, std::int64_t time);
    bool canDecodeFrom(int reference, std::int64_t time);
    Libav<AVPacket> nextOnOwn(int index, Queue& queue);

    std::unique_ptr<Container> container_;
    std::filesystem::path url_;
    std::map<int, Queue> queues_;
    int reference_ = -1;
    MediaTime start_;
    bool atEnd_ = false;
};

}  // namespace zenquor::platform::detail
