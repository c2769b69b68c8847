#include "zenquor/platform/quicktime/TrackState.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace zenquor::platform::quicktime {
namespace {

/// Time stamps of sound cut to video frames move by a sample or two around the count of samples; only from
/// this part of a second on they tell of a real hole.
constexpr std::int64_t smallestHolePerSecond = 200;

}  // namespace

void FragmentRun::clear() {
    entries.clear();
    bytes.clear();
    byteCount = 0;
    sampleCount = 0;
}

TrackState::TrackState(std::uint32_t number, FourCC type, FormatDescriptionPtr description, bool streamed)
    : trackID(number), mediaType(type), isStreamed(streamed), format(std::move(description)) {
    const AudioFormat* audio = format ? format->audioFormat() : nullptr;
    if (!audio) return;
    timescale = static_cast<std::int32_t>(audio->description.sampleRate);
    if (audio->description.formatID == audioFormatLinearPCM)
        bytesPerFrame_ = std::max(audio->description.bytesPerFrame, 1U);
}

void TrackState::remember(std::span<const std::uint8_t> bytes) {
    if (!table.empty()) return;
    firstByteCount = std::min(bytes.size(), firstBytes.size());
    std::copy_n(bytes.begin(), firstByteCount, firstBytes.begin());
}

/// Video, timecode and captions count in the units of their samples' times, so that no time is rounded.
void TrackState::adoptTimescale(const SampleTimes& times) {
    if (timescale == 0) timescale = times.decodeTime.timescale;
}

/// The duration of a sample is the distance to the next; what the sample itself said serves only for the
/// last.
void TrackState::correctLastDuration(std::int64_t decodeTime) {
    if (!run.empty())
        run.entries.back().duration += static_cast<std::uint32_t>(decodeTime - table.endDecodeTime());
}

bool TrackState::addSample(std::span<const std::uint8_t> bytes, const SampleTimes& times, bool notSync,
                           bool partialSync, std::string& problem) {
    adoptTimescale(times);
    Sample sample{
        .decodeTime = toTimescale(times.decodeTime).value, .notSync = notSync, .partialSync = partialSync};
    sample.compositionOffset = toTimescale(times.presentationTime).value - sample.decodeTime;
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max() || !table.hasRoomFor(1)) {
        problem = fmt::format(
            "a movie track holds 4294967295 samples of 4294967295 bytes at most, this is number {} of {} "
            "bytes",
            table.sampleCount() + 1, bytes.size());
        return false;
    }
    if (!table.empty() && sample.decodeTime <= table.lastDecodeTime()) {
        problem = fmt::format("decode time {} is not after the one before, {}/{}", times.decodeTime,
                              table.lastDecodeTime(), timescale);
        return false;
    }
    sample.size = static_cast<std::uint32_t>(bytes.size());
    const std::int64_t duration = toTimescale(times.duration).value;
    sample.duration = static_cast<std::uint32_t>(duration > 0 ? duration : 1);
    if (!times.duration.isValid() && !table.empty())
        sample.duration = static_cast<std::uint32_t>(sample.decodeTime - table.lastDecodeTime());

    remember(bytes);
    if (!table.empty()) correctLastDuration(sample.decodeTime);
    if (run.empty()) run.firstDecodeTime = sample.decodeTime;
    table.add(sample);
    run.entries.push_back(
        {sample.duration, sample.size, static_cast<std::int32_t>(sample.compositionOffset), notSync});
    ++run.sampleCount;
    run.byteCount += bytes.size();
    if (!isStreamed) run.bytes.insert(run.bytes.end(), bytes.begin(), bytes.end());
    return true;
}

bool TrackState::addFrames(std::span<const std::uint8_t> bytes, MediaTime time, std::string& problem) {
    const std::size_t count = bytes.size() / bytesPerFrame_;
    if (bytes.size() % bytesPerFrame_ != 0 || !table.hasRoomFor(count)) {
        problem = fmt::format("{} bytes of sound are no whole frames of {} bytes, or more than a track holds",
                              bytes.size(), bytesPerFrame_);
        return false;
    }
    std::int64_t start = toTimescale(time).value;
    if (!table.empty()) {
        const std::int64_t expected = table.endDecodeTime();
        if (start - expected < timescale / smallestHolePerSecond) start = expected;
        correctLastDuration(start);
    }
    table.addFrames(start, static_cast<std::uint32_t>(count), bytesPerFrame_);
    if (run.empty()) run.firstDecodeTime = start;
    const std::size_t pieceFrames =
        static_cast<std::size_t>(std::max<std::int64_t>(timescale / pcmPiecesPerSecond, 1));
    for (std::size_t left = count; left > 0;) {
        const auto held = run.empty() ? pieceFrames : run.entries.back().size / bytesPerFrame_;
        if (held >= pieceFrames) run.entries.push_back({0, 0, 0, false});
        auto& piece = run.entries.back();
        const std::size_t taken = std::min(left, pieceFrames - piece.size / bytesPerFrame_);
        piece.size += static_cast<std::uint32_t>(taken * bytesPerFrame_);
        piece.duration += static_cast<std::uint32_t>(taken);
        left -= taken;
    }
    run.sampleCount += static_cast<std::uint32_t>(count);
    run.byteCount += bytes.size();
    if (!isStreamed) run.bytes.insert(run.bytes.end(), bytes.begin(), bytes.end());
    return true;
}

FragmentRun TrackState::exchangeRun(FragmentRun empty) {
    empty.clear();
    return std::exchange(run, std::move(empty));
}

std::int64_t TrackState::presentationStart() const {
    return heardFrom.value_or(table.firstPresentationTime());
}
std::int64_t TrackState::presentationEnd() const {
    return heardTo.value_or(table.endPresentationTime());
}

}  // namespace zenquor::platform::quicktime
