#include "zenquor/sources/MediaFileSource.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "zenquor/audio/ZQRAudioHelper.h"
#include "zenquor/sources/MemoryFrame.h"
#include "zenquor/sources/detail/FilePass.h"
#include "zenquor/sources/detail/FileTimecode.h"
#include "zenquor/sources/detail/PictureFitter.h"

namespace zenquor {
namespace {

using platform::AssetPtr;
using platform::MediaTime;

detail::FileTracks tracksOf(const platform::Asset& asset, const SourceFormat& format, bool withCaptions) {
    detail::FileTracks tracks;
    const auto videos = asset.tracksWithMediaType(platform::mediaTypeVideo);
    const auto captions = asset.tracksWithMediaType(platform::mediaTypeClosedCaption);
    if (!videos.empty()) tracks.video = videos.front();
    if (withCaptions && !captions.empty()) {
        // Whole packets say more than the pairs inside them.
        const auto found =
            std::find_if(captions.begin(), captions.end(), [](const platform::AssetTrack& track) {
                return track.formatDescription->mediaSubType() == fourCC("c708");
            });
        tracks.captions = found == captions.end() ? captions.front() : *found;
    }
    std::uint32_t channels = 0;
    for (const auto& track : asset.tracksWithMediaType(platform::mediaTypeAudio)) {
        if (channels >= format.audioChannels) break;
        channels += track.formatDescription->audioFormat()->description.channelsPerFrame;
        tracks.audio.push_back(track);
    }
    return tracks;
}

/// Whole frames of the recording in a stretch of the file.
std::uint64_t framesIn(MediaTime length, const SourceFormat& format) {
    const std::int64_t units = length.converted(format.timeScale()).value;
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>((units + format.frameDuration() / 2) / format.frameDuration(), 0));
}

std::uint64_t framesOf(const platform::AssetTrack& track, MediaTime zero, const SourceFormat& format) {
    if (!track.duration.isValid() || track.duration.value <= 0) return 0;
    const MediaTime start = track.start.isValid() ? track.start : zero;
    return framesIn(start + track.duration - zero, format);
}

/// How many frames the container promises; nothing when it does not say.
std::optional<std::uint64_t> framesOf(const detail::FileTracks& tracks, const SourceFormat& format) {
    const MediaTime zero = tracks.zero();
    const std::uint64_t pictures = tracks.video ? framesOf(*tracks.video, zero, format) : 0;
    std::uint64_t sound = 0;
    for (const auto& track : tracks.audio) sound = std::max(sound, framesOf(track, zero, format));
    // Coded sound runs on for a packet; that is no reason to repeat the last picture.
    const std::uint64_t surplus = pictures > 0 ? format.timebase().nominalFramesPerSecond() / 10 + 1 : 0;
    const std::uint64_t frames = sound > pictures + surplus ? sound : pictures;
    return frames > 0 ? std::optional(frames) : std::nullopt;
}

/// The colour description of pictures beyond the ordinary; the others follow from the recording's size.
std::optional<ZQRVPID> vpIDOf(const platform::VideoFormat& format) {
    using platform::ColorPrimaries;
    using platform::TransferFunction;
    const bool isWide = format.colorPrimaries == ColorPrimaries::ITU_R_2020 ||
                        format.colorPrimaries == ColorPrimaries::P3_D65 ||
                        format.colorPrimaries == ColorPrimaries::DCI_P3;
    const bool isHigh = format.transferFunction == TransferFunction::SMPTE_ST_2084_PQ ||
                        format.transferFunction == TransferFunction::ITU_R_2100_HLG;
    if (!isWide && !isHigh) return std::nullopt;
    // The codes count through the tags in their order.
    const auto transfer = format.transferFunction ? static_cast<std::uint32_t>(*format.transferFunction)
                                                  : ZQRVPID::unknownTransferCharacteristics;
    const auto colorimetry = format.colorPrimaries ? static_cast<std::uint32_t>(*format.colorPrimaries)
                                                   : ZQRVPID::unknownColorimetry;
    return ZQRVPID::initWithTransferCharacteristics(transfer, colorimetry, false);
}

}  // namespace

