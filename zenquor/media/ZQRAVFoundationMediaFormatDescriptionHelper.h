#pragma once
// From a recording's properties to the descriptions of its tracks.

#include <cstdint>
#include <optional>
#include <string>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/core/FourCC.h"
#include "zenquor/media/ZQRFrame.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/FormatDescription.h"

namespace zenquor {

/// Format descriptions for the tracks of a movie, and colour tags.
///
/// Thread-safety: Safe; no state.
class ZQRAVFoundationMediaFormatDescriptionHelper final {
public:
    ZQRAVFoundationMediaFormatDescriptionHelper() = delete;

    /// For encoders that deliver bare bytes. XDCAM codecs are described as "mp2v" with their own code
    /// recorded.
    /// @return null, after logging, without properties or without a picture size.
    static platform::FormatDescriptionPtr createVideoFormatDescriptionWithVideoProperties(
        const ZQRVideoPropertiesPtr& properties);
    /// @param properties        null gives a description with channel and byte counts only.
    /// @param channelsPerTrack  channels of each audio track, two bytes a sample for 16-bit audio, otherwise
    ///                          three.
    static platform::FormatDescriptionPtr createAudioFormatDescriptionWithAudioProperties(
        const ZQRAudioPropertiesPtr& properties, std::uint32_t channelsPerTrack);
    /// @param reelID         the reel, UTF-8.
    /// @param timeScale      a frame lasts durationNumerator / timeScale seconds.
    /// @param frameQuanta    labels per second.
    /// @param timecodeFlags  1 drop frame, 2 wraps at 24 hours.
    /// @return null, after logging, when the frame lasts no time.
    static platform::FormatDescriptionPtr createTimecodeFormatDescriptionWithReelID(
        const std::string& reelID, std::int64_t durationNumerator, std::int32_t timeScale,
        std::uint32_t frameQuanta, std::uint32_t timecodeFlags);
    /// @param type  'c608' or 'c708'.
    static platform::FormatDescriptionPtr createClosedCaptionFormatDescriptionWithType(FourCC type);

    /// Colour by the native norm and height of a recording.
    static std::optional<platform::ColorPrimaries> colorPrimariesForVideoProperties(
        const ZQRVideoPropertiesPtr& properties);
    static std::optional<platform::YCbCrMatrix> yCbCrMatrixForVideoProperties(
        const ZQRVideoPropertiesPtr& properties);
    static std::optional<platform::TransferFunction> transferFunctionForVideoProperties(
        const ZQRVideoPropertiesPtr& properties);

    /// Colour of one frame: what its payload identifier says, else by the height of its picture.
    static std::optional<platform::ColorPrimaries> colorPrimariesForFrame(const ZQRFramePtr& frame);
    static std::optional<platform::YCbCrMatrix> yCbCrMatrixForFrame(const ZQRFramePtr& frame);
    static std::optional<platform::TransferFunction> transferFunctionForFrame(const ZQRFramePtr& frame);
};

}  // namespace zenquor
