#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/codec/AACEncoder.h"
#include "zenquor/platform/quicktime/InputEncoder.h"

namespace zenquor::platform::quicktime {
namespace {

/// PCM in, AAC packets out. Packets follow each other without gaps from the first frame's time, less the
/// priming.
class SoundEncoder final : public InputEncoder {
public:
    SoundEncoder(std::unique_ptr<detail::AACEncoder> encoder, std::int32_t timescale)
        : encoder_(std::move(encoder)), timescale_(timescale) {}

    void setSink(Sink sink) override { sink_ = std::move(sink); }
    FormatDescriptionPtr format() const override { return encoder_->format(); }

    bool encode(const SampleBuffer& sample, std::string& problem) override {
        const AudioFormat* audio =
            sample.formatDescription() ? sample.formatDescription()->audioFormat() : nullptr;
        if (!audio || !sample.dataBuffer()) {
            problem = "the samples are no sound";
            return false;
        }
        begin(sample.presentationTimeStamp());
        const ZQData& bytes = sample.dataBuffer()->data();
        const Status status =
            encoder_->encode(bytes, audio->description, [this](auto packet) { deliver(packet); });
        if (status != noErr)
            problem = fmt::format("the AAC encoder refused the samples with status {}", status);
        heard_->to += static_cast<std::int64_t>(sample.numSamples());
        return status == noErr;
    }

    bool finish(std::string& problem) override {
        if (!heard_) return true;
        const Status status = encoder_->finish([this](auto packet) { deliverLast(packet); });
        if (status != noErr) problem = fmt::format("the AAC encoder could not finish, status {}", status);
        return status == noErr;
    }

    std::optional<Heard> heard() const override { return heard_; }

private:
    void begin(MediaTime time) {
        if (heard_) return;
        const std::int64_t start = time.converted(timescale_).value;
        heard_ = Heard{start, start};
        next_ = start - encoder_->primingFrames();
    }

    void deliver(std::span<const std::uint8_t> packet) {
        deliver(packet, detail::AACEncoder::framesPerPacket);
    }

    /// The padding behind the last sound counts for nothing, so that the track ends with the sound.
    void deliverLast(std::span<const std::uint8_t> packet) {
        const std::int64_t left = heard_->to - next_;
        if (left > 0) deliver(packet, std::min<std::int64_t>(left, detail::AACEncoder::framesPerPacket));
    }

    void deliver(std::span<const std::uint8_t> packet, std::int64_t frames) {
        const MediaTime time{next_, timescale_};
        next_ += frames;
        sink_({packet, {time, time, {frames, timescale_}}, false, false, format()});
    }

    std::unique_ptr<detail::AACEncoder> encoder_;
    std::int32_t timescale_;
    Sink sink_;
    std::optional<Heard> heard_;
    std::int64_t next_ = 0;  // time of the next packet
};

}  // namespace

std::unique_ptr<InputEncoder> makeSoundEncoder(const AudioOutputSettings& settings, ZQErrorPtr* error) {
    std::unique_ptr<detail::AACEncoder> encoder;
    if (const Status status = detail::AACEncoder::create(settings, encoder); status != noErr) {
        fail(error, ZQError::errorWithDomain(
                        assetWriterErrorDomain, assetWriterErrorEncoderNotFound,
                        fmt::format("No encoder for {}, status {}.", settings.description(), status),
                        ZQError::missingEncoder()));
        return nullptr;
    }
    return std::make_unique<SoundEncoder>(std::move(encoder), static_cast<std::int32_t>(settings.sampleRate));
}

}  // namespace zenquor::platform::quicktime