struct MediaFileSource::Implementation {
    Implementation(const SourceFormat& sourceFormat, Options sourceOptions, AssetPtr sourceAsset)
        : format(sourceFormat),
          options(std::move(sourceOptions)),
          asset(std::move(sourceAsset)),
          tracks(tracksOf(*asset, format, options.passCaptions)),
          cadence(ZQRAudioHelper::initWithAudioFormat(format.audioFormat(), format.timebase())),
          fitter(format, options.pictureLimit),
          passFrames(framesOf(tracks, format)) {
        setUpGeometry();
        setUpTimecode();
    }

    void setUpGeometry();
    void setUpTimecode();
    bool startPass();
    bool reachFrame();
    bool hasNextFrame(std::int64_t soundPosition);
    bool takePicture();
    ZQRFramePtr nextFrame();
    ZQRFramePtr makeFrame();

    SourceFormat format;
    Options options;
    AssetPtr asset;
    detail::FileTracks tracks;
    ZQRAudioHelperPtr cadence;
    detail::PictureFitter fitter;
    std::optional<std::uint64_t> passFrames;
    detail::PictureGeometry geometry;
    std::optional<ZQRVPID> vpID;
    ZQCKTimecode start;
    bool hasFileTimecode = false;

    std::unique_ptr<detail::FilePass> pass;
    std::uint64_t index = 0;         // of the next frame, in the recording
    std::uint64_t passIndex = 0;     // and in the present pass
    std::int64_t soundPosition = 0;  // in the present pass
    platform::SampleBufferPtr shownSample;
    platform::PixelBufferPtr shownPicture;
    ZQErrorPtr error;
};

void MediaFileSource::Implementation::setUpGeometry() {
    if (!tracks.video) return;
    const platform::VideoFormat& video = *tracks.video->formatDescription->videoFormat();
    geometry.pixelAspect = video.pixelAspectRatio.value_or(platform::PixelAspectRatio{});
    geometry.interlaced = video.fieldCount.value_or(1) == 2;
    geometry.topFieldFirst = video.fieldDetail != platform::FieldDetail::SpatialFirstLineLate;
    vpID = vpIDOf(video);
}

void MediaFileSource::Implementation::setUpTimecode() {
    const ZQCKTimebase base = format.timebase();
    start = ZQCKTimecode::zeroTimeWithTimebase(base);
    if (const auto& wanted = options.startTimecode) {
        start = ZQCKTimecode::timecodeWithHours(wanted->hours(), wanted->minutes(), wanted->seconds(),
                                                wanted->frames(), base);
    }
    if (!options.useTimecode) return;
    if (const auto found = detail::startTimecodeOfFile(asset, tracks.zero(), base)) {
        start = *found;
        hasFileTimecode = true;
    }
}

bool MediaFileSource::Implementation::startPass() {
    pass = detail::FilePass::start(asset, tracks, format, &error);
    passIndex = 0;
    soundPosition = 0;
    return pass != nullptr;
}

bool MediaFileSource::Implementation::hasNextFrame(std::int64_t position) {
    return !(passFrames && passIndex >= *passFrames) && pass->hasFrame(passIndex, position);
}

/// Stands on a frame that exists, beginning the file again where that is wanted. @return false at the end.
bool MediaFileSource::Implementation::reachFrame() {
    if (options.maximumFrames && index >= *options.maximumFrames) return false;
    if (!pass && !startPass()) return false;
    if (hasNextFrame(soundPosition)) return true;
    error = pass->error();
    // A pass without a frame would be repeated for ever.
    if (error || !options.loop || passIndex == 0) return false;
    return startPass() && hasNextFrame(soundPosition);
}

/// Fits the picture of the frame; one that is shown again is shared. @return false with an error.
bool MediaFileSource::Implementation::takePicture() {
    const auto sample = pass->pictureAt(passIndex);
    if (shownPicture && sample == shownSample) return true;
    shownPicture.reset();
    shownSample = sample;
    if (sample) {
        const auto& picture = sample->imageBuffer();
        geometry.width = picture->width();
        geometry.height = picture->height();
        shownPicture = fitter.fit(picture, geometry, options.pictureWait, &error);
    } else {
        shownPicture = fitter.black(options.pictureWait, &error);
    }
    return shownPicture != nullptr;
}

