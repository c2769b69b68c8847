#pragma once
// The encoder of XDCAM recordings.

#include <deque>
#include <memory>
#include <mutex>
#include <string_view>

#include "zenquor/encoders/ZQRVideoEncoder.h"
#include "zenquor/host/ZHLXDCAMPreferences.h"
#include "zenquor/platform/MPEG2Encoder.h"

namespace zenquor {

/// The user default that trades speed for quality, an integer read when an encoder sees its first frame:
/// 0 (or absent) live; 1 balanced, which weighs the modes of macroblocks and takes two to three times as long;
/// 2 quality, which weighs coefficients and takes about six times as long. Values beyond count as the nearest.
inline constexpr std::string_view ZQRXDCAMEncoderPerformanceDefault = "xdcamEncoderPerformance";

/// Codes long-GOP MPEG-2 of constant bit rate: raster, scanning, chroma, bit rate and GOP as the code has them.
///
/// The n-th coded picture goes onto the n-th submitted frame, so sound, timecode and ancillary data stay in display
/// order beside pictures in decoding order. The store holds raw data: frame type 2 for an I picture, 3 for P, 4 for
/// B; its decode time stamp is the time of the frame that carries it, its display time stamp that of the frame whose
/// picture it is.
///
/// Lifecycle:     as ZQRVideoEncoderProtocol; the MPEG-2 encoder opens with the first frame.
/// Thread-safety: as ZQRVideoEncoderProtocol; the callback runs on the thread that encodes or finishes.
/// Standards:     SMPTE RDD 9, ISO/IEC 13818-2.
class ZQRMCMPEG2Encoder final : public ZQRVideoEncoder {
public:
    /// @param fifoCapacity  not used: at most four frames are pending.
    static std::shared_ptr<ZQRMCMPEG2Encoder> initWithVideoProperties(
        ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
        ZQRVideoEncoderCallbackContext callbackContext, std::int64_t fifoCapacity);
    ~ZQRMCMPEG2Encoder() override;

    /// Departures from the code, before the first frame; null or zeros mean none.
    void setXDCAMPreferences(ZHLXDCAMPreferencesPtr preferences);
    ZHLXDCAMPreferencesPtr xdcamPreferences() const;

    /// @return false with -53004 when no encoder opens for the code, rate and preferences, with -53001 for a frame
    /// without a picture, one that cannot be coded, or one after the end.
    bool encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error = nullptr) override;
    void finishEncoding() override;
    /// Asks the controller to finish: state() becomes 2 unless it is 3 or -1.
    void finish();
    bool isDVInput() const { return false; }

private:
    ZQRMCMPEG2Encoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                      ZQRVideoEncoderCallbackContext callbackContext);

    bool createEncoder(const ZQRFrame& frame, const platform::PixelBuffer& picture, ZQErrorPtr* error);
    void describePicture(const ZQRFrame& frame, const platform::PixelBuffer& picture,
                         platform::MPEG2Settings& settings) const;
    void pictureOut(const platform::MPEG2Picture& coded);
    void forgetOldTimes();
    std::int64_t timeOfPicture(std::int64_t index) const;

    mutable std::mutex mutex_;  // over the preferences
    ZHLXDCAMPreferencesPtr xdcamPreferences_;

    std::mutex submissionLock_;  // over everything below
    std::unique_ptr<platform::MPEG2Encoder> encoder_;
    std::deque<ZQRFramePtr> pending_;  // submitted, without their coded picture
    std::deque<std::int64_t> times_;   // of the last submitted frames
    std::int64_t firstTimeIndex_ = 0;  // which picture the first of them belongs to
    bool isOverloadLogged_ = false;
};

}  // namespace zenquor
