#include "RecordingSession.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "CaptionFeed.h"
#include "Interrupt.h"
#include "Progress.h"
#include "RecordingOutput.h"
#include "zenquor/core/Guarded.h"
#include "zenquor/encoders/ZQREncoderController.h"
#include "zenquor/host/ZHLIngestCapturePreset.h"
#include "zenquor/sources/BarsAndToneSource.h"
#include "zenquor/sources/ConvertedSource.h"
#include "zenquor/sources/MediaFileSource.h"

namespace zenquor::tools {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr const char* controllerID = "1";
// Pictures that may wait between the source and the disk before a source that is not paced by a clock waits
// too.
constexpr std::uint64_t intraBacklog = 40;
constexpr std::uint64_t longGOPBacklog = 64;
constexpr std::size_t picturesBeyondBacklog = 20;
constexpr std::uint64_t fifoReserve = 25;
constexpr std::chrono::milliseconds backlogPoll{2};
constexpr std::chrono::milliseconds endPoll{20};
// HEVC always wants a rate: bits per pixel that live material looks well at.
constexpr double hevcBitsPerPixel = 0.1;

void complain(const std::string& sentence) {
    fmt::print(stderr, "zenquor: {}\n", sentence);
}

/// Families of codecs by the start of their codes.
struct Family {
    std::string_view start;
    bool isLongGOP = false;
    FourCC pixelFormat = platform::pixelFormatV210;
    std::uint32_t codedWidth = 0;  // pixels; 0: the picture's own
};
constexpr Family families[] = {
    {"avc1", true, platform::pixelFormat2vuy},
    {"hvc1", true, platform::pixelFormat2vuy},
    {"xdv2", true, platform::pixelFormat2vuy, 1440},
    {"xdv3", true, platform::pixelFormat2vuy, 1440},
    {"xdv6", true, platform::pixelFormat2vuy, 1440},
    {"xdv7", true, platform::pixelFormat2vuy, 1440},
    {"xdv8", true, platform::pixelFormat2vuy, 1440},
    {"xd", true, platform::pixelFormat2vuy},
    {"xv00", true},
    {"xv01", true},
    {"xv02", true},
    {"xv03", true},
    {"xv04", true},
    {"xv05", true},
    {"xv06", true},
    {"xalg", true},
    {"d7x1"},
    {"dix1"},
    {"dpx1"},
    {"rhqx"},
    {"rr41", false, platform::pixelFormat32ARGB},
    {"drx1", false, platform::pixelFormat32ARGB},
    {"2vuy", false, platform::pixelFormat2vuy},
    {"jpeg", false, platform::pixelFormat2vuy},
    {"dv", false, platform::pixelFormat2vuy},
    {"mx", false, platform::pixelFormat2vuy},
    {"d", false, platform::pixelFormat2vuy},   // DNxHD of eight bits
    {"hr", false, platform::pixelFormat2vuy},  // DNxHR likewise
};

/// The first that fits; codecs of no family code ten bits without reordering.
Family familyOf(FourCC codec) {
    const std::string code = fourCCString(codec);
    for (const auto& family : families) {
        if (code.starts_with(family.start)) return family;
    }
    return {};
}

bool isMXF(const std::filesystem::path& output) {
    return output.extension() == ".mxf";
}

ZHLIngestCapturePresetPtr presetFor(const RecordOptions& options) {
    const auto preset = ZHLIngestCapturePreset::capturePreset();
    preset->setVideoFormat(options.format);
    if (const auto width = familyOf(options.codec).codedWidth; width != 0) preset->setVideoWidth(width);
    preset->setUpdateMXFHeaderLength(options.refreshHeader);
    preset->setCompressionComponent(ZHLCompressionComponent::componentWithCode(options.codec));
    const auto h264 = ZHLH264Preferences::preferences();
    h264->setEncoderSpeed(options.speed);
    preset->setH264Preferences(h264);
    const auto h265 = ZHLH265Preferences::preferences();
    h265->setEncoderSpeed(options.speed);
    h265->setBitrate(static_cast<std::uint64_t>(hevcBitsPerPixel * options.format.width *
                                                options.format.height * options.format.framerate / 100));
    preset->setH265Preferences(h265);
    return preset;
}

ZQRAudioPropertiesPtr audioPropertiesFor(const RecordOptions& options) {
    const bool packed = options.audioBits == 16;
    const auto audio = ZQRAudioProperties::initWithBitRate(
        options.audioBits, packed ? 2 : 4, SourceFormat::audioSampleRate, options.audioChannels);
    audio->setNativeChannelCount(options.audioChannels);
    audio->setAudioFormatFlagIsSignedInteger(true);
    audio->setAudioFormatFlagIsPacked(packed);
    audio->setAudioFormatFlagIsAlignedHigh(!packed);
    audio->setAudioAlignment(options.audioPerTrack == 2 ? 1 : 0);
    return audio;
}

/// Why a file cannot be written to @p path; empty when nothing speaks against it.
std::string obstacleAt(const std::filesystem::path& path) {
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    std::error_code status;
    if (!std::filesystem::is_directory(folder, status)) {
        return fmt::format("The folder \"{}\" does not exist.", folder.string());
    }
    if (access(folder.c_str(), W_OK) != 0) {
        return fmt::format("The folder \"{}\" cannot be written to: {}.", folder.string(),
                           std::generic_category().message(errno));
    }
    return {};
}

}  // namespace

