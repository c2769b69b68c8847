#pragma once
// What a compression session has been asked for, apart from any encoder.

#include <optional>
#include <string>
#include <vector>

#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/codec/EncoderTable.h"
#include "zenquor/platform/codec/PicturePlacer.h"

namespace zenquor::platform::detail {

/// The properties of one session.
///
/// Thread-safety: One thread at a time.
class EncoderSettings {
public:
    /// @param width, height  of the picture that the properties speak of. 4:2:0 codecs take the next even
    ///                       size, broadcast codecs the raster of their code.
    EncoderSettings(const EncoderRow& row, std::uint32_t width, std::uint32_t height);

    std::vector<CompressionProperty> supportedProperties() const;
    /// @return propertyNotSupportedErr, parameterErr, or noErr.
    Status set(CompressionProperty property, const CompressionPropertyValue& value);
    /// Fills in what was not set from the first picture.
    void adoptDefaults(const PixelBuffer& picture, MediaTime duration);
    void setFrameRate(AVRational rate) { frameRate_ = rate; }

    /// Of the coded picture.
    std::uint32_t width() const { return raster_.width; }
    std::uint32_t height() const { return raster_.height; }
    AVRational frameRate() const { return frameRate_; }
    /// What the coded picture says of its transfer function; nothing when that was not set.
    std::optional<TransferFunction> codedTransferFunction() const;
    bool isInterlaced() const { return wanted_.fieldCount == 2U; }
    bool isTopFieldFirst() const;
    /// Whether the encoder codes fields: H.264 needs rows in fours and more than the Baseline profile for
    /// that, HEVC as it is made here and JPEG only frames. Pictures coded as frames are still described as
    /// interlaced.
    bool codesFields() const;
    /// Where a broadcast codec has the picture in its raster; nothing when the picture fills it.
    std::optional<PicturePlace> placement() const;
    /// Pictures between sync samples.
    int keyFrameInterval() const;
    /// Bits per second; 0 when the encoder chooses.
    std::int64_t bitRate() const;
    bool allowsReordering() const { return reordering_; }
    /// What the code fixes; null for codecs that leave everything to the session.
    const BroadcastCodec* broadcast() const { return row_.broadcast; }
    /// "baseline", "main", "high", or empty when the encoder chooses.
    const std::string& profile() const { return profile_; }
    /// "4.1" and so on, or empty when the encoder chooses.
    const std::string& level() const { return level_; }
    /// "CAVLC", "CABAC", or empty when the encoder chooses.
    const std::string& entropyMode() const { return entropyMode_; }
    /// The encoder's preset; null when it has none.
    const char* preset() const { return preset_; }
    /// What a sample entry says of the coded pictures, without the configuration record.
    const VideoFormat& format() const { return format_; }

private:
    Status setProfileLevel(const std::string& text);
    Status setFrameRateText(const std::string& text);
    Status setSpeed(const std::string& text);

    void describe();
    void describeGeometry();

    const EncoderRow& row_;
    RasterSize given_;    // the size of the session's pictures
    RasterSize raster_;   // of the coded ones
    VideoFormat wanted_;  // as set, for a picture of the given size
    VideoFormat format_;
    AVRational frameRate_{0, 1};
    std::int64_t bitRate_ = 0;
    std::optional<std::int64_t> keyFrameInterval_;
    bool reordering_ = true;
    std::string profile_;
    std::string level_;
    std::string entropyMode_;
    const char* preset_;
};

}  // namespace zenquor::platform::detail
