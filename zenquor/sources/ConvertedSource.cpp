#include "zenquor/sources/ConvertedSource.h"

#include <chrono>
#include <utility>

#include "zenquor/sources/MemoryFrame.h"

namespace zenquor {
namespace {

constexpr std::chrono::seconds pictureWait{10};

}  // namespace

FrameSourcePtr ConvertedSource::sourceWithSource(FrameSourcePtr source, FourCC pixelFormat,
                                                 std::size_t pictureLimit) {
    return FrameSourcePtr(new ConvertedSource(std::move(source), pixelFormat, pictureLimit));
}

ConvertedSource::ConvertedSource(FrameSourcePtr source, FourCC pixelFormat, std::size_t pictureLimit)
    : source_(std::move(source)),
      format_(source_->format()),
      pool_(format_.width, format_.height, pixelFormat, pictureLimit) {
    format_.pixelFormat = pixelFormat;
}

ZQRFramePtr ConvertedSource::fail(int code, const char* text) {
    error_ = ZQError::errorWithDomain(frameSourceErrorDomain, code, text, text);
    return nullptr;
}

ZQRFramePtr ConvertedSource::nextFrame() {
    error_ = nullptr;
    if (!waiting_) waiting_ = source_->nextFrame();
    if (!waiting_) return nullptr;
    const auto picture = pool_.pixelBuffer(pictureWait);
    if (!picture) return fail(frameSourceErrorNoFreePicture, "Every picture is still in use.");
    const ZQRFramePtr frame = std::exchange(waiting_, nullptr);
    const auto from = frame->videoPixelBuffer();
    if (!from || transfer_.transferImage(*from, *picture) != platform::noErr)
        return fail(frameSourceErrorInvalidFormat, "The pictures of this source cannot be converted.");
    picture->setAttachments(from->attachments());
    return frameWithPicture(*frame, picture);
}

ZQRFramePtr ConvertedSource::frameWithPicture(const ZQRFrame& frame, platform::PixelBufferPtr picture) const {
    MemoryFrame::Contents contents;
    contents.picture = std::move(picture);
    contents.audio = frame.frameAudioData();
    contents.audioBytesPerFrame = frame.audioBytesPerFrame();
    contents.audioChannels = frame.audioChannels();
    contents.frameID = frame.frameID();
    contents.flags = frame.flags();
    contents.duration = frame.frameDuration();
    contents.absoluteTime = frame.absoluteFrameTime();
    contents.relativeTime = frame.relativeFrameTime();
    contents.timecode = frame.frameTimecode();
    contents.writeCaptions = frame.writeCaptions();
    contents.status = frame.frameStatus();
    contents.vpID = frame.vpID();
    contents.packets = frame.vancPackets();
    return MemoryFrame::frameWithContents(std::move(contents));
}

}  // namespace zenquor
