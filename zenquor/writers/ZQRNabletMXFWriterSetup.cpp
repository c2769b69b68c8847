// The first frame: what the engine is told, the file, and the streams.

#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/host/ZHLIngestNamingHelper.h"
#include "zenquor/writers/ZQRNabletFile.h"
#include "zenquor/writers/ZQRNabletMXFWriter.h"
#include "zenquor/writers/ZQUBCController.h"
#include "zenquor/writers/detail/HelperKey.h"
#include "zenquor/writers/detail/MXFStreamFormats.h"
#include "zenquor/writers/detail/NabletMXFWriterState.h"
#include "zenquor/writers/detail/RecordingPath.h"

namespace zenquor {
namespace {

constexpr char32_t company[] = U"Quorvane";
constexpr char32_t product[] = U"vel:orb";
constexpr char32_t platformName[] = U"macOS";
constexpr std::int32_t versionMajor = 5;
constexpr std::int32_t versionMinor = 0;
constexpr std::int32_t headerUpdateFrames = 100;
constexpr std::string_view fileExtension = ".mxf";

}  // namespace

// A failure before there is a muxer is tried again with the next frame; a later one is not, and that frames from then
// on miss their streams is what tells of it.
bool ZQRNabletMXFWriter::setupMuxerWithFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    auto& s = *state_;
    s.helperKey = detail::helperKeyForWriterID(s.movieWriterID);
    setupSettings();
    setupStartTimecode(frame);
    s.mxfLogger = ZQRMXFLogger::loggerWithMode(ZQRMXFLogger::Mode::Forwarding);
    s.muxer.reset(mxfMuxNew(s.mxfLogger));
    if (!s.muxer) {
        return failWrite(error, "ZQRNableMXFWriter couldn't create muxer", ZQError::MXFEncodingError());
    }
    if (!setupCodec(error)) return false;
    requestFilename();
    if (!openFile(error)) return false;
    setupBufferCache();
    if (!addStreams(error)) return false;
    if (const auto delegate = s.delegate.lock()) delegate->didFinishSetupWithOptions(shared_from_this(), {});
    return true;
}

void ZQRNabletMXFWriter::setupSettings() {
    auto& s = *state_;
    s.settings = {};
    s.settings.company = company;
    s.settings.product = product;
    s.settings.platform = platformName;
    s.settings.versionMajor = versionMajor;
    s.settings.versionMinor = versionMinor;
    s.settings.reelName = reelID();
    if (s.capturePreset && s.capturePreset->updateMXFHeaderLength()) {
        ZLGGetHandle().log("MXF Headers will be updated while writing");
        s.settings.headerUpdateFrames = headerUpdateFrames;
    }
}

void ZQRNabletMXFWriter::setupStartTimecode(const ZQRFramePtr& frame) {
    auto& s = *state_;
    const auto given = s.useOtherStartTimecode ? s.otherStartTimecode : frame->frameTimecode();
    const auto timebase = ZQCKTimebase::timebaseForHundredths(s.videoProperties->framerate());
    const auto start = given.value_or(ZQCKTimecode::zeroTimeWithTimebase(timebase));
    s.settings.startTimecodeFrames = zqckTimecode_getFramesSinceMidnight(&start);
    s.settings.dropFrame = start.timebase().dropFrameTimecode();
    s.startTimecodeText = start.descriptionWithSeparator("-");
    s.settings.startTimecodeText = s.startTimecodeText;
    s.published.with([&](auto& published) { published.startTimecode = start; });
    ZLGGetHandle().log("Nablet MXF muxer starting with timecodeframes: {}", s.settings.startTimecodeFrames);
}

bool ZQRNabletMXFWriter::setupCodec(ZQErrorPtr* error) {
    auto& s = *state_;
    const auto component = s.videoProperties->ZQcomponent();
    const auto codec = component ? detail::mxfCodecForComponent(component->componentString()) : std::nullopt;
    if (!codec) {
        return failWrite(error,
                         fmt::format("ZQRNableMXFWriter muxer is not compatible with codec {}", component),
                         ZQError::MXFEncodingError());
    }
    s.codec = *codec;
    s.isIMX = detail::componentIsQuickTimeIMX(component->componentString());
    s.settings.profile = codec->wrappingKind;
    if (codec->isXDCAMHD) noteXDCAMHD();
    return true;
}

