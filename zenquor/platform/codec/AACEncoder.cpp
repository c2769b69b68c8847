#include "zenquor/platform/codec/AACEncoder.h"

#include <algorithm>
#include <array>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

#include "zenquor/platform/detail/LibavLog.h"
#include "zenquor/platform/detail/PCMSamples.h"

namespace zenquor::platform::detail {
namespace {

struct FreeContext {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct FreeFrame {
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct FreePacket {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};

constexpr float fullScale = 2147483648.0F;

}  // namespace

struct AACEncoder::Implementation {
    std::unique_ptr<AVCodecContext, FreeContext> context;
    std::unique_ptr<AVFrame, FreeFrame> frame;
    std::unique_ptr<AVPacket, FreePacket> packet;
    FormatDescriptionPtr format;
    std::uint32_t channels = 0;
    std::uint32_t filled = 0;    // frames in the block under construction
    std::int64_t submitted = 0;  // frames given to the encoder

    Status open(const AudioOutputSettings& settings);
    Status beginBlock();
    void fill(const PCMLayout& layout, const std::uint8_t* first, std::size_t stride, std::size_t count);
    Status submitBlock(const Output& output);
    Status drain(const Output& output);
};

AACEncoder::AACEncoder() : implementation_(std::make_unique<Implementation>()) {}
AACEncoder::~AACEncoder() = default;

Status AACEncoder::Implementation::open(const AudioOutputSettings& settings) {
    routeLibavLogging();
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!codec) return encoderNotFoundErr;
    if (settings.format != audioFormatMPEG4AAC || settings.channels == 0 || settings.channels > 8)
        return parameterErr;
    context.reset(avcodec_alloc_context3(codec));
    frame.reset(av_frame_alloc());
    packet.reset(av_packet_alloc());
    if (!context || !frame || !packet) return memFullErr;
    channels = settings.channels;
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->sample_rate = static_cast<int>(settings.sampleRate);
    context->bit_rate = settings.bitRate;
    context->time_base = {1, context->sample_rate};
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;  // the configuration stands in the sample entry
    av_channel_layout_default(&context->ch_layout, static_cast<int>(channels));
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return parameterErr;

    AudioFormat coded;
    coded.description.sampleRate = settings.sampleRate;
    coded.description.formatID = audioFormatMPEG4AAC;
    coded.description.framesPerPacket = framesPerPacket;
    coded.description.channelsPerFrame = channels;
    coded.channelLayoutTag = settings.channelLayoutTag;
    if (context->extradata_size > 0)
        coded.configuration =
            ZQData::copying({context->extradata, static_cast<std::size_t>(context->extradata_size)});
    format = FormatDescription::audio(std::move(coded));
    return noErr;
}

Status AACEncoder::create(const AudioOutputSettings& settings, std::unique_ptr<AACEncoder>& out) {
    std::unique_ptr<AACEncoder> encoder(new AACEncoder);
    const Status status = encoder->implementation_->open(settings);
    if (status == noErr) out = std::move(encoder);
    return status;
}

std::uint32_t AACEncoder::primingFrames() const {
    return static_cast<std::uint32_t>(std::max(implementation_->context->initial_padding, 0));
}

const FormatDescriptionPtr& AACEncoder::format() const {
    return implementation_->format;
}

Status AACEncoder::Implementation::beginBlock() {
    av_frame_unref(frame.get());
    frame->nb_samples = static_cast<int>(framesPerPacket);
    frame->format = context->sample_fmt;
    frame->sample_rate = context->sample_rate;
    if (const int failure = av_channel_layout_copy(&frame->ch_layout, &context->ch_layout); failure < 0)
        return failure;
    return av_frame_get_buffer(frame.get(), 0);
}

Status AACEncoder::Implementation::submitBlock(const Output& output) {
    frame->pts = submitted;
    submitted += framesPerPacket;
    filled = 0;
    const int status = avcodec_send_frame(context.get(), frame.get());
    return status < 0 ? status : drain(output);
}

Status AACEncoder::Implementation::drain(const Output& output) {
    for (;;) {
        const int status = avcodec_receive_packet(context.get(), packet.get());
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return noErr;
        if (status < 0) return status;
        output({packet->data, static_cast<std::size_t>(packet->size)});
        av_packet_unref(packet.get());
    }
}

Status AACEncoder::encode(std::span<const std::uint8_t> frames, const AudioStreamBasicDescription& source,
                          const Output& output) {
    Implementation& self = *implementation_;
    auto layout = pcmLayoutForDescription(source);
    const bool fits =
        layout && !layout->isFloat && (source.formatFlags & audioFormatFlagIsNonInterleaved) == 0;
    if (!fits || source.sampleRate != self.context->sample_rate) return parameterErr;
    layout->isSigned = true;  // sound of 16 bits and more always is, whether or not it is said
    const std::size_t count = frames.size() / source.bytesPerFrame;
    for (std::size_t done = 0; done < count;) {
        if (self.filled == 0) {
            if (const Status status = self.beginBlock(); status < 0) return status;
        }
        const std::size_t taken = std::min<std::size_t>(count - done, framesPerPacket - self.filled);
        self.fill(*layout, frames.data() + done * source.bytesPerFrame, source.bytesPerFrame, taken);
        done += taken;
        if (self.filled < framesPerPacket) break;
        if (const Status status = self.submitBlock(output); status < 0) return status;
    }
    return noErr;
}

/// Takes @p count frames into the block, each channel as numbers from -1 to 1.
void AACEncoder::Implementation::fill(const PCMLayout& layout, const std::uint8_t* first, std::size_t stride,
                                      std::size_t count) {
    std::array<std::int32_t, framesPerPacket> numbers;
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        const std::uint32_t from = std::min(channel, layout.channels - 1);
        loadIntegers(layout, {const_cast<std::uint8_t*>(first) + from * layout.bytes, stride}, numbers.data(),
                     count);
        auto* out = reinterpret_cast<float*>(frame->extended_data[channel]) + filled;
        for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<float>(numbers[i]) / fullScale;
    }
    filled += static_cast<std::uint32_t>(count);
}

Status AACEncoder::finish(const Output& output) {
    Implementation& self = *implementation_;
    if (self.filled != 0) {
        for (std::uint32_t channel = 0; channel < self.channels; ++channel) {
            auto* out = reinterpret_cast<float*>(self.frame->extended_data[channel]);
            std::fill(out + self.filled, out + framesPerPacket, 0.0F);
        }
        if (const Status status = self.submitBlock(output); status < 0) return status;
    }
    const int status = avcodec_send_frame(self.context.get(), nullptr);
    return status < 0 ? status : self.drain(output);
}

}  // namespace zenquor::platform::detail
