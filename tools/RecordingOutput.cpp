#include "RecordingOutput.h"

#include <utility>

namespace zenquor::tools {
namespace {

constexpr const char* commandErrorDomain = "ZQCommandErrorDomain";
constexpr int commandErrorEndedEarly = -1;
constexpr int commandErrorTooSlow = -2;

/// A queue refused a frame: whoever empties it cannot keep up.
ZQErrorPtr tooSlow(const ZQErrorPtr& cause) {
    return ZQError::errorWithDomain(
        commandErrorDomain, commandErrorTooSlow, describe(cause.get()),
        "This machine cannot keep up with the recording. Choose a lighter codec, a smaller "
        "format or a faster disk, then record again.");
}

}  // namespace

RecordingOutputPtr RecordingOutput::create(const std::filesystem::path& path, const std::string& writerID,
                                           const RecordOptions& options, const ZQRVideoPropertiesPtr& video,
                                           const ZQRAudioPropertiesPtr& audio, std::uint64_t fifoCapacity) {
    const RecordingOutputPtr output(new RecordingOutput);
    output->wanted_ = path;
    output->writer_ = OutputWriter::create(path, options, video, audio);
    const auto& writer = output->writer_.writer;
    writer->setMovieWriterID(writerID);
    writer->setSeparatorString("-");
    writer->setLength(static_cast<std::int64_t>(options.frames.value_or(0)), path.string(), options.reel);
    if (options.frames) writer->setFramesLeftToRecord(static_cast<std::int64_t>(*options.frames));
    output->controller_ = ZQRMovieWriterController::initWithMovieWriter(writer, output, fifoCapacity);
    return output;
}

void RecordingOutput::addRawFrame(const ZQRFramePtr& frame) {
    ZQErrorPtr error;
    if (!hasEnded() && !controller_->addRawFrame(frame, &error)) fail(tooSlow(error));
}

void RecordingOutput::addEncodedFrame(const ZQRFramePtr& frame) {
    ZQErrorPtr error;
    if (!hasEnded() && !controller_->addEncodedFrame(frame, &error)) fail(tooSlow(error));
}

void RecordingOutput::didFinishSuccessfully(const ZQRMovieWriterControllerPtr&, bool success,
                                            const ZQErrorPtr& error) {
    result_.with([&](Result& result) {
        result.ended = true;
        if (!success && !result.error) {
            result.error = error ? error
                                 : ZQError::errorWithDomain(commandErrorDomain, commandErrorEndedEarly,
                                                            "The recording ended before its last frame.");
        }
    });
}

void RecordingOutput::fail(const ZQErrorPtr& error) {
    result_.with([&](Result& result) {
        if (!result.error) result.error = error;
    });
}

void RecordingOutput::close() {
    controller_->shutdown();
    // The thread that writes has ended; a run that broke off has left the file open, and it is closed as well
    // as may be.
    if (!succeeded()) writer_.writer->finishWritingMovie();
    if (const auto error = writer_.error()) {
        result_.with([&](Result& result) { result.error = error; });
    }
    result_.with([](Result& result) { result.ended = true; });
}

std::string RecordingOutput::failure() const {
    const auto error = result_.with([](const Result& r) { return r.error; });
    if (!error) return {};
    return error->userInterfaceDescription();
}

std::filesystem::path RecordingOutput::path() const {
    const std::string written = writer_.path();
    return written.empty() ? wanted_ : std::filesystem::path(written);
}

}  // namespace zenquor::tools