void ZQRNabletMXFWriter::requestFilename() {
    auto& s = *state_;
    const auto wanted =
        detail::recordingPath(s.published.load().filename, fileExtension, s.startTimecodeText);
    const auto path = ZHLIngestNamingHelper::nextFreeURL(wanted, s.separatorString);
    s.settings.clipName = path.stem().string();
    s.published.with([&](auto& published) { published.finalFilename = path.string(); });
}

bool ZQRNabletMXFWriter::openFile(ZQErrorPtr* error) {
    auto& s = *state_;
    if (s.codec.wrappingKind == mxf::wrapping::xdcam) {
        ZLGGetHandle().log(
            "MXF Writing with XDCAM detected. Will prevent header seeking after finishing writing.");
        s.settings.headerRule = mxf::MuxSettings::headerRuleNoSeek;
    }
    const std::string path = finalFilename();
    ZQRNabletFile::setConfig(s.settings, s.blockSize);
    if (mxfMuxOpen(s.muxer.get(), path.c_str(), s.settings) == 0) return true;
    return failWrite(error, fmt::format("ZQRNableMXFWriter couldn't create file: {}", path),
                     ZQError::MXFWriteError());
}

void ZQRNabletMXFWriter::setupBufferCache() {
    if (state_->writingOptions[ZQRMovieWriterOptionCacheMask].integerValue() != 0) {
        ZLGGetHandle().log(
            "Will NOT disable UBC. May have negative effects on fallbacks, in case something goes wrong.");
        return;
    }
    ZQErrorPtr failure;
    if (!ZQUBCController::disableUBCForFilePath(finalFilename(), &failure)) {
        ZLGGetHandle().error("ZQRNabletMXFWriter: {}", failure);
    }
}

bool ZQRNabletMXFWriter::addStreams(ZQErrorPtr* error) {
    auto& s = *state_;
    const auto& video = *s.videoProperties;
    const auto videoFormat = detail::mxfVideoFormat(video, s.codec, isXDCAMHD());
    ZLGGetHandle().debug("ZQRNabletMXFWriter using pixel aspect PARX {}, PARY {}", videoFormat.aspectX,
                         videoFormat.aspectY);
    s.videoStream = addStreamWithCapacity(streamCapacityBytes, videoFormat, "video", error);
    if (!s.videoStream) return false;

    const std::uint32_t audioStreamCount = detail::mxfAudioStreamCount(s.audioProperties.get(), s.codec);
    if (audioStreamCount != 0) {
        s.audioConverter = ZQRAudioConverter::initWithInputASBD(
            detail::inputAudioStreamBasicDescription(s.audioProperties.get()),
            detail::outputAudioStreamBasicDescription(s.audioProperties.get(), s.codec));
    }
    for (std::uint32_t i = 0; i < audioStreamCount; ++i) {
        auto stream = addStreamWithCapacity(
            streamCapacityBytes, detail::mxfAudioFormat(video, *s.audioProperties, s.codec), "audio", error);
        if (!stream) return false;
        s.audioStreams.push_back(std::move(stream));
    }
    s.captionsStream =
        addStreamWithCapacity(streamCapacityBytes, detail::mxfCaptionsFormat(video), "captions", error);
    return s.captionsStream != nullptr;
}

ZQRNabletMXFMemoryStreamPtr ZQRNabletMXFWriter::addStreamWithCapacity(std::int64_t capacity,
                                                                      const mxf::StreamFormat& format,
                                                                      const char* contents,
                                                                      ZQErrorPtr* error) {
    auto stream = ZQRNabletMXFMemoryStream::memoryStreamWithCapacity(capacity);
    if (!stream) {
        failWrite(error, fmt::format("ZQRNableMXFWriter couldn't create {} memory stream", contents),
                  ZQError::MXFEncodingError());
        return nullptr;
    }
    const std::int32_t status = mxfMuxAddInputStream(state_->muxer.get(), stream->memoryStream(), format);
    if (status == 0) return stream;
    failWrite(error,
              fmt::format("ZQRNableMXFWriter couldn't add {} input stream with error {}", contents, status),
              ZQError::MXFEncodingError());
    return nullptr;
}

}  // namespace zenquor
