#include "zenquor/media/ZQRAVFoundationMediaFormatDescriptionHelper.h"

#include <string_view>
#include <utility>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/Status.h"

namespace zenquor {
namespace {

using platform::ColorPrimaries;
using platform::FormatDescription;
using platform::FormatDescriptionPtr;
using platform::TransferFunction;
using platform::YCbCrMatrix;

constexpr std::uint64_t highestSDHeight = 719;
constexpr std::uint64_t highestHDHeight = 1080;

FormatDescriptionPtr refuse(std::string_view kind) {
    ZLGGetHandle().error(
        "ZQRAVFoundationMediaFormatDescriptionHelper: Couldn't create {} format description with error {}",
        kind, platform::parameterErr);
    return nullptr;
}

platform::CleanAperture cleanApertureForWidth(std::uint64_t width, std::uint64_t height) {
    // Every 1920-wide picture has the aperture of 1080 lines, whatever its height.
    if (width == 1920) return {1888, 1062};
    return {static_cast<double>(width), static_cast<double>(height)};
}

platform::PixelAspectRatio pixelAspectRatioForWidth(std::uint64_t width) {
    if (width == 1280) return {3, 2};
    if (width == 1440) return {4, 3};
    return {1, 1};
}

platform::VideoFormat videoFormatForProperties(const ZQRVideoPropertiesPtr& properties) {
    using Helper = ZQRAVFoundationMediaFormatDescriptionHelper;
    platform::VideoFormat format;
    format.width = static_cast<std::uint32_t>(properties->videoWidth());
    format.height = static_cast<std::uint32_t>(properties->videoHeight());
    format.cleanAperture = cleanApertureForWidth(properties->videoWidth(), properties->videoHeight());
    format.pixelAspectRatio = pixelAspectRatioForWidth(properties->videoWidth());
    format.colorPrimaries = Helper::colorPrimariesForVideoProperties(properties);
    format.yCbCrMatrix = Helper::yCbCrMatrixForVideoProperties(properties);
    format.transferFunction = Helper::transferFunctionForVideoProperties(properties);
    format.vendor = fourCC("appl");
    format.fieldDetail = platform::FieldDetail::SpatialFirstLineEarly;
    format.fieldCount = 2;  // for progressive pictures too
    format.spatialQuality = 512;
    format.temporalQuality = 512;
    format.depth = 24;
    format.version = 1;
    if (const auto component = properties->ZQcomponent()) format.formatName = component->name();
    return format;
}

YCbCrMatrix yCbCrMatrixForHeight(std::uint64_t height) {
    if (height <= highestSDHeight) return YCbCrMatrix::ITU_R_601_4;
    return height <= highestHDHeight ? YCbCrMatrix::ITU_R_709_2 : YCbCrMatrix::ITU_R_2020;
}

/// The colorimetry and transfer code of a picture that came without one.
std::uint32_t colorCodeForHeight(std::uint64_t height) {
    if (height > highestHDHeight) return 6;
    if (height > highestSDHeight) return 0;
    return height >= 576 ? 1 : 2;
}

std::uint64_t heightOfFrame(const ZQRFramePtr& frame) {
    return frame ? frame->videoHeight() : 0;
}
std::uint64_t nativeHeight(const ZQRVideoPropertiesPtr& properties) {
    return properties ? properties->nativeVideoHeight() : 0;
}

/// What the frame's payload identifier says through @p query, if it has one.
template <typename Tag>
std::optional<Tag> tagOfFrame(const ZQRFramePtr& frame, std::optional<Tag> (ZQRVPID::*query)() const) {
    const auto vpID = frame ? frame->vpID() : std::nullopt;
    return vpID ? ((*vpID).*query)() : std::nullopt;
}

}  // namespace

FormatDescriptionPtr
ZQRAVFoundationMediaFormatDescriptionHelper::createVideoFormatDescriptionWithVideoProperties(
    const ZQRVideoPropertiesPtr& properties) {
    if (!properties || properties->videoWidth() == 0 || properties->videoHeight() == 0)
        return refuse("video");
    auto format = videoFormatForProperties(properties);
    const auto component = properties->ZQcomponent();
    FourCC codec = component ? component->componentString() : 0;
    if (properties->wantsXDCAMEncoding()) format.recordedCode = std::exchange(codec, fourCC("mp2v"));
    return FormatDescription::video(codec, std::move(format));
}

FormatDescriptionPtr
ZQRAVFoundationMediaFormatDescriptionHelper::createAudioFormatDescriptionWithAudioProperties(
    const ZQRAudioPropertiesPtr& properties, std::uint32_t channelsPerTrack) {
    platform::AudioFormat format;
    if (properties) format.description = properties->audioStreamBasicDescription();
    const std::uint32_t bytesPerSample = properties && properties->bitRate() == 16 ? 2 : 3;
    format.description.channelsPerFrame = channelsPerTrack;
    format.description.bytesPerFrame = channelsPerTrack * bytesPerSample;
    format.description.bytesPerPacket = channelsPerTrack * bytesPerSample;
    return FormatDescription::audio(std::move(format));
}

FormatDescriptionPtr ZQRAVFoundationMediaFormatDescriptionHelper::createTimecodeFormatDescriptionWithReelID(
    const std::string& reelID, std::int64_t durationNumerator, std::int32_t timeScale,
    std::uint32_t frameQuanta, std::uint32_t timecodeFlags) {
    if (durationNumerator <= 0 || timeScale <= 0 || frameQuanta == 0) return refuse("timecode");
    platform::TimecodeFormat format;
    format.frameDuration = {durationNumerator, timeScale};
    format.frameQuanta = frameQuanta;
    format.flags = timecodeFlags;
    format.sourceReferenceName = reelID;
    format.languageCode = 0;
    return FormatDescription::timecode(std::move(format));
}

FormatDescriptionPtr
ZQRAVFoundationMediaFormatDescriptionHelper::createClosedCaptionFormatDescriptionWithType(FourCC type) {
    return FormatDescription::closedCaption(type);
}

std::optional<ColorPrimaries> ZQRAVFoundationMediaFormatDescriptionHelper::colorPrimariesForVideoProperties(
    const ZQRVideoPropertiesPtr& properties) {
    const std::uint32_t norm = properties ? properties->tvNormForNative() : 0;
    if (norm == 0) return ColorPrimaries::EBU_3213;
    if (norm == 1) return ColorPrimaries::SMPTE_C;
    return nativeHeight(properties) <= highestHDHeight ? ColorPrimaries::ITU_R_709_2
                                                       : ColorPrimaries::ITU_R_2020;
}

std::optional<YCbCrMatrix> ZQRAVFoundationMediaFormatDescriptionHelper::yCbCrMatrixForVideoProperties(
    const ZQRVideoPropertiesPtr& properties) {
    return yCbCrMatrixForHeight(nativeHeight(properties));
}

std::optional<TransferFunction>
ZQRAVFoundationMediaFormatDescriptionHelper::transferFunctionForVideoProperties(
    const ZQRVideoPropertiesPtr& properties) {
    const std::uint64_t height = nativeHeight(properties);
    if (height <= highestSDHeight) return std::nullopt;
    return height <= highestHDHeight ? TransferFunction::ITU_R_709_2 : TransferFunction::ITU_R_2020;
}

std::optional<ColorPrimaries> ZQRAVFoundationMediaFormatDescriptionHelper::colorPrimariesForFrame(
    const ZQRFramePtr& frame) {
    if (const auto tag = tagOfFrame(frame, &ZQRVPID::colorPrimaries)) return tag;
    return ZQRVPID::colorPrimariesForColorimetry(colorCodeForHeight(heightOfFrame(frame)));
}

std::optional<YCbCrMatrix> ZQRAVFoundationMediaFormatDescriptionHelper::yCbCrMatrixForFrame(
    const ZQRFramePtr& frame) {
    if (const auto tag = tagOfFrame(frame, &ZQRVPID::yCbCrMatrix)) return tag;
    return yCbCrMatrixForHeight(heightOfFrame(frame));
}

std::optional<TransferFunction> ZQRAVFoundationMediaFormatDescriptionHelper::transferFunctionForFrame(
    const ZQRFramePtr& frame) {
    if (const auto tag = tagOfFrame(frame, &ZQRVPID::transferFunction)) return tag;
    return ZQRVPID::transferFunctionForCharacteristics(colorCodeForHeight(heightOfFrame(frame)));
}

}  // namespace zenquor
