#include "zenquor/sources/BarsAndToneSource.h"

#include <utility>

#include "zenquor/audio/ZQRAudioHelper.h"
#include "zenquor/platform/PixelBufferPool.h"
#include "zenquor/sources/MemoryFrame.h"
#include "zenquor/sources/detail/ColorBars.h"
#include "zenquor/sources/detail/TestPicture.h"
#include "zenquor/sources/detail/ToneGenerator.h"

namespace zenquor {
namespace {

constexpr double fullAmplitude = 1;
constexpr double reducedAmplitude = 0.75;

bool isFiftyHertz(const SourceFormat& format) {
    return format.framerate == 2500 || format.framerate == 5000;
}

std::array<detail::VideoColor, 8> barsFor(const SourceFormat& format, BarsAndToneSource::Bars bars) {
    const auto matrix = *format.pictureAttachments().yCbCrMatrix;
    const int bits = format.pixelFormat == platform::pixelFormatV210 ? 10 : 8;
    if (bars == BarsAndToneSource::Bars::Percent100)
        return detail::colorBars(fullAmplitude, fullAmplitude, matrix, bits);
    const double white = isFiftyHertz(format) ? fullAmplitude : reducedAmplitude;
    return detail::colorBars(white, reducedAmplitude, matrix, bits);
}

/// The label of @p timecode in the recording's timebase.
ZQCKTimecode startFor(const SourceFormat& format, const std::optional<ZQCKTimecode>& timecode) {
    const ZQCKTimebase base = format.timebase();
    if (!timecode) return ZQCKTimecode::timecodeWithHours(10, 0, 0, 0, base);
    return timecode->timebase() == base
               ? *timecode
               : ZQCKTimecode::timecodeWithHours(timecode->hours(), timecode->minutes(), timecode->seconds(),
                                                 timecode->frames(), base);
}

}  // namespace

struct BarsAndToneSource::Implementation {
    Implementation(const SourceFormat& sourceFormat, Options sourceOptions)
        : format(sourceFormat),
          options(std::move(sourceOptions)),
          start(startFor(format, options.startTimecode)),
          picture(format, barsFor(format, options.bars), options.title),
          tone(format),
          cadence(ZQRAudioHelper::initWithAudioFormat(format.audioFormat(), format.timebase())),
          pool(format.width, format.height, format.pixelFormat, options.pictureLimit,
               [this](platform::PixelBuffer& fresh) { picture.prepare(fresh); }),
          attachments(format.pictureAttachments()) {}

    ZQRFramePtr nextFrame();
    ZQRFramePtr makeFrame(platform::PixelBufferPtr pixels);

    SourceFormat format;
    Options options;
    ZQCKTimecode start;
    detail::TestPicture picture;
    detail::ToneGenerator tone;
    ZQRAudioHelperPtr cadence;
    platform::PixelBufferPool pool;
    platform::PixelBuffer::Attachments attachments;
    std::uint64_t index = 0;
    std::uint64_t audioPosition = 0;  // sample frames handed out
    ZQErrorPtr error;
};

BarsAndToneSource::BarsAndToneSource() = default;
BarsAndToneSource::~BarsAndToneSource() = default;

std::shared_ptr<BarsAndToneSource> BarsAndToneSource::sourceWithFormat(const SourceFormat& format,
                                                                       Options options, ZQErrorPtr* error) {
    if (!format.isValid()) {
        fail(error, ZQError::errorWithDomain(frameSourceErrorDomain, frameSourceErrorInvalidFormat,
                                             "Bars and tone cannot be made in this format."));
        return nullptr;
    }
    std::shared_ptr<BarsAndToneSource> source(new BarsAndToneSource);
    source->implementation_ = std::make_unique<Implementation>(format, std::move(options));
    return source;
}

ZQRFramePtr BarsAndToneSource::Implementation::makeFrame(platform::PixelBufferPtr pixels) {
    MemoryFrame::Contents contents;
    contents.frameID = index;
    contents.timecode = start.addingFrames(static_cast<std::int64_t>(index));
    picture.draw(*pixels, index, *contents.timecode);
    pixels->setAttachments(attachments);
    contents.picture = std::move(pixels);
    contents.duration = format.frameDuration();
    contents.relativeTime = contents.absoluteTime = static_cast<std::int64_t>(index) * contents.duration;
    if (format.audioChannels > 0) {
        const std::uint32_t samples = cadence->audioFramesForNextVideoFrame();
        contents.audio = tone.samples(audioPosition, samples);
        contents.audioBytesPerFrame = format.audioBytesPerFrame();
        contents.audioChannels = format.audioChannels;
        audioPosition += samples;
    }
    if (options.durationFrames && index + 1 == *options.durationFrames) contents.status = ZQRFrameStatusLast;
    ++index;
    return MemoryFrame::frameWithContents(std::move(contents));
}

ZQRFramePtr BarsAndToneSource::Implementation::nextFrame() {
    error.reset();
    if (options.durationFrames && index >= *options.durationFrames) return nullptr;
    auto pixels = pool.pixelBuffer(options.pictureWait);
    if (!pixels) {
        error = ZQError::errorWithDomain(frameSourceErrorDomain, frameSourceErrorNoFreePicture,
                                         "All pictures of the source are still in use.");
        return nullptr;
    }
    return makeFrame(std::move(pixels));
}

ZQRFramePtr BarsAndToneSource::nextFrame() {
    return implementation_->nextFrame();
}

const SourceFormat& BarsAndToneSource::format() const {
    return implementation_->format;
}

std::optional<std::uint64_t> BarsAndToneSource::durationFrames() const {
    return implementation_->options.durationFrames;
}

ZQCKTimecode BarsAndToneSource::startTimecode() const {
    return implementation_->start;
}

ZQErrorPtr BarsAndToneSource::error() const {
    return implementation_->error;
}

}  // namespace zenquor
