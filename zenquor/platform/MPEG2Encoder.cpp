#include "zenquor/platform/MPEG2Encoder.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "zenquor/platform/codec/ColorCodes.h"
#include "zenquor/platform/codec/PictureConverter.h"

namespace zenquor::platform {

using namespace detail;

namespace {

constexpr std::uint32_t maxThreads = 16;
constexpr std::uint32_t maxGOPSize = 600;  // libavcodec's
// Level limits of ISO/IEC 13818-2, tables 8-13 and 8-14, and of the buffer's size in the sequence header.
constexpr std::int64_t bufferUnit = 16384;
constexpr std::int64_t maxBufferBits420 = 9'781'248;
constexpr std::int64_t maxBufferBits422 = 47'185'920;
constexpr std::int64_t maxBitRate420 = 80'000'000;
constexpr std::int64_t maxBitRate422 = 300'000'000;
constexpr int levelOfHigh = 4;     // as the sequence extension has it
constexpr int levelOfHigh422 = 2;  // the same behind the escape bit
// A picture's delay in the buffer counts 90 kHz in 16 bits; the last value means that the rate is not constant.
constexpr std::int64_t delayClock = 90'000;
constexpr std::int64_t maxDelay = 0xFFFE;
constexpr int intraDCPrecision10Bits = 2;
// The coarsest entry of the non-linear scale that libavcodec takes, and its weight as a Lagrange factor.
constexpr int coarsestScale = 28;
constexpr int coarsestLambda = 44 * FF_QP2LAMBDA;

// Of an encoder's row only its name and that pictures keep their size matter here.
constexpr EncoderRow row = [] {
    EncoderRow made{};
    made.name = "mpeg2video";
    made.bitstream = Bitstream::Frames;
    made.formatName = "MPEG-2 Video";
    return made;
}();

AVPixelFormat pixelFormatOf(MPEG2Chroma chroma) {
    return chroma == MPEG2Chroma::C420 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV422P;
}

bool isPossible(const MPEG2Settings& s) {
    constexpr std::uint32_t maxWidth = 1920, maxHeight = 1152;  // of the High level
    const bool hasSize = s.width >= 16 && s.width <= maxWidth && s.width % 2 == 0 && s.height >= 16 &&
                         s.height <= maxHeight && s.height % 2 == 0;
    const bool hasRate = s.rateNumerator > 0 && s.rateDenominator > 0 && s.bitRate >= bufferUnit &&
                         s.bitRate <= (s.chroma == MPEG2Chroma::C420 ? maxBitRate420 : maxBitRate422);
    return hasSize && hasRate && s.gopSize >= 1 && s.gopSize <= maxGOPSize && s.bPictures <= 2 &&
           s.pixelAspectRatio.horizontalSpacing > 0 && s.pixelAspectRatio.verticalSpacing > 0;
}

// Nothing stands between an I picture and the next start code 00 but headers, so it is found at once.
std::optional<MPEG2PictureType> pictureType(const AVPacket& packet) {
    for (int i = 0; i + 5 < packet.size; ++i) {
        const std::uint8_t* const p = packet.data + i;
        if (p[0] != 0 || p[1] != 0 || p[2] != 1 || p[3] != 0) continue;
        const int type = p[5] >> 3 & 7;
        if (type < 1 || type > 3) return std::nullopt;
        return static_cast<MPEG2PictureType>(type);
    }
    return std::nullopt;
}

}  // namespace

std::int64_t MPEG2Settings::bufferBits() const {
    const std::int64_t allowed = chroma == MPEG2Chroma::C420 ? maxBufferBits420 : maxBufferBits422;
    return std::min(allowed, bitRate * maxDelay / delayClock) / bufferUnit * bufferUnit;
}

struct MPEG2Encoder::Implementation {
    explicit Implementation(const MPEG2Settings& wanted)
        : settings(wanted), picture(row, wanted.width, wanted.height) {
        picture.set(CompressionProperty::FieldCount, std::int64_t{wanted.isInterlaced ? 2 : 1});
        if (wanted.colorPrimaries) picture.set(CompressionProperty::ColorPrimaries, *wanted.colorPrimaries);
        if (wanted.transferFunction)
            picture.set(CompressionProperty::TransferFunction, *wanted.transferFunction);
        if (wanted.yCbCrMatrix) picture.set(CompressionProperty::YCbCrMatrix, *wanted.yCbCrMatrix);
    }

