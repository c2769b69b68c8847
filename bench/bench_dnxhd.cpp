// What a DNxHD frame costs beside libavcodec alone, which gets its planes ready made.
//
//   bench_dnxhd [FRAMES]

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zenquor/encoders/ZQRDNxHDEncoder.h"
#include "zenquor/platform/detail/Libav.h"
#include "zenquor/sources/MemoryFrame.h"

namespace {

using namespace zenquor;
using platform::detail::Libav;

constexpr int rounds = 5;
constexpr double limit = 1.1;

/// One codec with the settings by which libavcodec makes the same frames.
struct Codec {
    const char* code;
    FourCC input;
    std::uint32_t width, height;
    bool isInterlaced;
    AVPixelFormat planes;
    const char* profile;
    std::int64_t bitRate;
};
constexpr Codec codecs[] = {
    {"dpq8", platform::pixelFormat2vuy, 1920, 1080, false, AV_PIX_FMT_YUV422P, "dnxhd", 185'000'000},
    {"dpx1", platform::pixelFormatV210, 1920, 1080, false, AV_PIX_FMT_YUV422P10, "dnxhd", 185'000'000},
    {"dis8", platform::pixelFormatV210, 1920, 1080, true, AV_PIX_FMT_YUV422P, "dnxhd", 120'000'000},
    {"hrlb", platform::pixelFormat2vuy, 1920, 1080, false, AV_PIX_FMT_YUV422P, "dnxhr_lb", 0},
    {"rhqx", platform::pixelFormatV210, 3840, 2160, false, AV_PIX_FMT_YUV422P10, "dnxhr_hqx", 0},
    {"rr41", platform::pixelFormat32ARGB, 1920, 1080, false, AV_PIX_FMT_GBRP10, "dnxhr_444", 0},
};

// Processor time of all threads: slices are coded by several.
double processSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

[[noreturn]] void stop(const char* what) {
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(1);
}

/// Luma like a photograph's: slopes with some grain. The same in every format.
struct Material {
    std::vector<std::uint16_t> y, c;  // 10 bits; chroma of one plane, half as wide
    explicit Material(const Codec& codec) : y(std::size_t{codec.width} * codec.height), c(y.size() / 2) {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < y.size(); ++i) {
            const std::size_t x = i % codec.width, line = i / codec.width;
            y[i] = static_cast<std::uint16_t>(128 + (x * 3 / 16 + line / 4) % 640 + random() % 32);
        }
        for (std::size_t i = 0; i < c.size(); ++i) c[i] = static_cast<std::uint16_t>(448 + i / 64 % 128);
    }
};

void packRow(const Codec& codec, const Material& m, std::uint32_t line, std::uint8_t* row) {
    const std::uint16_t* const y = m.y.data() + std::size_t{line} * codec.width;
    const std::uint16_t* const c = m.c.data() + std::size_t{line} * codec.width / 2;
    const auto sample = [&](std::size_t i) { return std::uint32_t{i % 2 == 1 ? y[i / 2] : c[i / 4]}; };
    if (codec.input == platform::pixelFormat32ARGB) {
        for (std::size_t x = 0; x < codec.width; ++x) {
            row[4 * x] = 255;
            for (std::size_t k = 1; k < 4; ++k) row[4 * x + k] = static_cast<std::uint8_t>(y[x] >> 2);
        }
        return;
    }
    for (std::size_t i = 0; i < codec.width * std::size_t{2}; ++i) {
        if (codec.input == platform::pixelFormat2vuy) {
            row[i] = static_cast<std::uint8_t>(sample(i) >> 2);
            continue;
        }
        std::uint8_t* const word = row + i / 3 * 4;
        std::uint32_t value =
            i % 3 == 0 ? 0 : word[0] | word[1] << 8 | word[2] << 16 | std::uint32_t{word[3]} << 24;
        value |= sample(i) << (10 * (i % 3));
        for (int k = 0; k < 4; ++k) word[k] = static_cast<std::uint8_t>(value >> (8 * k));
    }
}

platform::PixelBufferPtr packed(const Codec& codec, const Material& m) {
    platform::PixelBufferPtr picture;
    if (platform::PixelBuffer::create(codec.width, codec.height, codec.input, picture) != 0) stop("memory");
    for (std::uint32_t line = 0; line < codec.height; ++line)
        packRow(codec, m, line, picture->mutableRow(line));
    return picture;
}

