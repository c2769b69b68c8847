#include "zenquor/sources/SourceFormat.h"

#include "zenquor/media/ZQRVideoProperties.h"

namespace zenquor {
namespace {

constexpr std::uint32_t largestWidth = 8192;
constexpr std::uint32_t largestHeight = 4320;
constexpr std::uint32_t largestChannelCount = 64;
constexpr std::uint32_t firstHighDefinitionHeight = 720;
constexpr std::uint32_t firstUltraHighDefinitionHeight = 2160;

}  // namespace

SourceFormat SourceFormat::withVideoFormat(const ZHLVideoFormat& video, FourCC pixelFormat,
                                           std::uint32_t audioChannels, std::uint32_t audioBits) {
    SourceFormat format;
    format.width = video.width;
    format.height = video.height;
    format.framerate = video.framerate;
    format.interlaced = video.interlaced;
    format.tvNorm = video.tvNorm;
    format.aspectRatio = video.aspectRatio;
    format.pixelFormat = pixelFormat;
    format.audioChannels = audioChannels;
    format.audioBits = audioBits;
    return format;
}

bool SourceFormat::isValid() const {
    const bool hasSize = width >= 16 && width <= largestWidth && width % 2 == 0 && height >= 16 &&
                         height <= largestHeight && height % 2 == 0;
    const bool isKnownRate = framerate == 2500 || timebase() != ZQCKTimebase();
    const bool isKnownPixelFormat =
        pixelFormat == platform::pixelFormat2vuy || pixelFormat == platform::pixelFormatV210;
    return hasSize && isKnownRate && isKnownPixelFormat && audioChannels <= largestChannelCount &&
           (audioBits == 16 || audioBits == 24);
}

std::int32_t SourceFormat::timeScale() const {
    const ZQCKTimebase base = timebase();
    return static_cast<std::int32_t>(base.numerator() * (base.denominator() == 1 ? 1000 : 1));
}

std::int64_t SourceFormat::frameDuration() const {
    return timebase().denominator() == 1 ? 1000 : timebase().denominator();
}

platform::AudioStreamBasicDescription SourceFormat::audioFormat() const {
    using namespace platform;
    AudioStreamBasicDescription description;
    description.sampleRate = audioSampleRate;
    description.formatID = audioFormatLinearPCM;
    description.formatFlags = audioFormatFlagIsSignedInteger |
                              (audioBits == 16 ? audioFormatFlagIsPacked : audioFormatFlagIsAlignedHigh);
    description.bytesPerFrame = description.bytesPerPacket = audioBytesPerFrame();
    description.framesPerPacket = 1;
    description.channelsPerFrame = audioChannels;
    description.bitsPerChannel = audioBits;
    return description;
}

platform::PixelBuffer::Attachments SourceFormat::pictureAttachments() const {
    using namespace platform;
    PixelBuffer::Attachments tags;
    const bool isWide = aspectRatio == 0;
    const CleanAperture aperture = ZQRVideoProperties::cleanApertureForVideoWidth(width, height, isWide);
    if (aperture.width > 0) {
        tags.cleanAperture = aperture;
        tags.pixelAspectRatio = ZQRVideoProperties::pixelAspectRatioForVideoWidth(width, height, isWide);
    }
    if (height >= firstUltraHighDefinitionHeight) {
        tags.colorPrimaries = ColorPrimaries::ITU_R_2020;
        tags.transferFunction = TransferFunction::ITU_R_2020;
        tags.yCbCrMatrix = YCbCrMatrix::ITU_R_2020;
    } else if (height >= firstHighDefinitionHeight) {
        tags.colorPrimaries = ColorPrimaries::ITU_R_709_2;
        tags.transferFunction = TransferFunction::ITU_R_709_2;
        tags.yCbCrMatrix = YCbCrMatrix::ITU_R_709_2;
    } else {
        tags.colorPrimaries = height >= 576 ? ColorPrimaries::EBU_3213 : ColorPrimaries::SMPTE_C;
        tags.transferFunction = TransferFunction::ITU_R_709_2;
        tags.yCbCrMatrix = YCbCrMatrix::ITU_R_601_4;
    }
    return tags;
}

}  // namespace zenquor
