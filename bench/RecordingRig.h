#pragma once
// A recording from pictures in memory, for the bench programs: the whole library between a loop and a file.

#include <sys/resource.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "zenquor/audio/ZQRAudioProperties.h"
#include "zenquor/encoders/ZQREncoderController.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/media/ZQRVideoProperties.h"
#include "zenquor/sources/MemoryFrame.h"
#include "zenquor/sources/SourceFormat.h"
#include "zenquor/writers/ZQRAVFoundationWriter.h"
#include "zenquor/writers/ZQRMovieWriterController.h"

namespace bench {

/// Seconds of processor time of the whole process, its threads and the kernel's work for them.
inline double processSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// The same of all children that have ended.
inline double childSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

inline double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Bytes of memory that the process occupies.
inline std::uint64_t residentBytes() {
    unsigned long pages = 0;
    unsigned long resident = 0;
    if (FILE* const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%lu %lu", &pages, &resident) != 2) resident = 0;
        std::fclose(file);
    }
    return std::uint64_t{resident} * 4096;
}

/// Frames between two looks at the queues.
inline constexpr std::uint64_t looksEvery = 8;

struct Cost {
    double cpu = 0;  // seconds
    double wall = 0;
};

template <typename Job>
Cost costOf(Job&& job) {
    const double cpu = processSeconds() + childSeconds();
    const double wall = wallSeconds();
    job();
    return {processSeconds() + childSeconds() - cpu, wallSeconds() - wall};
}

struct RigOptions {
    const char* format = "1080p25";
    zenquor::FourCC codec = zenquor::fourCC("v210");
    std::uint64_t frames = 100;
    std::uint32_t audioChannels = 2;
    bool keepCache = true;
    std::string speed = "live";
    std::uint64_t backlog = 40;
    std::function<void(std::uint64_t)> atFrame;  // runs before each frame is handed on
};

/// A handful of pictures that differ, and audio for one frame.
class Material {
public:
    Material(const zenquor::SourceFormat& format, std::size_t count) : format_(format) {
        std::mt19937 noise(1);
        for (std::size_t i = 0; i < count; ++i) {
            zenquor::platform::PixelBufferPtr picture;
            zenquor::platform::PixelBuffer::create(format.width, format.height, format.pixelFormat, picture);
            draw(*picture, static_cast<std::uint32_t>(i), noise);
            pictures_.push_back(picture);
        }
        samples_ = static_cast<std::size_t>(zenquor::SourceFormat::audioSampleRate * format.frameDuration() /
                                            format.timeScale());
        audio_ = zenquor::ZQData::filling(samples_ * format.audioBytesPerFrame(),
                                          [&](std::span<std::uint8_t> bytes) {
                                              for (auto& b : bytes) b = static_cast<std::uint8_t>(noise());
                                          });
    }

    const std::vector<zenquor::platform::PixelBufferPtr>& pictures() const { return pictures_; }
    const zenquor::ZQData& audio() const { return audio_; }
    const zenquor::SourceFormat& format() const { return format_; }

    zenquor::ZQRFramePtr frame(std::uint64_t n, bool last) const {
        zenquor::MemoryFrame::Contents contents;
        contents.picture = pictures_[n % pictures_.size()];
        contents.audio = audio_;
        contents.audioBytesPerFrame = format_.audioBytesPerFrame();
        contents.audioChannels = format_.audioChannels;
        contents.frameID = n;
        contents.duration = format_.frameDuration();
        contents.relativeTime = static_cast<std::int64_t>(n) * format_.frameDuration();
        contents.absoluteTime = contents.relativeTime;
        contents.timecode =
            zenquor::ZQCKTimecode::timecodeWithFrames(static_cast<std::int64_t>(n), format_.timebase());
        contents.status = last ? zenquor::ZQRFrameStatusLast : 0U;
        return zenquor::MemoryFrame::frameWithContents(std::move(contents));
    }

private:
    /// Moving gradients with some noise, so that an encoder has honest work.
    void draw(zenquor::platform::PixelBuffer& picture, std::uint32_t shift, std::mt19937& noise) const {
        for (std::uint32_t y = 0; y < picture.height(); ++y) {
            std::uint8_t* const row = picture.mutableRow(y);
            for (std::size_t x = 0; x < picture.bytesPerRow(); ++x) {
                const auto wave = (x / 2 + y + shift * 6) ^ ((x / 64 + shift) * (y / 48));
                row[x] = static_cast<std::uint8_t>(
                    format_.pixelFormat == zenquor::platform::pixelFormat2vuy && x % 2 == 0
                        ? 112 + wave % 32
                        : 40 + wave % 160 + (noise() & 7));
            }
        }
    }

