#pragma once
// The encoder of everything that the platform's compression sessions make.

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string_view>

#include "zenquor/core/ZQValue.h"
#include "zenquor/encoders/ZQRVideoEncoder.h"
#include "zenquor/platform/CompressionSession.h"
#include "zenquor/platform/MediaTime.h"
#include "zenquor/platform/PixelBufferPool.h"
#include "zenquor/platform/PixelTransferSession.h"

namespace zenquor {

/// Encodes with a compression session, which is made for the first frame: hardware first for H.264 and HEVC,
/// software otherwise. Samples may come back in another order than the frames went in; audio, timecode and
/// captions stay in the order in which they went in.
///
/// Thread-safety: as ZQRVideoEncoderProtocol. The callback runs on the thread that encodes or on one of the
///                session.
/// Ownership:     the session holds each frame until its sample is there.
class ZQRVideoToolboxEncoder final : public ZQRVideoEncoder {
public:
    /// Attempts to get a hardware encoder for H.264 and HEVC, and the pause after each, in milliseconds.
    static constexpr int hardwareAttempts = 3;
    static constexpr int hardwareRetryMilliseconds = 100;

    /// @param fifoCapacity  not used: the session decides how many frames it holds.
    static std::shared_ptr<ZQRVideoToolboxEncoder> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
        ZQRVideoEncoderCallbackContext callbackContext, std::int64_t fifoCapacity);
    ~ZQRVideoToolboxEncoder() override;

    /// @param error  -53004 when no session can be made; -53005 with a true result when it is a software
    ///               session that would better be hardware; -53001 when the session refuses the picture or
    ///               there is none.
    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    void finishEncoding() override;
    /// Asks the controller to finish: state() becomes 2 unless it is 3. A failed encoder becomes 3, which is
    /// logged.
    void finish();
    bool isDVInput() const { return false; }

    /// Logs a dictionary line by line at debug level, each line after @p prefix.
    static void logDictionary(const ZQDictionary& dictionary, std::string_view prefix);

private:
    /// Clean aperture and pixel aspect ratio of a picture size; all zero for an unknown one.
    struct AVExtension {
        double cleanApertureWidth = 0;
        double cleanApertureHeight = 0;
        std::uint32_t horizontalSpacing = 0;
        std::uint32_t verticalSpacing = 0;
    };
    struct SizeRow {
        std::uint32_t width;
        std::uint32_t height;
        bool isWide;
        AVExtension extension;
    };
    static const SizeRow sizes[];

    ZQRVideoToolboxEncoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                           ZQRVideoEncoderCallbackContext callbackContext);

    bool createSession(const ZQRFrame& frame, const platform::PixelBufferPtr& picture, ZQErrorPtr* error);
    platform::Status tryHardware(const ZQRFrame& frame, const platform::PixelBufferPtr& picture,
                                 bool isPreferred);
    platform::Status initializeEncoderWithFrame(const ZQRFrame& frame,
                                                const platform::EncoderSpecification& specification,
                                                const platform::PixelBufferPtr& picture);
    platform::Status setupCodec();
    platform::Status setupHEVC();
    platform::Status setupH264();
    platform::Status setupH264Profile(const std::string& profile);
    platform::Status setupSpeed(const std::string& speed);
    platform::Status finishEncoderSetupWithAttachments(const platform::PixelBuffer::Attachments& attachments);
    platform::Status setupFrameRate();
    platform::Status setupFields();
    platform::Status setupCleanAperture();
    platform::Status setupPixelAspectRatio();
    platform::Status setupColorPrimariesWithAttachments(
        const platform::PixelBuffer::Attachments& attachments);
    platform::Status setupImageBufferYCbCrMatrixWithAttachments(
        const platform::PixelBuffer::Attachments& attachments);
    platform::Status setupImageBufferTransferFunctionWithAttachments(
        const platform::PixelBuffer::Attachments& attachments);
    platform::Status set(platform::CompressionProperty property,
                         const platform::CompressionPropertyValue& value, std::string_view loggedName,
                         std::string_view loggedValue = {});
    void logStatus(platform::Status status, std::string_view property, std::string_view value) const;
    void logSession(const platform::PixelBuffer::Attachments& attachments) const;
    AVExtension currentAVExtension() const;

    platform::PixelBufferPtr pictureForSession(const platform::PixelBufferPtr& picture);
    void queueCompanions(const ZQRFramePtr& frame);
    void takeCompanions(const ZQRFrame& frame, ZQRFrameStore* store);
    void sessionOutput(const ZQRFramePtr& frame, platform::Status status,
                       const platform::SampleBufferPtr& sample);
    void dropSession();
    FourCC codec() const;

    std::mutex submissionLock_;  // over everything down to the pool
    platform::CompressionSessionPtr session_;
    platform::MediaTime frameDuration_;
    platform::PixelTransferSession transfer_;
    std::optional<platform::PixelBufferPool> transferPool_;

    std::mutex companionLock_;  // over the three queues, which the session's callback shares
    std::deque<std::optional<ZQData>> audioData_;
    std::deque<std::optional<ZQCKTimecode>> timecodeData_;
    std::deque<std::shared_ptr<ZQRVANCClosedCaptionPacket>> captionData_;
};

}  // namespace zenquor
