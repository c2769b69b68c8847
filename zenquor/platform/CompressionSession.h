#pragma once
// Turns pictures into coded samples.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "zenquor/core/ZQObject.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/SampleBuffer.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// Which kind of encoder a session may use.
struct EncoderSpecification {
    bool requireHardwareAcceleratedVideoEncoder = false;
    bool enableHardwareAcceleratedVideoEncoder = true;
};

/// What can be set before the first picture. The value's type is in the comment.
enum class CompressionProperty {
    ProfileLevel,          // std::string, such as "H264_High_AutoLevel" or "HEVC_Main_AutoLevel"
    AverageBitRate,        // std::int64_t, bits per second; 0 leaves the rate to the encoder
    MaxKeyFrameInterval,   // std::int64_t, pictures; default one second
    AllowFrameReordering,  // bool; default true
    H264EntropyMode,       // std::string "CAVLC" or "CABAC"
    ExpectedFrameRate,  // std::string "numerator/denominator", frames per second; default from the durations
    FieldCount,         // std::int64_t 1 or 2
    FieldDetail,        // FieldDetail
    CleanAperture,      // CleanAperture
    PixelAspectRatio,   // PixelAspectRatio
    ColorPrimaries,     // ColorPrimaries
    YCbCrMatrix,        // YCbCrMatrix
    TransferFunction,   // TransferFunction
    Speed,              // std::string: "live" (default), "balanced", "quality", or one of x264's preset names
};

using CompressionPropertyValue =
    std::variant<bool, std::int64_t, std::string, platform::FieldDetail, platform::CleanAperture,
                 platform::PixelAspectRatio, platform::ColorPrimaries, platform::YCbCrMatrix,
                 platform::TransferFunction>;

/// A stable name for logs, such as "AverageBitRate".
const char* nameOfCompressionProperty(CompressionProperty property);
/// The value for logs.
std::string describeCompressionPropertyValue(const CompressionPropertyValue& value);

/// One encoder at work.
///
/// The n-th sample out carries as its decode time the presentation time of the n-th picture in, in the time
/// scale of the submitted times. Samples bear the not-sync and depended-on attachments, and reference
/// pictures the earlier-display attachment when the encoder makes B pictures. Pictures of another size are
/// scaled, field by field when interlaced.
///
/// Lifecycle:     create, set properties, encodeFrame() for each picture, completeFrames(), invalidate().
/// Thread-safety: One thread at a time for all operations. The callback runs on the thread that encodes,
///                completes, or on a thread of the session, one call at a time, in decode order.
class CompressionSession : public ZQObject {
public:
    /// @param frameReference  what was given to encodeFrame() with the picture of this sample.
    /// @param sample          null when @p status is not noErr.
    using OutputCallback = std::function<void(const std::shared_ptr<void>& frameReference, Status status,
                                              const SampleBufferPtr& sample)>;

    /// @return encoderNotFoundErr when no encoder of the wanted kind opens on this machine.
    static Status create(std::uint32_t width, std::uint32_t height, FourCC codec,
                         const EncoderSpecification& specification, OutputCallback callback,
                         std::shared_ptr<CompressionSession>& out);

    virtual std::vector<CompressionProperty> supportedProperties() const = 0;
    /// @return propertyNotSupportedErr for a property the encoder does not know, parameterErr for a value of
    /// the wrong type or range, sessionInvalidErr after the first picture.
    virtual Status setProperty(CompressionProperty property, const CompressionPropertyValue& value) = 0;
    /// The encoder's name, such as "libx264".
    virtual std::string encoderName() const = 0;
    virtual bool usesHardware() const = 0;

    /// Opens the encoder for pictures like @p first, which is not encoded, so that a refusal comes now;
    /// otherwise encodeFrame() does it. No property can be set afterwards.
    /// @return what kept the encoder from opening; the session can then only be dropped or tried again.
    virtual Status prepareToEncodeFrames(const PixelBufferPtr& first, MediaTime duration) = 0;
    /// Submits a picture; its sample, or those of earlier pictures, may come back before this returns. The
    /// picture is kept until it has been encoded.
    virtual Status encodeFrame(const PixelBufferPtr& picture, MediaTime presentationTimeStamp,
                               MediaTime duration, std::shared_ptr<void> frameReference) = 0;
    /// Delivers every sample still inside; no picture can follow.
    virtual Status completeFrames() = 0;
    /// Drops everything; no callback comes after it returns.
    virtual void invalidate() = 0;
};

using CompressionSessionPtr = std::shared_ptr<CompressionSession>;

}  // namespace zenquor::platform
