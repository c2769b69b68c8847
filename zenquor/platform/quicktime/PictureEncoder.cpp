#include <atomic>
#include <utility>

#include <fmt/format.h>

#include "zenquor/platform/AssetWriter.h"
#include "zenquor/platform/CompressionSession.h"
#include "zenquor/platform/quicktime/InputEncoder.h"

namespace zenquor::platform::quicktime {
namespace {

/// Pictures in, coded samples out. Samples that are coded already pass through; the session goes with the
/// first.
class PictureEncoder final : public InputEncoder {
public:
    void setSink(Sink sink) override { sink_ = std::move(sink); }
    FormatDescriptionPtr format() const override { return nullptr; }

    Status open(const VideoOutputSettings& settings, const VideoFormat* hint);

    bool encode(const SampleBuffer& sample, std::string& problem) override {
        if (sample.dataBuffer()) {
            close();
            return handOn(sample);
        }
        if (!session_ || !sample.imageBuffer()) {
            problem = "the input takes pictures until its first coded sample, then coded samples";
            return false;
        }
        const Status status = session_->encodeFrame(sample.imageBuffer(), sample.presentationTimeStamp(),
                                                    sample.sampleDuration(), nullptr);
        return succeeded(status, problem);
    }

    bool finish(std::string& problem) override {
        if (!session_) return true;
        const Status status = session_->completeFrames();
        const bool done = succeeded(status, problem);
        close();
        return done;
    }

    ~PictureEncoder() override { close(); }

private:
    void close() {
        if (session_) session_->invalidate();
        session_ = nullptr;
    }

    /// A refusal of an earlier picture may come only now.
    bool succeeded(Status status, std::string& problem) {
        if (status == noErr) status = failure_;
        if (status != noErr) problem = fmt::format("the encoder refused a picture with status {}", status);
        return status == noErr;
    }

    bool handOn(const SampleBuffer& sample) {
        const MediaTime shown = sample.presentationTimeStamp();
        const MediaTime decoded = sample.decodeTimeStamp().isValid() ? sample.decodeTimeStamp() : shown;
        const SampleAttachments& attachments = sample.attachments();
        return sink_({sample.dataBuffer()->data(),
                      {decoded, shown, sample.sampleDuration()},
                      attachments.notSync.value_or(false),
                      attachments.partialSync.value_or(false),
                      sample.formatDescription()});
    }

    void receive(Status status, const SampleBufferPtr& sample) {
        if (status != noErr || !sample) {
            failure_ = status != noErr ? status : parameterErr;
        } else {
            handOn(*sample);
        }
    }

    CompressionSessionPtr session_;
    Sink sink_;
    std::atomic<Status> failure_{noErr};
};

Status setAll(CompressionSession& session, const VideoOutputSettings& settings) {
    const auto set = [&](bool wanted, CompressionProperty property, CompressionPropertyValue value) {
        return wanted ? session.setProperty(property, value) : noErr;
    };
    using P = CompressionProperty;
    Status status = set(!settings.profileLevel.empty(), P::ProfileLevel, settings.profileLevel);
    if (status == noErr)
        status = set(settings.averageBitRate != 0, P::AverageBitRate,
                     static_cast<std::int64_t>(settings.averageBitRate));
    if (status == noErr)
        status = set(settings.maxKeyFrameInterval != 0, P::MaxKeyFrameInterval,
                     static_cast<std::int64_t>(settings.maxKeyFrameInterval));
    if (status == noErr && !settings.allowFrameReordering) {
        status = session.setProperty(P::AllowFrameReordering, false);
        if (status == propertyNotSupportedErr) status = noErr;  // an encoder that knows of none does none
    }
    if (status == noErr)
        status = set(!settings.entropyMode.empty(), P::H264EntropyMode, settings.entropyMode);
    return status;
}

/// Tells the encoder what is known of the pictures. An encoder that has no such property encodes without it.
void setTags(CompressionSession& session, const VideoFormat& hint) {
    using P = CompressionProperty;
    if (hint.fieldCount) session.setProperty(P::FieldCount, static_cast<std::int64_t>(*hint.fieldCount));
    if (hint.fieldDetail) session.setProperty(P::FieldDetail, *hint.fieldDetail);
    if (hint.cleanAperture) session.setProperty(P::CleanAperture, *hint.cleanAperture);
    if (hint.pixelAspectRatio) session.setProperty(P::PixelAspectRatio, *hint.pixelAspectRatio);
    if (hint.colorPrimaries) session.setProperty(P::ColorPrimaries, *hint.colorPrimaries);
    if (hint.yCbCrMatrix) session.setProperty(P::YCbCrMatrix, *hint.yCbCrMatrix);
    if (hint.transferFunction) session.setProperty(P::TransferFunction, *hint.transferFunction);
}

Status PictureEncoder::open(const VideoOutputSettings& settings, const VideoFormat* hint) {
    const std::uint32_t width = settings.width != 0 ? settings.width : hint ? hint->width : 0;
    const std::uint32_t height = settings.height != 0 ? settings.height : hint ? hint->height : 0;
    if (width == 0 || height == 0) return parameterErr;
    const Status status = CompressionSession::create(
        width, height, settings.codec, {},
        [this](const auto&, Status result, const SampleBufferPtr& sample) { receive(result, sample); },
        session_);
    if (status != noErr) return status;
    if (hint) setTags(*session_, *hint);
    return setAll(*session_, settings);
}

}  // namespace

std::unique_ptr<InputEncoder> makePictureEncoder(const VideoOutputSettings& settings,
                                                 FormatDescriptionPtr hint, ZQErrorPtr* error) {
    auto encoder = std::make_unique<PictureEncoder>();
    if (const Status status = encoder->open(settings, hint ? hint->videoFormat() : nullptr);
        status != noErr) {
        const bool missing = status == encoderNotFoundErr;
        fail(error, ZQError::errorWithDomain(
                        assetWriterErrorDomain,
                        missing ? assetWriterErrorEncoderNotFound : assetWriterErrorInvalidSource,
                        fmt::format("No encoder for {}, status {}.", settings.description(), status),
                        missing ? ZQError::missingEncoder() : ZQError::encodingError()));
        return nullptr;
    }
    return encoder;
}

}  // namespace zenquor::platform::quicktime
