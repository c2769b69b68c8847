#include "zenquor/platform/reader/SoundSampleSource.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

extern "C" {
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

namespace zenquor::platform::detail {
namespace {

constexpr std::uint32_t largestChannelCount = 64;
// The longest frame that a decoder may give; broken packets of some codecs claim hours.
constexpr int largestFrameLength = 1 << 20;
// Samples of all channels that such a frame may become by resampling.
constexpr int largestBlock = 1 << 24;
constexpr std::int64_t largestJumpMilliseconds = 20;

/// The same count of channels without names: channels go by their number, none is mixed into another.
void setPlainLayout(AVChannelLayout& layout, int channels) {
    layout = {};
    layout.order = AV_CHANNEL_ORDER_UNSPEC;
    layout.nb_channels = channels;
}

/// Writes the high bytes of 32-bit samples, @p bytes of each, rounded first when @p rounds.
void writeSamples(const std::int32_t* samples, std::size_t count, std::uint32_t bytes, std::uint32_t bits,
                  bool rounds, std::uint8_t* out) {
    const std::uint32_t cut = 32 - bits;
    const std::int64_t half = rounds && cut > 0 ? std::int64_t{1} << (cut - 1) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto value =
            std::min<std::int64_t>(samples[i] + half, std::numeric_limits<std::int32_t>::max());
        const auto kept = static_cast<std::uint32_t>(value) >> cut << cut >> (32 - bytes * 8);
        std::memcpy(out + i * bytes, &kept, bytes);
    }
}

}  // namespace

SoundSampleSource::SoundSampleSource(std::unique_ptr<Decoder> decoder, AssetTrack track,
                                     const AudioStreamBasicDescription& format, MediaTime start,
                                     MediaTime end)
    : decoder_(std::move(decoder)), track_(std::move(track)), start_(start), end_(end), format_(format) {
    const auto& source = track_.formatDescription->audioFormat()->description;
    channels_ = std::clamp<std::uint32_t>(source.channelsPerFrame, 1, largestChannelCount);
    rate_ = static_cast<std::uint32_t>(format.sampleRate);
    wantsFloat_ = (format.formatFlags & audioFormatFlagIsFloat) != 0;
    const std::uint32_t sampleBytes = format.bytesPerFrame / std::max(format.channelsPerFrame, 1U);
    format_.channelsPerFrame = channels_;
    format_.bytesPerFrame = format_.bytesPerPacket = sampleBytes * channels_;
    AudioFormat audio = *track_.formatDescription->audioFormat();
    audio.description = format_;
    audio.configuration = {};
    description_ = FormatDescription::audio(std::move(audio));
}

SoundSampleSource::~SoundSampleSource() {
    swr_free(&resampler_);
}

bool SoundSampleSource::canMake(const AudioStreamBasicDescription& format) {
    constexpr std::uint32_t refused = audioFormatFlagIsBigEndian | audioFormatFlagIsNonInterleaved;
    if (format.formatID != audioFormatLinearPCM || format.formatFlags & refused ||
        format.channelsPerFrame == 0) {
        return false;
    }
    const std::uint32_t bytes = format.bytesPerFrame / format.channelsPerFrame;
    if (format.bytesPerFrame % format.channelsPerFrame != 0) return false;
    if (format.formatFlags & audioFormatFlagIsFloat) return bytes == 4 && format.bitsPerChannel == 32;
    const bool isKnownDepth =
        format.bitsPerChannel == 16 || format.bitsPerChannel == 24 || format.bitsPerChannel == 32;
    const bool isFilled = bytes * 8 == format.bitsPerChannel;
    const bool isHigh =
        (format.formatFlags & audioFormatFlagIsAlignedHigh) != 0 && bytes * 8 > format.bitsPerChannel;
    return isKnownDepth && bytes <= 4 && (isFilled || isHigh);
}

/// Sets up the conversion for what the decoder gives, which may change on the way.
bool SoundSampleSource::prepare(const AVFrame& frame) {
    if (frame.format == sourceFormat_ && frame.sample_rate == sourceRate_ &&
        frame.ch_layout.nb_channels == sourceChannels_) {
        return resampler_ != nullptr;
    }
    sourceFormat_ = frame.format;
    sourceRate_ = frame.sample_rate;
    sourceChannels_ = frame.ch_layout.nb_channels;
    resampledFrom_ = MediaTime::invalid();
    swr_free(&resampler_);
    AVChannelLayout layout;
    setPlainLayout(layout, sourceChannels_);
    const auto wanted = wantsFloat_ ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_S32;
    const int status =
        swr_alloc_set_opts2(&resampler_, &layout, wanted, static_cast<int>(rate_), &layout,
                            static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    if (status < 0 || swr_init(resampler_) < 0) swr_free(&resampler_);
    return resampler_ != nullptr;
}

/// Brings the block into the track's channel count.
void SoundSampleSource::keepConverted(std::vector<std::int32_t> converted) {
    const auto from = static_cast<std::size_t>(sourceChannels_);
    if (from == channels_) {
        samples_ = std::move(converted);
        return;
    }
    const std::size_t frames = converted.size() / from;
    const std::size_t shared = std::min<std::size_t>(from, channels_);
    samples_.assign(frames * channels_, 0);
    for (std::size_t i = 0; i < frames; ++i) {
        std::copy_n(converted.data() + i * from, shared, samples_.data() + i * channels_);
    }
}

/// Fills samples_ with the frame, or with what the resampler still holds when there is none.
bool SoundSampleSource::convert(const AVFrame* frame) {
    const int given = frame ? frame->nb_samples : 0;
    const int room = swr_get_out_samples(resampler_, given);
    if (room <= 0 || std::int64_t{room} * sourceChannels_ > largestBlock) return false;
    std::vector<std::int32_t> converted(static_cast<std::size_t>(room) *
                                        static_cast<std::size_t>(sourceChannels_));
    auto* out = reinterpret_cast<std::uint8_t*>(converted.data());
    auto** const in = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
    const int count = swr_convert(resampler_, &out, room, in, given);
    if (count <= 0) return false;
    converted.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(sourceChannels_));
    keepConverted(std::move(converted));
    if (sourceRate_ != static_cast<int>(rate_)) {
        time_ = resampledFrom_ + MediaTime{resampledFrames_, static_cast<std::int32_t>(rate_)};
        resampledFrames_ += count;
    }
    return true;
}

/// The end of the sound that the resampler's filter holds back.
bool SoundSampleSource::flush() {
    const bool hasRest = resampler_ && resampledFrom_.isValid() && !isFlushed_;
    isFlushed_ = true;
    return hasRest && convert(nullptr);
}

/// Decodes and converts one frame. @return false at the end.
bool SoundSampleSource::nextBlock() {
    while (const auto frame = decoder_->next()) {
        const int channels = frame->ch_layout.nb_channels;
        const bool isSane = frame->nb_samples > 0 && frame->nb_samples <= largestFrameLength &&
                            channels > 0 && static_cast<std::uint32_t>(channels) <= largestChannelCount &&
                            frame->sample_rate > 0;
        if (!isSane || !prepare(*frame)) continue;
        const AVRational base = decoder_->stream().time_base;
        const std::int64_t expected = nextUnits_;
        const std::int64_t units = decoder_->presentationUnits(*frame, expected);
        nextUnits_ = units + av_rescale_q(frame->nb_samples, {1, frame->sample_rate}, base);
        time_ = decoder_->mediaTime(units);
        // A resampler's output is counted on from where it began until the file jumps.
        const bool jumps =
            std::abs(av_rescale_q(units - expected, base, {1, 1000})) > largestJumpMilliseconds;
        if (!resampledFrom_.isValid() || jumps) {
            resampledFrom_ = time_;
            resampledFrames_ = 0;
        }
        if (convert(frame.get())) return true;
    }
    return flush();
}

/// How many of the block's samples are over before @p limit.
std::size_t SoundSampleSource::framesBefore(MediaTime limit) const {
    const std::size_t count = samples_.size() / channels_;
    if (!limit.isValid() || !time_.isValid() || time_ >= limit) return 0;
    const MediaTime rest = limit - time_;
    std::int64_t whole = rest.converted(static_cast<std::int32_t>(rate_)).value;
    // Rounding may have gone past the limit.
    if (MediaTime{whole, static_cast<std::int32_t>(rate_)} > rest) --whole;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(whole, 0, static_cast<std::int64_t>(count)));
}

