#include "zenquor/writers/ZQRNabletMXFWriter.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/writers/ZQRNabletFile.h"
#include "zenquor/writers/detail/HelperKey.h"
#include "zenquor/writers/detail/IMXPicture.h"
#include "zenquor/writers/detail/MXFCodecTable.h"
#include "zenquor/writers/detail/MXFStreamFormats.h"
#include "zenquor/writers/detail/NabletMXFWriterState.h"

namespace zenquor {
namespace {

// The ancillary element: 8-bit words without a flag in front, packets padded to four bytes.
constexpr int captionsFormat = 1;
constexpr int captionsPacking = 4;

std::atomic<bool>& xdcamHDSeen() {
    static std::atomic<bool> seen{false};
    return seen;
}

std::uint32_t sampleCountOf(const ZQData& audio, const ZQRAudioProperties& properties) {
    const std::uint64_t frameBytes = properties.bytes() * properties.nativeChannelCount();
    return frameBytes == 0 ? 0 : static_cast<std::uint32_t>(audio.size() / frameBytes);
}

/// Points @p list to the frames' samples: one buffer of all channels or one for each, as the description says.
void setInputBuffers(platform::AudioBufferList& list, const ZQData& audio,
                     const platform::AudioStreamBasicDescription& input, std::uint32_t sampleCount) {
    const bool isPlanar = (input.formatFlags & platform::audioFormatFlagIsNonInterleaved) != 0;
    const std::uint32_t bytes = input.bytesPerFrame * sampleCount;
    list.resize(isPlanar ? input.channelsPerFrame : 1);
    for (std::size_t i = 0; i < list.size(); ++i) {
        // The list also serves for output, hence the writable pointer.
        auto* const first = const_cast<std::uint8_t*>(audio.data()) + bytes * i;
        list[i] = {isPlanar ? 1 : input.channelsPerFrame, bytes, first};
    }
}

}  // namespace

bool ZQRNabletMXFWriter::isCompatibleWithCodec(FourCC codec) {
    return detail::mxfCodecForComponent(codec).has_value();
}

bool ZQRNabletMXFWriter::isXDCAMHD() {
    return xdcamHDSeen().load(std::memory_order_relaxed);
}

void ZQRNabletMXFWriter::noteXDCAMHD() {
    xdcamHDSeen().store(true, std::memory_order_relaxed);
}

ZQRNabletMXFWriterPtr ZQRNabletMXFWriter::initWithVideoProperties(ZQRVideoPropertiesPtr videoProperties,
                                                                  ZQRAudioPropertiesPtr audioProperties,
                                                                  ZQDictionary options) {
    ZQRNabletMXFWriterPtr writer(new ZQRNabletMXFWriter);
    writer->initialise(std::move(videoProperties), std::move(audioProperties), std::move(options));
    return writer;
}

ZQRNabletMXFWriter::ZQRNabletMXFWriter() : state_(std::make_unique<State>()) {}

ZQRNabletMXFWriter::~ZQRNabletMXFWriter() = default;

void ZQRNabletMXFWriter::initialise(ZQRVideoPropertiesPtr videoProperties,
                                    ZQRAudioPropertiesPtr audioProperties, ZQDictionary options) {
    auto& s = *state_;
    s.videoProperties =
        videoProperties ? std::move(videoProperties) : ZQRVideoProperties::initWithCapturePreset(nullptr);
    s.audioProperties = std::move(audioProperties);
    s.capturePreset = options[ZQRMovieWriterOptionCapturePreset].objectValue<ZHLIngestCapturePreset>();
    const std::int64_t blockSize = options[ZQRMovieWriterOptionMXFBlockSize].integerValue();
    s.blockSize = blockSize < 1 ? ZQRNabletFile::defaultBlockSizeBytes : blockSize;
    s.writingOptions = std::move(options);
}

// ---- Every frame

bool ZQRNabletMXFWriter::writeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    auto& s = *state_;
    if (s.isFinished) {
        return failWrite(
            error, ZQError::errorWithDomain(ZQRMovieWriterErrorDomain, ZQRMovieWriterErrorAlreadyFinished,
                                            ZQError::MXFWriteError(), ZQError::MXFWriteError()));
    }
    if (!frame) return false;
    if (!s.muxer && !setupMuxerWithFrame(frame, error)) return false;
    const auto helper = std::dynamic_pointer_cast<const ZQRFrameStore>(frame->helperForKey(s.helperKey));
    const std::int64_t timestamp = detail::mxfTimeStamp(framesWritten(), s.videoProperties->editRate());
    if (!writeVideo(helper, timestamp, error) || !writeAudio(helper, timestamp, error) ||
        !writeCaptions(frame, timestamp, error)) {
        return false;
    }
    s.framesWritten.fetch_add(1, std::memory_order_relaxed);
    if (const auto delegate = s.delegate.lock()) delegate->didWriteFrame(shared_from_this(), frame);
    return true;
}