    zenquor::SourceFormat format_;
    std::vector<zenquor::platform::PixelBufferPtr> pictures_;
    std::size_t samples_ = 0;
    zenquor::ZQData audio_;
};

/// Records @p options.frames frames of @p material to @p path and waits until the file is closed.
class RecordingRig final : public zenquor::ZQREncoderControllerDelegate,
                           public zenquor::ZQRMovieWriterControllerDelegate,
                           public std::enable_shared_from_this<RecordingRig> {
public:
    /// @return seconds from the first coded frame to the last: without the search for an encoder at the start.
    static double record(const Material& material, const std::string& path, const RigOptions& options) {
        const auto rig = std::make_shared<RecordingRig>();
        rig->run(material, path, options);
        return rig->last_ - rig->first_;
    }

    void hasFrameAvailable(zenquor::ZQREncoderController&, const zenquor::ZQRFramePtr& frame) override {
        last_ = wallSeconds();
        if (first_ == 0) first_ = last_;
        if (!writer_->addEncodedFrame(frame)) failed_ = true;
    }
    void hasNonCriticalError(zenquor::ZQREncoderController&, const zenquor::ZQErrorPtr&) override {}
    void didFinishSuccessfully(zenquor::ZQREncoderController&, bool success,
                               const zenquor::ZQErrorPtr&) override {
        if (!success) failed_ = true;
    }
    void didSetupMovieWriter(const zenquor::ZQRMovieWriterControllerPtr&,
                             const zenquor::ZQDictionary&) override {}
    void didFinishSuccessfully(const zenquor::ZQRMovieWriterControllerPtr&, bool success,
                               const zenquor::ZQErrorPtr&) override {
        if (!success) failed_ = true;
        ended_ = true;
    }

private:
    void run(const Material& material, const std::string& path, const RigOptions& options) {
        using namespace zenquor;
        std::filesystem::remove(path);
        const auto preset =
            ZHLIngestCapturePreset::capturePresetWithFormatNamed(options.format, options.codec);
        const auto preferences = ZHLH264Preferences::preferences();
        preferences->setEncoderSpeed(options.speed);
        preset->setH264Preferences(preferences);
        const auto video = ZQRVideoProperties::initWithCapturePreset(preset);
        const auto audio = ZQRAudioProperties::initWithBitRate(16, 2, 48000, options.audioChannels);
        audio->setNativeChannelCount(options.audioChannels);
        audio->setAudioAlignment(1);  // stereo tracks
        audio->setAudioFormatFlagIsSignedInteger(true);
        audio->setAudioFormatFlagIsPacked(true);
        const auto capacity = options.backlog * 2 + 64;
        encoder_ = ZQREncoderController::initWithVideoProperties(video, static_cast<std::int64_t>(capacity));
        encoder_->setControllerID("1");
        encoder_->setDelegate(weak_from_this());
        const auto file = ZQRAVFoundationWriter::initWithVideoProperties(
            video, audio,
            {{ZQRMovieWriterOptionContainer, ZQRAVFoundationWriter::ContainerQuickTime},
             {ZQRMovieWriterOptionCacheMask, options.keepCache ? 1 : 0},
             {ZQRMovieWriterOptionH264Prefs, preferences}});
        file->setMovieWriterID("11");
        file->setLength(static_cast<std::int64_t>(options.frames), path, "");
        writer_ = ZQRMovieWriterController::initWithMovieWriter(file, weak_from_this(), capacity);
        writer_->start();
        encoder_->start();
        for (std::uint64_t n = 0; n < options.frames && !failed_; ++n) {
            if (options.atFrame) options.atFrame(n);
            // As seldom as a host would look: the queues hold many times what passes in between.
            while (n % looksEvery == 0 && fullestQueue() > static_cast<std::int64_t>(options.backlog) &&
                   !failed_)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            const auto frame = material.frame(n, n + 1 == options.frames);
            if (!writer_->addRawFrame(frame) || !encoder_->encodeFrame(frame)) failed_ = true;
        }
        while (!ended_ && !failed_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        encoder_->shutdown();
        writer_->shutdown();
        if (failed_ || file->assetWriterError() || file->framesRecorded() != options.frames) {
            std::fprintf(stderr, "the recording %s failed\n", path.c_str());
            std::exit(1);
        }
    }

    std::int64_t fullestQueue() const {
        zenquor::ZQDictionaryList diagnostics;
        encoder_->gatherQueueDiagnostics(diagnostics);
        writer_->gatherQueueDiagnostics(diagnostics);
        std::int64_t fullest = 0;
        for (const auto& queue : diagnostics)
            fullest = std::max(fullest, queue["elementCount"].integerValue());
        return fullest;
    }

    zenquor::ZQREncoderControllerPtr encoder_;
    zenquor::ZQRMovieWriterControllerPtr writer_;
    double first_ = 0;  // of the encoder's thread until it has ended
    double last_ = 0;
    std::atomic<bool> ended_{false};
    std::atomic<bool> failed_{false};
};

}  // namespace bench