SampleBufferPtr SoundSampleSource::sampleBuffer(std::size_t firstFrame, std::size_t frames) {
    const std::uint32_t sampleBytes = format_.bytesPerFrame / channels_;
    const bool isFloatSource = sourceFormat_ == AV_SAMPLE_FMT_FLT || sourceFormat_ == AV_SAMPLE_FMT_FLTP ||
                               sourceFormat_ == AV_SAMPLE_FMT_DBL || sourceFormat_ == AV_SAMPLE_FMT_DBLP;
    const auto bytes = ZQData::filling(frames * format_.bytesPerFrame, [&](std::span<std::uint8_t> out) {
        const std::int32_t* const from = samples_.data() + firstFrame * channels_;
        writeSamples(from, frames * channels_, sampleBytes, wantsFloat_ ? 32 : format_.bitsPerChannel,
                     isFloatSource && !wantsFloat_, out.data());
    });
    const auto rate = static_cast<std::int32_t>(rate_);
    MediaTime time = time_;
    if (firstFrame > 0) time = time + MediaTime{static_cast<std::int64_t>(firstFrame), rate};
    BlockBufferPtr block;
    SampleBufferPtr sample;
    if (BlockBuffer::createWithLength(bytes.size(), block) != noErr) return nullptr;
    block->replaceDataBytes(bytes, 0);
    SampleBuffer::create(block, description_, frames, {{1, rate}, time, MediaTime::invalid()},
                         format_.bytesPerFrame, {}, sample);
    return sample;
}

SampleBufferPtr SoundSampleSource::next() {
    while (nextBlock()) {
        const std::size_t skipped = framesBefore(start_);
        const std::size_t kept = end_.isValid() ? framesBefore(end_) : samples_.size() / channels_;
        if (skipped >= kept) continue;
        if (auto sample = sampleBuffer(skipped, kept - skipped)) return sample;
    }
    return nullptr;
}

}  // namespace zenquor::platform::detail
