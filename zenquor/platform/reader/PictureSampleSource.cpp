#include "zenquor/platform/reader/PictureSampleSource.h"

#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

namespace zenquor::platform::detail {

PictureSampleSource::PictureSampleSource(std::unique_ptr<Decoder> decoder, AssetTrack track,
                                         FourCC pixelFormat, MediaTime start)
    : decoder_(std::move(decoder)), track_(std::move(track)), start_(start), converter_(pixelFormat) {
    // An MXF file has one picture in each edit unit; where pictures are reordered, libavformat takes the
    // display times from an index that writers often get wrong.
    countsPictures_ = decoder_->isMXF() && decoder_->stream().codecpar->video_delay > 0;
}

std::int64_t PictureSampleSource::durationOf(const AVFrame& frame) {
    constexpr std::int64_t longest = std::int64_t{1} << 40;
    if (frame.pkt_duration > 0 && frame.pkt_duration < longest) return frame.pkt_duration;
    const AVRational rate{static_cast<int>(track_.frameRateNumerator),
                          static_cast<int>(track_.frameRateDenominator)};
    return rate.num > 0 ? av_rescale_q(1, av_inv_q(rate), decoder_->stream().time_base) : 1;
}

/// The next frame with its time in pts, counted on from the frame before where the file says nothing.
Libav<AVFrame> PictureSampleSource::nextTimedFrame() {
    if (ahead_) return std::move(ahead_);
    auto frame = decoder_->next();
    if (!frame) return nullptr;
    const bool counts = countsPictures_ && hasFrame_;
    frame->pts = counts ? nextUnits_ : decoder_->presentationUnits(*frame, nextUnits_);
    hasFrame_ = true;
    nextUnits_ = frame->pts + durationOf(*frame);
    return frame;
}

MediaTime PictureSampleSource::timeOf(const AVFrame& frame) {
    return decoder_->mediaTime(frame.pts);
}

/// The last frame that begins at or before the start; the very first when all come later.
Libav<AVFrame> PictureSampleSource::firstFrame() {
    auto shown = nextTimedFrame();
    if (!start_.isValid()) return shown;
    while (shown && timeOf(*shown) < start_) {
        auto following = nextTimedFrame();
        if (following && timeOf(*following) <= start_) {
            shown = std::move(following);
            continue;
        }
        ahead_ = std::move(following);
        break;
    }
    return shown;
}

SampleBufferPtr PictureSampleSource::sampleBuffer(const AVFrame& frame) {
    auto picture = converter_.convert(frame);
    if (!picture) return nullptr;
    const auto* const format = track_.formatDescription->videoFormat();
    auto tags = picture->attachments();
    if (!tags.pixelAspectRatio) tags.pixelAspectRatio = format->pixelAspectRatio;
    if (!tags.colorPrimaries) tags.colorPrimaries = format->colorPrimaries;
    if (!tags.transferFunction) tags.transferFunction = format->transferFunction;
    if (!tags.yCbCrMatrix) tags.yCbCrMatrix = format->yCbCrMatrix;
    picture->setAttachments(tags);
    SampleBufferPtr sample;
    const SampleTiming timing{decoder_->mediaTime(durationOf(frame)), timeOf(frame), MediaTime::invalid()};
    SampleBuffer::createForImageBuffer(picture, track_.formatDescription, timing, sample);
    return sample;
}

SampleBufferPtr PictureSampleSource::next() {
    while (true) {
        const auto frame = hasBegun_ ? nextTimedFrame() : firstFrame();
        hasBegun_ = true;
        if (!frame) return nullptr;
        if (auto sample = sampleBuffer(*frame)) return sample;
        failedToConvert_ = true;
    }
}

ZQErrorPtr PictureSampleSource::error() const {
    if (auto reason = decoder_->error()) return reason;
    if (!failedToConvert_) return nullptr;
    return ZQError::errorWithDomain(assetErrorDomain, assetErrorDecodeFailed,
                                    "Some pictures have a format that cannot be converted.");
}

}  // namespace zenquor::platform::detail
