#pragma once
// The encoder of DNxHD and DNxHR recordings.

#include "zenquor/encoders/ZQRVideoEncoder.h"
#include "zenquor/media/ZQTFrameMemoryManagement.h"
#include "zenquor/platform/DNX.h"

namespace zenquor {

/// Codes each frame on the caller's thread: the callback has run when encodeFrame() returns.
///
/// Lifecycle:     as ZQRVideoEncoderProtocol; the engine's encoder opens at creation.
/// Thread-safety: as ZQRVideoEncoderProtocol.
/// Standards:     SMPTE ST 2019-1 (VC-3).
class ZQRDNxHDEncoder final : public ZQRVideoEncoder {
public:
    /// @param fifoCapacity  not used: nothing is ever pending.
    /// @param bitDepth      10 for 'v210' frames, 8 for all others.
    /// @param bytesPerRow   of the frames to come.
    /// @return null when the engine refuses, which is logged with its reason.
    static std::shared_ptr<ZQRDNxHDEncoder> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
        ZQRVideoEncoderCallbackContext callbackContext, std::int64_t fifoCapacity, std::uint32_t bitDepth,
        std::size_t bytesPerRow);
    ~ZQRDNxHDEncoder() override;

    /// @return false with the engine's negative status as code and its text; the frame stays with the caller.
    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    void finishEncoding() override;
    /// Asks the controller to finish: state() becomes 2 unless it is 3 or -1.
    void finish();
    bool isDVInput() const { return false; }

    /// The engine's compression ID of a codec; 0 for an unknown code.
    static std::uint32_t compressionIdForCodecFourCC(FourCC code);
    /// Whether the compression ID is one of R'G'B' pictures.
    bool isRGB() const;
    /// Whether @p status is a success, that is 0 or more; otherwise @p error says what the engine says.
    static bool getErrorString(platform::Status status, ZQErrorPtr* error);
    static void logSDKVersion();
    /// What the engine was asked for.
    const platform::DNX_EncodeParameters& encodeParameters() const { return parameters_; }

private:
    ZQRDNxHDEncoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                    ZQRVideoEncoderCallbackContext callbackContext);

    platform::Status setup(std::uint32_t bitDepth, std::size_t bytesPerRow);
    void setupEncoderUsingVideoProperties(const ZQRVideoProperties& properties, std::uint32_t bitDepth,
                                          std::size_t bytesPerRow);
    platform::Status encode(const ZQRFrame& frame, std::uint8_t* buffer, std::size_t& codedBytes);

    platform::DNX_EncoderHandle encoder_ = nullptr;
    platform::DNX_EncodeParameters parameters_;
    std::uint32_t compressedBufferSize_ = 0;
    const ZQTFrameMemoryManagementPtr frameMemory_;
    bool isEngineInitialized_ = false;
};

}  // namespace zenquor