struct RecordingSession::Implementation final : ZQREncoderControllerDelegate,
                                                std::enable_shared_from_this<Implementation> {
    explicit Implementation(RecordOptions given) : options(std::move(given)) {}

    bool run();
    bool openSource();
    bool openAncillary(ZQCKTimebase timebase, bool hasCaptions);
    bool openOutputs();
    bool record();
    bool waitForRoom(SteadyClock::time_point due);
    bool isBroken() const;
    /// Elements of each queue.
    std::uint64_t capacity() const { return backlog + picturesBeyondBacklog + fifoReserve; }
    /// A recording at its own pace waits for free pictures; one at the clock's must not, or it would fall behind unseen.
    std::uint64_t pictureLimit() const {
        return options.realtime ? 2 * capacity() : backlog + picturesBeyondBacklog;
    }
    std::uint64_t fullestQueue() const;
    void handOn(const ZQRFramePtr& frame);
    void finish(bool wait);
    void report() const;
    Progress::State progress(const ZQRFramePtr& frame) const;

    void hasFrameAvailable(ZQREncoderController&, const ZQRFramePtr& frame) override {
        for (const auto& output : outputs) output->addEncodedFrame(frame);
    }
    void hasNonCriticalError(ZQREncoderController&, const ZQErrorPtr& error) override {
        complain("Note: " + error->localizedDescription());
    }
    void didFinishSuccessfully(ZQREncoderController&, bool success, const ZQErrorPtr& error) override {
        if (!success && error) encoderError.store(error);
    }

    const RecordOptions options;
    std::uint64_t backlog = intraBacklog;
    FrameSourcePtr source;
    std::unique_ptr<CaptionFeed> captions;
    ZQREncoderControllerPtr encoder;
    std::vector<RecordingOutputPtr> outputs;
    Guarded<ZQErrorPtr> encoderError;
    std::uint64_t submitted = 0;
    double seconds = 0;
    Progress display;
};

bool RecordingSession::Implementation::openSource() {
    const FourCC pixelFormat = familyOf(options.codec).pixelFormat;
    const auto format = SourceFormat::withVideoFormat(
        options.format, pixelFormat == platform::pixelFormat32ARGB ? platform::pixelFormatV210 : pixelFormat,
        options.audioChannels, options.audioBits);
    ZQErrorPtr error;
    bool hasCaptions = false;
    if (options.input.empty()) {
        BarsAndToneSource::Options bars;
        bars.startTimecode = options.startTimecode;
        bars.durationFrames = options.frames;
        bars.title = "ZENQUOR";
        bars.pictureLimit = pictureLimit();
        source = BarsAndToneSource::sourceWithFormat(format, bars, &error);
    } else {
        MediaFileSource::Options file;
        file.startTimecode = options.startTimecode;
        file.useTimecode = !options.startTimecode;
        file.maximumFrames = options.frames;
        file.pictureLimit = pictureLimit();
        const auto media = MediaFileSource::sourceWithURL(options.input, format, file, &error);
        hasCaptions = media && media->hasCaptions();
        source = media;
    }
    if (!source) complain(error->localizedDescription());
    if (source && pixelFormat != format.pixelFormat)
        source = ConvertedSource::sourceWithSource(source, pixelFormat, pictureLimit());
    return source && openAncillary(format.timebase(), hasCaptions);
}

