#include "zenquor/platform/codec/CodecContext.h"

#include <algorithm>
#include <array>
#include <string>
#include <thread>

#include <fmt/format.h>

#include "zenquor/platform/codec/ColorCodes.h"
#include "zenquor/platform/detail/LibavLog.h"
#include "zenquor/platform/detail/PlanarPicture.h"

namespace zenquor::platform::detail {
namespace {

constexpr unsigned maxThreads = 16;

/// Options of libavcodec by name. What the encoder does not know stays unused.
class Options {
public:
    Options() = default;
    ~Options() { av_dict_free(&dictionary_); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void set(const char* key, const std::string& value) {
        if (!value.empty()) av_dict_set(&dictionary_, key, value.c_str(), 0);
    }
    AVDictionary** get() { return &dictionary_; }

private:
    AVDictionary* dictionary_ = nullptr;
};

int coreCount() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, maxThreads));
}

// AVC-Intra from class 300 on exists in one maker's flavour only.
void setX264Options(const EncoderSettings& settings, Options& options) {
    constexpr int firstClassAboveLevel41 = 200;
    constexpr int firstSonyClass = 300;
    const BroadcastCodec* const broadcast = settings.broadcast();
    std::string parameters;
    if (settings.codesFields()) parameters = settings.isTopFieldFirst() ? "tff=1" : "bff=1";
    if (broadcast && broadcast->kind == BroadcastKind::AVCIntra) {
        const int intraClass = intraClassForHeight(*broadcast, settings.height());
        options.set("avcintra-class", std::to_string(intraClass));
        // x264 finds no level above 4.1 for fields, which class 200 keeps within all the same.
        if (intraClass >= firstClassAboveLevel41 && settings.codesFields()) options.set("level", "4.1");
        if (intraClass >= firstSonyClass)
            parameters += std::string(parameters.empty() ? "" : ":") + "avcintra-flavor=sony";
    }
    if (broadcast && broadcast->kind == BroadcastKind::AVCLong) {
        options.set("profile", "high422");
        options.set("aud", "1");
    }
    options.set("x264-params", parameters);
    if (settings.entropyMode() == "CAVLC") options.set("coder", "cavlc");
    if (settings.entropyMode() == "CABAC") options.set("coder", "cabac");
}

// The tables and the quantiser that SMPTE ST 356 prescribes.
void setD10Options(Options& options) {
    options.set("intra_vlc", "1");
    options.set("non_linear_quant", "1");
}

// x265 does not look at libavcodec's thread count and writes to standard error itself. Its GOPs are open
// unless told.
void setX265Options(const EncoderSettings& settings, Options& options) {
    std::string parameters = fmt::format("log-level=error:open-gop=0:pools={}", coreCount());
    if (!settings.level().empty()) parameters += ":level-idc=" + settings.level();
    options.set("x265-params", parameters);
}

void setOptions(const EncoderRow& row, const EncoderSettings& settings, Options& options) {
    const std::string_view name = row.name;
    if (settings.preset()) options.set("preset", settings.preset());
    const bool isConstrained = row.device == AV_HWDEVICE_TYPE_VAAPI && settings.profile() == "baseline";
    options.set("profile", isConstrained ? "constrained_baseline" : settings.profile());
    if (name == "libx265") return setX265Options(settings, options);
    options.set("level", settings.level());
    if (name == "libx264") setX264Options(settings, options);
    if (settings.broadcast() && settings.broadcast()->kind == BroadcastKind::D10) setD10Options(options);
}

bool isSameRate(AVRational a, AVRational b) {
    return av_cmp_q(a, b) == 0;
}

std::string textOfRate(AVRational rate) {
    return rate.den == 1 ? std::to_string(rate.num) : fmt::format("{}/{}", rate.num, rate.den);
}

std::string textOfStatus(Status status) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(status, text.data(), text.size());
    return text.data();
}

}  // namespace

Status CodecContext::open(const EncoderRow& row, const EncoderSettings& settings, AVPixelFormat format) {
    refusal_.clear();
    const AVCodec* const codec = avcodec_find_encoder_by_name(row.name);
    if (!codec) {
        refusal_ = "this libavcodec has no such encoder";
        return encoderNotFoundErr;
    }
    const AVRational rate = row.broadcast ? row.broadcast->frameRate : AVRational{0, 1};
    if (rate.num != 0 && !isSameRate(rate, settings.frameRate())) {
        refusal_ = fmt::format("{} has {} frames per second, not {}", row.formatName, textOfRate(rate),
                               textOfRate(settings.frameRate()));
        return parameterErr;
    }
    const LibavErrorText said;
    const Status status = openEncoder(row, codec, settings, format);
    if (status == noErr) return noErr;
    refusal_ = said.text().empty() ? textOfStatus(status) : said.text();
    context_.reset();
    return status;
}

Status CodecContext::openEncoder(const EncoderRow& row, const AVCodec* codec, const EncoderSettings& settings,
                                 AVPixelFormat format) {
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_) return memFullErr;
    configure(row, settings, format);
    Options options;
    setOptions(row, settings, options);
    const Status status = row.device == AV_HWDEVICE_TYPE_NONE ? noErr : attachDevice(row.device, format);
    return status == noErr ? std::min(avcodec_open2(context_.get(), codec, options.get()), 0) : status;
}

