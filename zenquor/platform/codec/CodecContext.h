#pragma once
// One open encoder of libavcodec.

#include <string>

#include "zenquor/platform/codec/EncoderSettings.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

/// The quantiser of JPEG pictures as libavcodec counts it, 1 to 31 and in its lambda units: near the quality
/// 0.75 that Photo JPEG has by default.
inline constexpr int jpegQuality = 3 * FF_QP2LAMBDA;

/// Opens an encoder with a session's settings and passes pictures in and packets out. Pictures are numbered:
/// the time of a frame is its running number, one unit a picture, and packets come back with it.
///
/// Thread-safety: One thread at a time; the encoder's own threads are its own.
class CodecContext {
public:
    /// @param format  of the pictures to come, in plain memory.
    /// @return noErr, encoderNotFoundErr, or what libavcodec says; refusal() then has it in words.
    Status open(const EncoderRow& row, const EncoderSettings& settings, AVPixelFormat format);
    const std::string& refusal() const { return refusal_; }
    bool isOpen() const { return context_ != nullptr; }

    /// Submits a picture, or with null the end. The encoder keeps a reference while it needs the picture.
    /// @return AVERROR(EAGAIN) when packets have to be taken first.
    Status send(AVFrame* frame);
    /// The next packet. @return AVERROR(EAGAIN) when a picture is needed first, AVERROR_EOF at the end.
    Status receive(AVPacket& packet) { return avcodec_receive_packet(context_.get(), &packet); }
    void close() { context_.reset(); }

    bool makesBPictures() const { return context_->has_b_frames > 0 || context_->max_b_frames > 0; }
    std::span<const std::uint8_t> parameterSets() const {
        return {context_->extradata, static_cast<std::size_t>(context_->extradata_size)};
    }

private:
    void configure(const EncoderRow& row, const EncoderSettings& settings, AVPixelFormat format);
    void configureBroadcast(const EncoderSettings& settings);
    Status openEncoder(const EncoderRow& row, const AVCodec* codec, const EncoderSettings& settings,
                       AVPixelFormat format);
    Status attachDevice(AVHWDeviceType type, AVPixelFormat format);

    Libav<AVCodecContext> context_;
    Libav<AVFrame> uploaded_;
    std::string refusal_;
};

}  // namespace zenquor::platform::detail
