// The asset writer's way from samples to fragments.

#include <algorithm>
#include <utility>

#include "zenquor/platform/quicktime/WriterCore.h"
#include "zenquor/platform/quicktime/WriterErrors.h"

namespace zenquor::platform {

using namespace quicktime;

namespace {

// A fragment is closed at a sync sample once it has gone on for two fifths of the interval, and at any sample
// after four fifths: the rest is room for a slow append and for readers.
constexpr std::int64_t aimedFifths = 2;
constexpr std::int64_t largestFifths = 4;
/// Offsets within a fragment are told in 31 bits.
constexpr std::uint64_t largestFragmentBytes = std::uint64_t{1} << 30;
constexpr double assumedSamplesPerSecond = 60;
constexpr std::size_t spareEntries = 16;

/// What a track takes in the head at most. Only pictures come with dependencies and in another order than
/// shown.
std::size_t fragmentBytes(const TrackState& track, std::size_t entries) {
    return fragmentBytesPerTrack +
           entries * (track.isStreamed ? fragmentBytesPerSample : fragmentBytesPerPlainSample);
}

MediaTime fifths(MediaTime interval, std::int64_t count) {
    return {interval.value * count, interval.timescale * 5};
}

std::chrono::nanoseconds clockTime(MediaTime time) {
    return std::chrono::nanoseconds(static_cast<std::int64_t>(time.seconds() * 1e9));
}

}  // namespace

bool AssetWriter::Implementation::append(AssetWriterInput::Implementation& input,
                                         const SampleBufferPtr& sample) {
    {
        const std::lock_guard lock(mutex);
        input.again = true;  // the block gets on, so it is run again as long as it is ready
        if (status_ != AssetWriterStatus::Writing || !sessionStarted_ || input.finished || !sample)
            return false;
    }
    if (!(input.encoder ? encode(input, *sample) : write(input, *sample))) return false;
    const MediaTime shown = sample->presentationTimeStamp();
    const MediaTime decoded = sample->decodeTimeStamp().isValid() ? sample->decodeTimeStamp() : shown;
    const std::lock_guard lock(mutex);
    input.end = ExactTime::sum(decoded, sample->duration());
    wakeInputsLocked();
    return status_ == AssetWriterStatus::Writing;
}

bool AssetWriter::Implementation::write(AssetWriterInput::Implementation& input, const SampleBuffer& sample) {
    Track& track = *input.track;
    if (!sample.dataBuffer() || sample.numSamples() == 0)
        return failSamples(track, "they hold no coded bytes");
    const ZQData& data = sample.dataBuffer()->data();
    const auto& attachments = sample.attachments();
    MediaTime shown = sample.presentationTimeStamp();
    MediaTime decoded = sample.decodeTimeStamp().isValid() ? sample.decodeTimeStamp() : shown;
    // Only pictures are shown in another order than they are stored in.
    if (!track.isStreamed) shown = decoded;
    if (track.isPCM()) {
        const auto rate = static_cast<std::size_t>(std::max(track.timescale, 1));
        const std::size_t pieces = data.size() / track.bytesPerFrame() * Track::pcmPiecesPerSecond / rate + 2;
        return gather(track, pieces,
                      [&](std::string& problem) { return track.addFrames(data, shown, problem); });
    }
    const MediaTime duration = sample.sampleDuration();
    for (std::size_t i = 0; i < sample.numSamples(); ++i) {
        const CodedSample coded{data.span().subspan(i * sample.sampleSize(), sample.sampleSize()),
                                {decoded, shown, duration},
                                track.isStreamed && attachments.notSync.value_or(false),
                                track.isStreamed && attachments.partialSync.value_or(false),
                                sample.formatDescription()};
        if (!takeCoded(input.track, coded)) return false;
        shown = shown + duration;
        decoded = decoded + duration;
    }
    return true;
}

bool AssetWriter::Implementation::encode(AssetWriterInput::Implementation& input,
                                         const SampleBuffer& sample) {
    std::string problem;
    if (input.encoder->encode(sample, problem)) return true;
    return problem.empty() ? false : failSamples(*input.track, problem);
}

bool AssetWriter::Implementation::finishEncoder(AssetWriterInput::Implementation& input) {
    std::string problem;
    const bool done = input.encoder->finish(problem);
    if (const auto heard = input.encoder->heard()) {
        const std::lock_guard lock(mutex);
        input.track->heardFrom = heard->from;
        input.track->heardTo = heard->to;
    }
    return done || problem.empty() ? done : failSamples(*input.track, problem);
}

bool AssetWriter::Implementation::takeCoded(const std::shared_ptr<Track>& track, const CodedSample& sample) {
    if (track->isStreamed) return writeStreamed(*track, sample);
    return gather(*track, 1, [&](std::string& problem) {
        return track->addSample(sample.bytes, sample.times, sample.notSync, sample.partialSync, problem);
    });
}

/// The picture goes from its own memory to the file. The lock of the state is free meanwhile, so that the
/// other inputs get on while the disk works.
bool AssetWriter::Implementation::writeStreamed(Track& track, const CodedSample& sample) {
    const std::lock_guard fileLock(fileMutex);
    const auto now = Clock::now();
    Cut cut = Cut::No;
    {
        const std::lock_guard lock(mutex);
        if (status_ != AssetWriterStatus::Writing || !file_) return false;
        // What the coded picture says of itself is more than any hint.
        if (track.table.empty() && sample.format) track.format = sample.format;
        cut = cutDue(track, now);
        // The movie box comes with the first fragment; one picture makes it, so that there is a movie from then on.
        if (!file_->hasFragments() && !track.run.empty()) cut = Cut::Now;
        if (file_->streamedBytes() >= largestFragmentBytes) cut = Cut::Now;
        if (limitsHold_ && track.run.entries.size() >= entryLimits_[track.trackID - 1]) cut = Cut::Now;
    }
    const bool canStart = !sample.notSync || sample.partialSync;
    if ((cut == Cut::Now || (cut == Cut::AtSync && canStart)) && !closeFragment()) return false;
    std::string problem;
    {
        const std::lock_guard lock(mutex);
        if (track.addSample(sample.bytes, sample.times, sample.notSync, sample.partialSync, problem))
            noteFirstAppend(now);
    }
    if (!problem.empty()) return failSamples(track, problem);
    if (!file_->fragmentIsOpen()) openFragment();
    return file_->appendStreamed(sample.bytes) || failWriting(file_->lastError());
}

/// Samples of the other tracks wait in memory for the end of the fragment. When the head in the file has no
/// room for their entries, or the fragment has gone on for too long, it is closed here.
bool AssetWriter::Implementation::gather(Track& track, std::size_t entries,
                                         const std::function<bool(std::string&)>& add) {
    const auto now = Clock::now();
    const auto hasRoom = [&] {
        return !limitsHold_ || track.run.entries.size() + entries <= entryLimits_[track.trackID - 1];
    };
    std::string problem;
    bool added = false;
    {
        const std::lock_guard lock(mutex);
        if (status_ != AssetWriterStatus::Writing) return false;
        if (hasRoom()) {
            added = add(problem);
            noteFirstAppend(now);
            if (added && !gatheringIsDue(track, now)) return true;
        }
    }
    if (!problem.empty()) return failSamples(track, problem);
    const std::lock_guard fileLock(fileMutex);
    bool due = true;
    {
        const std::lock_guard lock(mutex);
        if (added) due = gatheringIsDue(track, now);  // another track may have closed it in between
    }
    if (due && !closeFragment()) return false;
    if (added) return true;
    {
        const std::lock_guard lock(mutex);
        added = add(problem);
        noteFirstAppend(now);
    }
    return added || failSamples(track, problem);
}

// ---- fragments

bool AssetWriter::Implementation::videoIsAlive() const {
    const auto isLive = [](const auto& input) {
        return input->mediaType() == mediaTypeVideo && !input->implementation().finished;
    };
    return std::ranges::any_of(inputs, isLive);
}

void AssetWriter::Implementation::noteFirstAppend(Clock::time_point now) {
    if (!std::exchange(fragmentHasSamples_, true)) fragmentBegan_ = now;
}

/// Whether the open fragment has gone on long enough, by the clock or by the media.
AssetWriter::Implementation::Cut AssetWriter::Implementation::cutDue(const Track& track,
                                                                     Clock::time_point now) const {
    if (!fragmentHasSamples_) return Cut::No;
    const std::int64_t media =
        track.run.empty() ? 0 : track.table.endDecodeTime() - track.run.firstDecodeTime;
    const MediaTime mediaTime{media, std::max(track.timescale, 1)};
    const auto elapsed = now - fragmentBegan_;
    const auto reaches = [&](std::int64_t count) {
        const MediaTime limit = fifths(fragmentInterval, count);
        return mediaTime >= limit || elapsed >= clockTime(limit);
    };
    return reaches(largestFifths) ? Cut::Now : reaches(aimedFifths) ? Cut::AtSync : Cut::No;
}

/// Whether a track other than the video has to close the fragment: without video as soon as it would, with it
/// only when the pictures do not come.
bool AssetWriter::Implementation::gatheringIsDue(const Track& track, Clock::time_point now) const {
    if (!videoIsAlive()) return cutDue(track, now) != Cut::No;
    const MediaTime limit{fragmentInterval.value * 9, fragmentInterval.timescale * 10};
    return fragmentHasSamples_ && now - fragmentBegan_ >= clockTime(limit);
}

/// Entries that a track may have in a fragment: for the longest fragment at its rate, and a quarter more.
std::size_t AssetWriter::Implementation::entryLimit(const Track& track) const {
    double perSecond = assumedSamplesPerSecond;
    if (track.isPCM()) {
        perSecond = static_cast<double>(Track::pcmPiecesPerSecond);
    } else if (!track.run.empty() && track.run.entries.front().duration > 0) {
        perSecond = static_cast<double>(track.timescale) / track.run.entries.front().duration;
    }
    const double seconds = fifths(fragmentInterval, largestFifths).seconds() * 1.25;
    const auto usual = static_cast<std::size_t>(std::min(perSecond * seconds, 10000.0)) + spareEntries;
    return std::max(usual, 2 * track.run.entries.size());
}

void AssetWriter::Implementation::openFragment() {
    const std::lock_guard lock(mutex);
    std::size_t size = fragmentBytesFixed;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        entryLimits_[i] = entryLimit(*tracks_[i]);
        size += fragmentBytes(*tracks_[i], entryLimits_[i]);
    }
    if (!file_->hasFragments()) {
        for (const auto& track : tracks_) {
            if (track->timescale == 0) track->timescale = settings.timescale;
        }
        size += makeFragmentedMovieHeader(settings, tracks_).box.size();
    }
    limitsHold_ = true;
    file_->openFragment(size);
}

