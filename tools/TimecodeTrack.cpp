#include "TimecodeTrack.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/core/ByteOrder.h"
#include "zenquor/platform/AssetReader.h"

namespace zenquor::tools {
namespace {

constexpr std::uint32_t dropFrameFlag = 1;

/// Tracks that count 30 or 60 labels without dropping any are counted as such, whatever their real rate.
ZQCKTimebase timebaseOf(const platform::TimecodeFormat& format) {
    const bool drops = (format.flags & dropFrameFlag) != 0;
    const bool slow = format.frameDuration.value % 1001 == 0;
    switch (format.frameQuanta) {
        case 24:
            return ZQCKTimebase::timebaseForFramerate(slow ? 0 : 1);
        case 30:
            return ZQCKTimebase::timebaseForFramerate(drops ? 3 : 4);
        case 50:
            return ZQCKTimebase::timebaseForFramerate(5);
        case 60:
            return ZQCKTimebase::timebaseForFramerate(drops ? 6 : 7);
        default:
            return ZQCKTimebase::timebaseForFramerate(2);
    }
}

std::int64_t framesIn(platform::MediaTime time, platform::MediaTime frame) {
    if (!time.isValid() || !frame.isValid() || frame.value <= 0) return 0;
    const auto product = static_cast<platform::WideProduct>(time.value) * frame.timescale;
    const auto unit = static_cast<platform::WideProduct>(frame.value) * time.timescale;
    return static_cast<std::int64_t>((product + unit / 2) / unit);
}

}  // namespace

std::optional<TimecodeTrack> TimecodeTrack::ofAsset(const platform::AssetPtr& asset) {
    const auto tracks = asset->tracksWithMediaType(platform::mediaTypeTimecode);
    if (tracks.empty() || !tracks[0].formatDescription) return std::nullopt;
    const auto* const format = tracks[0].formatDescription->timecodeFormat();
    const auto reader = platform::AssetReader::assetReaderWithAsset(asset);
    if (!format || !reader) return std::nullopt;
    TimecodeTrack result;
    result.timebase_ = timebaseOf(*format);
    result.frameDuration_ = format->frameDuration;
    result.reel_ = format->sourceReferenceName;
    const auto output = platform::AssetReaderTrackOutput::undecoded(tracks[0]);
    reader->addOutput(output);
    if (!reader->startReading()) return std::nullopt;
    while (const auto sample = output->copyNextSampleBuffer()) {
        if (!sample->dataBuffer() || sample->dataBuffer()->dataLength() < 4) continue;
        if (!result.start_.isValid()) result.start_ = sample->presentationTimeStamp();
        const auto timecode =
            ZQCKTimecode::timecodeWithFrames(readBE32(sample->dataBuffer()->data().data()), result.timebase_);
        const auto start = framesIn(sample->presentationTimeStamp() - result.start_, result.frameDuration_);
        const auto frames = std::max<std::int64_t>(1, framesIn(sample->duration(), result.frameDuration_));
        auto& runs = result.runs_;
        if (!runs.empty() && runs.back().first.addingFrames(runs.back().frames) == timecode) {
            runs.back().frames += frames;
        } else {
            runs.push_back({start, frames, timecode});
        }
    }
    return result.runs_.empty() ? std::nullopt : std::optional(std::move(result));
}

std::int64_t TimecodeTrack::frameCount() const {
    return runs_.back().startFrame + runs_.back().frames;
}

std::int64_t TimecodeTrack::frameAt(platform::MediaTime time) const {
    return framesIn(time - start_, frameDuration_);
}

std::optional<ZQCKTimecode> TimecodeTrack::timecodeAt(platform::MediaTime time) const {
    const std::int64_t frame = frameAt(time);
    const auto behind = std::ranges::upper_bound(runs_, frame, {}, &Run::startFrame);
    if (behind == runs_.begin()) return std::nullopt;
    const Run& run = *std::prev(behind);
    if (frame >= run.startFrame + run.frames) return std::nullopt;
    return run.first.addingFrames(frame - run.startFrame);
}

std::vector<std::string> TimecodeTrack::breaks() const {
    std::vector<std::string> sentences;
    for (std::size_t i = 1; i < runs_.size(); ++i) {
        const auto& before = runs_[i - 1];
        sentences.push_back(fmt::format("The timecode jumps at frame {} from {} to {}.", runs_[i].startFrame,
                                        before.first.addingFrames(before.frames - 1), runs_[i].first));
    }
    return sentences;
}

}  // namespace zenquor::tools
