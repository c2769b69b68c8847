#pragma once
// What the samples of a track are.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "zenquor/core/FourCC.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/AudioStreamBasicDescription.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/MediaTime.h"

namespace zenquor::platform {

inline constexpr FourCC mediaTypeVideo = fourCC("vide");
inline constexpr FourCC mediaTypeAudio = fourCC("soun");
inline constexpr FourCC mediaTypeTimecode = fourCC("tmcd");
inline constexpr FourCC mediaTypeClosedCaption = fourCC("clcp");

/// A video track: the coded picture and what a sample entry says of it. Absent tags are not written.
struct VideoFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::optional<platform::CleanAperture> cleanAperture;
    std::optional<platform::PixelAspectRatio> pixelAspectRatio;
    std::optional<platform::ColorPrimaries> colorPrimaries;
    std::optional<platform::TransferFunction> transferFunction;
    std::optional<platform::YCbCrMatrix> yCbCrMatrix;
    std::optional<std::uint32_t> fieldCount;
    std::optional<platform::FieldDetail> fieldDetail;
    FourCC vendor = 0;                  // four characters, such as "appl"; 0 for none
    std::uint32_t temporalQuality = 0;  // 0 to 1024
    std::uint32_t spatialQuality = 0;
    std::uint32_t depth = 24;
    std::uint32_t version = 0;
    std::string formatName;
    /// The code that a container records when it differs from the subtype: an XDCAM code under "mp2v".
    FourCC recordedCode = 0;
    /// The decoder configuration record (avcC, hvcC) without its box header; empty for codecs without one.
    ZQData configuration;
};

struct AudioFormat {
    AudioStreamBasicDescription description;
    /// CoreAudio layout tag of a file's 'chan' box; 0 leaves the choice to the writer.
    std::uint32_t channelLayoutTag = 0;
    /// AudioSpecificConfig of AAC; empty for PCM.
    ZQData configuration;
};

struct TimecodeFormat {
    MediaTime frameDuration;
    std::uint32_t frameQuanta = 0;    // labels per second
    std::uint32_t flags = 0;          // 1 drop frame, 2 wraps at 24 hours
    std::string sourceReferenceName;  // the reel
    std::uint16_t languageCode = 0;
};

/// Immutable description of a track's samples.
///
/// Thread-safety: Safe.
class FormatDescription final : public ZQObject {
public:
    static std::shared_ptr<const FormatDescription> video(FourCC codec, VideoFormat format);
    static std::shared_ptr<const FormatDescription> audio(AudioFormat format);
    static std::shared_ptr<const FormatDescription> timecode(TimecodeFormat format);
    /// @param subType  'c608' or 'c708'.
    static std::shared_ptr<const FormatDescription> closedCaption(FourCC subType);

    FourCC mediaType() const { return mediaType_; }
    FourCC mediaSubType() const { return mediaSubType_; }
    /// The part for the media type; null for another type.
    const VideoFormat* videoFormat() const { return std::get_if<VideoFormat>(&format_); }
    const AudioFormat* audioFormat() const { return std::get_if<AudioFormat>(&format_); }
    const TimecodeFormat* timecodeFormat() const { return std::get_if<TimecodeFormat>(&format_); }
    std::string description() const override;

private:
    using Format = std::variant<std::monostate, VideoFormat, AudioFormat, TimecodeFormat>;
    FormatDescription(FourCC mediaType, FourCC mediaSubType, Format format);

    FourCC mediaType_;
    FourCC mediaSubType_;
    Format format_;
};

using FormatDescriptionPtr = std::shared_ptr<const FormatDescription>;

}  // namespace zenquor::platform
