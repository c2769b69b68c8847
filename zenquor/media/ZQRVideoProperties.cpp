#include "zenquor/media/ZQRVideoProperties.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/audio/ZQRAudioMapper.h"
#include "zenquor/media/ZQRCMVideoUtilities.h"
#include "zenquor/media/detail/CodecTables.h"
#include "zenquor/media/detail/PictureGeometry.h"

namespace zenquor {

using detail::CodecFamily;
using detail::isCodecOfFamily;

std::shared_ptr<ZQRVideoProperties> ZQRVideoProperties::initWithCapturePreset(
    ZHLIngestCapturePresetPtr preset) {
    std::shared_ptr<ZQRVideoProperties> properties(new ZQRVideoProperties(std::move(preset)));
    properties->finishSetupWithCodecType(properties->codecType());
    return properties;
}

ZQRVideoProperties::ZQRVideoProperties(ZHLIngestCapturePresetPtr preset)
    : capturePreset_(preset ? std::move(preset) : ZHLIngestCapturePreset::capturePreset()) {}

ZQRVideoProperties::~ZQRVideoProperties() = default;

void ZQRVideoProperties::finishSetupWithCodecType(FourCC codecType) {
    const auto size = detail::sampleSizeForCodec(codecType, tvNorm(), videoHeight());
    if (size) sampleSize_.store(*size, std::memory_order_relaxed);
}

std::uint64_t ZQRVideoProperties::videoWidth() const {
    return capturePreset_->videoWidth();
}
std::uint64_t ZQRVideoProperties::videoHeight() const {
    return capturePreset_->videoHeight();
}
std::uint32_t ZQRVideoProperties::tvNorm() const {
    return capturePreset_->tvNorm();
}
std::uint32_t ZQRVideoProperties::framerate() const {
    return capturePreset_->framerate();
}
std::uint32_t ZQRVideoProperties::colorSpace() const {
    return capturePreset_->colorSpace();
}

ZHLH264PreferencesPtr ZQRVideoProperties::h264Preferences() const {
    return capturePreset_->h264Preferences();
}
ZHLH265PreferencesPtr ZQRVideoProperties::h265Preferences() const {
    return capturePreset_->h265Preferences();
}
ZHLPhotoJPEGPreferencesPtr ZQRVideoProperties::photoJPEGPreferences() const {
    return capturePreset_->photoJPEGPreferences();
}
ZHLCompressionComponentPtr ZQRVideoProperties::ZQcomponent() const {
    return capturePreset_->compressionComponent();
}

FourCC ZQRVideoProperties::codecType() const {
    const auto component = ZQcomponent();
    return component ? component->componentString() : 0;
}

std::uint64_t ZQRVideoProperties::nativeVideoWidth() const {
    const std::uint64_t width = nativeVideoWidth_.load(std::memory_order_relaxed);
    return width == 0 ? videoWidth() : width;
}

std::uint64_t ZQRVideoProperties::nativeVideoHeight() const {
    const std::uint64_t height = nativeVideoHeight_.load(std::memory_order_relaxed);
    return height == 0 ? videoHeight() : height;
}

std::uint32_t ZQRVideoProperties::tvNormForNative() const {
    const bool rate50 = framerate() == 2500 || framerate() == 5000;
    switch (nativeVideoHeight_.load(std::memory_order_relaxed)) {
        case 486:
            return 1;
        case 576:
            return 0;
        case 720:
        case 1080:
            return rate50 ? 2 : 3;
        case 2160:
            return rate50 ? 5 : 6;
        case 4320:
            return rate50 ? 7 : 8;
        default:
            return tvNorm();
    }
}

std::int32_t ZQRVideoProperties::framerateNumerator() const {
    return ZQRCMVideoUtilities::numeratorForFramerate(framerate());
}

std::int32_t ZQRVideoProperties::framerateDenominator() const {
    return ZQRCMVideoUtilities::denominatorForFramerate(framerate());
}

double ZQRVideoProperties::editRate() const {
    return static_cast<double>(framerateNumerator()) / static_cast<double>(framerateDenominator());
}

bool ZQRVideoProperties::isWide() const {
    return capturePreset_->aspectRatio() == 0;
}

bool ZQRVideoProperties::dropping() const {
    return framerate() != 2398 && framerateDenominator() == 1001;
}

bool ZQRVideoProperties::wantsUncompressedEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::Uncompressed);
}
bool ZQRVideoProperties::wantsPhotoJPEGEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::PhotoJPEG);
}
bool ZQRVideoProperties::wantsAVCIntraEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::AVCIntra);
}
bool ZQRVideoProperties::wantsXAVCEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::XAVC);
}
bool ZQRVideoProperties::wantsXDCAMEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::XDCAM);
}
bool ZQRVideoProperties::wantsProResEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::ProRes);
}
bool ZQRVideoProperties::wantsDNxHDEncoding() const {
    return isCodecOfFamily(codecType(), CodecFamily::DNxHD);
}

std::string ZQRVideoProperties::videoPropertiesString() const {
    const auto component = ZQcomponent();
    return fmt::format("{}x{}, {}, {:2.2f} fps, {}", videoWidth(), videoHeight(), isWide() ? "16:9" : "4:3",
                       static_cast<float>(framerate()) / 100.0F, component ? component->name() : "(null)");
}

std::optional<ZQData> ZQRVideoProperties::audioDataForFrame(const ZQRFramePtr& frame) {
    auto audio = frame ? frame->frameAudioData() : std::nullopt;
    const auto& mapping = capturePreset_->audioMapping();
    if (!audio || !mapping || frame->audioChannels() == 0) return audio;
    // Several encoders may ask for their first frame at once.
    std::call_once(audioMapperMade_, [&] {
        const std::uint32_t channels = frame->audioChannels();
        audioMapper_ = ZQRAudioMapper::initWithMapping(*mapping, frame->audioBytesPerFrame() / channels,
                                                       static_cast<std::int32_t>(channels));
    });
    return audioMapper_->mapAudioData(*audio);
}

platform::CleanAperture ZQRVideoProperties::cleanApertureForVideoWidth(std::uint64_t width,
                                                                       std::uint64_t height, bool is16By9) {
    const auto* const geometry = detail::pictureGeometryForSize(width, height, is16By9);
    return geometry ? geometry->cleanAperture : platform::CleanAperture{};
}

platform::PixelAspectRatio ZQRVideoProperties::pixelAspectRatioForVideoWidth(std::uint64_t width,
                                                                             std::uint64_t height,
                                                                             bool is16By9) {
    const auto* const geometry = detail::pictureGeometryForSize(width, height, is16By9);
    return geometry ? geometry->pixelAspectRatio : platform::PixelAspectRatio{};
}

}  // namespace zenquor