/// Opens the files that captions come from and go to.
bool RecordingSession::Implementation::openAncillary(ZQCKTimebase timebase, bool hasCaptions) {
    const bool teletext = options.captionSettings.output == CaptionSettings::Output::OP47;
    const bool sendsCaptions = hasCaptions || (!options.captions.empty() && !teletext);
    // An MXF file takes packets as they are; movies need one of their track's kind on every frame.
    const bool writesMovie = !std::ranges::all_of(options.outputs, isMXF);
    captions =
        std::make_unique<CaptionFeed>(sendsCaptions && writesMovie ? options.captionTrack : 0, timebase);
    captions->setCues(options.cues);
    ZQErrorPtr error;
    bool isOpen =
        options.captions.empty() || captions->readFrom(options.captions, options.captionSettings, &error);
    if (isOpen && !options.teletext.empty()) {
        CaptionSettings settings = options.captionSettings;
        settings.output = CaptionSettings::Output::OP47;
        isOpen = captions->readFrom(options.teletext, settings, &error);
    }
    for (const auto& path : options.captionFiles) isOpen = isOpen && captions->writeCaptionsTo(path, &error);
    for (const auto& path : options.ancillaryFiles)
        isOpen = isOpen && captions->writeAncillaryTo(path, &error);
    if (!isOpen) complain(error->localizedDescription());
    const bool keepsAll = !options.ancillaryFiles.empty() || std::ranges::any_of(options.outputs, isMXF);
    if ((teletext || !options.teletext.empty()) && !keepsAll) {
        complain("Note: movies do not carry teletext subtitles; record an .mxf, or --write-anc FILE.mcc.");
    } else if (!options.cues.empty() && !keepsAll) {
        complain("Note: movies do not carry cue messages; record an .mxf, or --write-anc FILE.mcc.");
    }
    return isOpen;
}

bool RecordingSession::Implementation::openOutputs() {
    for (const auto& path : options.outputs) {
        if (const auto obstacle = obstacleAt(path); !obstacle.empty()) {
            complain(obstacle);
            return false;
        }
    }
    const auto video = ZQRVideoProperties::initWithCapturePreset(presetFor(options));
    video->setScanMode(options.format.interlaced ? 1 : 0);
    video->setNativeVideoWidth(options.format.width);
    encoder = ZQREncoderController::initWithVideoProperties(video, static_cast<std::int64_t>(capacity()));
    encoder->setControllerID(controllerID);
    encoder->setCapturePreset(video->capturePreset());
    encoder->setDelegate(weak_from_this());
    for (std::size_t i = 0; i < options.outputs.size(); ++i) {
        outputs.push_back(RecordingOutput::create(options.outputs[i],
                                                  fmt::format("{}{}", controllerID, i + 1), options, video,
                                                  audioPropertiesFor(options), capacity()));
    }
    for (const auto& output : outputs) output->start();
    encoder->start();
    return true;
}

bool RecordingSession::Implementation::isBroken() const {
    if (encoderError.load()) return true;
    return std::ranges::all_of(outputs, [](const auto& output) { return output->hasEnded(); });
}

std::uint64_t RecordingSession::Implementation::fullestQueue() const {
    ZQDictionaryList diagnostics;
    encoder->gatherQueueDiagnostics(diagnostics);
    for (const auto& output : outputs) {
        if (!output->hasEnded()) output->gatherQueueDiagnostics(diagnostics);
    }
    std::uint64_t fullest = 0;
    for (const auto& queue : diagnostics) {
        fullest = std::max(fullest, static_cast<std::uint64_t>(queue["elementCount"].integerValue()));
    }
    return fullest;
}

/// Waits for the frame's time, or, in a recording that nobody paces, for the queues to have room.
/// @return false when the recording broke meanwhile.
bool RecordingSession::Implementation::waitForRoom(SteadyClock::time_point due) {
    if (options.realtime) {
        std::this_thread::sleep_until(due);
        return !isBroken();
    }
    while (fullestQueue() > backlog) {
        if (isBroken()) return false;
        std::this_thread::sleep_for(backlogPoll);
    }
    return !isBroken();
}

void RecordingSession::Implementation::handOn(const ZQRFramePtr& frame) {
    captions->apply(frame, submitted);
    // The writers hear of a frame before the encoder does: a fast encoder could otherwise deliver the last
    // frame to a writer that does not know yet that it is the last.
    for (const auto& output : outputs) output->addRawFrame(frame);
    ZQErrorPtr error;
    if (!encoder->encodeFrame(frame, &error)) encoderError.store(error);
    ++submitted;
}

