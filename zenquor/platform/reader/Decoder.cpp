#include "zenquor/platform/reader/Decoder.h"

#include <algorithm>
#include <cstring>
#include <thread>

extern "C" {
#include <libavformat/avformat.h>
}

#include <fmt/format.h>

#include "zenquor/platform/Asset.h"

namespace zenquor::platform::detail {
namespace {

// More threads than this cost memory and latency without making one recording's pictures come faster.
constexpr unsigned largestThreadCount = 16;
// 8K with room to spare; a broken header may claim any size.
constexpr std::int64_t largestPixelCount = std::int64_t{8192} * 8192;

constexpr std::int64_t largestUnits = std::int64_t{1} << 60;

ZQErrorPtr readerError(int code, std::string text) {
    return ZQError::errorWithDomain(assetErrorDomain, code, std::move(text));
}

}  // namespace

std::unique_ptr<Decoder> Decoder::open(std::shared_ptr<PacketReader> packets, int streamIndex,
                                       ZQErrorPtr* error) {
    std::unique_ptr<Decoder> decoder(new Decoder(std::move(packets), streamIndex));
    const AVStream& stream = decoder->stream();
    const auto failOpen = [&]() -> std::unique_ptr<Decoder> {
        fail(error, readerError(assetErrorDecoderNotFound,
                                fmt::format("There is no decoder for {}.",
                                            avcodec_get_name(stream.codecpar->codec_id))));
        return nullptr;
    };
    const AVCodec* const codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec) return failOpen();
    decoder->codec_.reset(avcodec_alloc_context3(codec));
    if (!decoder->codec_) return failOpen();
    AVCodecContext& context = *decoder->codec_;
    if (avcodec_parameters_to_context(&context, stream.codecpar) < 0) return failOpen();
    context.pkt_timebase = stream.time_base;
    context.thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, largestThreadCount));
    context.thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    context.max_pixels = largestPixelCount;
    if (avcodec_open2(&context, codec, nullptr) < 0) return failOpen();
    return decoder;
}

void Decoder::feed() {
    const auto packet = packets_->next(streamIndex_);
    if (packet) ++packetCount_;
    const int status = avcodec_send_packet(codec_.get(), packet.get());
    if (status < 0 && status != AVERROR_EOF) lastError_ = status;
}

Libav<AVFrame> Decoder::next() {
    Libav<AVFrame> frame(av_frame_alloc());
    while (frame) {
        const int status = avcodec_receive_frame(codec_.get(), frame.get());
        if (status >= 0) {
            ++frameCount_;
            return frame;
        }
        if (status == AVERROR_EOF) return nullptr;
        if (status != AVERROR(EAGAIN)) lastError_ = status;
        feed();
    }
    return nullptr;
}

std::int64_t Decoder::presentationUnits(const AVFrame& frame, std::int64_t otherwise) {
    // Broken files name times of any size; those that would not fit a sum are as good as none.
    const std::int64_t time = frame.best_effort_timestamp;
    const bool isUsable = time != AV_NOPTS_VALUE && time > -largestUnits && time < largestUnits;
    return isUsable ? time - origin() : otherwise;
}

MediaTime Decoder::mediaTime(std::int64_t units) {
    const AVRational base = stream().time_base;
    if (units > largestUnits / base.num || units < -largestUnits / base.num) return MediaTime::invalid();
    return {units * base.num, base.den};
}

ZQErrorPtr Decoder::error() const {
    if (const int reason = packets_->container().file()->failure(); reason != 0) {
        return readerError(assetErrorDecodeFailed,
                           fmt::format("The file can no longer be read: {}", std::strerror(reason)));
    }
    if (frameCount_ > 0 || packetCount_ == 0 || lastError_ == 0) return nullptr;
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(lastError_, text, sizeof text);
    return readerError(assetErrorDecodeFailed, fmt::format("Nothing of the {} track could be decoded: {}",
                                                           avcodec_get_name(codec_->codec_id), text));
}

}  // namespace zenquor::platform::detail
