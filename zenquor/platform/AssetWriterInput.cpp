#include "zenquor/platform/AssetWriterInput.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/platform/quicktime/WriterCore.h"

namespace zenquor::platform {
namespace {

bool refuse(ZQErrorPtr* error, const char* text) {
    return fail(error, ZQError::errorWithDomain(assetWriterErrorDomain, assetWriterErrorInvalidSource, text,
                                                ZQError::encodingError()));
}

bool checkFormat(FourCC mediaType, const AssetWriterInput::OutputSettings& settings,
                 const FormatDescriptionPtr& hint, ZQErrorPtr* error) {
    const bool video = std::holds_alternative<VideoOutputSettings>(settings);
    const bool audio = std::holds_alternative<AudioOutputSettings>(settings);
    if ((video && mediaType != mediaTypeVideo) || (audio && mediaType != mediaTypeAudio))
        return refuse(error, "The output settings do not fit the media type.");
    if (!hint && !audio) return refuse(error, "The input needs the format of its samples.");
    if (hint && hint->mediaType() != mediaType)
        return refuse(error, "The format does not fit the media type.");
    return true;
}

}  // namespace

AssetWriterInput::AssetWriterInput() : implementation_(std::make_unique<Implementation>()) {}
AssetWriterInput::~AssetWriterInput() = default;

AssetWriterInputPtr AssetWriterInput::initWithMediaType(FourCC mediaType, const OutputSettings& settings,
                                                        FormatDescriptionPtr hint, ZQErrorPtr* error) {
    if (!checkFormat(mediaType, settings, hint, error)) return nullptr;
    AssetWriterInputPtr input(new AssetWriterInput);
    Implementation& in = *input->implementation_;
    in.mediaType = mediaType;
    in.settings = settings;
    in.hint = std::move(hint);
    if (const auto* video = std::get_if<VideoOutputSettings>(&settings)) {
        in.encoder = quicktime::makePictureEncoder(*video, in.hint, error);
        if (!in.encoder) return nullptr;
    }
    if (const auto* audio = std::get_if<AudioOutputSettings>(&settings)) {
        in.encoder = quicktime::makeSoundEncoder(*audio, error);
        if (!in.encoder) return nullptr;
    }
    return input;
}

FourCC AssetWriterInput::mediaType() const {
    return implementation_->mediaType;
}
const AssetWriterInput::OutputSettings& AssetWriterInput::outputSettings() const {
    return implementation_->settings;
}
const FormatDescriptionPtr& AssetWriterInput::sourceFormatHint() const {
    return implementation_->hint;
}
void AssetWriterInput::setLanguageCode(const std::string& code) {
    implementation_->languageCode = code;
}

bool AssetWriterInput::canAddTrackAssociation(const AssetWriterInputPtr& input, FourCC type) const {
    const bool isEssence = mediaType() == mediaTypeVideo || mediaType() == mediaTypeAudio;
    return isEssence && type == fourCC("tmcd") && input && input->mediaType() == mediaTypeTimecode;
}

void AssetWriterInput::addTrackAssociation(const AssetWriterInputPtr& input, FourCC type) {
    if (canAddTrackAssociation(input, type)) implementation_->timecodeInputs.push_back(input);
}

bool AssetWriterInput::isReadyForMoreMediaData() const {
    const auto writer = implementation_->writer.lock();
    return writer && writer->implementation().isReady(*implementation_);
}

bool AssetWriterInput::appendSampleBuffer(const SampleBufferPtr& samples) {
    const auto writer = implementation_->writer.lock();
    return writer && writer->implementation().append(*implementation_, samples);
}

bool AssetWriterInput::requestMediaDataWhenReadyOnQueue(SerialQueuePtr queue, std::function<void()> block,
                                                        ZQErrorPtr* error) {
    const auto writer = implementation_->writer.lock();
    if (!writer) return refuse(error, "The input belongs to no writer.");
    return writer->implementation().request(shared_from_this(), std::move(queue), std::move(block), error);
}

void AssetWriterInput::markAsFinished() {
    if (const auto writer = implementation_->writer.lock())
        writer->implementation().markFinished(*implementation_);
}

}  // namespace zenquor::platform