Progress::State RecordingSession::Implementation::progress(const ZQRFramePtr& frame) const {
    Progress::State state;
    state.framesWritten = submitted;
    for (const auto& output : outputs)
        state.framesWritten = std::min(state.framesWritten, output->framesWritten());
    const auto timebase = source->format().timebase();
    state.framesTotal = options.frames.value_or(source->durationFrames().value_or(0));
    state.secondsWritten = static_cast<double>(state.framesWritten) / timebase.realFramesPerSecond();
    if (frame && frame->frameTimecode()) state.timecode = frame->frameTimecode()->description();
    state.fullness = static_cast<double>(fullestQueue()) / static_cast<double>(capacity());
    return state;
}

/// The road of every frame. One frame is held back, so that the last one is known as such when it is handed
/// on.
bool RecordingSession::Implementation::record() {
    const auto start = SteadyClock::now();
    const double frameSeconds = 1.0 / source->format().timebase().realFramesPerSecond();
    ZQRFramePtr held = source->nextFrame();
    if (!held) {
        complain(source->error() ? source->error()->localizedDescription()
                                 : fmt::format("\"{}\" holds no frame.", options.input.string()));
        return false;
    }
    while (held) {
        ZQRFramePtr next;
        const bool stop = Interrupt::wasRequested() || (options.frames && submitted + 1 >= *options.frames);
        if (!stop) next = source->nextFrame();
        if (!next) held->setFrameStatus(held->frameStatus() | ZQRFrameStatusLast);
        const auto due =
            start + std::chrono::duration_cast<SteadyClock::duration>(
                        std::chrono::duration<double>(static_cast<double>(submitted) * frameSeconds));
        if (!waitForRoom(due)) break;
        handOn(held);
        if (display.isDue()) display.show(progress(held));
        held = std::exchange(next, nullptr);
    }
    if (const auto error = source->error()) {
        complain(error->localizedDescription());
        return false;
    }
    return true;
}

/// Lets the threads write what is on its way, then ends them and looks at the files.
void RecordingSession::Implementation::finish(bool wait) {
    while (wait && !isBroken()) {
        if (display.isDue()) display.show(progress(nullptr));
        std::this_thread::sleep_for(endPoll);
    }
    encoder->shutdown();
    for (const auto& output : outputs) output->close();
    seconds = display.elapsedSeconds();
    display.finish(progress(nullptr));
    if (const auto error = encoderError.load())
        complain(error->userInterfaceDescription() + " --log error tells more.");
}

void RecordingSession::Implementation::report() const {
    for (const auto& output : outputs) {
        std::error_code status;
        const auto size = std::filesystem::file_size(output->path(), status);
        const double duration =
            static_cast<double>(output->framesWritten()) / source->format().timebase().realFramesPerSecond();
        if (!status) {
            fmt::print("{}: {} frames written, {} dropped, {:.2f} s, {:.1f} MB, {:.2f} times real time\n",
                       output->path().string(), output->framesWritten(), submitted - output->framesWritten(),
                       duration, static_cast<double>(size) / 1e6, seconds > 0 ? duration / seconds : 0.0);
        }
        if (!output->succeeded() && !encoderError.load()) {
            complain(fmt::format("\"{}\": {}", output->path().string(), output->failure()));
        }
    }
}

bool RecordingSession::Implementation::run() {
    const auto gop = static_cast<std::uint64_t>(std::lround(options.format.framerate / 100.0));
    // A long-GOP encoder gives frames back a group late, so that much must fit in.
    if (familyOf(options.codec).isLongGOP) backlog = std::max(longGOPBacklog, 2 * gop + fifoReserve);
    Interrupt::install();
    if (!openSource() || !openOutputs()) return false;
    const bool recorded = record();
    finish(submitted > 0);
    report();
    bool sidecarFailed = false;
    for (const auto& sentence : captions->close(sidecarFailed)) complain(sentence);
    return recorded && !sidecarFailed && !encoderError.load() &&
           std::ranges::all_of(outputs, [](const auto& output) { return output->succeeded(); });
}

RecordingSession::RecordingSession(RecordOptions options)
    : implementation_(std::make_shared<Implementation>(std::move(options))) {}
RecordingSession::~RecordingSession() = default;

bool RecordingSession::run() {
    return implementation_->run();
}

}  // namespace zenquor::tools
