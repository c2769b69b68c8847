#include "zenquor/platform/reader/StreamDescription.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavformat/avformat.h>
}

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/reader/LibavTags.h"

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t layoutTagMono = 0x00640001;
constexpr std::uint32_t layoutTagStereo = 0x00650002;
constexpr std::uint32_t layoutTagSurround51 = 0x00790006;  // L R C LFE Ls Rs, libav's own order
constexpr std::uint32_t layoutTagDiscrete = 0x00930000;

bool isMovie(const AVFormatContext& container) {
    return std::strstr(container.iformat->name, "mov") != nullptr;
}

std::string text(const AVDictionary* dictionary, const char* key) {
    const auto* const entry = av_dict_get(dictionary, key, nullptr, 0);
    return entry ? entry->value : std::string();
}

/// A number of libav time units in a scale that a MediaTime can have.
MediaTime mediaTime(std::int64_t units, AVRational timeBase) {
    if (units == AV_NOPTS_VALUE || timeBase.num <= 0 || timeBase.den <= 0) return MediaTime::invalid();
    constexpr std::int64_t largest = std::int64_t{1} << 62;
    if (units > largest / timeBase.num || units < -largest / timeBase.num) return MediaTime::invalid();
    return {units * timeBase.num, timeBase.den};
}

void describeFields(const AVCodecParameters& parameters, bool movie, VideoFormat& format) {
    // Movies say with 9 and 14, which libav reads as swapped orders, which of two interleaved fields is shown
    // first.
    const auto topFirst = [&](AVFieldOrder order) {
        return order == AV_FIELD_TT || order == (movie ? AV_FIELD_TB : AV_FIELD_BT);
    };
    switch (parameters.field_order) {
        case AV_FIELD_PROGRESSIVE:
            format.fieldCount = 1;
            break;
        case AV_FIELD_TT:
        case AV_FIELD_BB:
        case AV_FIELD_TB:
        case AV_FIELD_BT:
            format.fieldCount = 2;
            format.fieldDetail = topFirst(parameters.field_order) ? FieldDetail::SpatialFirstLineEarly
                                                                  : FieldDetail::SpatialFirstLineLate;
            break;
        default:
            break;
    }
}

FormatDescriptionPtr videoDescription(AVFormatContext& container, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    VideoFormat format;
    format.width = static_cast<std::uint32_t>(std::max(parameters.width, 0));
    format.height = static_cast<std::uint32_t>(std::max(parameters.height, 0));
    const AVRational aspect =
        av_guess_sample_aspect_ratio(&container, const_cast<AVStream*>(&stream), nullptr);
    if (aspect.num > 0 && aspect.den > 0) {
        format.pixelAspectRatio =
            PixelAspectRatio{static_cast<std::uint32_t>(aspect.num), static_cast<std::uint32_t>(aspect.den)};
    }
    format.colorPrimaries = colorPrimariesFromLibav(parameters.color_primaries);
    format.transferFunction = transferFunctionFromLibav(parameters.color_trc);
    format.yCbCrMatrix = yCbCrMatrixFromLibav(parameters.color_space);
    const bool movie = isMovie(container);
    describeFields(parameters, movie, format);
    const auto* const pixels = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
    if (pixels && pixels->flags & AV_PIX_FMT_FLAG_ALPHA) format.depth = 32;
    const bool hasRecord = parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC;
    if (movie && hasRecord && parameters.extradata_size > 0) {
        format.configuration =
            ZQData::copying({parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)});
    }
    const bool hasEntryCode = movie && parameters.codec_tag != 0;
    return FormatDescription::video(
        hasEntryCode ? __builtin_bswap32(parameters.codec_tag) : codecCode(parameters), std::move(format));
}

/// The layout tag of a 'chan' box inside a sound sample entry; 0 without one.
std::uint32_t channelLayoutTag(const ZQData& entry) {
    if (entry.size() < 36) return 0;
    constexpr std::size_t sizes[] = {36, 52, 72};
    const std::uint16_t version = readBE16(entry.data() + 16);
    std::size_t at = version < 3 ? sizes[version] : entry.size();
    while (at <= entry.size() && entry.size() - at >= 16) {
        const std::size_t size = readBE32(entry.data() + at);
        if (readBE32(entry.data() + at + 4) == fourCC("chan")) return readBE32(entry.data() + at + 12);
        if (size < 8 || size > entry.size() - at) return 0;
        at += size;
    }
    return 0;
}

std::uint32_t layoutTagForChannels(std::uint32_t channels) {
    switch (channels) {
        case 1:
            return layoutTagMono;
        case 2:
            return layoutTagStereo;
        case 6:
            return layoutTagSurround51;
        default:
            return layoutTagDiscrete | channels;
    }
}

