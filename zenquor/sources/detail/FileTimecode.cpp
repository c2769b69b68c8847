#include "zenquor/sources/detail/FileTimecode.h"

#include <algorithm>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/AssetReader.h"

namespace zenquor::detail {
namespace {

constexpr std::uint32_t dropFrameFlag = 1;

/// The timebase that counts like a timecode track; nothing when none does.
std::optional<ZQCKTimebase> timebaseOfTrack(const platform::TimecodeFormat& format) {
    for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
        const auto base = ZQCKTimebase::timebaseForFramerate(code);
        const bool drops = (format.flags & dropFrameFlag) != 0;
        if (base.nominalFramesPerSecond() == format.frameQuanta && base.dropFrameTimecode() == drops)
            return base;
    }
    return std::nullopt;
}

/// The same label at another number of frames a second.
ZQCKTimecode relabelled(unsigned hours, unsigned minutes, unsigned seconds, unsigned frames,
                        std::uint32_t quanta, ZQCKTimebase timebase) {
    const std::uint32_t nominal = timebase.nominalFramesPerSecond();
    return ZQCKTimecode::timecodeWithHours(hours, minutes, seconds,
                                           quanta > 0 ? frames * nominal / quanta : frames, timebase);
}

std::optional<platform::AssetTrack> timecodeTrack(const platform::Asset& asset) {
    const auto tracks = asset.tracksWithMediaType(platform::mediaTypeTimecode);
    const auto videos = asset.tracksWithMediaType(platform::mediaTypeVideo);
    if (tracks.empty()) return std::nullopt;
    if (videos.empty() || videos.front().timecodeTrackIDs.empty()) return tracks.front();
    const auto& wanted = videos.front().timecodeTrackIDs;
    const auto found = std::find_if(tracks.begin(), tracks.end(), [&](const platform::AssetTrack& track) {
        return std::find(wanted.begin(), wanted.end(), track.trackID) != wanted.end();
    });
    return found == tracks.end() ? tracks.front() : *found;
}

std::optional<ZQCKTimecode> fromTrack(const platform::AssetPtr& asset, const platform::AssetTrack& track,
                                      platform::MediaTime zero, ZQCKTimebase timebase) {
    const auto reader = platform::AssetReader::assetReaderWithAsset(asset);
    const auto output = platform::AssetReaderTrackOutput::undecoded(track);
    if (!reader) return std::nullopt;
    reader->addOutput(output);
    reader->setStartTime(zero);
    if (!reader->startReading()) return std::nullopt;
    const auto sample = output->copyNextSampleBuffer();
    if (!sample || !sample->dataBuffer() || sample->dataBuffer()->dataLength() < 4) return std::nullopt;
    const platform::TimecodeFormat& format = *track.formatDescription->timecodeFormat();
    auto frames = static_cast<std::int64_t>(readBE32(sample->dataBuffer()->data().data()));
    // The sample may have begun before the programme does.
    const auto ahead = zero - sample->presentationTimeStamp();
    if (ahead.isValid() && format.frameDuration.value > 0) {
        const auto units = ahead.converted(format.frameDuration.timescale).value;
        frames += (units + format.frameDuration.value / 2) / format.frameDuration.value;
    }
    const auto base = timebaseOfTrack(format);
    if (base && *base == timebase) return ZQCKTimecode::timecodeWithFrames(frames, timebase);
    if (base) {
        const auto label = ZQCKTimecode::timecodeWithFrames(frames, *base);
        return relabelled(label.hours(), label.minutes(), label.seconds(), label.frames(), format.frameQuanta,
                          timebase);
    }
    if (format.frameQuanta == 0 || frames < 0) return std::nullopt;
    const auto seconds = static_cast<std::uint64_t>(frames) / format.frameQuanta;
    return relabelled(static_cast<unsigned>(seconds / 3600 % 24), static_cast<unsigned>(seconds / 60 % 60),
                      static_cast<unsigned>(seconds % 60), static_cast<unsigned>(frames % format.frameQuanta),
                      format.frameQuanta, timebase);
}

/// Text counts in the frames of the pictures' own rate.
std::optional<ZQCKTimecode> fromText(const platform::Asset& asset, ZQCKTimebase timebase) {
    const std::string& text = asset.metadata()["timecode"].stringValue();
    const auto videos = asset.tracksWithMediaType(platform::mediaTypeVideo);
    ZQCKTimebase base = timebase;
    if (!videos.empty() && videos.front().frameRateDenominator > 0) {
        const double rate =
            static_cast<double>(videos.front().frameRateNumerator) / videos.front().frameRateDenominator;
        for (int code = 0; code < ZQCKTimebase::frameRateCount; ++code) {
            const auto each = ZQCKTimebase::timebaseForFramerate(code);
            if (std::abs(each.realFramesPerSecond() - rate) < 0.005) base = each;
        }
    }
    const auto label = ZQCKTimecode::timecodeWithString(text, base);
    if (!label || base == timebase) return label;
    return relabelled(label->hours(), label->minutes(), label->seconds(), label->frames(),
                      base.nominalFramesPerSecond(), timebase);
}

}  // namespace

std::optional<ZQCKTimecode> startTimecodeOfFile(const platform::AssetPtr& asset, platform::MediaTime zero,
                                                ZQCKTimebase timebase) {
    if (const auto track = timecodeTrack(*asset)) {
        if (const auto timecode = fromTrack(asset, *track, zero, timebase)) return timecode;
    }
    return fromText(*asset, timebase);
}

}  // namespace zenquor::detail
