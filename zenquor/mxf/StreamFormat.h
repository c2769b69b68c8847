#pragma once
// What one stream of an MXF file holds, as host and engine tell each other.

#include <cstdint>

namespace zenquor::mxf {

/// Kinds of streams.
inline constexpr std::int32_t streamKindVideo = 1;
inline constexpr std::int32_t streamKindAudio = 2;
inline constexpr std::int32_t streamKindData = 5;

/// Codec numbers.
namespace codec {
inline constexpr std::int32_t mpeg2Video = 2;
inline constexpr std::int32_t avcIntra50 = 29;
inline constexpr std::int32_t avcIntra100 = 30;
inline constexpr std::int32_t avcIntra200 = 31;  // class 300 in UHD
inline constexpr std::int32_t avcIntra480 = 32;
inline constexpr std::int32_t avcLongGOP = 34;
inline constexpr std::int32_t dv25 = 35;  // IEC 61834
inline constexpr std::int32_t dvcPro25 = 36;
inline constexpr std::int32_t dv50 = 37;
inline constexpr std::int32_t dv100 = 38;
inline constexpr std::int32_t vc3 = 39;
inline constexpr std::int32_t proRes = 48;
inline constexpr std::int32_t pcmWave = 146;  // 0 as well
inline constexpr std::int32_t pcmAES3 = 147;
inline constexpr std::int32_t ancillary436M = 4097;
inline constexpr std::int32_t vbi436M = 4098;
inline constexpr std::int32_t unknown = -1;  // told by a demuxer of what is none of these
}  // namespace codec

/// Profiles of a file.
namespace wrapping {
inline constexpr std::int32_t d10 = 1;
inline constexpr std::int32_t xdcam = 2;
inline constexpr std::int32_t dvAndAVCIntra = 3;
inline constexpr std::int32_t xavcLongGOP = 7;
inline constexpr std::int32_t xavcIntra = 8;
inline constexpr std::int32_t vc3 = 9;
inline constexpr std::int32_t proRes = 16;
}  // namespace wrapping

/// One stream. A field that is 0 is not known; a muxer then asks the essence.
struct StreamFormat {
    std::int32_t streamKind = 0;
    std::int32_t codec = 0;
    double editRate = 0;   // edit units per second
    double frameRate = 0;  // pictures per second; of video only
    bool isInterlaced = false;
    bool isFrameWrapped = false;
    std::uint32_t width = 0;   // pixels; a fallback, the coded picture says more
    std::uint32_t height = 0;  // lines of a frame
    std::uint32_t aspectX = 0;
    std::uint32_t aspectY = 0;
    double sampleRate = 0;  // of sound, samples per second
    std::uint32_t bitsPerSample = 0;
    std::uint32_t bytesPerSample = 0;
    std::uint32_t bytesPerSecond = 0;
    std::uint32_t channelCount = 0;
};

}  // namespace zenquor::mxf
