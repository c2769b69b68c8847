#include "zenquor/platform/quicktime/WriterCore.h"

#include <algorithm>
#include <utility>

#include "zenquor/core/Clock.h"
#include "zenquor/platform/quicktime/WriterErrors.h"

namespace zenquor::platform {

using namespace quicktime;

namespace {

/// Room at the front for the tables of a movie that is to be read over a network: about an hour of long-GOP
/// pictures.
constexpr std::size_t frontReserveForNetworkUse = std::size_t{2} << 20;

bool fitsContainer(const AssetWriterInput& input, FileType type) {
    const FourCC media = input.mediaType();
    const bool isEssence = media == mediaTypeVideo || media == mediaTypeAudio;
    if (!isEssence) return type == FileType::QuickTimeMovie && input.sourceFormatHint();
    if (!std::holds_alternative<std::monostate>(input.outputSettings())) return true;
    const FormatDescriptionPtr& hint = input.sourceFormatHint();
    if (!hint) return false;
    const AudioFormat* audio = hint->audioFormat();
    return media == mediaTypeVideo ||
           (audio && audio->description.sampleRate >= 1 &&
            (hint->mediaSubType() == audioFormatLinearPCM || hint->mediaSubType() == audioFormatMPEG4AAC));
}

}  // namespace

// ---- set-up

/// One video track: its pictures are streamed to the file, which has one place to stream to.
bool AssetWriter::Implementation::canAdd(const AssetWriterInputPtr& input) const {
    const std::lock_guard lock(mutex);
    if (!input || status_ != AssetWriterStatus::Unknown || !input->implementation().writer.expired())
        return false;
    const bool isVideo = input->mediaType() == mediaTypeVideo;
    const auto isVideoInput = [](const auto& other) { return other->mediaType() == mediaTypeVideo; };
    if (isVideo && std::ranges::any_of(inputs, isVideoInput)) return false;
    return std::ranges::find(inputs, input) == inputs.end() && fitsContainer(*input, settings.type);
}

bool AssetWriter::Implementation::start() {
    std::unique_lock lock(mutex);
    if (status_ != AssetWriterStatus::Unknown) return false;
    if (inputs.empty()) {
        lock.unlock();
        return fail(ZQError::errorWithDomain(assetWriterErrorDomain, assetWriterErrorInvalidSource,
                                             "A movie needs an input.", ZQError::writeError()));
    }
    int failure = 0;
    file_ =
        MovieFile::create(url, settings.type, optimizeForNetworkUse ? frontReserveForNetworkUse : 0, failure);
    if (!file_) {
        lock.unlock();
        return fail(creationError(url, failure));
    }
    settings.created = zenquor::Clock::now();
    for (const auto& input : inputs) {
        auto& in = input->implementation();
        const FormatDescriptionPtr format = in.encoder ? in.encoder->format() : in.hint;
        const bool isVideo = in.mediaType == mediaTypeVideo;
        in.track = std::make_shared<Track>(static_cast<std::uint32_t>(tracks_.size() + 1), in.mediaType,
                                           format, isVideo);
        in.track->languageCode = in.languageCode;
        if (isVideo) streamed_ = in.track;
        tracks_.push_back(in.track);
        if (in.encoder)
            in.encoder->setSink(
                [this, track = in.track](const CodedSample& sample) { return takeCoded(track, sample); });
    }
    for (const auto& input : inputs) {
        for (const auto& reference : input->implementation().timecodeInputs) {
            const auto timecode = reference.lock();
            if (timecode && timecode->implementation().track)
                input->implementation().track->timecodeTrackIDs.push_back(
                    timecode->implementation().track->trackID);
        }
    }
    entryLimits_.assign(tracks_.size(), 0);
    spareRuns_.resize(tracks_.size());
    synchroniser_ = std::make_unique<SerialQueue>("movie sync");
    status_ = AssetWriterStatus::Writing;
    return true;
}

void AssetWriter::Implementation::startSession(MediaTime time) {
    const std::lock_guard lock(mutex);
    if (sessionStarted_ || !time.isValid()) return;
    settings.sessionStart = time;
    sessionStarted_ = true;
}

AssetWriterStatus AssetWriter::Implementation::status() const {
    const std::lock_guard lock(mutex);
    return status_;
}

ZQErrorPtr AssetWriter::Implementation::error() const {
    const std::lock_guard lock(mutex);
    return error_;
}

// ---- readiness

ExactTime AssetWriter::Implementation::leastAdvanced() const {
    const ExactTime* least = nullptr;
    for (const auto& input : inputs) {
        const auto& in = input->implementation();
        if (!in.finished && (!least || in.end < *least)) least = &in.end;
    }
    return least ? *least : ExactTime{};
}

bool AssetWriter::Implementation::isReadyLocked(const AssetWriterInput::Implementation& input,
                                                const ExactTime& least) const {
    if (input.finished) return false;
    if (status_ == AssetWriterStatus::Failed) return true;
    if (status_ != AssetWriterStatus::Writing) return false;
    return finishing_ || !(least < input.end);
}

bool AssetWriter::Implementation::isReady(const AssetWriterInput::Implementation& input) const {
    const std::lock_guard lock(mutex);
    return isReadyLocked(input, leastAdvanced());
}

bool AssetWriter::Implementation::request(const AssetWriterInputPtr& input, SerialQueuePtr queue,
                                          std::function<void()> block, ZQErrorPtr* error) {
    const std::lock_guard lock(mutex);
    auto& in = input->implementation();
    const bool started = status_ != AssetWriterStatus::Unknown;
    if (!started || in.queue || !queue || !block) {
        return zenquor::fail(
            error, ZQError::errorWithDomain(assetWriterErrorDomain, assetWriterErrorUnknown,
                                            "Samples are requested once, with a queue, after writing has "
                                            "started.",
                                            ZQError::writeError()));
    }
    in.queue = std::move(queue);
    in.block = std::move(block);
    wakeInputsLocked();
    return true;
}

void AssetWriter::Implementation::wakeInputs() {
    const std::lock_guard lock(mutex);
    wakeInputsLocked();
}

/// Every append, finish or failure comes here, so no change of readiness is missed; a block that is under way
/// is run again afterwards, because it may have looked just before the change.
void AssetWriter::Implementation::wakeInputsLocked() {
    const ExactTime least = leastAdvanced();
    for (const auto& input : inputs) {
        auto& in = input->implementation();
        if (!in.block || !isReadyLocked(in, least)) continue;
        if (in.dispatched) {
            in.again = true;
        } else {
            dispatch(input);
        }
    }
}

void AssetWriter::Implementation::dispatch(const AssetWriterInputPtr& input) {
    auto& in = input->implementation();
    in.dispatched = true;
    in.again = false;
    in.queue->async([input] { AssetWriterInput::Implementation::runBlock(input); });
}

std::function<void()> AssetWriter::Implementation::beginBlock(AssetWriterInput::Implementation& input) {
    const std::lock_guard lock(mutex);
    input.again = false;
    return input.block;
}

/// The next run is queued behind those of the other inputs on the queue, so that they take turns.
void AssetWriter::Implementation::blockEnded(const AssetWriterInputPtr& input) {
    const std::lock_guard lock(mutex);
    auto& in = input->implementation();
    in.dispatched = false;
    if (in.block && in.again && isReadyLocked(in, leastAdvanced())) dispatch(input);
}

void AssetWriterInput::Implementation::runBlock(const std::shared_ptr<AssetWriterInput>& input) {
    auto& in = input->implementation();
    const auto writer = in.writer.lock();
    if (!writer) return;
    if (const auto block = writer->implementation().beginBlock(in)) block();
    writer->implementation().blockEnded(input);
}

}  // namespace zenquor::platform