    Status open();
    Status encode(const PixelBuffer& buffer, const Output& output);
    Status drain(const Output& output);

    MPEG2Settings settings;
    EncoderSettings picture;
    Libav<AVCodecContext> context;
    Libav<AVFrame> frame;
    std::optional<PictureConverter> converter;
    std::int64_t submitted = 0;
    double bufferFullness = 0;  // bits in the decoder's buffer before the next picture is taken out

private:
    void describeStream(AVCodecContext& c) const;
    void controlRate(AVCodecContext& c) const;
    Status setOptions(AVCodecContext& c) const;
    Status deliver(const std::shared_ptr<AVPacket>& packet, const Output& output);
};

Status MPEG2Encoder::Implementation::open() {
    const AVCodec* const codec = avcodec_find_encoder_by_name(row.name);
    if (!codec) return encoderNotFoundErr;
    context.reset(avcodec_alloc_context3(codec));
    frame.reset(av_frame_alloc());
    if (!context || !frame) return memFullErr;
    context->log_level_offset = quietLogOffset;
    context->thread_type = FF_THREAD_SLICE;
    context->thread_count = static_cast<int>(std::clamp(settings.threadCount, 1U, maxThreads));
    describeStream(*context);
    controlRate(*context);
    Status status = setOptions(*context);
    if (status == noErr) status = std::min(avcodec_open2(context.get(), codec, nullptr), 0);
    if (status == noErr) converter.emplace(picture, context->pix_fmt);
    return status;
}

void MPEG2Encoder::Implementation::describeStream(AVCodecContext& c) const {
    const bool is422 = settings.chroma == MPEG2Chroma::C422;
    c.width = static_cast<int>(settings.width);
    c.height = static_cast<int>(settings.height);
    c.pix_fmt = pixelFormatOf(settings.chroma);
    c.profile = is422 ? FF_PROFILE_MPEG2_422 : FF_PROFILE_MPEG2_MAIN;
    c.level = is422 ? levelOfHigh422 : levelOfHigh;
    c.framerate = {settings.rateNumerator, settings.rateDenominator};
    c.time_base = av_inv_q(c.framerate);
    c.sample_aspect_ratio = {static_cast<int>(settings.pixelAspectRatio.horizontalSpacing),
                             static_cast<int>(settings.pixelAspectRatio.verticalSpacing)};
    c.color_range = AVCOL_RANGE_MPEG;
    if (settings.colorPrimaries) c.color_primaries = libavColor(*settings.colorPrimaries);
    if (settings.transferFunction) c.color_trc = libavColor(*settings.transferFunction);
    if (settings.yCbCrMatrix) c.colorspace = libavColor(*settings.yCbCrMatrix);
    if (settings.isInterlaced) c.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    c.gop_size = static_cast<int>(settings.gopSize);
    c.max_b_frames = settings.gopSize > 1 ? static_cast<int>(settings.bPictures) : 0;
    c.intra_dc_precision = intraDCPrecision10Bits;
}

void MPEG2Encoder::Implementation::controlRate(AVCodecContext& c) const {
    c.bit_rate = c.rc_min_rate = c.rc_max_rate = settings.bitRate;
    c.rc_buffer_size = static_cast<int>(settings.bufferBits());
    c.rc_initial_buffer_occupancy = c.rc_buffer_size / 4 * 3;
    c.qmin = 1;
    c.qmax = coarsestScale;
    // Both at once would try the coefficients of every mode: four times the work for a twentieth of a decibel.
    if (settings.effort == MPEG2Effort::Balanced) c.mb_decision = FF_MB_DECISION_RD;
    if (settings.effort == MPEG2Effort::Quality) c.trellis = 1;
}

// Constant bit rate forbids what would depend on the pictures: a GOP that begins at a scene change.
Status MPEG2Encoder::Implementation::setOptions(AVCodecContext& c) const {
    struct Option {
        const char* name;
        std::int64_t value;
    };
    const Option options[] = {{"intra_vlc", 1},
                              {"non_linear_quant", 1},
                              {"alternate_scan", settings.isInterlaced},
                              {"seq_disp_ext", 1},
                              {"video_format", 0},  // component
                              {"sc_threshold", 1'000'000'000},
                              {"lmin", FF_QP2LAMBDA},
                              {"lmax", coarsestLambda}};
    for (const Option& option : options) {
        if (const int status = av_opt_set_int(c.priv_data, option.name, option.value, 0); status < 0)
            return status;
    }
    if (settings.startTimecode.empty()) return noErr;
    return std::min(av_opt_set(c.priv_data, "gop_timecode", settings.startTimecode.c_str(), 0), 0);
}

Status MPEG2Encoder::Implementation::encode(const PixelBuffer& buffer, const Output& output) {
    if (submitted == 0) picture.adoptDefaults(buffer, {});
    av_frame_unref(frame.get());
    if (const Status status = converter->convert(buffer, *frame); status != noErr) return status;
    frame->pts = submitted;
    // libavcodec alone would round the distance to whole groups of B pictures.
    frame->pict_type = submitted % settings.gopSize == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    const Status status = avcodec_send_frame(context.get(), frame.get());
    av_frame_unref(frame.get());
    if (status != noErr) return status;
    ++submitted;
    return drain(output);
}

Status MPEG2Encoder::Implementation::drain(const Output& output) {
    for (;;) {
        const std::shared_ptr<AVPacket> packet(av_packet_alloc(), LibavDeleter{});
        if (!packet) return memFullErr;
        const Status status = avcodec_receive_packet(context.get(), packet.get());
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return noErr;
        if (status != noErr) return status;
        if (const Status delivered = deliver(packet, output); delivered != noErr) return delivered;
    }
}

Status MPEG2Encoder::Implementation::deliver(const std::shared_ptr<AVPacket>& packet, const Output& output) {
    const auto type = pictureType(*packet);
    if (!type || packet->pts < 0 || packet->pts >= submitted) return sampleBufferInvalidErr;
    const auto size = static_cast<std::size_t>(packet->size);
    bufferFullness -= static_cast<double>(size) * 8;
    MPEG2Picture coded;
    coded.data = ZQData::adopting(std::shared_ptr<const std::uint8_t>(packet, packet->data), size);
    coded.type = *type;
    coded.index = packet->pts;
    coded.bufferBitsLeft = static_cast<std::int64_t>(bufferFullness);
    const double arriving =
        static_cast<double>(settings.bitRate) * settings.rateDenominator / settings.rateNumerator;
    bufferFullness =
        std::min(std::max(bufferFullness, 0.0) + arriving, static_cast<double>(settings.bufferBits()));
    if (output) output(coded);
    return noErr;
}

Status MPEG2Encoder::create(const MPEG2Settings& settings, std::unique_ptr<MPEG2Encoder>& out) {
    out.reset();
    if (!isPossible(settings)) return parameterErr;
    std::unique_ptr<MPEG2Encoder> made(new MPEG2Encoder);
    made->implementation_ = std::make_unique<Implementation>(settings);
    if (const Status status = made->implementation_->open(); status != noErr) return status;
    made->implementation_->bufferFullness = made->implementation_->context->rc_initial_buffer_occupancy;
    out = std::move(made);
    return noErr;
}

MPEG2Encoder::MPEG2Encoder() = default;
MPEG2Encoder::~MPEG2Encoder() = default;

Status MPEG2Encoder::encode(const PixelBuffer& picture, const Output& output) {
    return implementation_->encode(picture, output);
}

Status MPEG2Encoder::finish(const Output& output) {
    const Status status = avcodec_send_frame(implementation_->context.get(), nullptr);
    return status == noErr ? implementation_->drain(output) : status;
}

}  // namespace zenquor::platform