/// A disk may refuse what it had taken only when it is asked to keep it.
bool AssetWriter::Implementation::diskIsSound() {
    const int failure = synchroniserFailure_.exchange(0);
    return failure == 0 || failWriting(failure);
}

bool AssetWriter::Implementation::closeFragment() {
    if (!diskIsSound()) return false;
    {
        const std::lock_guard lock(mutex);
        // Before the encoder's first picture nothing can be said of the video track, and so nothing of the
        // movie.
        const bool known = !videoIsAlive() || std::ranges::all_of(tracks_, [](const auto& track) {
            return track->format != nullptr;
        });
        if (status_ != AssetWriterStatus::Writing || !file_) return false;
        if (!fragmentHasSamples_ || !known) return true;
    }
    if (!file_->fragmentIsOpen()) openFragment();
    FragmentedMovieHeader header;
    std::uint64_t duration = 0;
    std::vector<FragmentRun> runs = std::move(spareRuns_);
    {
        const std::lock_guard lock(mutex);
        if (!file_->hasFragments()) {
            header = makeFragmentedMovieHeader(settings, tracks_);
            origins_.clear();
            for (const auto& track : tracks_) origins_.push_back(fragmentOrigin(*track, settings));
        }
        for (std::size_t i = 0; i < tracks_.size(); ++i)
            runs[i] = tracks_[i]->exchangeRun(std::move(runs[i]));
        duration = movieDuration(settings, tracks_);
        fragmentHasSamples_ = false;
        limitsHold_ = false;
    }
    std::vector<FragmentTrack> parts;
    std::vector<MovieFile::Bytes> bytes;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const std::int64_t decodeTime = std::max<std::int64_t>(runs[i].firstDecodeTime - origins_[i], 0);
        parts.push_back({tracks_[i]->trackID, decodeTime, 0, runs[i].entries});
        bytes.emplace_back(runs[i].bytes);
    }
    if (!file_->closeFragment(header, parts, bytes, duration)) return failWriting(file_->lastError());
    {
        const std::lock_guard lock(mutex);
        for (std::size_t i = 0; i < runs.size(); ++i)
            tracks_[i]->table.addChunk(parts[i].offset, runs[i].sampleCount);
    }
    spareRuns_ = std::move(runs);
    scheduleSynchronise();
    return true;
}

/// Pushes what is written to the disk on a thread of its own, so that it survives a power cut. In a recording
/// this comes once per fragment; faster sources are not slowed down by it.
void AssetWriter::Implementation::scheduleSynchronise() {
    const auto now = Clock::now();
    if (now < nextSynchronise_ || synchronising_.exchange(true, std::memory_order_acq_rel)) return;
    nextSynchronise_ = now + clockTime(fifths(fragmentInterval, aimedFifths)) * 3 / 4;
    synchroniser_->async([this] {
        if (const int failure = file_->synchronise(); failure != 0) synchroniserFailure_.store(failure);
        synchronising_.store(false, std::memory_order_release);
    });
}

}  // namespace zenquor::platform
