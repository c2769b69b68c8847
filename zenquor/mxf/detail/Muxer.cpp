#include "zenquor/mxf/detail/Muxer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "zenquor/mxf/detail/EditRate.h"
#include "zenquor/mxf/detail/ItemKeys.h"
#include "zenquor/mxf/detail/Labels.h"
#include "zenquor/mxf/detail/TimecodeLabel.h"

namespace zenquor::mxf {
namespace {

using detail::EssenceTrack;

/// Keys of elements count those of a kind in seven bits.
constexpr std::int64_t mostStreamsOfAKind = 127;

/// The place of a kind of essence in a content package: pictures, sounds, data.
int rankOf(const EssenceTrack& track) {
    if (track.dataDefinition() == detail::labels::pictureDefinition) return 0;
    return track.dataDefinition() == detail::labels::soundDefinition ? 1 : 2;
}

/// Whether a coded picture may stand in a file a second time.
bool standsAlone(const EssenceTrack& track, const detail::UnitFacts& facts) {
    constexpr std::uint8_t predicted =
        detail::IndexEntry::forwardPrediction | detail::IndexEntry::backwardPrediction | 3;
    return !track.isReordered() && facts.keyFrameOffset == 0 && (facts.flags & predicted) == 0;
}

detail::GrowingFile::Options fileOptions(const MuxSettings& settings, Rational editRate) {
    detail::GrowingFile::Options options;
    const double rate = static_cast<double>(editRate.numerator) / editRate.denominator;
    // A partition of 240 frames would exceed ten seconds at 23.98.
    if (settings.partitionSeconds > 0 && settings.partitionSeconds < 1e6)
        options.partitionUnits =
            std::max<std::int64_t>(1, std::llround(std::floor(settings.partitionSeconds * rate + 1e-6)));
    options.headerUpdateUnits = settings.headerUpdateFrames;
    options.headerReserveBytes = settings.headerReserveBytes;
    options.closesHeader = settings.headerRule != MuxSettings::headerRuleNoSeek;
    return options;
}

}  // namespace

bool Muxer::Stream::isPicture() const {
    return rankOf(*track) == 0;
}
bool Muxer::Stream::isSound() const {
    return rankOf(*track) == 1;
}

Status Muxer::open(const char* utf8Path, const MuxSettings& settings) {
    if (file_.isOpen() || status_ != StatusOK || growing_) return StatusBadArgument;
    const FileFunctions& functions =
        settings.usesFileFunctions == 1 ? settings.file : FileFunctions::system();
    const Status opened = file_.open(functions, utf8Path);
    settings_ = settings;
    path_ = utf8Path == nullptr ? "" : utf8Path;
    if (opened == StatusCannotOpen)
        return refuse(opened,
                      fmt::format("The file {} cannot be created, or holds something already", path_));
    return opened;
}

Status Muxer::addStream(InputStream* stream, const StreamFormat& format) {
    if (stream == nullptr || !file_.isOpen()) return StatusBadArgument;
    const auto editRate = detail::exactEditRate(format.editRate > 0 ? format.editRate : format.frameRate);
    if (!editRate) return refuse(StatusBadArgument, "A stream has no edit rate that a file can have");
    EssenceTrack::Context context;
    context.profile = settings_.profile;
    context.editRate = *editRate;
    context.dropsFrames = settings_.dropFrame;
    auto track = EssenceTrack::create(format, context);
    if (track) return addTrack(stream, std::move(track), *editRate);
    return refuse(StatusUnknownEssence, fmt::format("No mapping is known for codec {} in a stream of kind {}",
                                                    format.codec, format.streamKind));
}

Status Muxer::addTrack(InputStream* stream, std::unique_ptr<EssenceTrack> track, Rational editRate) {
    if (stream == nullptr || !file_.isOpen() || timeStamp_ || growing_) return StatusBadArgument;
    if (!streams_.empty() && editRate != editRate_)
        return refuse(StatusBadArgument, "All streams of a file have one edit rate");
    if (std::ranges::any_of(streams_, [&](const Stream& each) { return each.input == stream; }))
        return refuse(StatusBadArgument, "A stream is added twice");
    if (std::ranges::count_if(streams_, [&](const Stream& each) {
            return rankOf(*each.track) == rankOf(*track);
        }) >= mostStreamsOfAKind)
        return refuse(StatusBadArgument,
                      fmt::format("A file cannot have more than {} streams of a kind", mostStreamsOfAKind));
    editRate_ = editRate;
    Stream added;
    added.input = stream;
    added.track = std::move(track);
    const auto place = std::upper_bound(
        streams_.begin(), streams_.end(), added,
        [](const Stream& a, const Stream& b) { return rankOf(*a.track) < rankOf(*b.track); });
    streams_.insert(place, std::move(added));
    stream->setListener(this);
    return StatusOK;
}

std::int32_t Muxer::onSample(InputStream& stream, const SampleRecord& record) {
    try {
        return take(stream, record);
    } catch (const std::bad_alloc&) {
        return fail(StatusWriteFailed, "There is no memory for the next sample");
    }
}

Status Muxer::take(InputStream& input, const SampleRecord& record) {
    if (status_ != StatusOK) return status_;
    const auto stream = std::find_if(streams_.begin(), streams_.end(),
                                     [&](const Stream& each) { return each.input == &input; });
    if (stream == streams_.end()) return StatusBadArgument;
    if (timeStamp_ && record.timeStamp < *timeStamp_)
        return fail(StatusBadSample,
                    fmt::format("The time stamp {} of a sample in {} lies before the last one, {}",
                                record.timeStamp, nameOf(*stream), *timeStamp_));
    if (timeStamp_ && record.timeStamp > *timeStamp_) {
        if (const Status written = writeUnit(); written != StatusOK) return written;
    }
    if (!timeStamp_ && !growing_ && streams_.front().isPicture()) tellPicture();
    timeStamp_ = record.timeStamp;
    return takeInto(*stream, record);
}

void Muxer::tellPicture() {
    for (Stream& stream : streams_) stream.track->setPicture(*streams_.front().track);
}

Status Muxer::takeInto(Stream& stream, const SampleRecord& record) {
    if (stream.isFilled)
        return fail(StatusBadSample, fmt::format("{} has two samples of one time stamp, {}", nameOf(stream),
                                                 record.timeStamp));
    stream.sample = stream.input->takeSample(std::move(stream.sample));
    if (stream.sample.count != record.byteCount)
        return fail(StatusBadSample, fmt::format("A sample of {} is said to have {} bytes and has {}",
                                                 nameOf(stream), record.byteCount, stream.sample.count));
    std::string why;
    const auto facts = stream.track->add(stream.sample.bytes(), record.flags, why);
    if (!facts)
        return fail(StatusBadSample, fmt::format("A sample of {} cannot be stored: {}", nameOf(stream), why));
    stream.facts = *facts;
    stream.isFilled = true;
    return StatusOK;
}

Status Muxer::writeUnit() {
    if (!hasPictures()) {
        begin();
        return StatusOK;
    }
    if (!growing_) {
        if (const Status started = start(true); started != StatusOK) return started;
    }
    values_.clear();
    for (Stream& stream : streams_) values_.push_back(value(stream));
    if (const std::size_t misfit = package_->firstMisfit(values_); misfit != streams_.size())
        return fail(StatusBadSample,
                    fmt::format("A sample of {} has {} bytes, more than every element has room for",
                                nameOf(streams_[misfit]), values_[misfit].size()));
    if (!growing_->add(values_, unitFacts())) return failWriting("An edit unit");
    begin();
    return StatusOK;
}

/// Sees to it that every picture stream has something to store. @return false when the unit has to be left out.
bool Muxer::hasPictures() {
    for (Stream& stream : streams_) {
        if (!stream.isPicture() || stream.isFilled) continue;
        if (repeatPicture(stream)) {
            noteMissing(stream, "the picture before it is stored once more");
        } else {
            noteMissing(stream, "the edit unit is left out");
            return false;
        }
    }
    return true;
}

bool Muxer::repeatPicture(Stream& stream) {
    if (stream.sample.count == 0 || !standsAlone(*stream.track, stream.facts)) return false;
    std::string why;
    const auto facts = stream.track->add(stream.sample.bytes(), sampleFlagIntra, why);
    if (facts) stream.facts = *facts;
    return facts.has_value();
}

std::span<const std::uint8_t> Muxer::value(Stream& stream) {
    if (stream.isFilled && stream.isSound())
        return trimmed(stream, stream.track->stored(stream.sample.bytes()));
    if (stream.isFilled || stream.isPicture()) return stream.track->stored(stream.sample.bytes());
    if (stream.isSound()) noteMissing(stream, "silence is stored");
    return stream.track->emptyElement().value_or(std::span<const std::uint8_t>());
}

/// Sound of an edit unit as long as the unit: more would shift all that follows against the picture.
std::span<const std::uint8_t> Muxer::trimmed(Stream& stream, std::span<const std::uint8_t> sound) {
    const std::size_t most = stream.track->constantBytes();
    const bool isTooLong = most != 0 && sound.size() > most;
    if (isTooLong && !stream.isTooLong && logger_)
        logger_->DoLogWarning("{} has {} bytes more than edit unit {} lasts; they are left out",
                              nameOf(stream), sound.size() - most, growing_->unitCount());
    stream.isTooLong = isTooLong;
    return isTooLong ? sound.first(most) : sound;
}

void Muxer::noteMissing(Stream& stream, std::string_view consequence) {
    // Once for every gap: a stream that ends early would fill the log otherwise.
    if (++stream.missing != 1 || !logger_) return;
    logger_->DoLogWarning("{} has no sample in edit unit {} (time stamp {}): {}", nameOf(stream),
                          growing_ ? growing_->unitCount() : 0, *timeStamp_, consequence);
}

detail::UnitFacts Muxer::unitFacts() const {
    if (streams_.front().isPicture()) return streams_.front().facts;
    detail::UnitFacts facts;
    facts.displayPosition = growing_->unitCount();
    return facts;
}

/// Makes ready for the next unit.
void Muxer::begin() {
    for (Stream& stream : streams_) {
        if (std::exchange(stream.isFilled, false)) stream.missing = 0;
    }
    timeStamp_.reset();
}

void Muxer::adoptExactEditRate() {
    for (const Stream& stream : streams_) {
        if (const auto exact = stream.track->exactEditRate()) editRate_ = *exact;
    }
    for (const Stream& stream : streams_) stream.track->setEditRate(editRate_);
}

Status Muxer::start(bool hasEssence) {
    adoptExactEditRate();
    const bool canDrop =
        detail::canDropFrames(detail::timecodeBase(editRate_)) && editRate_.denominator == 1001;
    settings_.dropFrame = settings_.dropFrame && canDrop;
    std::vector<EssenceTrack*> tracks;
    for (const Stream& stream : streams_) tracks.push_back(stream.track.get());
    const auto keys = detail::elementKeys(tracks);
    std::vector<detail::PackageGraph::TrackEntry> entries;
    for (std::size_t i = 0; i < tracks.size(); ++i)
        entries.push_back({tracks[i], detail::trackNumberOf(keys[i])});
    graph_ = std::make_unique<detail::PackageGraph>(settings_, editRate_, std::move(entries));

    detail::SystemItem::Items items;
    for (const EssenceTrack* track : tracks)
        (rankOf(*track) == 0 ? items.picture : rankOf(*track) == 1 ? items.sound : items.data) = true;
    const auto& containers = graph_->essenceContainers();
    detail::UL container = containers.empty() ? detail::UL{} : containers.front();
    if (settings_.profile == wrapping::d10 && items.picture) container = tracks.front()->container();
    const detail::SystemItem systemItem(editRate_, {settings_.startTimecodeFrames, settings_.dropFrame},
                                        items, container);
    package_ = std::make_unique<detail::ContentPackage>(tracks, editRate_, systemItem);
    growing_ =
        std::make_unique<detail::GrowingFile>(file_, *graph_, *package_, fileOptions(settings_, editRate_));
    return growing_->begin(hasEssence) ? StatusOK : failWriting("The header");
}

Status Muxer::close() {
    if (!file_.isOpen()) return StatusBadArgument;
    detach();
    try {
        if (status_ == StatusOK) finish();
    } catch (const std::bad_alloc&) {
        fail(StatusWriteFailed, "There is no memory for the end of the file");
    }
    if (!file_.close())
        fail(StatusWriteFailed,
             fmt::format("The file {} cannot be closed; its last bytes may be missing", path_));
    return status_;
}

Status Muxer::finish() {
    if (timeStamp_) {
        if (const Status written = writeUnit(); written != StatusOK) return written;
    }
    if (!growing_) {
        if (const Status started = start(false); started != StatusOK) return started;
    }
    if (!growing_->finish()) return failWriting("The end");
    if (growing_->hasOutgrownHeader() && logger_)
        logger_->DoLogWarning(
            "The final metadata of {} do not fit the room in its header and stand in its footer alone",
            path_);
    return StatusOK;
}

void Muxer::detach() {
    for (Stream& stream : streams_) {
        if (InputStream* const input = std::exchange(stream.input, nullptr)) input->setListener(nullptr);
    }
}

/// Tells why an operation is not done; the muxer can be used as before.
Status Muxer::refuse(Status status, std::string_view sentence) const {
    if (logger_) logger_->DoLogError("{}", sentence);
    return status;
}

Status Muxer::failWriting(std::string_view part) {
    const bool hasUnits = growing_ && growing_->unitCount() > 0;
    return fail(StatusWriteFailed,
                fmt::format("{} of {} cannot be written; its disk may be full or out of reach.{}", part,
                            path_, hasUnits ? " What was recorded before can be read" : ""));
}

/// As its track is called in the file.
std::string Muxer::nameOf(const Stream& stream) const {
    const auto isAlike = [&](const Stream& other) { return rankOf(*other.track) == rankOf(*stream.track); };
    const std::string_view name = stream.track->trackName();
    if (std::ranges::count_if(streams_, isAlike) < 2) return std::string(name);
    return fmt::format("{} {}", name, std::count_if(streams_.data(), &stream, isAlike) + 1);
}

Status Muxer::fail(Status status, std::string_view sentence) {
    if (status_ != StatusOK) return status_;
    status_ = status;
    if (logger_) logger_->DoLogError("{}", sentence);
    return status_;
}

}  // namespace zenquor::mxf
