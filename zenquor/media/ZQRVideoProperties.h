#pragma once
// The picture of a recording.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/platform/ColorTags.h"

namespace zenquor {

class ZQRAudioMapper;

/// What encoders and writers ask about the picture of a recording, derived from the host's capture preset.
///
/// Lifecycle:     one per recording; the preset is not changed any more once it is given away here.
/// Thread-safety: Safe. The native size and the scan mode may be set while other threads read them.
/// Ownership:     holds the preset and, from the first mapped audio on, the channel mapper.
class ZQRVideoProperties final : public ZQObject {
public:
    /// @param preset  null reads as a preset without size, rate and codec.
    static std::shared_ptr<ZQRVideoProperties> initWithCapturePreset(ZHLIngestCapturePresetPtr preset);
    ~ZQRVideoProperties() override;

    /// Estimates sampleSize() for @p codecType, a four-character code. An unlisted code changes nothing.
    /// Called at creation with the preset's codec; again by whoever overrides the codec.
    void finishSetupWithCodecType(FourCC codecType);

    const ZHLIngestCapturePresetPtr& capturePreset() const { return capturePreset_; }
    /// Pixels per line.
    std::uint64_t videoWidth() const;
    /// Active lines.
    std::uint64_t videoHeight() const;
    /// 0 625-line, 1 525-line, 2/3 HD, 5/6 UHD, 7/8 8K; the first of each pair at 25 or 50 frames per second.
    std::uint32_t tvNorm() const;
    /// Frames per second times 100.
    std::uint32_t framerate() const;
    std::uint32_t colorSpace() const;
    /// Null where the host set none; so are the next two.
    ZHLH264PreferencesPtr h264Preferences() const;
    ZHLH265PreferencesPtr h265Preferences() const;
    ZHLPhotoJPEGPreferencesPtr photoJPEGPreferences() const;
    /// The codec; null when the preset has none.
    ZHLCompressionComponentPtr ZQcomponent() const;

    /// Size of the source signal; the preset's size where it was not set (0).
    std::uint64_t nativeVideoWidth() const;
    void setNativeVideoWidth(std::uint64_t pixels) {
        nativeVideoWidth_.store(pixels, std::memory_order_relaxed);
    }
    std::uint64_t nativeVideoHeight() const;
    void setNativeVideoHeight(std::uint64_t lines) {
        nativeVideoHeight_.store(lines, std::memory_order_relaxed);
    }
    /// The norm of the native height; the preset's where that is not set or belongs to no norm.
    std::uint32_t tvNormForNative() const;
    /// Field order for writers and encoders: 0 = progressive, anything else interlaced.
    std::uint64_t scanMode() const { return scanMode_.load(std::memory_order_relaxed); }
    void setScanMode(std::uint64_t mode) { scanMode_.store(mode, std::memory_order_relaxed); }
    /// Estimated largest size of one coded frame in bytes; 0 for codecs without an estimate.
    std::uint64_t sampleSize() const { return sampleSize_.load(std::memory_order_relaxed); }

    /// The frame rate as a rational; numerator 0 for an unknown rate. 23.98 counts as 24000/1000.
    std::int32_t framerateNumerator() const;
    std::int32_t framerateDenominator() const;
    /// Numerator over denominator.
    double editRate() const;
    /// 16:9 as opposed to 4:3.
    bool isWide() const;
    /// Whether timecode drops labels: 29.97 and 59.94 only.
    bool dropping() const;

    /// Which family the preset's codec belongs to; false without a codec.
    bool wantsUncompressedEncoding() const;
    bool wantsPhotoJPEGEncoding() const;
    bool wantsAVCIntraEncoding() const;
    bool wantsXAVCEncoding() const;
    bool wantsXDCAMEncoding() const;
    bool wantsProResEncoding() const;
    bool wantsDNxHDEncoding() const;

    /// "1920x1080, 16:9, 25.00 fps, NAME OF CODEC".
    std::string videoPropertiesString() const;
    /// The frame's audio with its channels mapped as the preset says; shared with the frame, not copied, when
    /// there is nothing to map. The mapper is made for the layout of the first frame with audio and kept.
    std::optional<ZQData> audioDataForFrame(const ZQRFramePtr& frame);

    /// The clean aperture of a known picture size, whole pixels, centred; 0 by 0 for an unknown one.
    static platform::CleanAperture cleanApertureForVideoWidth(std::uint64_t width, std::uint64_t height,
                                                              bool is16By9);
    /// The pixel aspect ratio of a known picture size; 1:1 for an unknown one.
    static platform::PixelAspectRatio pixelAspectRatioForVideoWidth(std::uint64_t width, std::uint64_t height,
                                                                    bool is16By9);

private:
    explicit ZQRVideoProperties(ZHLIngestCapturePresetPtr preset);
    FourCC codecType() const;

    ZHLIngestCapturePresetPtr capturePreset_;  // never null
    std::shared_ptr<ZQRAudioMapper> audioMapper_;
    std::once_flag audioMapperMade_;
    std::atomic<std::uint64_t> nativeVideoHeight_{0};
    std::atomic<std::uint64_t> nativeVideoWidth_{0};
    std::atomic<std::uint64_t> sampleSize_{0};
    std::atomic<std::uint64_t> scanMode_{0};
};

using ZQRVideoPropertiesPtr = std::shared_ptr<ZQRVideoProperties>;

}  // namespace zenquor