ZQRFramePtr MediaFileSource::Implementation::makeFrame() {
    MemoryFrame::Contents contents;
    contents.picture = shownPicture;
    contents.frameID = index;
    contents.timecode = start.addingFrames(static_cast<std::int64_t>(index));
    contents.duration = format.frameDuration();
    contents.relativeTime = contents.absoluteTime = static_cast<std::int64_t>(index) * contents.duration;
    contents.vpID = vpID;
    const std::uint32_t samples = cadence->audioFramesForNextVideoFrame();
    if (format.audioChannels > 0) {
        contents.audio = ZQData::filling(std::size_t{samples} * format.audioBytesPerFrame(),
                                         [&](std::span<std::uint8_t> out) {
                                             std::fill(out.begin(), out.end(), std::uint8_t{0});
                                             pass->soundInto(out, soundPosition);
                                         });
        contents.audioBytesPerFrame = format.audioBytesPerFrame();
        contents.audioChannels = format.audioChannels;
    }
    if (tracks.captions) {
        contents.writeCaptions = true;
        contents.packets = pass->captionsAt(passIndex);
    }
    soundPosition += samples;
    ++index;
    ++passIndex;
    const bool isLimit = options.maximumFrames && index >= *options.maximumFrames;
    if (isLimit || (!options.loop && !hasNextFrame(soundPosition))) contents.status = ZQRFrameStatusLast;
    return MemoryFrame::frameWithContents(std::move(contents));
}

ZQRFramePtr MediaFileSource::Implementation::nextFrame() {
    error.reset();
    if (!reachFrame() || !takePicture()) return nullptr;
    return makeFrame();
}

MediaFileSource::MediaFileSource() = default;
MediaFileSource::~MediaFileSource() = default;

std::shared_ptr<MediaFileSource> MediaFileSource::sourceWithURL(const std::filesystem::path& url,
                                                                const SourceFormat& format, Options options,
                                                                ZQErrorPtr* error) {
    const auto refuse = [&](int code, const char* text) {
        fail(error, ZQError::errorWithDomain(frameSourceErrorDomain, code, text));
        return nullptr;
    };
    if (!format.isValid())
        return refuse(frameSourceErrorInvalidFormat, "A file cannot be played in this format.");
    auto asset = platform::Asset::assetWithURL(url, error);
    if (!asset) return nullptr;
    auto inside = std::make_unique<Implementation>(format, std::move(options), std::move(asset));
    if (!inside->tracks.video && inside->tracks.audio.empty()) {
        return refuse(frameSourceErrorNoTracks,
                      "The file has neither pictures nor sound that can be played.");
    }
    if (!inside->startPass()) {
        fail(error, inside->error);
        return nullptr;
    }
    std::shared_ptr<MediaFileSource> source(new MediaFileSource);
    source->implementation_ = std::move(inside);
    return source;
}

ZQRFramePtr MediaFileSource::nextFrame() {
    return implementation_->nextFrame();
}

const SourceFormat& MediaFileSource::format() const {
    return implementation_->format;
}

std::optional<std::uint64_t> MediaFileSource::durationFrames() const {
    const auto& options = implementation_->options;
    if (options.loop) return options.maximumFrames;
    if (!options.maximumFrames || !implementation_->passFrames) return implementation_->passFrames;
    return std::min(*options.maximumFrames, *implementation_->passFrames);
}

ZQCKTimecode MediaFileSource::startTimecode() const {
    return implementation_->start;
}

ZQErrorPtr MediaFileSource::error() const {
    return implementation_->error;
}

bool MediaFileSource::hasVideo() const {
    return implementation_->tracks.video.has_value();
}

bool MediaFileSource::hasAudio() const {
    return !implementation_->tracks.audio.empty();
}

bool MediaFileSource::hasCaptions() const {
    return implementation_->tracks.captions.has_value();
}

bool MediaFileSource::hasFileTimecode() const {
    return implementation_->hasFileTimecode;
}

}  // namespace zenquor
