#pragma once
// An encoder's result, attached to the frame that it was made from.

#include <cstdint>
#include <memory>
#include <optional>

#include "zenquor/core/ZQCKTimecode.h"
#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/SampleBuffer.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {

/// How a coded frame depends on others; decides when raw frames may be let go.
enum ZQRFrameType : std::uint32_t {
    ZQRFrameTypeStandalone = 0,   // intra-only and uncompressed codecs
    ZQRFrameTypeSync = 1,         // decoding can start here
    ZQRFrameTypePartialSync = 2,  // an MPEG-2 I picture, or an intra picture with leading pictures
    ZQRFrameTypeReference = 3,    // depends on others, may be displayed out of order
    ZQRFrameTypeDisposable = 4    // nothing depends on it
};

/// The coded picture of one frame with all that is to be written beside it.
///
/// Lifecycle:     made and filled by one encoder before it is attached to the frame; only read afterwards.
/// Thread-safety: Safe for readers once attached.
/// Ownership:     shares bytes and samples; lives as long as the frame.
class ZQRFrameStore final : public ZQObject {
public:
    /// Raw bytes; type() is 0.
    static std::shared_ptr<ZQRFrameStore> helperWithData(std::optional<ZQData> data);
    /// A coded sample; type() is 1.
    static std::shared_ptr<ZQRFrameStore> helperWithCMSampleBuffer(const platform::SampleBufferPtr& sample);

    const platform::SampleBufferPtr& cmSampleBuffer() const { return cmSampleBuffer_; }
    /// Keeps a copy that shares the bytes; null clears the field and is logged.
    void setCMSampleBuffer(const platform::SampleBufferPtr& sample);
    /// 0 raw data, 1 sample buffer.
    std::uint32_t type() const { return type_; }
    void setType(std::uint32_t type) { type_ = type; }
    /// A ZQRFrameType.
    std::uint32_t frameType() const { return frameType_; }
    void setFrameType(std::uint32_t type) { frameType_ = type; }
    const std::optional<ZQData>& rawData() const { return rawData_; }
    void setRawData(std::optional<ZQData> data) { rawData_ = std::move(data); }
    /// Interleaved audio of the frame, mapped as the capture preset says.
    const std::optional<ZQData>& audioData() const { return audioData_; }
    void setAudioData(std::optional<ZQData> data) { audioData_ = std::move(data); }
    /// The frame's caption packet; null when it has none or captions are not to be written.
    const std::shared_ptr<ZQRVANCClosedCaptionPacket>& closedCaptionData() const {
        return closedCaptionData_;
    }
    void setClosedCaptionData(std::shared_ptr<ZQRVANCClosedCaptionPacket> packet) {
        closedCaptionData_ = std::move(packet);
    }
    /// Units of the recording's time base.
    std::int64_t decodeTimestamp() const { return decodeTimestamp_; }
    void setDecodeTimestamp(std::int64_t time) { decodeTimestamp_ = time; }
    std::int64_t displayTimestamp() const { return displayTimestamp_; }
    void setDisplayTimestamp(std::int64_t time) { displayTimestamp_ = time; }
    const std::optional<ZQCKTimecode>& timecode() const { return timecode_; }
    void setTimecode(std::optional<ZQCKTimecode> timecode) { timecode_ = timecode; }

private:
    ZQRFrameStore() = default;

    platform::SampleBufferPtr cmSampleBuffer_;
    std::uint32_t type_ = 0;
    std::uint32_t frameType_ = ZQRFrameTypeStandalone;
    std::optional<ZQData> rawData_;
    std::optional<ZQData> audioData_;
    std::shared_ptr<ZQRVANCClosedCaptionPacket> closedCaptionData_;
    std::int64_t decodeTimestamp_ = 0;
    std::int64_t displayTimestamp_ = 0;
    std::optional<ZQCKTimecode> timecode_;
};

using ZQRFrameStorePtr = std::shared_ptr<ZQRFrameStore>;

}  // namespace zenquor
