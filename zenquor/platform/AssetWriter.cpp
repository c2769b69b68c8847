#include "zenquor/platform/AssetWriter.h"

#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "zenquor/platform/quicktime/WriterCore.h"

namespace zenquor::platform {

AssetWriter::AssetWriter() : implementation_(std::make_unique<Implementation>()) {}
AssetWriter::~AssetWriter() = default;

std::shared_ptr<AssetWriter> AssetWriter::assetWriterWithURL(const std::filesystem::path& url, FileType type,
                                                             ZQErrorPtr* error) {
    std::error_code failure;
    const auto folder = url.has_parent_path() ? url.parent_path() : std::filesystem::path(".");
    if (!url.has_filename() || !std::filesystem::is_directory(folder, failure)) {
        fail(error,
             ZQError::errorWithDomain(assetWriterErrorDomain, assetWriterErrorUnknown,
                                      fmt::format("No movie can be written to \"{}\".", url.string()),
                                      "The folder for the recording does not exist. Choose another folder."));
        return nullptr;
    }
    std::shared_ptr<AssetWriter> writer(new AssetWriter);
    writer->implementation_->url = url;
    writer->implementation_->settings.type = type;
    return writer;
}

const std::filesystem::path& AssetWriter::outputURL() const {
    return implementation_->url;
}

void AssetWriter::setMovieFragmentInterval(MediaTime interval) {
    if (interval.isValid() && interval.value > 0) implementation_->fragmentInterval = interval;
}

void AssetWriter::setShouldOptimizeForNetworkUse(bool flag) {
    implementation_->optimizeForNetworkUse = flag;
}

void AssetWriter::setMovieTimeScale(std::int32_t scale) {
    if (scale > 0) implementation_->settings.timescale = scale;
}

void AssetWriter::setMetadata(const ZQDictionary& metadata) {
    implementation_->settings.metadata = metadata;
}

bool AssetWriter::canAddInput(const AssetWriterInputPtr& input) const {
    return implementation_->canAdd(input);
}

void AssetWriter::addInput(const AssetWriterInputPtr& input) {
    if (!canAddInput(input)) return;
    input->implementation().writer = weak_from_this();
    implementation_->inputs.push_back(input);
}

bool AssetWriter::startWriting() {
    return implementation_->start();
}
void AssetWriter::startSessionAtSourceTime(MediaTime time) {
    implementation_->startSession(time);
}

void AssetWriter::finishWritingWithCompletionHandler(std::function<void()> completion) {
    implementation_->finish(shared_from_this(), std::move(completion));
}

void AssetWriter::cancelWriting() {
    implementation_->cancel();
}
AssetWriterStatus AssetWriter::status() const {
    return implementation_->status();
}
ZQErrorPtr AssetWriter::error() const {
    return implementation_->error();
}

}  // namespace zenquor::platform
