#pragma once
// What the encoders' tests share: recordings, frames, and somebody who listens.

#include <gtest/gtest.h>

#include <vector>

#include "writers/TestFrame.h"
#include "zenquor/core/ZQCKSemaphore.h"
#include "zenquor/encoders/ZQREncoderController.h"
#include "zenquor/encoders/ZQRVideoEncoder.h"

namespace zenquor::test {

inline ZQRVideoPropertiesPtr recording(FourCC codec, std::uint32_t width = 320, std::uint32_t height = 240) {
    auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoWidth(width);
    preset->setVideoHeight(height);
    preset->setFramerate(2500);
    preset->setTvNorm(2);
    preset->setH264Preferences(ZHLH264Preferences::preferences());
    if (codec != 0) preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(codec));
    return ZQRVideoProperties::initWithCapturePreset(preset);
}

/// Frame @p n of 25 a second: a moving picture, one byte of audio that is the number, and its timecode.
inline TestFramePtr frame(int n, FourCC format = platform::pixelFormat2vuy, std::uint32_t width = 320,
                          std::uint32_t height = 240) {
    auto made = std::make_shared<TestFrame>();
    EXPECT_EQ(platform::PixelBuffer::create(width, height, format, made->picture), platform::noErr);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < made->picture->bytesPerRow(); ++x) {
            made->picture->mutableRow(y)[x] =
                static_cast<std::uint8_t>(64 + (x / 8 * 13 + y / 8 * 7 + 5U * n) % 64);
        }
    }
    made->time = 1000 * n;
    made->audio = ZQData::copying(std::vector<std::uint8_t>{static_cast<std::uint8_t>(n)});
    made->timecode = ZQCKTimecode::timecodeWithFrames(n, ZQCKTimebase::timebaseForFramerate(2));
    return made;
}

inline ZQRFrameStorePtr storeOf(const ZQRFrame& frame, std::string_view key) {
    return std::dynamic_pointer_cast<ZQRFrameStore>(frame.helperForKey(key));
}

/// Writes down what a controller tells, and lets a test wait for the end of the run.
class Listener final : public ZQREncoderControllerDelegate {
public:
    struct Heard {
        std::vector<ZQRFramePtr> frames;
        std::vector<int> warnings;
        std::vector<bool> ends;
        ZQErrorPtr error;
    };

    void hasFrameAvailable(ZQREncoderController&, const ZQRFramePtr& frame) override {
        heard_.with([&](Heard& h) { h.frames.push_back(frame); });
        frameSignal.signal();
    }
    void hasNonCriticalError(ZQREncoderController&, const ZQErrorPtr& error) override {
        heard_.with([&](Heard& h) { h.warnings.push_back(error->code()); });
    }
    void didFinishSuccessfully(ZQREncoderController&, bool success, const ZQErrorPtr& error) override {
        heard_.with([&](Heard& h) {
            h.ends.push_back(success);
            h.error = error;
        });
        endSignal.signal();
    }
    Heard waitForEnd() {
        endSignal.wait();
        return heard_.load();
    }
    Heard heard() const { return heard_.load(); }

    ZQCKSemaphore frameSignal;
    ZQCKSemaphore endSignal;

private:
    Guarded<Heard> heard_;
};

}  // namespace zenquor::test
