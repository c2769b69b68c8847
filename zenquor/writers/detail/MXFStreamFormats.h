#pragma once
// What the MXF engine is told of each stream of a recording.

#include <cstdint>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/writers/detail/MXFCodecTable.h"

namespace zenquor::detail {

/// The picture's size as the file tells it where the coded picture does not.
/// @param isXDCAMHD  this process has recorded a 1440-wide XDCAM HD code.
std::uint32_t calculatedVideoWidth(const ZQRVideoProperties& video, const MXFCodec& codec, bool isXDCAMHD);
std::uint32_t calculatedVideoHeight(const ZQRVideoProperties& video, const MXFCodec& codec);

mxf::StreamFormat mxfVideoFormat(const ZQRVideoProperties& video, const MXFCodec& codec, bool isXDCAMHD);
/// Of one stream: all channels for D-10, one otherwise.
mxf::StreamFormat mxfAudioFormat(const ZQRVideoProperties& video, const ZQRAudioProperties& audio,
                                 const MXFCodec& codec);
mxf::StreamFormat mxfCaptionsFormat(const ZQRVideoProperties& video);

/// The 27 MHz time stamp of a frame: rounded-up ticks for each frame before it, and half a tick more. Without an edit
/// rate 0, of a recording that the engine refuses.
std::int64_t mxfTimeStamp(std::uint64_t framesBefore, double editRate);

/// How many audio streams a recording has; 0 without audio.
std::uint32_t mxfAudioStreamCount(const ZQRAudioProperties* audio, const MXFCodec& codec);
/// How the frames' samples lie; all zero without audio.
platform::AudioStreamBasicDescription inputAudioStreamBasicDescription(const ZQRAudioProperties* audio);
/// How the engine wants them: interleaved for D-10, a buffer per channel otherwise; little-endian, without gaps.
platform::AudioStreamBasicDescription outputAudioStreamBasicDescription(const ZQRAudioProperties* audio,
                                                                        const MXFCodec& codec);

}  // namespace zenquor::detail
