#pragma once
// One open DNxHD or DNxHR encoder of libavcodec.

#include <optional>

#include "zenquor/platform/codec/PictureConverter.h"
#include "zenquor/platform/dnx/CompressionIDs.h"

namespace zenquor::platform::detail {

/// Codes pictures one by one; every call returns the frame of its own picture.
///
/// Thread-safety: One thread at a time.
class DNXFrameEncoder {
public:
    /// @param parameters  checked; @p compression is the row of its ID.
    DNXFrameEncoder(const DNX_EncodeParameters& parameters, const DNXCompression& compression);

    Status open();
    std::uint32_t frameBytes() const { return frameBytes_; }
    /// @param source  rows of the parameters' row length. @param output  has room for frameBytes().
    Status encode(std::span<const std::uint8_t> source, std::uint8_t* output);

private:
    Status sendPicture(std::span<const std::uint8_t> source);
    Status checkPacket() const;

    DNX_EncodeParameters parameters_;
    const DNXCompression& compression_;
    EncoderSettings settings_;
    std::uint32_t frameBytes_;
    FourCC sourceFormat_;
    Libav<AVCodecContext> context_;
    Libav<AVFrame> frame_;
    Libav<AVPacket> packet_;
    std::optional<PictureConverter> converter_;
};

/// The packed format that the parameters' input depth and row length name.
FourCC dnxSourceFormat(const DNX_EncodeParameters& parameters);
/// Bytes from row to row, those of the usual picture where the parameters say 0.
std::size_t dnxSourceRowBytes(const DNX_EncodeParameters& parameters);

}  // namespace zenquor::platform::detail