FormatDescriptionPtr audioDescription(const AVCodecParameters& parameters, const MovieTrackTables* tables) {
    AudioFormat format;
    auto& description = format.description;
    const auto channels = static_cast<std::uint32_t>(std::max(parameters.ch_layout.nb_channels, 0));
    description.sampleRate = parameters.sample_rate;
    description.channelsPerFrame = channels;
    const int codedBits = av_get_exact_bits_per_sample(parameters.codec_id);
    if (codedBits > 0) {
        const bool isFloat = parameters.format == AV_SAMPLE_FMT_FLT || parameters.format == AV_SAMPLE_FMT_DBL;
        const bool isUnsigned = parameters.codec_id == AV_CODEC_ID_PCM_U8;
        description.formatID = audioFormatLinearPCM;
        description.bitsPerChannel = static_cast<std::uint32_t>(codedBits);
        description.bytesPerFrame = description.bytesPerPacket =
            channels * ((description.bitsPerChannel + 7) / 8);
        description.framesPerPacket = 1;
        description.formatFlags = audioFormatFlagIsPacked;
        if (isFloat) description.formatFlags |= audioFormatFlagIsFloat;
        if (!isFloat && !isUnsigned) description.formatFlags |= audioFormatFlagIsSignedInteger;
    } else {
        description.formatID = codecCode(parameters);
        description.framesPerPacket = static_cast<std::uint32_t>(std::max(parameters.frame_size, 0));
        if (parameters.extradata_size > 0) {
            format.configuration =
                ZQData::copying({parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)});
        }
    }
    if (tables) format.channelLayoutTag = channelLayoutTag(tables->sampleEntry);
    if (format.channelLayoutTag == 0 && channels > 0)
        format.channelLayoutTag = layoutTagForChannels(channels);
    return FormatDescription::audio(std::move(format));
}

/// Media type and description of a stream that is handed out as it lies in the file; 0 and null for others.
void describeRawTrack(const MovieTrackTables* tables, AssetTrack& track) {
    const FourCC entry = tables ? tables->sampleEntryType() : 0;
    if (tables && tables->handler == fourCC("tmcd")) {
        track.formatDescription = timecodeDescription(tables->sampleEntry);
        if (track.formatDescription) track.mediaType = mediaTypeTimecode;
    } else if (entry == fourCC("c608") || entry == fourCC("c708")) {
        track.mediaType = mediaTypeClosedCaption;
        track.formatDescription = FormatDescription::closedCaption(entry);
    }
}

}  // namespace

FormatDescriptionPtr timecodeDescription(const ZQData& sampleEntry) {
    constexpr std::size_t fixedSize = 34;
    if (sampleEntry.size() < fixedSize) return nullptr;
    const std::uint8_t* const entry = sampleEntry.data();
    TimecodeFormat format;
    format.flags = readBE32(entry + 20);
    const auto timeScale = static_cast<std::int32_t>(readBE32(entry + 24));
    format.frameDuration = {static_cast<std::int32_t>(readBE32(entry + 28)), timeScale};
    format.frameQuanta = entry[32];
    const ZQData rest = sampleEntry.slice(fixedSize, sampleEntry.size());
    if (rest.size() >= 12 && readBE32(rest.data() + 4) == fourCC("name")) {
        format.languageCode = readBE16(rest.data() + 10);
        const ZQData name = rest.slice(12, readBE16(rest.data() + 8));
        format.sourceReferenceName.assign(name.begin(), name.end());
    }
    return timeScale > 0 ? FormatDescription::timecode(std::move(format)) : nullptr;
}

AssetTrack describeStream(AVFormatContext& container, const AVStream& stream, std::int64_t origin,
                          const MovieTables* tables) {
    const AVCodecParameters& parameters = *stream.codecpar;
    const bool hasIDs = (container.iformat->flags & AVFMT_SHOW_IDS) != 0;
    AssetTrack track;
    track.index = static_cast<std::size_t>(stream.index);
    track.trackID =
        hasIDs ? static_cast<std::uint32_t>(stream.id) : static_cast<std::uint32_t>(stream.index) + 1;
    const MovieTrackTables* const own = tables ? tables->track(track.trackID) : nullptr;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO && !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC)) {
        track.mediaType = mediaTypeVideo;
        track.formatDescription = videoDescription(container, stream);
        const AVRational rate = av_guess_frame_rate(&container, const_cast<AVStream*>(&stream), nullptr);
        if (rate.num > 0 && rate.den > 0) {
            track.frameRateNumerator = static_cast<std::uint32_t>(rate.num);
            track.frameRateDenominator = static_cast<std::uint32_t>(rate.den);
        }
    } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        track.mediaType = mediaTypeAudio;
        track.formatDescription = audioDescription(parameters, own);
    } else {
        describeRawTrack(own, track);
    }
    track.naturalTimeScale = stream.time_base.den;
    if (stream.start_time != AV_NOPTS_VALUE)
        track.start = mediaTime(stream.start_time - origin, stream.time_base);
    track.duration = mediaTime(stream.duration, stream.time_base);
    track.sampleCount = stream.nb_frames;
    if (own && (track.mediaType == mediaTypeTimecode || track.mediaType == mediaTypeClosedCaption)) {
        track.sampleCount = static_cast<std::int64_t>(own->sampleCount());
    }
    track.codecName = avcodec_get_name(parameters.codec_id);
    track.languageCode = text(stream.metadata, "language");
    if (track.languageCode == "und") track.languageCode.clear();
    if (own) track.timecodeTrackIDs = own->timecodeTrackIDs;
    return track;
}

}  // namespace zenquor::platform::detail
