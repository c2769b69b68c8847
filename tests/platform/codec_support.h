#pragma once
// Sessions at work and what a strict decoder makes of their samples.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "zenquor/platform/CompressionSession.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::test {

using detail::Libav;
using Property = CompressionProperty;

constexpr FourCC avc1 = fourCC("avc1");
constexpr FourCC hvc1 = fourCC("hvc1");

inline PixelBufferPtr movingPicture(std::uint32_t width, std::uint32_t height, FourCC format, unsigned n) {
    PixelBufferPtr buffer;
    EXPECT_EQ(PixelBuffer::create(width, height, format, buffer), noErr);
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint8_t* const row = buffer->mutableRow(y);
        for (std::size_t x = 0; x < buffer->bytesPerRow(); ++x) {
            row[x] = static_cast<std::uint8_t>(64 + ((x + 5 * n) / 8 * 13 + (y + 3 * n) / 8 * 7) % 128);
        }
    }
    return buffer;
}

struct Coded {
    std::vector<SampleBufferPtr> samples;
    std::vector<int> references;
    std::vector<Status> failures;
};

class Session {
public:
    explicit Session(FourCC codec, std::uint32_t width = 320, std::uint32_t height = 240) {
        status = CompressionSession::create(
            width, height, codec, EncoderSpecification{false, false},
            [this](const auto& reference, Status result, const auto& sample) {
                if (result != noErr) return coded.failures.push_back(result);
                coded.samples.push_back(sample);
                coded.references.push_back(*static_cast<const int*>(reference.get()));
            },
            session);
    }
    // 29.97 frames per second, with a gap after the third picture.
    static std::int64_t timeOf(int n) { return 1001 * (n + (n > 2 ? 4 : 0)); }
    Session& encode(int count, FourCC format, std::uint32_t width = 320, std::uint32_t height = 240) {
        for (int n = 0; n < count; ++n) {
            EXPECT_EQ(session->encodeFrame(movingPicture(width, height, format, static_cast<unsigned>(n)),
                                           {timeOf(n), 30000}, {1001, 30000}, std::make_shared<int>(n)),
                      noErr);
        }
        EXPECT_EQ(session->completeFrames(), noErr);
        return *this;
    }
    const VideoFormat& format() const { return *coded.samples.at(0)->formatDescription()->videoFormat(); }

    Status status = noErr;
    CompressionSessionPtr session;
    Coded coded;
};

struct Decoded {
    std::vector<std::int64_t> times;
    AVFrame first{};
    int profile = 0;
    std::vector<int> rowLuma;  // of the first picture, in the middle of each row
    std::size_t pictures() const { return times.size(); }
};

inline std::vector<int> lumaOfRows(const AVFrame& frame) {
    const auto* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    std::vector<int> rows;
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* const row = frame.data[0] + y * frame.linesize[0];
        const int x = frame.width / 2;
        rows.push_back(format->comp[0].depth > 8 ? row[2 * x] | row[2 * x + 1] << 8 : row[x]);
    }
    return rows;
}

inline Decoded decode(AVCodecID id, const Coded& coded) {
    Decoded result;
    const VideoFormat& format = *coded.samples.at(0)->formatDescription()->videoFormat();
    Libav<AVCodecContext> context(avcodec_alloc_context3(avcodec_find_decoder(id)));
    const auto record = format.configuration.span();
    context->extradata = static_cast<std::uint8_t*>(av_mallocz(record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::copy(record.begin(), record.end(), context->extradata);
    context->extradata_size = static_cast<int>(record.size());
    context->thread_count = 1;
    context->log_level_offset = detail::quietLogOffset;
    context->err_recognition = AV_EF_EXPLODE | AV_EF_CRCCHECK;
    // libavcodec's MPEG-2 decoder takes the zero bytes between pictures for a fault of the last slice.
    if (id != AV_CODEC_ID_MPEG2VIDEO) context->err_recognition |= AV_EF_BITSTREAM;
    EXPECT_EQ(avcodec_open2(context.get(), nullptr, nullptr), 0);
    const Libav<AVFrame> frame(av_frame_alloc());
    const auto take = [&] {
        while (avcodec_receive_frame(context.get(), frame.get()) == 0) {
            if (result.times.empty()) {
                result.first.interlaced_frame = frame->interlaced_frame;
                result.first.top_field_first = frame->top_field_first;
                result.first.format = frame->format;
                result.first.width = frame->width;
                result.first.height = frame->height;
                result.first.sample_aspect_ratio = frame->sample_aspect_ratio;
                result.first.color_primaries = frame->color_primaries;
                result.rowLuma = lumaOfRows(*frame);
            }
            result.times.push_back(frame->pts);
        }
    };
    for (const SampleBufferPtr& sample : coded.samples) {
        const Libav<AVPacket> packet(av_packet_alloc());
        const auto bytes = sample->dataBuffer()->data().span();
        EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
        std::copy(bytes.begin(), bytes.end(), packet->data);
        packet->pts = sample->presentationTimeStamp().value;
        packet->dts = sample->decodeTimeStamp().value;
        EXPECT_EQ(avcodec_send_packet(context.get(), packet.get()), 0);
        take();
    }
    avcodec_send_packet(context.get(), nullptr);
    take();
    result.profile = context->profile;
    return result;
}

}  // namespace zenquor::platform::test