bool ZQRNabletMXFWriter::writeVideo(const Helper& helper, std::int64_t timestamp, ZQErrorPtr* error) {
    auto& s = *state_;
    ZQData data;
    if (helper && helper->type() == 0) {
        data = helper->rawData().value_or(ZQData());
    } else if (helper && helper->type() == 1) {
        const auto& sample = helper->cmSampleBuffer();
        if (sample && sample->dataBuffer()) {
            data = sample->dataBuffer()->data();
        } else {
            ZLGGetHandle().error("Couldn't extract data pointer from sample buffer!");
        }
    }
    std::span<const std::uint8_t> bytes = data;
    if (s.isIMX) {
        if (s.videoProperties->tvNorm() == 0 && s.videoProperties->isWide()) {
            // Other writers share these bytes.
            s.patchedPicture.assign(bytes.begin(), bytes.end());
            detail::setWideAspectRatio(s.patchedPicture);
            bytes = s.patchedPicture;
        }
        bytes = detail::imxPicture(bytes, s.codec.imxFrameSize);
    }
    const std::uint64_t flags = helper ? detail::mxfSampleFlagsForFrameType(helper->frameType()) : 0;
    return writeData(bytes, s.videoStream, timestamp, flags, "video", error);
}

bool ZQRNabletMXFWriter::writeAudio(const Helper& helper, std::int64_t timestamp, ZQErrorPtr* error) {
    auto& s = *state_;
    const auto audio = helper ? helper->audioData().value_or(ZQData()) : ZQData();
    const std::size_t streamCount = detail::mxfAudioStreamCount(s.audioProperties.get(), s.codec);
    if (audio.empty() || streamCount == 0) return true;
    if (!s.audioConverter && s.audioStreams.empty()) {
        return writeData(audio, nullptr, timestamp, 0, "audio", error);
    }
    const auto* const converted = convertAudio(audio, error);
    if (!converted) return false;
    for (std::size_t i = 0; i < std::min(streamCount, converted->size()); ++i) {
        const auto& buffer = (*converted)[i];
        const std::span bytes(static_cast<const std::uint8_t*>(buffer.data), buffer.dataByteSize);
        const auto stream = i < s.audioStreams.size() ? s.audioStreams[i] : nullptr;
        if (!writeData(bytes, stream, timestamp, 0, "audio", error)) return false;
    }
    return true;
}

