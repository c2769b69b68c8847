#include "zenquor/platform/FormatDescription.h"

#include <utility>

#include <fmt/format.h>

namespace zenquor::platform {

FormatDescription::FormatDescription(FourCC mediaType, FourCC mediaSubType, Format format)
    : mediaType_(mediaType), mediaSubType_(mediaSubType), format_(std::move(format)) {}

FormatDescriptionPtr FormatDescription::video(FourCC codec, VideoFormat format) {
    return FormatDescriptionPtr(new FormatDescription(mediaTypeVideo, codec, std::move(format)));
}
FormatDescriptionPtr FormatDescription::audio(AudioFormat format) {
    const FourCC codec = format.description.formatID;
    return FormatDescriptionPtr(new FormatDescription(mediaTypeAudio, codec, std::move(format)));
}
FormatDescriptionPtr FormatDescription::timecode(TimecodeFormat format) {
    return FormatDescriptionPtr(new FormatDescription(mediaTypeTimecode, fourCC("tmcd"), std::move(format)));
}
FormatDescriptionPtr FormatDescription::closedCaption(FourCC subType) {
    return FormatDescriptionPtr(new FormatDescription(mediaTypeClosedCaption, subType, std::monostate{}));
}

std::string FormatDescription::description() const {
    std::string text = fourCCString(mediaType_) + "/" + fourCCString(mediaSubType_);
    if (const auto* video = videoFormat()) text += fmt::format(" {}x{}", video->width, video->height);
    if (const auto* audio = audioFormat()) {
        text += fmt::format(" {} Hz, {} channels, {} bit", audio->description.sampleRate,
                            audio->description.channelsPerFrame, audio->description.bitsPerChannel);
    }
    return text;
}

}  // namespace zenquor::platform
