#pragma once
// Timed samples of one track: coded bytes or a picture, with their format and times.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/BlockBuffer.h"
#include "zenquor/platform/FormatDescription.h"
#include "zenquor/platform/MediaTime.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// When a sample is decoded and shown. Without a decode time the two are the same.
struct SampleTiming {
    MediaTime duration;  // of one sample
    MediaTime presentationTimeStamp;
    MediaTime decodeTimeStamp;
};

/// How a coded picture depends on others; absent means that nothing was said.
struct SampleAttachments {
    std::optional<bool> notSync;                     // decoding cannot start here
    std::optional<bool> partialSync;                 // an intra picture with leading pictures that need what came before
    std::optional<bool> isDependedOnByOthers;
    std::optional<bool> earlierDisplayTimesAllowed;  // later samples may be shown before this one
    bool any() const { return notSync || partialSync || isDependedOnByOthers || earlierDisplayTimesAllowed; }
    friend bool operator==(const SampleAttachments&, const SampleAttachments&) = default;
};

/// One or more samples that follow each other, all of one format.
///
/// Thread-safety: Safe; immutable after creation.
class SampleBuffer final : public ZQObject {
public:
    /// Coded samples. @p sampleSize is the size of each of @p sampleCount equal samples.
    /// @return sampleBufferInvalidErr when the sizes do not add up to the block or the format is missing.
    static Status create(BlockBufferPtr data, FormatDescriptionPtr format, std::size_t sampleCount,
                         const SampleTiming& timing, std::size_t sampleSize, const SampleAttachments& attachments,
                         std::shared_ptr<const SampleBuffer>& out);
    /// A picture that is still to be encoded.
    static Status createForImageBuffer(PixelBufferPtr picture, FormatDescriptionPtr format, const SampleTiming& timing,
                                       std::shared_ptr<const SampleBuffer>& out);
    /// A new buffer that shares bytes, picture and format.
    static Status createCopy(const std::shared_ptr<const SampleBuffer>& source,
                             std::shared_ptr<const SampleBuffer>& out);

    /// The samples' bytes end to end; null for a picture.
    const BlockBufferPtr& dataBuffer() const { return data_; }
    /// The picture; null for coded samples.
    const PixelBufferPtr& imageBuffer() const { return picture_; }
    const FormatDescriptionPtr& formatDescription() const { return format_; }
    std::size_t numSamples() const { return sampleCount_; }
    std::size_t sampleSize() const { return sampleSize_; }
    /// Of one sample.
    MediaTime sampleDuration() const { return timing_.duration; }
    /// Of all samples.
    MediaTime duration() const {
        return {timing_.duration.value * static_cast<std::int64_t>(sampleCount_), timing_.duration.timescale};
    }
    /// Of the first sample.
    MediaTime presentationTimeStamp() const { return timing_.presentationTimeStamp; }
    /// Of the first sample; invalid when it is the presentation time.
    MediaTime decodeTimeStamp() const { return timing_.decodeTimeStamp; }
    const SampleAttachments& attachments() const { return attachments_; }
    std::string description() const override;

private:
    SampleBuffer() = default;

    BlockBufferPtr data_;
    PixelBufferPtr picture_;
    FormatDescriptionPtr format_;
    std::size_t sampleCount_ = 0;
    std::size_t sampleSize_ = 0;
    SampleTiming timing_;
    SampleAttachments attachments_;
};

using SampleBufferPtr = std::shared_ptr<const SampleBuffer>;

}  // namespace zenquor::platform