/// @return the converter's own buffers, null after a failure.
const platform::AudioBufferList* ZQRNabletMXFWriter::convertAudio(const ZQData& audio, ZQErrorPtr* error) {
    auto& s = *state_;
    const auto& properties = *s.audioProperties;
    const std::uint32_t sampleCount = sampleCountOf(audio, properties);
    const platform::AudioBufferList* output = nullptr;
    ZQErrorPtr failure;
    if (s.audioConverter && sampleCount != 0) {
        setInputBuffers(s.audioInput, audio, s.audioConverter->inputASBD(), sampleCount);
        if (s.audioConverter->convertInputBufferList(s.audioInput, output, sampleCount, &failure))
            return output;
    }
    const std::string text = fmt::format(
        "ZQRNabletMXFWriter audio converter got {} samples. Card audio length: {}, native channels: {}, "
        "bytes per sample: {}",
        sampleCount, audio.size(), properties.nativeChannelCount(), properties.bytes());
    ZLGGetHandle().error("{}", text);
    failWrite(error, failure
                         ? ZQError::errorWithDomain(failure->domain(), failure->code(),
                                                    failure->localizedDescription(), ZQError::MXFWriteError())
                         : ZQError::errorWithDomain(ZQRMovieWriterErrorDomain, ZQRMovieWriterErrorCannotStart,
                                                    text, ZQError::MXFWriteError()));
    return nullptr;
}

bool ZQRNabletMXFWriter::writeCaptions(const ZQRFramePtr& frame, std::int64_t timestamp, ZQErrorPtr* error) {
    const auto packets = frame->vancPackets();
    if (packets.empty()) return true;
    const auto element =
        ZQRVANCHelper::packVANCDataPacketsInSMPTE436MStream(packets, captionsFormat, true, captionsPacking);
    if (!element) return true;
    return writeData(*element, state_->captionsStream, timestamp, 0, "captions", error);
}

bool ZQRNabletMXFWriter::writeData(std::span<const std::uint8_t> bytes,
                                   const ZQRNabletMXFMemoryStreamPtr& stream, std::int64_t timestamp,
                                   std::uint64_t flags, const char* reason, ZQErrorPtr* error) {
    if (bytes.empty()) return false;
    if (!stream) {
        ZLGGetHandle().error("ZQRNableMXFWriter attempted to write data to missing {} stream", reason);
        return true;
    }
    auto* const memoryStream = stream->memoryStream();
    const std::int32_t copied = memoryStream->Write(bytes);
    if (copied < 0) {
        return failWrite(error,
                         fmt::format("ZQRNableMXFWriter couldn't copy {} data with error {}", reason, copied),
                         ZQError::MXFWriteError());
    }
    if (static_cast<std::size_t>(copied) != bytes.size()) {
        memoryStream->Reset();
        return failWrite(
            error,
            fmt::format("ZQRNableMXFWriter couldn't copy {} data. Should have copied {} but only copied {}",
                        reason, bytes.size(), copied),
            ZQError::MXFWriteError());
    }
    const mxf::SampleRecord record{timestamp, flags, bytes.size()};
    const std::int32_t status = memoryStream->Control(mxf::MemoryStream::commandSampleReady, record.bytes());
    if (status == 0) return true;
    return failWrite(
        error, fmt::format("ZQRNabletMXFWriter couldn't notify {} sample with error {}", reason, status),
        ZQError::MXFWriteError());
}

bool ZQRNabletMXFWriter::failWrite(ZQErrorPtr* error, ZQErrorPtr value) {
    state_->published.with([&](auto& published) { published.writeError = value; });
    return fail(error, std::move(value));
}

bool ZQRNabletMXFWriter::failWrite(ZQErrorPtr* error, std::string text, std::string userText) {
    ZLGGetHandle().error("{}", text);
    return failWrite(error,
                     ZQError::errorWithDomain(ZQRMovieWriterErrorDomain, ZQRMovieWriterErrorCannotStart,
                                              std::move(text), std::move(userText)));
}

// ---- The end

bool ZQRNabletMXFWriter::finishWritingMovie() {
    auto& s = *state_;
    s.isFinished = true;
    if (!s.muxer) return true;
    if (const std::int32_t status = mxfMuxClose(s.muxer.get()); status != 0) {
        const auto earlier = writeError();
        failWrite(nullptr, fmt::format("Couldn't close MXF Muxer! {}", status), ZQError::MXFWriteError());
        if (earlier) s.published.with([&](auto& published) { published.writeError = earlier; });
    }
    s.muxer.reset();
    s.startTimecodeText.clear();
    return true;
}

