#include "zenquor/platform/reader/MovieSampleSource.h"

#include <limits>
#include <utility>

namespace zenquor::platform::detail {
namespace {

constexpr std::int64_t endOfTime = std::numeric_limits<std::int64_t>::max() / 4;
// Timecode and caption samples have some hundred bytes; a table that says otherwise is broken.
constexpr std::uint32_t largestSample = 1U << 24;

/// @p value of @p from units a second, in @p to units, rounded; far times end at endOfTime.
std::int64_t rescaled(std::uint64_t value, std::uint32_t from, std::uint32_t to) {
    if (from == 0) return 0;
    const double estimate = static_cast<double>(value) * to / from;
    if (estimate >= static_cast<double>(endOfTime)) return endOfTime;
    __extension__ using Wide = unsigned __int128;
    return static_cast<std::int64_t>((Wide{value} * to + from / 2) / from);
}

bool isSane(const MovieSample& sample) {
    return sample.presentationTime > -endOfTime && sample.presentationTime < endOfTime &&
           sample.size <= largestSample;
}

}  // namespace

MovieSampleSource::MovieSampleSource(FileViewPtr file, std::shared_ptr<const MovieTables> tables,
                                     std::uint32_t trackID, FormatDescriptionPtr format, MediaTime start)
    : file_(std::move(file)),
      tables_(std::move(tables)),
      track_(*tables_->track(trackID)),
      format_(std::move(format)),
      start_(start),
      spans_(spansOf(track_, tables_->movieTimeScale)),
      cursor_(track_, file_->size()),
      stepsLeft_(1'000'000 + 16 * track_.sampleCount()) {}

std::vector<MovieSampleSource::Span> MovieSampleSource::spansOf(const MovieTrackTables& track,
                                                                std::uint32_t movieTimeScale) {
    std::vector<Span> spans;
    std::int64_t movieTime = 0;
    for (std::size_t i = 0; i < track.edits.size() && movieTime < endOfTime; ++i) {
        const MovieEdit& edit = track.edits[i];
        std::int64_t length = rescaled(edit.duration, movieTimeScale, track.timeScale);
        // While a movie grows, its last edit tells the length of the beginning or none at all.
        const bool isOpen = i + 1 == track.edits.size() && (edit.duration == 0 || !track.runs.empty());
        if (isOpen) length = endOfTime;
        if (edit.mediaTime >= 0 && edit.mediaTime < endOfTime) {
            spans.push_back({movieTime, edit.mediaTime, edit.mediaTime + length});
        }
        movieTime += length;
    }
    if (track.edits.empty()) spans.push_back({0, -endOfTime, endOfTime});
    return spans;
}

bool MovieSampleSource::isShown(const MovieSample& sample) const {
    if (!isSane(sample)) return false;
    const Span& span = spans_[span_];
    const std::int64_t end = sample.presentationTime + sample.duration;
    const bool begins = sample.duration > 0 ? end > span.mediaStart : end >= span.mediaStart;
    return begins && sample.presentationTime < span.mediaEnd;
}

SampleBufferPtr MovieSampleSource::sampleBuffer(const MovieSample& sample) const {
    const Span& span = spans_[span_];
    const auto scale = static_cast<std::int32_t>(track_.timeScale);
    const std::int64_t shift = track_.edits.empty() ? 0 : span.movieStart - span.mediaStart;
    const MediaTime time{sample.presentationTime + shift, scale};
    const MediaTime end{time.value + sample.duration, scale};
    if (start_.isValid() && (sample.duration > 0 ? end <= start_ : time < start_)) return nullptr;
    const auto bytes = file_->data(sample.offset, sample.size);
    BlockBufferPtr block;
    if (bytes.empty() || BlockBuffer::createWithLength(bytes.size(), block) != noErr) return nullptr;
    block->replaceDataBytes(bytes, 0);
    SampleBufferPtr result;
    const SampleTiming timing{{sample.duration, scale}, time, MediaTime::invalid()};
    SampleBuffer::create(block, format_, 1, timing, bytes.size(), {}, result);
    return result;
}

SampleBufferPtr MovieSampleSource::next() {
    for (; span_ < spans_.size(); ++span_, cursor_.rewind()) {
        while (stepsLeft_ > 0) {
            const auto sample = cursor_.next();
            if (!sample) break;
            --stepsLeft_;
            if (!isShown(*sample)) continue;
            if (auto buffer = sampleBuffer(*sample)) return buffer;
        }
    }
    return nullptr;
}

}  // namespace zenquor::platform::detail
