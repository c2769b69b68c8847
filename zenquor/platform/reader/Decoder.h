#pragma once
// A libavcodec decoder fed from a stream's packets.

#include <cstdint>
#include <memory>

#include "zenquor/core/ZQError.h"
#include "zenquor/platform/reader/PacketReader.h"

namespace zenquor::platform::detail {

/// Decodes one stream with several threads, in presentation order. Broken packets are passed over.
///
/// Thread-safety: One thread at a time.
class Decoder {
public:
    /// @return null with an error (assetErrorDecoderNotFound).
    static std::unique_ptr<Decoder> open(std::shared_ptr<PacketReader> packets, int streamIndex,
                                         ZQErrorPtr* error);

    /// The next frame, or null at the end.
    Libav<AVFrame> next();
    AVStream& stream() { return packets_->stream(streamIndex_); }
    /// The frame's time from the programme's start in units of the stream; @p otherwise where the file says
    /// none.
    std::int64_t presentationUnits(const AVFrame& frame, std::int64_t otherwise);
    /// A number of units of the stream as a time.
    MediaTime mediaTime(std::int64_t units);
    bool isMXF() { return packets_->container().isMXF(); }
    std::int64_t origin() { return packets_->container().origin(stream()); }
    /// Set when the stream held packets and not one of them could be decoded, or when the disk failed.
    ZQErrorPtr error() const;

private:
    Decoder(std::shared_ptr<PacketReader> packets, int streamIndex)
        : packets_(std::move(packets)), streamIndex_(streamIndex) {}
    void feed();

    std::shared_ptr<PacketReader> packets_;
    int streamIndex_;
    Libav<AVCodecContext> codec_;
    std::uint64_t packetCount_ = 0;
    std::uint64_t frameCount_ = 0;
    int lastError_ = 0;
};

}  // namespace zenquor::platform::detail
