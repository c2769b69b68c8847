#include "zenquor/platform/AssetReaderTrackOutput.h"

#include <exception>
#include <utility>

#include "zenquor/platform/reader/MovieSampleSource.h"
#include "zenquor/platform/reader/PacketSampleSource.h"
#include "zenquor/platform/reader/PictureSampleSource.h"
#include "zenquor/platform/reader/SoundSampleSource.h"
#include "zenquor/platform/reader/TrackOutput.h"

namespace zenquor::platform {
namespace {

bool failWith(ZQErrorPtr* error, int code, std::string text) {
    return fail(error, ZQError::errorWithDomain(assetErrorDomain, code, std::move(text)));
}

}  // namespace

AssetReaderTrackOutput::AssetReaderTrackOutput() : implementation_(std::make_unique<Implementation>()) {}
AssetReaderTrackOutput::~AssetReaderTrackOutput() = default;

AssetReaderTrackOutputPtr AssetReaderTrackOutput::forVideo(const AssetTrack& track, FourCC pixelFormat) {
    auto output = undecoded(track);
    output->implementation_->kind = Implementation::Kind::Pictures;
    output->implementation_->pixelFormat = pixelFormat;
    return output;
}

AssetReaderTrackOutputPtr AssetReaderTrackOutput::forAudio(const AssetTrack& track,
                                                           const AudioStreamBasicDescription& format) {
    auto output = undecoded(track);
    output->implementation_->kind = Implementation::Kind::Sound;
    output->implementation_->audioFormat = format;
    return output;
}

AssetReaderTrackOutputPtr AssetReaderTrackOutput::undecoded(const AssetTrack& track) {
    AssetReaderTrackOutputPtr output(new AssetReaderTrackOutput);
    output->implementation_->track = track;
    return output;
}

void AssetReaderTrackOutput::setSampleRate(std::uint32_t sampleRateHz) {
    implementation_->sampleRate = sampleRateHz;
}

const AssetTrack& AssetReaderTrackOutput::track() const {
    return implementation_->track;
}

SampleBufferPtr AssetReaderTrackOutput::copyNextSampleBuffer() {
    try {
        return implementation_->next();
    } catch (const std::exception& reason) {
        implementation_->state->fail(
            ZQError::errorWithDomain(assetErrorDomain, assetErrorDecodeFailed, reason.what()));
        return nullptr;
    }
}

bool AssetReaderTrackOutput::Implementation::readsTables(const detail::Container& container) const {
    if (kind != Kind::Undecoded || !container.tables()) return false;
    const auto* const tables = container.tables()->track(track.trackID);
    return tables && tables->isSelfContained &&
           (track.mediaType == mediaTypeTimecode || track.mediaType == mediaTypeClosedCaption);
}

bool AssetReaderTrackOutput::Implementation::preparePictures(
    const std::shared_ptr<detail::PacketReader>& packets, MediaTime start, ZQErrorPtr* error) {
    if (track.mediaType != mediaTypeVideo)
        return failWith(error, assetErrorDecodeFailed, "The track has no pictures.");
    if (pixelFormat != pixelFormat2vuy && pixelFormat != pixelFormatV210 &&
        pixelFormat != pixelFormat32ARGB) {
        return failWith(error, assetErrorDecodeFailed, "Pictures are not made in this pixel format.");
    }
    auto decoder = detail::Decoder::open(packets, static_cast<int>(track.index), error);
    if (decoder) {
        source = std::make_unique<detail::PictureSampleSource>(std::move(decoder), track, pixelFormat, start);
    }
    return source != nullptr;
}

bool AssetReaderTrackOutput::Implementation::prepareSound(
    const std::shared_ptr<detail::PacketReader>& packets, MediaTime start, ZQErrorPtr* error) {
    const bool hasRate = track.mediaType == mediaTypeAudio &&
                         track.formatDescription->audioFormat()->description.sampleRate >= 1;
    if (!hasRate) return failWith(error, assetErrorDecodeFailed, "The track has no sound.");
    const double ownRate = track.formatDescription->audioFormat()->description.sampleRate;
    audioFormat.sampleRate = sampleRate > 0 ? sampleRate : ownRate;
    if (!detail::SoundSampleSource::canMake(audioFormat)) {
        return failWith(error, assetErrorDecodeFailed, "Sound is not made in this format.");
    }
    // Coded sound fills its last packet beyond what a movie's edit shows.
    const auto& tables = packets->container().tables();
    const bool hasEnd = tables && !tables->isFragmented && track.start.isValid() && track.duration.isValid();
    const MediaTime end = hasEnd ? track.start + track.duration : MediaTime::invalid();
    auto decoder = detail::Decoder::open(packets, static_cast<int>(track.index), error);
    if (decoder) {
        source =
            std::make_unique<detail::SoundSampleSource>(std::move(decoder), track, audioFormat, start, end);
    }
    return source != nullptr;
}

bool AssetReaderTrackOutput::Implementation::prepare(const std::shared_ptr<detail::PacketReader>& packets,
                                                     MediaTime start, ZQErrorPtr* error) {
    const detail::Container& container = packets->container();
    if (kind == Kind::Pictures) return preparePictures(packets, start, error);
    if (kind == Kind::Sound) return prepareSound(packets, start, error);
    if (readsTables(container)) {
        source = std::make_unique<detail::MovieSampleSource>(container.file(), container.tables(),
                                                             track.trackID, track.formatDescription, start);
    } else {
        source = std::make_unique<detail::PacketSampleSource>(packets, track, start);
    }
    return true;
}

void AssetReaderTrackOutput::Implementation::finish() {
    if (auto reason = source->error()) state->fail(std::move(reason));
    source.reset();
    state->finishOutput();
}

SampleBufferPtr AssetReaderTrackOutput::Implementation::next() {
    if (!source || state->status.load() != AssetReaderStatus::Reading) return nullptr;
    auto sample = source->next();
    if (!sample) finish();
    return sample;
}

}  // namespace zenquor::platform
