// The smallest recording host: bars and tone through an encoder controller and a writer controller into a
// QuickTime movie.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <semaphore>
#include <thread>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/encoders/ZQREncoderController.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/sources/BarsAndToneSource.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/ZQRMovieWriterController.h"

using namespace zenquor;

namespace {

constexpr std::uint64_t frames = 50;
constexpr std::uint64_t fifoCapacity = 75;  // two groups of pictures and 25

/// Passes encoded frames on to the writer and waits for the writer's end.
struct Host final : ZQREncoderControllerDelegate, ZQRMovieWriterControllerDelegate {
    ZQRMovieWriterControllerPtr writer;
    std::binary_semaphore ended{0};
    bool success = false;

    void hasFrameAvailable(ZQREncoderController&, const ZQRFramePtr& frame) override {
        writer->addEncodedFrame(frame);
    }
    void hasNonCriticalError(ZQREncoderController&, const ZQErrorPtr& error) override {
        std::fprintf(stderr, "%s\n", error->localizedDescription().c_str());
    }
    void didFinishSuccessfully(ZQREncoderController&, bool, const ZQErrorPtr&) override {}
    void didSetupMovieWriter(const ZQRMovieWriterControllerPtr&, const ZQDictionary&) override {}
    void didFinishSuccessfully(const ZQRMovieWriterControllerPtr&, bool successful,
                               const ZQErrorPtr&) override {
        success = successful;
        ended.release();
    }
};

}  // namespace

int main() {
    // What is recorded: 720p25 as ProRes 422 Proxy, two channels of 16 bit.
    const auto preset = ZHLIngestCapturePreset::capturePresetWithFormatNamed("720p25", fourCC("apco"));
    const auto video = ZQRVideoProperties::initWithCapturePreset(preset);
    const auto audio = ZQRAudioProperties::initWithBitRate(16, 2, 48000, 2);
    audio->setAudioFormatFlagIsSignedInteger(true);
    audio->setAudioFormatFlagIsPacked(true);

    const auto host = std::make_shared<Host>();
    // One encoder per format under an identifier of one character …
    const auto encoder = ZQREncoderController::initWithVideoProperties(video, fifoCapacity);
    encoder->setControllerID("1");
    encoder->setDelegate(host);
    // … and one writer per file under the same character and a number.
    std::filesystem::remove("example.mov");
    const auto file = ZQRAVFoundationWriter::initWithVideoProperties(
        video, audio, {{ZQRMovieWriterOptionContainer, ZQRAVFoundationWriter::ContainerQuickTime}});
    file->setMovieWriterID("11");
    file->setLength(frames, "example.mov", "REEL1");
    host->writer = ZQRMovieWriterController::initWithMovieWriter(file, host, fifoCapacity);
    host->writer->start();
    encoder->start();

    BarsAndToneSource::Options options;
    options.durationFrames = frames;
    const auto source = BarsAndToneSource::sourceWithFormat(
        SourceFormat::withVideoFormat(*ZHLVideoFormat::formatNamed("720p25"), platform::pixelFormatV210, 2,
                                      16),
        options);
    for (std::uint64_t n = 0; n < frames; ++n) {
        const auto frame = source->nextFrame();
        if (n + 1 == frames) frame->setFrameStatus(frame->frameStatus() | ZQRFrameStatusLast);
        // The writer first: a fast encoder could otherwise deliver the last frame before the writer knows of
        // it.
        while (encoder->currentCapacity() > 25) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (!host->writer->addRawFrame(frame) || !encoder->encodeFrame(frame)) return 1;
    }
    host->ended.acquire();
    encoder->shutdown();
    host->writer->shutdown();
    std::printf("%s: %llu frames\n", file->fullFilename().c_str(),
                static_cast<unsigned long long>(file->framesRecorded()));
    return host->success && !file->assetWriterError() && file->framesRecorded() == frames ? 0 : 1;
}
