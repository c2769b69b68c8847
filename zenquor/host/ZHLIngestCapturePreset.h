#pragma once
// The settings of one recording, as a host hands them to encoders and writers.

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "zenquor/core/ZQObject.h"
#include "zenquor/host/ZHLCompressionComponent.h"
#include "zenquor/host/ZHLH264Preferences.h"
#include "zenquor/host/ZHLH265Preferences.h"
#include "zenquor/host/ZHLPhotoJPEGPreferences.h"
#include "zenquor/host/ZHLVideoFormat.h"
#include "zenquor/host/ZHLXDCAMPreferences.h"

namespace zenquor {

/// Everything about a recording that the operator chose beforehand: picture format, codec, its settings,
/// audio channels.
///
/// Lifecycle:     filled by the host, then given to ZQRVideoProperties and writers, which only read it.
/// Thread-safety: One thread at a time while it is filled; reading is safe.
/// Ownership:     holds its preferences and component.
class ZHLIngestCapturePreset final : public ZQObject {
public:
    using AudioMapping = std::vector<std::int32_t>;

    /// An empty preset: no size, no rate, no codec.
    static std::shared_ptr<ZHLIngestCapturePreset> capturePreset() {
        return std::make_shared<ZHLIngestCapturePreset>();
    }
    /// A preset of a known format ("1080i50") and codec; whether the format is interlaced belongs to the
    /// video properties made from the preset.
    /// @return null when there is no such format.
    static std::shared_ptr<ZHLIngestCapturePreset> capturePresetWithFormatNamed(std::string_view name,
                                                                                FourCC codec);

    /// Takes over size, norm, rate and aspect ratio.
    void setVideoFormat(const ZHLVideoFormat& format);

    /// Pixels per line.
    std::uint64_t videoWidth() const { return videoWidth_; }
    void setVideoWidth(std::uint64_t pixels) { videoWidth_ = pixels; }
    /// Active lines.
    std::uint64_t videoHeight() const { return videoHeight_; }
    void setVideoHeight(std::uint64_t lines) { videoHeight_ = lines; }
    /// 0 625-line, 1 525-line, 2 HD at 25/50, 3 HD at other rates, 5/6 the same for UHD, 7/8 for 8K.
    std::uint32_t tvNorm() const { return tvNorm_; }
    void setTvNorm(std::uint32_t norm) { tvNorm_ = norm; }
    /// Frames per second times 100: 2398, 2400, 2500, 2997, 3000, 5000, 5994, 6000.
    std::uint32_t framerate() const { return framerate_; }
    void setFramerate(std::uint32_t framesPerSecondTimes100) { framerate_ = framesPerSecondTimes100; }
    /// The host's own number for the colour space; nothing in this library reads a meaning into it.
    std::uint32_t colorSpace() const { return colorSpace_; }
    void setColorSpace(std::uint32_t colorSpace) { colorSpace_ = colorSpace; }
    /// 0 = 16:9, anything else 4:3.
    std::uint32_t aspectRatio() const { return aspectRatio_; }
    void setAspectRatio(std::uint32_t aspectRatio) { aspectRatio_ = aspectRatio; }

    /// The codec; null before one was set.
    const ZHLCompressionComponentPtr& compressionComponent() const { return compressionComponent_; }
    void setCompressionComponent(ZHLCompressionComponentPtr component) {
        compressionComponent_ = std::move(component);
    }

    /// The settings of each codec family; null where the host set none.
    const ZHLH264PreferencesPtr& h264Preferences() const { return h264Preferences_; }
    void setH264Preferences(ZHLH264PreferencesPtr preferences) { h264Preferences_ = std::move(preferences); }
    const ZHLH265PreferencesPtr& h265Preferences() const { return h265Preferences_; }
    void setH265Preferences(ZHLH265PreferencesPtr preferences) { h265Preferences_ = std::move(preferences); }
    const ZHLPhotoJPEGPreferencesPtr& photoJPEGPreferences() const { return photoJPEGPreferences_; }
    void setPhotoJPEGPreferences(ZHLPhotoJPEGPreferencesPtr preferences) {
        photoJPEGPreferences_ = std::move(preferences);
    }
    const ZHLXDCAMPreferencesPtr& xdcamPreferences() const { return xdcamPreferences_; }
    void setXDCAMPreferences(ZHLXDCAMPreferencesPtr preferences) {
        xdcamPreferences_ = std::move(preferences);
    }

    /// For each output channel the number of the input channel that feeds it; nothing leaves the audio as it
    /// comes.
    const std::optional<AudioMapping>& audioMapping() const { return audioMapping_; }
    void setAudioMapping(std::optional<AudioMapping> mapping) { audioMapping_ = std::move(mapping); }

    /// Whether MXF headers are kept up to date while the file grows.
    bool updateMXFHeaderLength() const { return updateMXFHeaderLength_; }
    void setUpdateMXFHeaderLength(bool update) { updateMXFHeaderLength_ = update; }

private:
    std::uint64_t videoWidth_ = 0;
    std::uint64_t videoHeight_ = 0;
    std::uint32_t tvNorm_ = 0;
    std::uint32_t framerate_ = 0;
    std::uint32_t colorSpace_ = 0;
    std::uint32_t aspectRatio_ = 0;
    bool updateMXFHeaderLength_ = false;
    ZHLCompressionComponentPtr compressionComponent_;
    ZHLH264PreferencesPtr h264Preferences_;
    ZHLH265PreferencesPtr h265Preferences_;
    ZHLPhotoJPEGPreferencesPtr photoJPEGPreferences_;
    ZHLXDCAMPreferencesPtr xdcamPreferences_;
    std::optional<AudioMapping> audioMapping_;
};

using ZHLIngestCapturePresetPtr = std::shared_ptr<ZHLIngestCapturePreset>;

}  // namespace zenquor