// ---- Questions and settings

std::string ZQRNabletMXFWriter::filename() const {
    return state_->published.with([](const auto& published) {
        return published.finalFilename.empty() ? published.filename : published.finalFilename;
    });
}

void ZQRNabletMXFWriter::setLength(std::int64_t length, std::string filename, std::string reelID) {
    state_->published.with([&](auto& published) {
        published.length = length;
        published.filename = std::move(filename);
        published.reelID = std::move(reelID);
    });
}

ZQDictionary ZQRNabletMXFWriter::metadata() const {
    const auto start = startTimecode();
    return {{ZQMovieWriterFrameCount, framesWritten()},
            {ZQMovieWriterClipname, filename()},
            {ZQMovieWriterInterlaced, state_->videoProperties->scanMode()},
            {ZQMovieWriterStartTime, start ? start->framesSinceMidnight() : 0}};
}

std::optional<ZQCKTimecode> ZQRNabletMXFWriter::startTimecode() const {
    return state_->published.load().startTimecode;
}
ZQErrorPtr ZQRNabletMXFWriter::writeError() const {
    return state_->published.load().writeError;
}
std::string ZQRNabletMXFWriter::finalFilename() const {
    return state_->published.load().finalFilename;
}
std::string ZQRNabletMXFWriter::reelID() const {
    return state_->published.load().reelID;
}
std::int64_t ZQRNabletMXFWriter::length() const {
    return state_->published.load().length;
}
std::uint64_t ZQRNabletMXFWriter::framesWritten() const {
    return state_->framesWritten.load(std::memory_order_relaxed);
}
std::int64_t ZQRNabletMXFWriter::blockSize() const {
    return state_->blockSize;
}
std::int32_t ZQRNabletMXFWriter::wrappingKind() const {
    return state_->codec.wrappingKind;
}
std::int32_t ZQRNabletMXFWriter::videoEssenceType() const {
    return state_->codec.essenceType;
}
void ZQRNabletMXFWriter::setUseOtherStartTimecode(bool use) {
    state_->useOtherStartTimecode = use;
}
void ZQRNabletMXFWriter::setOtherStartTimecode(std::optional<ZQCKTimecode> timecode) {
    state_->otherStartTimecode = timecode;
}
std::weak_ptr<ZQRMovieWriterProtocolDelegate> ZQRNabletMXFWriter::delegate() const {
    return state_->delegate;
}
void ZQRNabletMXFWriter::setDelegate(std::weak_ptr<ZQRMovieWriterProtocolDelegate> delegate) {
    state_->delegate = std::move(delegate);
}
const std::string& ZQRNabletMXFWriter::movieWriterID() const {
    return state_->movieWriterID;
}
void ZQRNabletMXFWriter::setMovieWriterID(std::string id) {
    state_->movieWriterID = std::move(id);
}
const std::string& ZQRNabletMXFWriter::separatorString() const {
    return state_->separatorString;
}
void ZQRNabletMXFWriter::setSeparatorString(std::string separator) {
    state_->separatorString = std::move(separator);
}
const ZQRVideoPropertiesPtr& ZQRNabletMXFWriter::videoProperties() const {
    return state_->videoProperties;
}
const ZQRAudioPropertiesPtr& ZQRNabletMXFWriter::audioProperties() const {
    return state_->audioProperties;
}
const ZHLIngestCapturePresetPtr& ZQRNabletMXFWriter::capturePreset() const {
    return state_->capturePreset;
}
const ZQDictionary& ZQRNabletMXFWriter::writingOptions() const {
    return state_->writingOptions;
}

}  // namespace zenquor
