#pragma once
// The compression session over libavcodec.

#include <deque>

#include "zenquor/platform/CompressionSession.h"
#include "zenquor/platform/codec/CodecContext.h"
#include "zenquor/platform/codec/PictureConverter.h"

namespace zenquor::platform::detail {

/// A session whose encoder opens with the first picture, when all properties are known. Everything but the
/// encoder's own threads runs on the caller's thread, the callback too.
class LibavCompressionSession final : public CompressionSession {
public:
    LibavCompressionSession(const EncoderRow& row, std::uint32_t width, std::uint32_t height,
                            OutputCallback callback);

    std::vector<CompressionProperty> supportedProperties() const override {
        return settings_.supportedProperties();
    }
    Status setProperty(CompressionProperty property, const CompressionPropertyValue& value) override;
    std::string encoderName() const override { return row_.name; }
    bool usesHardware() const override { return row_.hardware; }
    Status prepareToEncodeFrames(const PixelBufferPtr& first, MediaTime duration) override;
    Status encodeFrame(const PixelBufferPtr& picture, MediaTime presentationTimeStamp, MediaTime duration,
                       std::shared_ptr<void> frameReference) override;
    Status completeFrames() override;
    void invalidate() override;
    std::string description() const override;

private:
    enum class Phase { Setup, Encoding, Completed, Invalid };
    /// A picture inside the encoder, or one whose time the n-th sample still needs.
    struct Pending {
        MediaTime presentationTime;
        MediaTime duration;
        std::shared_ptr<void> reference;
        bool isDelivered = false;
    };

    Status open(const PixelBuffer& picture, MediaTime duration);
    Status submit(AVFrame* frame);
    Status drain();
    Status deliver(const std::shared_ptr<AVPacket>& packet);
    Status makeSample(const std::shared_ptr<AVPacket>& packet, const Pending& picture,
                      SampleBufferPtr& sample);
    Status makeFormat(std::span<const std::uint8_t> firstPacket);
    void failPending(Status status);
    void forgetDelivered();

    const EncoderRow& row_;
    EncoderSettings settings_;
    OutputCallback callback_;
    Phase phase_ = Phase::Setup;
    CodecContext context_;
    std::unique_ptr<PictureConverter> converter_;
    Libav<AVFrame> frame_;
    FormatDescriptionPtr format_;
    bool hasAlpha_ = false;
    std::deque<Pending> pending_;  // pictures firstPending_ and later
    std::int64_t firstPending_ = 0;
    std::int64_t samplesOut_ = 0;
};

}  // namespace zenquor::platform::detail
