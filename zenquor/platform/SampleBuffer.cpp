#include "zenquor/platform/SampleBuffer.h"

#include <utility>

#include <fmt/format.h>

namespace zenquor::platform {

Status SampleBuffer::create(BlockBufferPtr data, FormatDescriptionPtr format, std::size_t sampleCount,
                            const SampleTiming& timing, std::size_t sampleSize,
                            const SampleAttachments& attachments, SampleBufferPtr& out) {
    if (!data || !format || sampleCount == 0 || !timing.presentationTimeStamp.isValid())
        return sampleBufferInvalidErr;
    if (data->dataLength() / sampleCount != sampleSize || data->dataLength() % sampleCount != 0) {
        return sampleBufferInvalidErr;
    }
    std::shared_ptr<SampleBuffer> sample(new SampleBuffer);
    sample->data_ = std::move(data);
    sample->format_ = std::move(format);
    sample->sampleCount_ = sampleCount;
    sample->sampleSize_ = sampleSize;
    sample->timing_ = timing;
    sample->attachments_ = attachments;
    out = std::move(sample);
    return noErr;
}

Status SampleBuffer::createForImageBuffer(PixelBufferPtr picture, FormatDescriptionPtr format,
                                          const SampleTiming& timing, SampleBufferPtr& out) {
    if (!picture || !timing.presentationTimeStamp.isValid()) return sampleBufferInvalidErr;
    std::shared_ptr<SampleBuffer> sample(new SampleBuffer);
    sample->picture_ = std::move(picture);
    sample->format_ = std::move(format);
    sample->sampleCount_ = 1;
    sample->timing_ = timing;
    out = std::move(sample);
    return noErr;
}

Status SampleBuffer::createCopy(const SampleBufferPtr& source, SampleBufferPtr& out) {
    if (!source) return parameterErr;
    out = std::shared_ptr<SampleBuffer>(new SampleBuffer(*source));
    return noErr;
}

std::string SampleBuffer::description() const {
    return fmt::format("<SampleBuffer {} x {} bytes at {}>", sampleCount_, sampleSize_,
                       timing_.presentationTimeStamp);
}

}  // namespace zenquor::platform