Libav<AVFrame> planar(const Codec& codec, const Material& m) {
    Libav<AVFrame> frame(av_frame_alloc());
    frame->width = static_cast<int>(codec.width);
    frame->height = static_cast<int>(codec.height);
    frame->format = codec.planes;
    frame->interlaced_frame = frame->top_field_first = codec.isInterlaced;
    if (av_frame_get_buffer(frame.get(), 0) < 0) stop("memory");
    const bool isRGB = codec.planes == AV_PIX_FMT_GBRP10, is8Bit = codec.planes == AV_PIX_FMT_YUV422P;
    for (int plane = 0; plane < 3; ++plane) {
        const bool isLuma = isRGB || plane == 0;
        const std::uint32_t width = isLuma ? codec.width : codec.width / 2;
        const std::uint16_t* from = isLuma ? m.y.data() : m.c.data();
        for (std::uint32_t line = 0; line < codec.height; ++line, from += width) {
            std::uint8_t* const row = frame->data[plane] + std::ptrdiff_t{frame->linesize[plane]} * line;
            for (std::uint32_t x = 0; x < width; ++x) {
                if (is8Bit) {
                    row[x] = static_cast<std::uint8_t>(from[x] >> 2);
                } else {
                    // R'G'B' pictures come in 8 bits and are widened.
                    const int v = isRGB ? (from[x] >> 2 << 2 | from[x] >> 8) : from[x];
                    reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(v);
                }
            }
        }
    }
    return frame;
}

/// libavcodec driven directly.
class Bare {
public:
    Bare(const Codec& codec, int threads) {
        const AVCodec* const encoder = avcodec_find_encoder_by_name("dnxhd");
        context_.reset(avcodec_alloc_context3(encoder));
        context_->width = static_cast<int>(codec.width);
        context_->height = static_cast<int>(codec.height);
        context_->pix_fmt = codec.planes;
        context_->time_base = {1, 25};
        context_->bit_rate = codec.bitRate;
        context_->thread_type = FF_THREAD_SLICE;
        context_->thread_count = threads;
        if (codec.isInterlaced) context_->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
        av_opt_set(context_->priv_data, "profile", codec.profile, 0);
        if (avcodec_open2(context_.get(), encoder, nullptr) < 0) stop("libavcodec");
    }
    std::size_t encode(const AVFrame& frame) {
        if (avcodec_send_frame(context_.get(), &frame) < 0) stop("libavcodec");
        if (avcodec_receive_packet(context_.get(), packet_.get()) < 0) stop("libavcodec");
        const auto size = static_cast<std::size_t>(packet_->size);
        av_packet_unref(packet_.get());
        return size;
    }

private:
    Libav<AVCodecContext> context_;
    Libav<AVPacket> packet_{av_packet_alloc()};
};

ZQRVideoPropertiesPtr recording(const Codec& codec) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(codec.width);
    preset->setVideoHeight(codec.height);
    preset->setFramerate(2500);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(fourCCFromString(codec.code)));
    auto properties = ZQRVideoProperties::initWithCapturePreset(preset);
    properties->setScanMode(codec.isInterlaced);
    return properties;
}

bool compare(const Codec& codec, int frames) {
    const Material material(codec);
    const auto picture = packed(codec, material);
    const auto planes = planar(codec, material);
    const auto frame = MemoryFrame::frameWithContents({.picture = picture});
    std::size_t size = 0;
    const auto encoder = ZQRDNxHDEncoder::initWithVideoProperties(
        recording(codec),
        [&](ZQRVideoEncoderProtocol&, const ZQRFramePtr& coded, const auto&) {
            size = std::static_pointer_cast<ZQRFrameStore>(coded->helperForKey("A"))->rawData()->size();
        },
        {}, 1, codec.input == platform::pixelFormatV210 ? 10 : 8, picture->bytesPerRow());
    if (!encoder) stop("ZQRDNxHDEncoder");
    encoder->setName("A");
    Bare bare(codec, static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 16U)));
    double ours = 1e9, theirs = 1e9;
    for (int round = 0; round < rounds; ++round) {
        double start = processSeconds();
        for (int n = 0; n < frames; ++n) {
            if (bare.encode(*planes) == 0) stop("libavcodec");
        }
        theirs = std::min(theirs, processSeconds() - start);
        start = processSeconds();
        for (int n = 0; n < frames; ++n) {
            if (!encoder->encodeFrame(frame)) stop("encodeFrame");
        }
        ours = std::min(ours, processSeconds() - start);
    }
    if (size != bare.encode(*planes)) stop("frames of the same size");
    const bool good = ours <= theirs * limit;
    std::printf(
        "  %s %4ux%u %s: libavcodec %6.2f ms, encoder %6.2f ms of CPU a frame, ratio %.3f (at most %.2f: "
        "%s)\n",
        codec.code, codec.width, codec.height,
        codec.input == platform::pixelFormat32ARGB ? "ARGB" : fourCCString(codec.input).c_str(),
        theirs / frames * 1e3, ours / frames * 1e3, ours / theirs, limit, good ? "held" : "MISSED");
    std::fflush(stdout);
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 10;
    bool good = true;
    for (const Codec& codec : codecs) good = compare(codec, frames) && good;
    return good ? 0 : 1;
}
