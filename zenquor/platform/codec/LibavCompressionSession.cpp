#include "zenquor/platform/codec/LibavCompressionSession.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/codec/NalUnits.h"

namespace zenquor::platform::detail {

LibavCompressionSession::LibavCompressionSession(const EncoderRow& row, std::uint32_t width,
                                                 std::uint32_t height, OutputCallback callback)
    : row_(row), settings_(row, width, height), callback_(std::move(callback)) {}

std::string LibavCompressionSession::description() const {
    return fmt::format("<CompressionSession {} {} {}x{}>", fourCCString(row_.codec), row_.name,
                       settings_.width(), settings_.height());
}

Status LibavCompressionSession::setProperty(CompressionProperty property,
                                            const CompressionPropertyValue& value) {
    return phase_ == Phase::Setup ? settings_.set(property, value) : sessionInvalidErr;
}

Status LibavCompressionSession::open(const PixelBuffer& picture, MediaTime duration) {
    settings_.adoptDefaults(picture, duration);
    const FourCC given = picture.pixelFormat();
    hasAlpha_ = row_.alphaPixelFormat != AV_PIX_FMT_NONE &&
                (given == pixelFormat32ARGB || given == pixelFormat32BGRA);
    const AVPixelFormat format = hasAlpha_ ? row_.alphaPixelFormat : row_.pixelFormat;
    frame_.reset(av_frame_alloc());
    if (!frame_) return memFullErr;
    if (const Status status = context_.open(row_, settings_, format); status != noErr) {
        ZLGGetHandle().error("CompressionSession {}: {} doesn't open, error {}: {}", *this, row_.name, status,
                             context_.refusal());
        return status;
    }
    converter_ = std::make_unique<PictureConverter>(settings_, format);
    phase_ = Phase::Encoding;
    return noErr;
}

Status LibavCompressionSession::prepareToEncodeFrames(const PixelBufferPtr& first, MediaTime duration) {
    if (!first) return parameterErr;
    if (phase_ == Phase::Encoding) return noErr;
    return phase_ == Phase::Setup ? open(*first, duration) : sessionInvalidErr;
}

Status LibavCompressionSession::encodeFrame(const PixelBufferPtr& picture, MediaTime presentationTimeStamp,
                                            MediaTime duration, std::shared_ptr<void> frameReference) {
    if (phase_ == Phase::Completed || phase_ == Phase::Invalid) return sessionInvalidErr;
    if (!picture || !presentationTimeStamp.isValid()) return parameterErr;
    if (phase_ == Phase::Setup) {
        if (const Status status = open(*picture, duration); status != noErr) return status;
    }
    av_frame_unref(frame_.get());
    if (const Status status = converter_->convert(*picture, *frame_); status != noErr) return status;
    frame_->pts = firstPending_ + static_cast<std::int64_t>(pending_.size());
    pending_.push_back({presentationTimeStamp, duration, std::move(frameReference)});
    const Status status = submit(frame_.get());
    av_frame_unref(frame_.get());
    return status == noErr ? drain() : status;
}

Status LibavCompressionSession::completeFrames() {
    if (phase_ == Phase::Invalid) return sessionInvalidErr;
    const bool hasEncoder = phase_ == Phase::Encoding;
    phase_ = Phase::Completed;
    if (!hasEncoder) return noErr;
    Status status = submit(nullptr);
    if (status == noErr) status = drain();
    // An encoder that swallowed pictures has lost them; whoever waits for them hears of it.
    failPending(sampleBufferInvalidErr);
    return status;
}

void LibavCompressionSession::invalidate() {
    phase_ = Phase::Invalid;
    callback_ = nullptr;
    context_.close();
    converter_.reset();
    pending_.clear();
}

Status LibavCompressionSession::submit(AVFrame* frame) {
    Status status = context_.send(frame);
    while (status == AVERROR(EAGAIN)) {
        const std::int64_t before = samplesOut_;
        if (const Status drained = drain(); drained != noErr) return drained;
        if (samplesOut_ == before) break;  // neither takes nor gives: nothing would ever change
        status = context_.send(frame);
    }
    if (status != noErr) failPending(status);
    return status;
}

// Takes every finished packet.
Status LibavCompressionSession::drain() {
    for (;;) {
        const std::shared_ptr<AVPacket> packet(av_packet_alloc(), LibavDeleter{});
        if (!packet) return memFullErr;
        const Status status = context_.isOpen() ? context_.receive(*packet) : AVERROR_EOF;
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return noErr;
        if (status != noErr) {
            failPending(status);
            return status;
        }
        if (const Status delivered = deliver(packet); delivered != noErr) return delivered;
    }
}

Status LibavCompressionSession::deliver(const std::shared_ptr<AVPacket>& packet) {
    const std::int64_t index = packet->pts - firstPending_;
    const std::int64_t decodeIndex = samplesOut_ - firstPending_;
    const auto count = static_cast<std::int64_t>(pending_.size());
    if (index < 0 || index >= count || decodeIndex >= count) return sampleBufferInvalidErr;
    Pending& picture = pending_[static_cast<std::size_t>(index)];
    SampleBufferPtr sample;
    const Status status = makeSample(packet, picture, sample);
    const std::shared_ptr<void> reference = std::move(picture.reference);
    picture.isDelivered = true;
    ++samplesOut_;
    forgetDelivered();
    if (callback_) callback_(reference, status, sample);
    return status;
}

Status LibavCompressionSession::makeSample(const std::shared_ptr<AVPacket>& packet, const Pending& picture,
                                           SampleBufferPtr& sample) {
    const std::span<const std::uint8_t> bytes(packet->data, static_cast<std::size_t>(packet->size));
    if (!format_) {
        if (const Status status = makeFormat(bytes); status != noErr) return status;
    }
    ZQData data;
    SampleAttachments attachments;
    if (predicts(row_.bitstream)) {
        const NalUnits nal(row_.bitstream, bytes);
        if (hasConfigurationRecord(row_.bitstream)) data = nal.lengthPrefixed();
        attachments = nal.attachments(context_.makesBPictures());
    }
    if (!hasConfigurationRecord(row_.bitstream)) {
        data =
            row_.broadcast && row_.broadcast->frameBytes != 0
                ? frameWithElementHeader(bytes, row_.broadcast->frameBytes)
                : ZQData::adopting(std::shared_ptr<const std::uint8_t>(packet, packet->data), bytes.size());
    }
    if (data.empty()) return sampleBufferInvalidErr;
    const Pending& decoded = pending_[static_cast<std::size_t>(samplesOut_ - firstPending_)];
    std::shared_ptr<BlockBuffer> block;
    Status status = BlockBuffer::createWithLength(data.size(), block);
    if (status == noErr) status = block->replaceDataBytes(data, 0);
    if (status != noErr) return status;
    const SampleTiming timing{decoded.duration, picture.presentationTime, decoded.presentationTime};
    return SampleBuffer::create(block, format_, 1, timing, data.size(), attachments, sample);
}

// Parameter sets are known when the encoder has opened, or come in its first packet.
Status LibavCompressionSession::makeFormat(std::span<const std::uint8_t> firstPacket) {
    VideoFormat format = settings_.format();
    format.depth = hasAlpha_ ? 32 : 24;
    if (hasConfigurationRecord(row_.bitstream)) {
        format.configuration = decoderConfiguration(row_.bitstream, context_.parameterSets());
        if (format.configuration.empty())
            format.configuration = decoderConfiguration(row_.bitstream, firstPacket);
        if (format.configuration.empty()) return sampleBufferInvalidErr;
    }
    format_ = FormatDescription::video(row_.codec, std::move(format));
    return noErr;
}

void LibavCompressionSession::failPending(Status status) {
    std::deque<Pending> lost;
    lost.swap(pending_);
    firstPending_ += static_cast<std::int64_t>(lost.size());
    samplesOut_ = firstPending_;
    for (const Pending& picture : lost) {
        if (!picture.isDelivered && callback_) callback_(picture.reference, status, nullptr);
    }
}

// A picture's entry goes when its sample is out and the sample that takes its time as decode time is out,
// too.
void LibavCompressionSession::forgetDelivered() {
    while (!pending_.empty() && pending_.front().isDelivered && firstPending_ < samplesOut_) {
        pending_.pop_front();
        ++firstPending_;
    }
}

}  // namespace zenquor::platform::detail
