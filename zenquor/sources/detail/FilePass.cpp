#include "zenquor/sources/detail/FilePass.h"

#include <utility>

#include "zenquor/vanc/ZQRCaptionSampleParser.h"

namespace zenquor::detail {

using platform::MediaTime;

MediaTime FileTracks::zero() const {
    if (video) return video->start.isValid() ? video->start : MediaTime::zero();
    MediaTime earliest;
    for (const auto& track : audio) {
        if (track.start.isValid() && (!earliest.isValid() || track.start < earliest)) earliest = track.start;
    }
    return earliest.isValid() ? earliest : MediaTime::zero();
}

FilePass::FilePass(const FileTracks& tracks, const SourceFormat& format)
    : format_(format), zero_(tracks.zero()) {}

std::unique_ptr<FilePass> FilePass::start(const platform::AssetPtr& asset, const FileTracks& tracks,
                                          const SourceFormat& format, ZQErrorPtr* error) {
    std::unique_ptr<FilePass> pass(new FilePass(tracks, format));
    pass->reader_ = platform::AssetReader::assetReaderWithAsset(asset, error);
    if (!pass->reader_) return nullptr;
    pass->addOutputs(tracks);
    if (pass->reader_->startReading()) return pass;
    fail(error, pass->reader_->error());
    return nullptr;
}

void FilePass::addOutputs(const FileTracks& tracks) {
    using platform::AssetReaderTrackOutput;
    if (tracks.video) {
        pictures_ = AssetReaderTrackOutput::forVideo(*tracks.video, format_.pixelFormat);
        reader_->addOutput(pictures_);
    }
    for (const auto& track : tracks.audio) {
        auto output = AssetReaderTrackOutput::forAudio(track, format_.audioFormat());
        output->setSampleRate(SourceFormat::audioSampleRate);
        reader_->addOutput(output);
        const std::uint32_t channels = track.formatDescription->audioFormat()->description.channelsPerFrame;
        sounds_.emplace_back(std::move(output), channels, format_.audioBits == 16 ? 2 : 4, zero_);
    }
    if (tracks.captions) {
        captions_ = AssetReaderTrackOutput::undecoded(*tracks.captions);
        reader_->addOutput(captions_);
    }
}

bool FilePass::hasBegunAt(MediaTime time, std::uint64_t frame) const {
    // A quarter of a frame covers every container's rounding and changes no exact choice.
    const MediaTime limit{(static_cast<std::int64_t>(frame) * 4 + 1) * format_.frameDuration(),
                          format_.timeScale() * 4};
    return time - zero_ <= limit;
}

platform::SampleBufferPtr FilePass::pictureAt(std::uint64_t frame) {
    while (pictures_) {
        if (!nextPicture_) nextPicture_ = pictures_->copyNextSampleBuffer();
        if (!nextPicture_) break;
        if (picture_ && !hasBegunAt(nextPicture_->presentationTimeStamp(), frame)) break;
        picture_ = std::move(nextPicture_);
    }
    return picture_;
}

bool FilePass::hasPictureAt(std::uint64_t frame) {
    const auto picture = pictureAt(frame);
    if (!picture) return false;
    // The last picture stays for as long as it says, and at least for one frame.
    const MediaTime end = picture->presentationTimeStamp() + picture->sampleDuration();
    return nextPicture_ || frame == 0 || !hasBegunAt(end, frame);
}

bool FilePass::hasFrame(std::uint64_t frame, std::int64_t soundPosition) {
    if (hasPictureAt(frame)) return true;
    for (auto& sound : sounds_) {
        if (sound.hasSoundFrom(soundPosition)) return true;
    }
    return false;
}

void FilePass::soundInto(std::span<std::uint8_t> out, std::int64_t position) {
    std::uint32_t firstChannel = 0;
    for (auto& sound : sounds_) {
        sound.mixInto(out, position, format_.audioChannels, firstChannel);
        firstChannel += sound.channels();
    }
}

ZQRVANCPacketList FilePass::captionsAt(std::uint64_t frame) {
    ZQRVANCPacketList packets;
    const auto take = [&](std::uint64_t index) {
        const ZQData& bytes = caption_->dataBuffer()->data();
        auto packet = ZQRCaptionSampleParser::packetFromSampleData(bytes, static_cast<std::size_t>(index));
        if (packet) packets.push_back(std::move(packet));
    };
    bool hasBegun = false;
    while (captions_) {
        if (!nextCaption_) nextCaption_ = captions_->copyNextSampleBuffer();
        if (!nextCaption_ || !hasBegunAt(nextCaption_->presentationTimeStamp(), frame)) break;
        caption_ = std::move(nextCaption_);
        captionFrame_ = frame;
        hasBegun = true;
        take(0);
    }
    // A sample may hold the packets of several frames.
    if (!hasBegun && caption_) {
        const auto end = caption_->presentationTimeStamp() + caption_->sampleDuration();
        if (!hasBegunAt(end, frame)) take(frame - captionFrame_);
    }
    return packets;
}

}  // namespace zenquor::detail
