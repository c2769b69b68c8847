#include "zenquor/platform/dnx/FrameEncoder.h"

#include <algorithm>
#include <cstring>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t maxThreads = 16;
constexpr std::size_t compressionIDOffset = 0x28;  // in the frame header, big-endian

// Of an encoder's row only its name and that its packets stand alone matter here.
constexpr EncoderRow row = [] {
    EncoderRow made{};
    made.name = "dnxhd";
    made.bitstream = Bitstream::Frames;
    made.formatName = "DNxHD";
    return made;
}();

YCbCrMatrix matrixForHeight(std::uint32_t height) {
    if (height < 720) return YCbCrMatrix::ITU_R_601_4;
    return height <= 1080 ? YCbCrMatrix::ITU_R_709_2 : YCbCrMatrix::ITU_R_2020;
}

std::uint32_t codedWidth(const DNX_EncodeParameters& parameters, const DNXCompression& compression) {
    return compression.isResolutionIndependent() ? parameters.width : compression.width;
}

}  // namespace

FourCC dnxSourceFormat(const DNX_EncodeParameters& parameters) {
    if (parameters.inputDepth != DNX_InputDepth8) return pixelFormatV210;
    const bool isRowOfRGB =
        parameters.sourceRowBytes >= rowBytesForPixelFormat(pixelFormat32ARGB, parameters.width);
    const bool isRGBExpected = parameters.sourceRowBytes == 0 && parameters.colorFormat == DNX_ColorFormatRGB;
    return isRowOfRGB || isRGBExpected ? pixelFormat32ARGB : pixelFormat2vuy;
}

std::size_t dnxSourceRowBytes(const DNX_EncodeParameters& parameters) {
    if (parameters.sourceRowBytes != 0) return parameters.sourceRowBytes;
    return rowBytesForPixelFormat(dnxSourceFormat(parameters), parameters.width);
}

DNXFrameEncoder::DNXFrameEncoder(const DNX_EncodeParameters& parameters, const DNXCompression& compression)
    : parameters_(parameters),
      compression_(compression),
      settings_(row, codedWidth(parameters, compression), parameters.height),
      frameBytes_(dnxFrameBytes(compression, parameters.width, parameters.height)),
      sourceFormat_(dnxSourceFormat(parameters)) {
    settings_.set(CompressionProperty::FieldCount, std::int64_t{compression.isInterlaced ? 2 : 1});
}

Status DNXFrameEncoder::open() {
    const AVCodec* const codec = avcodec_find_encoder_by_name(row.name);
    if (!codec) return DNX_EncoderMissing;
    context_.reset(avcodec_alloc_context3(codec));
    frame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    if (!context_ || !frame_ || !packet_) return memFullErr;
    AVCodecContext& c = *context_;
    c.log_level_offset = quietLogOffset;
    c.width = static_cast<int>(settings_.width());
    c.height = static_cast<int>(settings_.height());
    c.pix_fmt = compression_.pixelFormat;
    c.color_range = AVCOL_RANGE_MPEG;
    c.time_base = {1, 25};  // frames have a fixed size; the rate means nothing to them
    c.bit_rate = compression_.bitRate;
    if (compression_.isInterlaced) c.flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    c.thread_type = FF_THREAD_SLICE;
    c.thread_count = static_cast<int>(std::clamp(parameters_.threadCount, 1U, maxThreads));
    int status = av_opt_set_int(c.priv_data, "profile", compression_.profile, 0);
    if (status >= 0) status = avcodec_open2(&c, codec, nullptr);
    if (status < 0) return status;
    converter_.emplace(settings_, compression_.pixelFormat);
    return noErr;
}

Status DNXFrameEncoder::encode(std::span<const std::uint8_t> source, std::uint8_t* output) {
    Status status = sendPicture(source);
    if (status == noErr) status = avcodec_receive_packet(context_.get(), packet_.get());
    if (status == noErr) status = checkPacket();
    if (status == noErr) std::memcpy(output, packet_->data, frameBytes_);
    av_packet_unref(packet_.get());
    return status;
}

Status DNXFrameEncoder::sendPicture(std::span<const std::uint8_t> source) {
    PixelBufferPtr picture;
    // A pixel buffer can be written to, but the converter only reads.
    Status status = PixelBuffer::createWithBytes(
        parameters_.width, parameters_.height, sourceFormat_, const_cast<std::uint8_t*>(source.data()),
        dnxSourceRowBytes(parameters_), [] {}, picture);
    av_frame_unref(frame_.get());
    if (status == noErr) {
        PixelBuffer::Attachments tags;
        tags.yCbCrMatrix = matrixForHeight(parameters_.height);
        picture->setAttachments(tags);
        status = converter_->convert(*picture, *frame_);
    }
    if (status == noErr) status = avcodec_send_frame(context_.get(), frame_.get());
    av_frame_unref(frame_.get());
    return status;
}

// libavcodec chooses the compression ID by size, depth and bit rate; what it chose is in the header.
Status DNXFrameEncoder::checkPacket() const {
    if (packet_->size != static_cast<int>(frameBytes_)) return DNX_WrongFrameSize;
    const std::uint32_t coded = readBE32(packet_->data + compressionIDOffset);
    return coded == compression_.compressionID ? noErr : static_cast<Status>(DNX_WrongCompressionID);
}

}  // namespace zenquor::platform::detail
