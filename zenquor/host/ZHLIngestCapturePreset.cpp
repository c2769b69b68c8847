#include "zenquor/host/ZHLIngestCapturePreset.h"

namespace zenquor {

std::shared_ptr<ZHLIngestCapturePreset> ZHLIngestCapturePreset::capturePresetWithFormatNamed(
    std::string_view name, FourCC codec) {
    const auto format = ZHLVideoFormat::formatNamed(name);
    if (!format) return nullptr;
    auto preset = capturePreset();
    preset->setVideoFormat(*format);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(codec));
    return preset;
}

void ZHLIngestCapturePreset::setVideoFormat(const ZHLVideoFormat& format) {
    videoWidth_ = format.width;
    videoHeight_ = format.height;
    tvNorm_ = format.tvNorm;
    framerate_ = format.framerate;
    aspectRatio_ = format.aspectRatio;
}

}  // namespace zenquor
