#pragma once
// The yardstick of the H.264 bench: libavcodec driven directly, 2vuy converted by libswscale as most programs
// do it.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cstdlib>

#include "RecordingRig.h"

namespace bench {

/// When the first and the last packet came.
struct Span {
    double first = 0;
    double last = 0;
};

inline void drain(AVCodecContext* context, AVPacket* packet, Span& span) {
    while (avcodec_receive_packet(context, packet) == 0) {
        av_packet_unref(packet);
        span.last = wallSeconds();
        if (span.first == 0) span.first = span.last;
    }
}

/// @return seconds from the first packet to the last.
inline double encodeWithLibavcodec(const Material& material, std::uint64_t frames, const char* preset) {
    const auto& format = material.format();
    const int width = static_cast<int>(format.width);
    const int height = static_cast<int>(format.height);
    av_log_set_level(AV_LOG_ERROR);
    AVCodecContext* context = avcodec_alloc_context3(avcodec_find_encoder_by_name("libx264"));
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_NV12;
    context->time_base = {static_cast<int>(format.frameDuration()), format.timeScale()};
    context->framerate = {format.timeScale(), static_cast<int>(format.frameDuration())};
    context->gop_size = 25;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(context->priv_data, "preset", preset, 0);
    if (avcodec_open2(context, nullptr, nullptr) < 0) std::exit(1);
    SwsContext* scaler = sws_getContext(width, height, AV_PIX_FMT_UYVY422, width, height, AV_PIX_FMT_NV12,
                                        SWS_BILINEAR, nullptr, nullptr, nullptr);
    AVPacket* packet = av_packet_alloc();
    Span span;
    for (std::uint64_t n = 0; n < frames; ++n) {
        AVFrame* frame = av_frame_alloc();
        frame->width = width;
        frame->height = height;
        frame->format = AV_PIX_FMT_NV12;
        if (av_frame_get_buffer(frame, 0) < 0) std::exit(1);
        const auto& picture = material.pictures()[n % material.pictures().size()];
        const std::uint8_t* const planes[] = {picture->baseAddress()};
        const int strides[] = {static_cast<int>(picture->bytesPerRow())};
        sws_scale(scaler, planes, strides, 0, height, frame->data, frame->linesize);
        frame->pts = static_cast<std::int64_t>(n);
        if (avcodec_send_frame(context, frame) < 0) std::exit(1);
        av_frame_free(&frame);
        drain(context, packet, span);
    }
    avcodec_send_frame(context, nullptr);
    drain(context, packet, span);
    av_packet_free(&packet);
    sws_freeContext(scaler);
    avcodec_free_context(&context);
    return span.last - span.first;
}

}  // namespace bench