void CodecContext::configure(const EncoderRow& row, const EncoderSettings& settings, AVPixelFormat format) {
    AVCodecContext& c = *context_;
    const VideoFormat& tags = settings.format();
    c.log_level_offset = quietLogOffset;
    c.width = static_cast<int>(settings.width());
    c.height = static_cast<int>(settings.height());
    c.pix_fmt = format;
    c.framerate = settings.frameRate();
    c.time_base = av_inv_q(settings.frameRate());
    c.color_range = isFullRange(format) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    if (tags.colorPrimaries) c.color_primaries = libavColor(*tags.colorPrimaries);
    if (const auto transfer = settings.codedTransferFunction()) c.color_trc = libavColor(*transfer);
    if (tags.yCbCrMatrix) c.colorspace = libavColor(*tags.yCbCrMatrix);
    if (tags.pixelAspectRatio) {
        av_reduce(&c.sample_aspect_ratio.num, &c.sample_aspect_ratio.den,
                  tags.pixelAspectRatio->horizontalSpacing, tags.pixelAspectRatio->verticalSpacing, 65535);
    }
    if (settings.codesFields()) c.flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    c.profile = row.profile;
    // x264 chooses its number of threads itself when asked for 0: half as many again as there are cores.
    const bool choosesThreads = predicts(row.bitstream) || std::string_view(row.name) == "libx264";
    c.thread_count = choosesThreads ? 0 : coreCount();
    if (settings.bitRate() > 0) c.bit_rate = settings.bitRate();
    if (row.broadcast) configureBroadcast(settings);
    if (!predicts(row.bitstream)) return;
    c.flags |= AV_CODEC_FLAG_CLOSED_GOP;
    if (hasConfigurationRecord(row.bitstream)) c.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    c.gop_size = settings.keyFrameInterval();
    if (!settings.allowsReordering()) c.max_b_frames = 0;
}

void CodecContext::configureBroadcast(const EncoderSettings& settings) {
    AVCodecContext& c = *context_;
    const BroadcastCodec& codec = *settings.broadcast();
    constexpr int bitsPerByte = 8;
    switch (codec.kind) {
        case BroadcastKind::D10: {
            constexpr int largestNonLinearQuantiser = 28;
            // The buffer holds one frame, so that each is coded within it and stuffed up to it.
            c.rc_buffer_size = static_cast<int>(codec.frameBytes * bitsPerByte);
            c.rc_initial_buffer_occupancy = c.rc_buffer_size;
            c.rc_max_rate = c.bit_rate;  // the nominal rate, which the sequence header tells
            c.bit_rate = c.rc_min_rate =
                std::min(c.bit_rate, av_rescale(c.rc_buffer_size, c.framerate.num, c.framerate.den));
            c.gop_size = 1;
            c.qmin = 1;
            c.qmax = largestNonLinearQuantiser;
            c.intra_dc_precision = 2;  // 10 bits
            // Also for progressive pictures: the stream is an interlaced one.
            c.flags |= AV_CODEC_FLAG_LOW_DELAY | AV_CODEC_FLAG_INTERLACED_DCT;
            return;
        }
        case BroadcastKind::AVCLong:
            c.rc_max_rate = c.bit_rate;
            c.rc_buffer_size = static_cast<int>(c.bit_rate);
            return;
        case BroadcastKind::JPEG:
            c.flags |= AV_CODEC_FLAG_QSCALE;
            c.global_quality = jpegQuality;
            return;
        case BroadcastKind::DV:
        case BroadcastKind::AVCIntra:
            return;
    }
}

// Encoders that read pictures only from the memory of their device get a pool of them.
Status CodecContext::attachDevice(AVHWDeviceType type, AVPixelFormat format) {
    constexpr int poolSize = 32;
    AVBufferRef* device = nullptr;
    if (const Status status = av_hwdevice_ctx_create(&device, type, nullptr, nullptr, 0); status < 0)
        return status;
    const Libav<AVBufferRef> deviceOwner(device);
    Libav<AVBufferRef> frames(av_hwframe_ctx_alloc(device));
    if (!frames) return memFullErr;
    auto* const pool = reinterpret_cast<AVHWFramesContext*>(frames->data);
    pool->format = AV_PIX_FMT_VAAPI;
    pool->sw_format = format;
    pool->width = context_->width;
    pool->height = context_->height;
    pool->initial_pool_size = poolSize;
    if (const Status status = av_hwframe_ctx_init(frames.get()); status < 0) return status;
    context_->pix_fmt = pool->format;
    context_->hw_frames_ctx = frames.release();
    uploaded_.reset(av_frame_alloc());
    return uploaded_ ? noErr : memFullErr;
}

Status CodecContext::send(AVFrame* frame) {
    if (!frame || !context_->hw_frames_ctx) return avcodec_send_frame(context_.get(), frame);
    av_frame_unref(uploaded_.get());
    if (const Status s = av_hwframe_get_buffer(context_->hw_frames_ctx, uploaded_.get(), 0); s < 0) return s;
    if (const Status s = av_hwframe_transfer_data(uploaded_.get(), frame, 0); s < 0) return s;
    if (const Status s = av_frame_copy_props(uploaded_.get(), frame); s < 0) return s;
    return avcodec_send_frame(context_.get(), uploaded_.get());
}

}  // namespace zenquor::platform::detail
