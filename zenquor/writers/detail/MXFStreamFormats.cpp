#include "zenquor/writers/detail/MXFStreamFormats.h"

#include <algorithm>

namespace zenquor::detail {
namespace {

namespace codec = mxf::codec;
namespace wrapping = mxf::wrapping;

constexpr double audioSampleRate = 48000;
constexpr double timeStampScale = 27000000;
constexpr std::uint32_t xdcamHDWidth = 1440;
// Lines of a D-10 picture, vertical blanking included.
constexpr std::uint32_t d10Height625 = 608;
constexpr std::uint32_t d10Height525 = 512;

std::uint32_t bytesPerAudioSample(const ZQRAudioProperties& audio) {
    return audio.bitRate() == 16 ? 2 : 3;
}

std::int32_t audioCodecForWrapping(std::int32_t wrappingKind) {
    switch (wrappingKind) {
        case wrapping::d10:
            return codec::pcmAES3;
        case wrapping::xdcam:
        case wrapping::dvAndAVCIntra:
        case wrapping::xavcLongGOP:
        case wrapping::vc3:
        case wrapping::proRes:
            return codec::pcmWave;
        default:
            return 0;  // XAVC intra: the engine takes it for wave PCM
    }
}

}  // namespace

std::uint32_t calculatedVideoWidth(const ZQRVideoProperties& video, const MXFCodec& mapped, bool isXDCAMHD) {
    if (mapped.essenceType == codec::avcIntra50 || mapped.essenceType == codec::avcIntra100) {
        if (video.videoHeight() == 720) return 960;
        if (video.videoHeight() == 1080) return 1440;
    }
    if (mapped.wrappingKind != wrapping::d10 && isXDCAMHD) return xdcamHDWidth;
    return static_cast<std::uint32_t>(video.videoWidth());
}

std::uint32_t calculatedVideoHeight(const ZQRVideoProperties& video, const MXFCodec& mapped) {
    if (mapped.wrappingKind == wrapping::d10) return video.tvNorm() != 0 ? d10Height525 : d10Height625;
    return static_cast<std::uint32_t>(video.videoHeight());
}

mxf::StreamFormat mxfVideoFormat(const ZQRVideoProperties& video, const MXFCodec& mapped, bool isXDCAMHD) {
    mxf::StreamFormat format;
    format.streamKind = mxf::streamKindVideo;
    format.codec = mapped.essenceType;
    format.editRate = video.editRate();
    format.frameRate = video.editRate();
    format.isInterlaced = video.scanMode() != 0;
    format.isFrameWrapped = true;
    format.width = calculatedVideoWidth(video, mapped, isXDCAMHD);
    format.height = calculatedVideoHeight(video, mapped);
    if (mapped.wrappingKind != wrapping::xdcam) {
        format.aspectX = video.isWide() ? 16 : 4;
        format.aspectY = video.isWide() ? 9 : 3;
    }
    return format;
}

mxf::StreamFormat mxfAudioFormat(const ZQRVideoProperties& video, const ZQRAudioProperties& audio,
                                 const MXFCodec& mapped) {
    mxf::StreamFormat format;
    format.streamKind = mxf::streamKindAudio;
    format.codec = audioCodecForWrapping(mapped.wrappingKind);
    format.editRate = video.editRate();
    format.sampleRate = audioSampleRate;
    format.bitsPerSample = static_cast<std::uint32_t>(audio.bitRate());
    format.bytesPerSample = bytesPerAudioSample(audio);
    format.bytesPerSecond = format.bytesPerSample * static_cast<std::uint32_t>(audioSampleRate);
    format.channelCount =
        mapped.wrappingKind == wrapping::d10 ? static_cast<std::uint32_t>(audio.nativeChannelCount()) : 1;
    return format;
}

mxf::StreamFormat mxfCaptionsFormat(const ZQRVideoProperties& video) {
    mxf::StreamFormat format;
    format.streamKind = mxf::streamKindData;
    format.codec = codec::ancillary436M;
    format.editRate = video.editRate();
    return format;
}

std::int64_t mxfTimeStamp(std::uint64_t framesBefore, double editRate) {
    if (!(editRate > 0)) return 0;
    // The half belongs to the ticks of each frame, so it adds up.
    return static_cast<std::int64_t>(static_cast<double>(framesBefore) * (timeStampScale / editRate + 0.5));
}

std::uint32_t mxfAudioStreamCount(const ZQRAudioProperties* audio, const MXFCodec& mapped) {
    if (!audio || audio->nativeChannelCount() == 0) return 0;
    const auto channels = std::min(audio->numberOfChannels(), audio->nativeChannelCount());
    if (mapped.wrappingKind == wrapping::d10) return channels == 0 ? 0 : 1;
    return static_cast<std::uint32_t>(channels);
}

platform::AudioStreamBasicDescription inputAudioStreamBasicDescription(const ZQRAudioProperties* audio) {
    return audio ? audio->audioStreamBasicDescription() : platform::AudioStreamBasicDescription{};
}

platform::AudioStreamBasicDescription outputAudioStreamBasicDescription(const ZQRAudioProperties* audio,
                                                                        const MXFCodec& mapped) {
    auto description = inputAudioStreamBasicDescription(audio);
    if (!audio) return description;
    const std::uint32_t sampleBytes = bytesPerAudioSample(*audio);
    const bool isD10 = mapped.wrappingKind == wrapping::d10;
    description.formatFlags = platform::audioFormatFlagIsSignedInteger;
    if (!isD10) description.formatFlags |= platform::audioFormatFlagIsNonInterleaved;
    if (sampleBytes == 3) description.formatFlags |= platform::audioFormatFlagIsPacked;
    description.bytesPerFrame = isD10 ? description.channelsPerFrame * sampleBytes : sampleBytes;
    description.bytesPerPacket = description.bytesPerFrame;
    return description;
}

}  // namespace zenquor::detail
