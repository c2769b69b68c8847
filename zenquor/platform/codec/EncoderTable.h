#pragma once
// Which encoder of libavcodec makes which codec, and what is particular to each.

#include <array>
#include <span>
#include <vector>

#include "zenquor/core/FourCC.h"
#include "zenquor/platform/CompressionSession.h"
#include "zenquor/platform/codec/BroadcastCodec.h"
#include "zenquor/platform/detail/Libav.h"

namespace zenquor::platform::detail {

/// What an encoder's packets are.
enum class Bitstream : std::uint8_t {
    Frames,         // every packet is a whole sample that stands alone
    AVC,            // byte stream of H.264 NAL units, length-prefixed in samples
    AVCByteStream,  // the same, left as it is
    HEVC            // byte stream of H.265 NAL units, length-prefixed in samples
};

/// Whether pictures are coded by their differences from others.
inline bool predicts(Bitstream bitstream) {
    return bitstream != Bitstream::Frames;
}
/// Whether samples are length-prefixed and the parameter sets stand in a record apart.
inline bool hasConfigurationRecord(Bitstream bitstream) {
    return bitstream == Bitstream::AVC || bitstream == Bitstream::HEVC;
}

/// One way to make one codec. A new codec is a new row.
struct EncoderRow {
    FourCC codec;
    const char* name;  // libavcodec's
    bool hardware;
    Bitstream bitstream;
    AVPixelFormat pixelFormat;  // what pictures are converted to
    AVPixelFormat
        alphaPixelFormat;   // the same for pictures with alpha; AV_PIX_FMT_NONE when alpha is dropped
    AVHWDeviceType device;  // the device that pictures are uploaded to; NONE for pictures in plain memory
    int profile;            // FF_PROFILE_… that the codec's code stands for
    const char* formatName;
    FourCC vendor;
    std::uint32_t temporalQuality;
    std::uint32_t spatialQuality;
    /// Presets of the speeds live, balanced and quality; null where the encoder has none.
    std::array<const char*, 3> presets;
    /// What the code fixes; null when everything is the session's to choose.
    const BroadcastCodec* broadcast = nullptr;
};

/// Every known way, software before hardware for each codec, in order of preference.
std::span<const EncoderRow> encoderTable();
/// Those that open on this machine. Found out at the first call, quietly, and then remembered.
const std::vector<const EncoderRow*>& openableEncoders();
/// The best of them; null when there is none of the wanted kind.
const EncoderRow* chooseEncoder(FourCC codec, const EncoderSpecification& specification);

}  // namespace zenquor::platform::detail
